#include "tests/host/scripted_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

using platform::ComPtr;

const std::string kClassBytes = "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01";
const std::string kNullBytes = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
const std::string kData = " A1 A2 A3 A4 A5 A6";

class Persistence : public ScriptedTest {};

TEST_F(Persistence, Class_IsOneWriteOrReadOf16Bytes) {
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  CLSID classId{};
  EXPECT_EQ(WriteClassStm(&stream, kScriptedClass), S_OK);
  EXPECT_EQ(ContentOf(inner.Get()), kClassBytes);
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 1u);
  stream.FailAt(StreamCall::kWrite, 2, kOwnCode);
  EXPECT_EQ(WriteClassStm(&stream, kScriptedClass), kOwnCode);
  SeekTo(inner.Get(), 0);
  EXPECT_EQ(ReadClassStm(&stream, &classId), S_OK);
  EXPECT_TRUE(IsEqualCLSID(classId, kScriptedClass));
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 3u);
  EXPECT_EQ(PositionOf(inner.Get()), 16u);
  stream.FailAt(StreamCall::kRead, 2, kOwnCode);
  EXPECT_EQ(ReadClassStm(&stream, &classId), kOwnCode);
  ExpectEach(E_INVALIDARG,
             {WriteClassStm(nullptr, kScriptedClass), ReadClassStm(nullptr, &classId)});
  for (const ULONG left : {0u, 1u, 15u}) {
    SeekTo(inner.Get(), 16 - static_cast<LONGLONG>(left));
    EXPECT_EQ(ReadClassStm(inner.Get(), &classId), STG_E_READFAULT);
    EXPECT_EQ(PositionOf(inner.Get()), 16u);
    SeekTo(inner.Get(), 0);
    stream.Reset();
    stream.ShortenAt(StreamCall::kRead, 1, left);
    EXPECT_EQ(ReadClassStm(&stream, &classId), STG_E_READFAULT);
  }
}

TEST_F(Persistence, Save_WritesIdentifierThenObject) {
  const std::string whole = kClassBytes + kData;
  const struct {
    HRESULT getClassId, save;
    CLSID classId;
    HRESULT result;
    std::string content;
  } kRows[] = {{S_OK, S_OK, kScriptedClass, S_OK, whole},
               {S_OK, S_FALSE, kScriptedClass, S_FALSE, whole},
               {S_FALSE, S_OK, kScriptedClass, S_OK, whole},
               {S_OK, S_OK, CLSID_NULL, S_OK, kNullBytes + kData},
               {kOwnCode, S_OK, kScriptedClass, kOwnCode, ""},
               {S_OK, kOwnCode, kScriptedClass, kOwnCode, whole}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(&row - kRows);
    Restart();
    script_.getClassId = row.getClassId;
    script_.save = row.save;
    script_.classId = row.classId;
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(OleSaveToStream(NewObject().Get(), stream.Get()), row.result);
    EXPECT_EQ(script_.calls, row.content.empty() ? "GetClassID" : "GetClassID Save(TRUE)");
    EXPECT_EQ(ContentOf(stream.Get()), row.content);
  }
  FaultStream stream(NewStream().Get());
  stream.FailAt(StreamCall::kWrite, 1, kOwnCode);
  Restart();
  EXPECT_EQ(OleSaveToStream(NewObject().Get(), &stream), kOwnCode);
  EXPECT_EQ(script_.calls, "GetClassID");
  EXPECT_EQ(OleSaveToStream(NewObject().Get(), nullptr), E_INVALIDARG);
}

TEST_F(Persistence, Load_GivesTheInterfaceAskedForOrNothing) {
  const std::string whole = kClassBytes + kData;
  const char* const kMade = "CreateInstance";
  const char* const kLoaded = "CreateInstance Load";
  const struct {
    const char* what;
    std::string content;
    HRESULT create, load;
    IID iid;
    HRESULT result;
    const char* calls;
  } kRows[] = {{"well", whole, S_OK, S_OK, kScriptedInterface, S_OK, kLoaded},
               {"as IUnknown", whole, S_OK, S_OK, IID_IUnknown, S_OK, kLoaded},
               {"S_FALSE", whole, S_OK, S_FALSE, kScriptedInterface, S_FALSE, kLoaded},
               {"missing", whole, S_OK, S_OK, kMissingInterface, E_NOINTERFACE, kLoaded},
               {"load", whole, S_OK, kOwnCode, kScriptedInterface, kOwnCode, kLoaded},
               {"create", whole, kOwnCode, S_OK, kScriptedInterface, kOwnCode, kMade},
               {"no stream", whole, S_OK, S_OK, kScriptedInterface, E_NOINTERFACE, kMade},
               {"cut", "51 7C 0A 1F 11 3C", S_OK, S_OK, kScriptedInterface, STG_E_READFAULT, ""},
               {"null", kNullBytes, S_OK, S_OK, kScriptedInterface, REGDB_E_CLASSNOTREG, ""},
               {"other", std::string("52") + whole.substr(2), S_OK, S_OK, kScriptedInterface,
                REGDB_E_CLASSNOTREG, ""}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Restart();
    script_.create = row.create;
    script_.load = row.load;
    script_.hasPersistStream = row.what != std::string("no stream");
    const ComPtr<IStream> stream = NewStream(row.content);
    void* out = &out;
    EXPECT_EQ(OleLoadFromStream(stream.Get(), row.iid, &out), row.result);
    // The measured platform asks for the interface before it loads.
    if (IsEqualIID(row.iid, kMissingInterface) && !kEmbeddedHost) continue;
    EXPECT_EQ(script_.calls, row.calls);
    const std::size_t read = row.calls == kLoaded ? 22 : 16;
    EXPECT_EQ(PositionOf(stream.Get()), (std::min)(BytesOf(row.content).size(), read));
    // The measured platform leaves an object that fails alive.
    if (FAILED(row.result) && !kEmbeddedHost) script_.objects = 0;
    EXPECT_EQ(script_.objects, SUCCEEDED(row.result) ? 1 : 0);
    if (SUCCEEDED(row.result)) {
      static_cast<IUnknown*>(out)->Release();
    } else if (kEmbeddedHost) {
      EXPECT_EQ(out, nullptr);
    }
  }
  if (!kEmbeddedHost) return;
  void* out = nullptr;
  ExpectEach(E_INVALIDARG, {OleLoadFromStream(nullptr, IID_IUnknown, &out),
                            OleLoadFromStream(NewStream().Get(), IID_IUnknown, nullptr)});
}

}  // namespace
}  // namespace tests
