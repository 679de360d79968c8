// SPDX-License-Identifier: MIT
// What strings, values, locks and class look-ups of a host cost, next to the plain operations that
// they cannot do without.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "platform/platform.h"

namespace bench {

void MallocAndFree(benchmark::State& state) {
  for (auto _ : state) {
    void* block = std::malloc(32);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}

void MakeAndFreeBstr(benchmark::State& state) {
  for (auto _ : state) {
    BSTR text = SysAllocString(OLESTR("a picture"));
    benchmark::DoNotOptimize(text);
    SysFreeString(text);
  }
}

void CopyNumberVariant(benchmark::State& state) {
  VARIANT source{};
  source.vt = VT_R8;
  source.dblVal = 2.5;
  VARIANT target{};
  for (auto _ : state) {
    VariantCopy(&target, &source);
    benchmark::DoNotOptimize(target);
  }
}

void EnterAndLeave(benchmark::State& state) {
  CRITICAL_SECTION section{};
  InitializeCriticalSectionAndSpinCount(&section, 0);
  for (auto _ : state) {
    EnterCriticalSection(&section);
    LeaveCriticalSection(&section);
  }
  DeleteCriticalSection(&section);
}

// A factory that makes nothing, so that what is left is the look-up.
class EmptyFactory final : public IClassFactory {
 public:
  STDMETHODIMP QueryInterface(REFIID, void** out) override {
    *out = static_cast<IClassFactory*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 1; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP CreateInstance(IUnknown*, REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

CLSID NumberedClass(std::uint32_t number) {
  return {0x1F0A7C60 + number, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x40}};
}

// The argument is the number of registered classes; each look-up asks for another one of them.
void FindRegisteredClass(benchmark::State& state) {
  static EmptyFactory factory;
  const auto classes = static_cast<std::uint32_t>(state.range(0));
  std::vector<DWORD> cookies(classes);
  for (std::uint32_t i = 0; i < classes; ++i) {
    CoRegisterClassObject(NumberedClass(i), &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookies[i]);
  }
  std::uint32_t next = 0;
  for (auto _ : state) {
    void* object = nullptr;
    next = next + 1 < classes ? next + 1 : 0;
    CoCreateInstance(NumberedClass(next), nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object);
    benchmark::DoNotOptimize(object);
  }
  for (const DWORD cookie : cookies) CoRevokeClassObject(cookie);
}

BENCHMARK(MallocAndFree);
BENCHMARK(MakeAndFreeBstr);
BENCHMARK(CopyNumberVariant);
BENCHMARK(EnterAndLeave);
BENCHMARK(FindRegisteredClass)->Arg(1)->Arg(100)->Arg(10000);

}  // namespace bench
