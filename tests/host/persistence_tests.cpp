#include "tests/host/scripted_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using platform::ComPtr;

constexpr char kClassBytes[] = "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01";
constexpr char kNullBytes[] = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
constexpr char kObjectBytes[] = "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01 A1 A2 A3 A4 A5 A6";
constexpr HRESULT kOwnCode = platform::ResultCode(0x80041234);

class Persistence : public ScriptedTest {};

TEST_F(Persistence, WriteClass_IsOneWriteOf16Bytes) {
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  EXPECT_EQ(WriteClassStm(&stream, kScriptedClass), S_OK);
  EXPECT_EQ(ContentOf(inner.Get()), kClassBytes);
  EXPECT_EQ(stream.Calls(StreamCall::kWrite), 1u);
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 1u);
  stream.FailAt(StreamCall::kWrite, 2, kOwnCode);
  EXPECT_EQ(WriteClassStm(&stream, kScriptedClass), kOwnCode);
  EXPECT_EQ(WriteClassStm(nullptr, kScriptedClass), E_INVALIDARG);
}

TEST_F(Persistence, ReadClass_IsOneReadOf16Bytes) {
  const ComPtr<IStream> inner = NewStream(kObjectBytes);
  FaultStream stream(inner.Get());
  CLSID classId{};
  EXPECT_EQ(ReadClassStm(&stream, &classId), S_OK);
  EXPECT_TRUE(IsEqualCLSID(classId, kScriptedClass));
  EXPECT_EQ(stream.Calls(StreamCall::kRead), 1u);
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 1u);
  EXPECT_EQ(PositionOf(inner.Get()), 16u);
  EXPECT_EQ(ReadClassStm(nullptr, &classId), E_INVALIDARG);
}

TEST_F(Persistence, ReadClass_TooFewBytes_GivesReadFaultAndConsumesThem) {
  for (const ULONG left : {0u, 1u, 15u}) {
    SCOPED_TRACE(left);
    const ComPtr<IStream> inner = NewStream(kObjectBytes);
    FaultStream stream(inner.Get());
    SeekTo(inner.Get(), 22 - static_cast<LONGLONG>(left));
    CLSID classId{};
    EXPECT_EQ(ReadClassStm(&stream, &classId), STG_E_READFAULT);
    EXPECT_EQ(PositionOf(inner.Get()), 22u);
    SeekTo(inner.Get(), 0);
    stream.ShortenAt(StreamCall::kRead, 2, left);
    EXPECT_EQ(ReadClassStm(&stream, &classId), STG_E_READFAULT);
    stream.FailAt(StreamCall::kRead, 3, kOwnCode);
    EXPECT_EQ(ReadClassStm(&stream, &classId), kOwnCode);
  }
}

TEST_F(Persistence, Save_WritesIdentifierThenObject) {
  const struct {
    const char* what;
    HRESULT getClassId, save;
    CLSID classId;
    HRESULT result;
    const char *calls, *content;
  } kRows[] = {
      {"all well", S_OK, S_OK, kScriptedClass, S_OK, "GetClassID Save(TRUE)", kObjectBytes},
      {"S_FALSE of Save", S_OK, S_FALSE, kScriptedClass, S_FALSE, "GetClassID Save(TRUE)",
       kObjectBytes},
      {"S_FALSE of GetClassID", S_FALSE, S_OK, kScriptedClass, S_OK, "GetClassID Save(TRUE)",
       kObjectBytes},
      {"null class", S_OK, S_OK, CLSID_NULL, S_OK, "GetClassID Save(TRUE)",
       "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 A1 A2 A3 A4 A5 A6"},
      {"failing GetClassID", kOwnCode, S_OK, kScriptedClass, kOwnCode, "GetClassID", ""},
      {"failing Save", S_OK, kOwnCode, kScriptedClass, kOwnCode, "GetClassID Save(TRUE)",
       kObjectBytes},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Restart();
    script_.getClassId = row.getClassId;
    script_.save = row.save;
    script_.classId = row.classId;
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(OleSaveToStream(NewObject().Get(), stream.Get()), row.result);
    EXPECT_EQ(script_.calls, row.calls);
    EXPECT_EQ(ContentOf(stream.Get()), row.content);
  }
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  stream.FailAt(StreamCall::kWrite, 1, kOwnCode);
  Restart();
  EXPECT_EQ(OleSaveToStream(NewObject().Get(), &stream), kOwnCode);
  EXPECT_EQ(script_.calls, "GetClassID");
  EXPECT_EQ(OleSaveToStream(NewObject().Get(), nullptr), E_INVALIDARG);
  EXPECT_EQ(script_.objects, 0);
}

TEST_F(Persistence, Load_GivesTheInterfaceAskedForOrNothing) {
  const struct {
    const char *what, *content;
    HRESULT create, load;
    bool hasPersistStream;
    IID iid;
    HRESULT result;
    const char* calls;
    ULONGLONG position;
  } kRows[] = {
      {"all well", kObjectBytes, S_OK, S_OK, true, kScriptedInterface, S_OK, "CreateInstance Load",
       22},
      {"as IUnknown", kObjectBytes, S_OK, S_OK, true, IID_IUnknown, S_OK, "CreateInstance Load",
       22},
      {"S_FALSE of Load", kObjectBytes, S_OK, S_FALSE, true, kScriptedInterface, S_FALSE,
       "CreateInstance Load", 22},
      {"failing Load", kObjectBytes, S_OK, kOwnCode, true, kScriptedInterface, kOwnCode,
       "CreateInstance Load", 22},
      {"failing CreateInstance", kObjectBytes, kOwnCode, S_OK, true, kScriptedInterface, kOwnCode,
       "CreateInstance", 16},
      {"no IPersistStream", kObjectBytes, S_OK, S_OK, false, kScriptedInterface, E_NOINTERFACE,
       "CreateInstance", 16},
      {"cut identifier", "51 7C 0A 1F 11 3C", S_OK, S_OK, true, kScriptedInterface, STG_E_READFAULT,
       "", 6},
      {"null class", kNullBytes, S_OK, S_OK, true, kScriptedInterface, REGDB_E_CLASSNOTREG, "", 16},
      {"unknown class", "52 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01 A1", S_OK, S_OK, true,
       kScriptedInterface, REGDB_E_CLASSNOTREG, "", 16},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Restart();
    script_.create = row.create;
    script_.load = row.load;
    script_.hasPersistStream = row.hasPersistStream;
    const ComPtr<IStream> stream = NewStream(row.content);
    void* out = &out;
    EXPECT_EQ(OleLoadFromStream(stream.Get(), row.iid, &out), row.result);
    EXPECT_EQ(script_.calls, row.calls);
    EXPECT_EQ(PositionOf(stream.Get()), row.position);
    if (SUCCEEDED(row.result)) {
      ASSERT_NE(out, nullptr);
      EXPECT_EQ(script_.objects, 1);
      static_cast<IUnknown*>(out)->Release();
      EXPECT_EQ(script_.objects, 0);
    } else if (kEmbeddedHost) {
      EXPECT_EQ(out, nullptr);
      EXPECT_EQ(script_.objects, 0);
    }
  }
}

TEST_F(Persistence, Load_MissingInterface_GivesNoInterface) {
  const ComPtr<IStream> stream = NewStream(kObjectBytes);
  void* out = &out;
  EXPECT_EQ(OleLoadFromStream(stream.Get(), kMissingInterface, &out), E_NOINTERFACE);
  if (!kEmbeddedHost) return;
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(script_.calls, "CreateInstance Load");
  EXPECT_EQ(script_.objects, 0);
  EXPECT_EQ(OleLoadFromStream(nullptr, IID_IUnknown, &out), E_INVALIDARG);
  EXPECT_EQ(OleLoadFromStream(stream.Get(), IID_IUnknown, nullptr), E_INVALIDARG);
}

}  // namespace
}  // namespace tests
