#include "tests/host/scripted_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using platform::ComPtr;

constexpr HRESULT kOwnCode = platform::ResultCode(0x80041234);
constexpr HRESULT kInvalidReference = platform::ResultCode(0x8001011D);
// The reference to kScriptedInterface of an object that claims 6 bytes and writes them.
constexpr char kReference[] =
    "4D 45 4F 57 04 00 00 00 54 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 04 "
    "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01 00 00 00 00 06 00 00 00 "
    "A1 A2 A3 A4 A5 A6";

class Marshalling : public ScriptedTest {
 protected:
  HRESULT Marshal(IStream* stream, DWORD context = MSHCTX_INPROC, DWORD flags = MSHLFLAGS_NORMAL) {
    return CoMarshalInterface(stream, kScriptedInterface, NewObject().Get(), context, nullptr,
                              flags);
  }
};

TEST_F(Marshalling, Marshal_WritesTheSameBytesInEveryContext) {
  int contextData = 0;
  for (DWORD context = MSHCTX_LOCAL; context <= MSHCTX_INPROC; ++context) {
    for (DWORD flags = MSHLFLAGS_NORMAL; flags <= MSHLFLAGS_TABLEWEAK; ++flags) {
      SCOPED_TRACE(testing::Message() << "context " << context << ", flags " << flags);
      Restart();
      const ComPtr<IStream> stream = NewStream();
      const ComPtr<IPersistStream> object = NewObject();
      EXPECT_EQ(CoMarshalInterface(stream.Get(), kScriptedInterface, object.Get(), context,
                                   &contextData, flags),
                S_OK);
      EXPECT_EQ(ContentOf(stream.Get()), kReference);
      EXPECT_EQ(script_.calls, "GetUnmarshalClass GetMarshalSizeMax MarshalInterface");
      EXPECT_TRUE(IsEqualIID(script_.iid, kScriptedInterface));
      EXPECT_EQ(script_.object, object.Get());
      EXPECT_EQ(script_.context, context);
      EXPECT_EQ(script_.contextData, &contextData);
      EXPECT_EQ(script_.flags, flags);
    }
  }
  EXPECT_EQ(script_.objects, 0);
}

TEST_F(Marshalling, Marshal_FailingStep_GivesItsCode) {
  const struct {
    const char* what;
    HRESULT getUnmarshalClass, getMarshalSizeMax, marshal, write;
    ULONGLONG written;
  } kRows[] = {
      {"GetUnmarshalClass", kOwnCode, S_OK, S_OK, S_OK, 0},
      {"GetMarshalSizeMax", S_OK, kOwnCode, S_OK, S_OK, 0},
      {"MarshalInterface", S_OK, S_OK, kOwnCode, S_OK, 48},
      {"Write", S_OK, S_OK, S_OK, kOwnCode, 0},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Restart();
    script_.getUnmarshalClass = row.getUnmarshalClass;
    script_.getMarshalSizeMax = row.getMarshalSizeMax;
    script_.marshal = row.marshal;
    const ComPtr<IStream> inner = NewStream();
    FaultStream stream(inner.Get());
    if (FAILED(row.write)) stream.FailAt(StreamCall::kWrite, 1, row.write);
    EXPECT_EQ(Marshal(&stream), kOwnCode);
    EXPECT_EQ(PositionOf(inner.Get()), row.written);
    EXPECT_EQ(ContentOf(inner.Get()).size(), row.written ? row.written * 3 - 1 : 0);
    EXPECT_EQ(script_.objects, 0);
    EXPECT_EQ(stream.References(), 0u);
  }
}

TEST_F(Marshalling, Marshal_HeaderIsOneWrite) {
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  EXPECT_EQ(Marshal(&stream), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kWrite), 2u);
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 2u);
}

TEST_F(Marshalling, NullArguments_AreInvalid) {
  const ComPtr<IStream> stream = NewStream(kReference);
  void* out = &out;
  EXPECT_EQ(Marshal(nullptr), E_INVALIDARG);
  EXPECT_EQ(CoMarshalInterface(stream.Get(), kScriptedInterface, nullptr, MSHCTX_INPROC, nullptr,
                               MSHLFLAGS_NORMAL),
            E_INVALIDARG);
  EXPECT_EQ(CoUnmarshalInterface(nullptr, IID_NULL, &out), E_INVALIDARG);
  EXPECT_EQ(CoUnmarshalInterface(stream.Get(), IID_NULL, nullptr), E_INVALIDARG);
  if (!kEmbeddedHost) return;
  EXPECT_EQ(CoReleaseMarshalData(nullptr), E_INVALIDARG);
  EXPECT_EQ(CoGetMarshalSizeMax(nullptr, kScriptedInterface, NewObject().Get(), MSHCTX_INPROC,
                                nullptr, MSHLFLAGS_NORMAL),
            E_INVALIDARG);
}

TEST_F(Marshalling, WithoutIMarshal_NothingIsWritten) {
  if (!kEmbeddedHost) GTEST_SKIP();
  script_.hasMarshal = false;
  const ComPtr<IStream> stream = NewStream();
  for (DWORD context = MSHCTX_LOCAL; context <= MSHCTX_INPROC; ++context) {
    ULONG bytes = 99;
    EXPECT_EQ(Marshal(stream.Get(), context), E_NOINTERFACE);
    EXPECT_EQ(CoGetMarshalSizeMax(&bytes, kScriptedInterface, NewObject().Get(), context, nullptr,
                                  MSHLFLAGS_NORMAL),
              E_NOINTERFACE);
  }
  EXPECT_EQ(ContentOf(stream.Get()), "");
}

TEST_F(Marshalling, SizeMax_AddsTheHeader) {
  const struct {
    DWORD claimed;
    HRESULT result;
    ULONG bytes;
    bool embeddedOnly;
  } kRows[] = {
      {0, S_OK, 48, false},
      {6, S_OK, 54, false},
      {6, kOwnCode, 0, false},
      {0xFFFFFFCF, S_OK, 0xFFFFFFFF, true},
      {0xFFFFFFFF, S_OK, 0xFFFFFFFF, true},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.claimed);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    Restart();
    script_.claimedBytes = row.claimed;
    script_.getMarshalSizeMax = row.result;
    ULONG bytes = 0;
    EXPECT_EQ(CoGetMarshalSizeMax(&bytes, kScriptedInterface, NewObject().Get(), MSHCTX_INPROC,
                                  nullptr, MSHLFLAGS_NORMAL),
              row.result);
    if (kEmbeddedHost) {
      EXPECT_EQ(bytes, row.bytes);
    }
    if (SUCCEEDED(row.result)) {
      EXPECT_GE(bytes, row.bytes);
    }
  }
}

TEST_F(Marshalling, Unmarshal_GivesTheInterfaceOfANewObject) {
  for (const IID& iid : {IID_NULL, kScriptedInterface, IID_IPersistStream, IID_IMarshal}) {
    Restart();
    const ComPtr<IStream> stream = NewStream(std::string(kReference) + " EE");
    ComPtr<IUnknown> first, second;
    EXPECT_EQ(CoUnmarshalInterface(stream.Get(), iid, first.PutVoid()), S_OK);
    EXPECT_EQ(script_.calls, "CreateInstance UnmarshalInterface");
    EXPECT_TRUE(IsEqualIID(script_.iid, kScriptedInterface));
    EXPECT_EQ(PositionOf(stream.Get()), 54u);
    SeekTo(stream.Get(), 0);
    EXPECT_EQ(CoUnmarshalInterface(stream.Get(), iid, second.PutVoid()), S_OK);
    EXPECT_NE(first.Get(), second.Get());
    EXPECT_EQ(script_.objects, 2);
  }
  EXPECT_EQ(script_.objects, 0);
}

// The extension's length and the claimed size are never acted upon, and what is wrong elsewhere
// ends the reading before an object is made.
TEST_F(Marshalling, Unmarshal_DamagedHeader_IsRefusedOrWithoutEffect) {
  const struct {
    const char* what;
    std::size_t offset;
    const char* bytes;
    HRESULT result;
    ULONGLONG position;
    bool embeddedOnly = false;
  } kRows[] = {
      {"claim too large", 44, "FF FF FF FF", S_OK, 54},
      {"claim too small", 44, "00 00 00 00", S_OK, 54},
      {"huge extension", 40, "FF FF FF FF", S_OK, 54},
      {"small extension", 40, "04 00 00 00", S_OK, 54},
      {"wrong first word", 0, "4C", kInvalidReference, 48},
      {"no form", 4, "00", kInvalidReference, 48},
      {"standard form", 4, "01", kInvalidReference, 48, true},
      {"two forms", 4, "05", kInvalidReference, 48, true},
      {"high form bits", 4, "04 00 00 80", kInvalidReference, 48, true},
      {"unknown class", 24, "52", REGDB_E_CLASSNOTREG, 48},
      {"null class", 24, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", REGDB_E_CLASSNOTREG,
       48},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    for (const bool releases : {false, true}) {
      Restart();
      const ComPtr<IStream> stream = NewStream(kReference);
      SeekTo(stream.Get(), static_cast<LONGLONG>(row.offset));
      const std::vector<BYTE> damage = BytesOf(row.bytes);
      stream->Write(damage.data(), static_cast<ULONG>(damage.size()), nullptr);
      SeekTo(stream.Get(), 0);
      void* out = nullptr;
      EXPECT_EQ(releases ? CoReleaseMarshalData(stream.Get())
                         : CoUnmarshalInterface(stream.Get(), IID_NULL, &out),
                row.result);
      if (row.result != kInvalidReference || kEmbeddedHost) {
        EXPECT_EQ(PositionOf(stream.Get()), row.position);
      }
      EXPECT_EQ(out != nullptr, row.result == S_OK && !releases);
      if (out) static_cast<IUnknown*>(out)->Release();
      EXPECT_EQ(script_.objects, 0);
    }
  }
}

TEST_F(Marshalling, Unmarshal_StreamEndsInsideHeader_GivesReadFault) {
  for (const ULONG bytes : {0u, 3u, 4u, 8u, 24u, 40u, 47u}) {
    SCOPED_TRACE(bytes);
    const ComPtr<IStream> stream = NewStream(std::string(kReference).substr(0, bytes * 3));
    void* out = &out;
    EXPECT_EQ(CoUnmarshalInterface(stream.Get(), IID_NULL, &out), STG_E_READFAULT);
    if (kEmbeddedHost) {
      EXPECT_EQ(out, nullptr);
    }
    SeekTo(stream.Get(), 0);
    EXPECT_EQ(CoReleaseMarshalData(stream.Get()), STG_E_READFAULT);
    EXPECT_EQ(script_.calls, "");
  }
  if (!kEmbeddedHost) return;
  const ComPtr<IStream> inner = NewStream(kReference);
  FaultStream stream(inner.Get());
  stream.FailAt(StreamCall::kRead, 1, kOwnCode);
  void* out = &out;
  EXPECT_EQ(CoUnmarshalInterface(&stream, IID_NULL, &out), kOwnCode);
  stream.Reset();
  EXPECT_EQ(CoReleaseMarshalData(&stream), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kRead), 2u);
}

TEST_F(Marshalling, Unmarshal_FailingObject_LeavesNothing) {
  const struct {
    const char* what;
    HRESULT create, unmarshal;
    bool hasMarshal, liesWithNull, liesWithPointer;
    IID iid;
    HRESULT result;
    const char* calls;
    bool embeddedOnly;
  } kRows[] = {
      {"CreateInstance", kOwnCode, S_OK, true, false, false, IID_NULL, kOwnCode, "CreateInstance",
       false},
      {"no IMarshal", S_OK, S_OK, false, false, false, IID_NULL, E_NOINTERFACE, "CreateInstance",
       false},
      {"UnmarshalInterface", S_OK, kOwnCode, true, false, false, IID_NULL, kOwnCode,
       "CreateInstance UnmarshalInterface", false},
      {"missing interface", S_OK, S_OK, true, false, false, kMissingInterface, E_NOINTERFACE,
       "CreateInstance UnmarshalInterface", false},
      {"success without object", S_OK, S_OK, true, true, false, IID_NULL, E_NOINTERFACE,
       "CreateInstance UnmarshalInterface", true},
      {"success without object, other interface", S_OK, S_OK, true, true, false, IID_IUnknown,
       E_NOINTERFACE, "CreateInstance UnmarshalInterface", true},
      {"failure with pointer", S_OK, kOwnCode, true, false, true, IID_NULL, kOwnCode,
       "CreateInstance UnmarshalInterface", true},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    Restart();
    script_.create = row.create;
    script_.unmarshal = row.unmarshal;
    script_.hasMarshal = row.hasMarshal;
    script_.liesWithNull = row.liesWithNull;
    script_.liesWithPointer = row.liesWithPointer;
    const ComPtr<IStream> stream = NewStream(kReference);
    void* out = &out;
    EXPECT_EQ(CoUnmarshalInterface(stream.Get(), row.iid, &out), row.result);
    EXPECT_EQ(script_.calls, row.calls);
    if (kEmbeddedHost) {
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(script_.objects, 0);
  }
}

TEST_F(Marshalling, ReleaseData_AsksTheClass) {
  for (const HRESULT result : {S_OK, S_FALSE, kOwnCode}) {
    Restart();
    script_.releaseData = result;
    const ComPtr<IStream> stream = NewStream(kReference);
    EXPECT_EQ(CoReleaseMarshalData(stream.Get()), result);
    EXPECT_EQ(script_.calls, "CreateInstance ReleaseMarshalData");
    EXPECT_EQ(PositionOf(stream.Get()), 54u);
    EXPECT_EQ(script_.objects, 0);
  }
}

}  // namespace
}  // namespace tests
