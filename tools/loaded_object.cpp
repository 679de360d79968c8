// SPDX-License-Identifier: MIT
#include "tools/loaded_object.h"

#include <algorithm>
#include <mutex>

#include "interfaces/stream_classes.h"
#include "tools/byte_streams.h"
#include "tools/module_registration.h"
#include "tools/result_codes.h"

namespace tools {
namespace {

using platform::ComPtr;

std::string Narrow(BSTR wide) {
  const int units = static_cast<int>(SysStringLen(wide));
  std::string text(3 * static_cast<std::size_t>(units), '\0');
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide, units, text.data(),
                                        static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(std::max(bytes, 0)));
  return text;
}

// Empties the thread's slot.
std::string ErrorObjectText() {
  ComPtr<IErrorInfo> error;
  if (GetErrorInfo(0, error.Put()) != S_OK) return "";
  BSTR description = nullptr;
  if (FAILED(error->GetDescription(&description)) || !description) return "";
  std::string text = Narrow(description);
  SysFreeString(description);
  return text;
}

std::string Reason(HRESULT result) {
  const std::string text = ErrorObjectText();
  const auto code = static_cast<std::uint32_t>(result);
  return text.empty() ? ResultText(code) : HexText(code, 8) + ", " + text;
}

// What was said before does not belong to the call that follows.
void ForgetErrors() { SetErrorInfo(0, nullptr); }

// Files come from anywhere: in them, objects of other classes than the module's stay bytes. A
// module that is too old to be told so is used all the same.
void KeepToItsClasses(REFCLSID classId) {
  ComPtr<IStreamClassesKLP> classes;
  CoGetClassObject(classId, CLSCTX_INPROC_SERVER, nullptr, IID_IStreamClassesKLP,
                   classes.PutVoid());
  if (classes) Check(classes->AllowOnly(nullptr, 0), "AllowOnly");
}

ComPtr<IPersistStream> Make(const KnownClass& known) {
  ForgetErrors();
  ComPtr<IPersistStream> persist;
  const auto create = [&] {
    return CoCreateInstance(known.classId, nullptr, CLSCTX_INPROC_SERVER, IID_IPersistStream,
                            persist.PutVoid());
  };
  HRESULT result = create();
  if (result == REGDB_E_CLASSNOTREG && ServeOwnModule()) result = create();
  if (result == REGDB_E_CLASSNOTREG) {
    throw ComFailure(std::string(known.name) + " is not registered here (rastel register PATH/" +
                         kModuleFile + " registers it; dump works without): CoCreateInstance",
                     result);
  }
  Check(result, std::string("CoCreateInstance of ") + known.name);
  static std::once_flag once;
  std::call_once(once, KeepToItsClasses, known.classId);
  return persist;
}

}  // namespace

ComFailure::ComFailure(const std::string& call, HRESULT result)
    : std::runtime_error(call + ": " + Reason(result)) {}

void Check(HRESULT result, const std::string& call) {
  if (FAILED(result)) throw ComFailure(call, result);
}

LoadedObject::LoadedObject(const KnownClass& known) : persist_(Make(known)) {}

LoadedObject::LoadedObject(const KnownClass& known, Bytes bytes, std::uint64_t start,
                           std::span<const Block> steppedOver, BytesTaken taken)
    : LoadedObject(known) {
  const ComPtr stream(new ByteStream(bytes, start, steppedOver, std::move(taken)));
  ForgetErrors();
  Check(persist_->Load(stream.Get()), "Load");
  bytesLeft_ = stream->BytesLeft();
}

std::uint64_t LoadedObject::SavedBytes() const {
  const ComPtr stream(new CountingStream);
  ForgetErrors();
  Check(persist_->Save(stream.Get(), FALSE), "Save");
  return stream->Count();
}

std::uint64_t LoadedObject::StatedBytes() const {
  ULARGE_INTEGER bytes{};
  ForgetErrors();
  Check(persist_->GetSizeMax(&bytes), "GetSizeMax");
  return bytes.QuadPart;
}

void LoadedObject::SaveTo(pictures::ByteSink& sink, bool hasClassId,
                          const std::function<void(std::uint64_t bytes)>& written) const {
  SaveTo(ComPtr(new SinkStream(sink, written)), hasClassId);
}

void LoadedObject::SaveTo(const ComPtr<SinkStream>& stream, bool hasClassId) const {
  ForgetErrors();
  const HRESULT result = hasClassId ? OleSaveToStream(persist_.Get(), stream.Get())
                                    : persist_->Save(stream.Get(), TRUE);
  stream->Check();
  Check(result, hasClassId ? "OleSaveToStream" : "Save");
}

}  // namespace tools
