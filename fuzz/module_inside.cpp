// SPDX-License-Identifier: MIT
#include "fuzz/module_inside.h"

#include <cstdio>
#include <cstdlib>

#include "platform/module_entry.h"
#include "tests/support/class_table.h"

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out);

namespace fuzz {

void PublishModule() {
  // Nobody's own registry has a say in what streams find.
  HostUseRegistryFile(nullptr);
  Require(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)), "the host can be entered");
  for (const tests::ClassRow& row : tests::kClasses) {
    platform::ComPtr<IUnknown> factory;
    DWORD cookie = 0;
    DllGetClassObject(row.classId, IID_IUnknown, factory.PutVoid());
    CoRegisterClassObject(row.classId, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookie);
  }
}

void CreateObject(REFCLSID classId, REFIID iid, void** out) {
  platform::ComPtr<IClassFactory> factory;
  DllGetClassObject(classId, IID_IClassFactory, factory.PutVoid());
  Require(factory && SUCCEEDED(factory->CreateInstance(nullptr, iid, out)),
          "a class makes objects");
}

platform::ComPtr<IStream> StreamOf(Bytes bytes) {
  platform::ComPtr<IStream> stream;
  CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
  stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  stream->Seek({}, STREAM_SEEK_SET, nullptr);
  return stream;
}

void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  // Who counts what is run gives too little memory for some promises, and wants the rest.
  if (!std::getenv("RASTEL_FUZZ_GO_ON")) std::abort();
}

}  // namespace fuzz
