#include "tests/host/scripted_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

using platform::ComPtr;

constexpr HRESULT kInvalidReference = platform::ResultCode(0x8001011D);
// The reference to kScriptedInterface of an object that claims 6 bytes and writes them.
constexpr char kReference[] =
    "4D 45 4F 57 04 00 00 00 54 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 04 "
    "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01 00 00 00 00 06 00 00 00 "
    "A1 A2 A3 A4 A5 A6";

class Marshalling : public ScriptedTest {
 protected:
  HRESULT Marshal(IStream* stream, DWORD context = MSHCTX_INPROC) {
    return CoMarshalInterface(stream, kScriptedInterface, NewObject().Get(), context, nullptr,
                              MSHLFLAGS_NORMAL);
  }
  HRESULT SizeMax(ULONG* bytes, DWORD context = MSHCTX_INPROC) {
    return CoGetMarshalSizeMax(bytes, kScriptedInterface, NewObject().Get(), context, nullptr,
                               MSHLFLAGS_NORMAL);
  }
  // Reads an interface; what it gave is let go. Tells whether there was one.
  HRESULT Unmarshal(IStream* stream, bool* gave = nullptr, REFIID iid = IID_NULL) {
    void* out = kEmbeddedHost ? this : nullptr;
    const HRESULT result = CoUnmarshalInterface(stream, iid, &out);
    if (gave) *gave = out != nullptr;
    if (out && SUCCEEDED(result)) static_cast<IUnknown*>(out)->Release();
    return result;
  }
};

TEST_F(Marshalling, Marshal_WritesTheSameBytesInEveryContext) {
  int contextData = 0;
  for (DWORD context = MSHCTX_LOCAL; context <= MSHCTX_INPROC; ++context) {
    for (DWORD flags = MSHLFLAGS_NORMAL; flags <= MSHLFLAGS_TABLEWEAK; ++flags) {
      SCOPED_TRACE(testing::Message() << "context " << context << ", flags " << flags);
      Restart();
      const ComPtr<IStream> inner = NewStream();
      FaultStream stream(inner.Get());
      const ComPtr<IPersistStream> object = NewObject();
      EXPECT_EQ(CoMarshalInterface(&stream, kScriptedInterface, object.Get(), context, &contextData,
                                   flags),
                S_OK);
      EXPECT_EQ(ContentOf(inner.Get()), kReference);
      EXPECT_EQ(stream.Calls(StreamCall::kEvery), 2u) << "the header is one write";
      EXPECT_EQ(script_.calls, "GetUnmarshalClass GetMarshalSizeMax MarshalInterface");
      EXPECT_TRUE(IsEqualIID(script_.iid, kScriptedInterface));
      EXPECT_EQ(script_.object, object.Get());
      EXPECT_EQ(script_.context, context);
      EXPECT_EQ(script_.contextData, &contextData);
      EXPECT_EQ(script_.flags, flags);
    }
  }
}

TEST_F(Marshalling, Marshal_FailingStep_GivesItsCode) {
  HRESULT Script::*const steps[] = {&Script::getUnmarshalClass, &Script::getMarshalSizeMax,
                                    &Script::marshal, nullptr};
  for (const auto step : steps) {
    Restart();
    if (step) script_.*step = kOwnCode;
    const ComPtr<IStream> inner = NewStream();
    FaultStream stream(inner.Get());
    if (!step) stream.FailAt(StreamCall::kWrite, 1, kOwnCode);
    EXPECT_EQ(Marshal(&stream), kOwnCode);
    EXPECT_EQ(BytesOf(ContentOf(inner.Get())).size(), step == &Script::marshal ? 48u : 0u);
    EXPECT_EQ(stream.References(), 0u);
  }
}

TEST_F(Marshalling, WithoutArgumentOrIMarshal_IsRefused) {
  const ComPtr<IStream> stream = NewStream();
  void* out = &out;
  ExpectEach(E_INVALIDARG, {Marshal(nullptr), Unmarshal(nullptr),
                            CoUnmarshalInterface(stream.Get(), IID_NULL, nullptr),
                            CoMarshalInterface(stream.Get(), kScriptedInterface, nullptr,
                                               MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL)});
  if (!kEmbeddedHost) return;
  ExpectEach(E_INVALIDARG, {CoReleaseMarshalData(nullptr), SizeMax(nullptr)});
  script_.hasMarshal = false;
  for (DWORD context = MSHCTX_LOCAL; context <= MSHCTX_INPROC; ++context) {
    ULONG bytes = 99;
    ExpectEach(E_NOINTERFACE, {Marshal(stream.Get(), context), SizeMax(&bytes, context)});
  }
  EXPECT_EQ(ContentOf(stream.Get()), "");
}

TEST_F(Marshalling, SizeMax_AddsTheHeader) {
  const struct {
    DWORD claimed;
    HRESULT result;
    ULONG bytes;
  } kRows[] = {{0, S_OK, 48},
               {6, S_OK, 54},
               {6, kOwnCode, 0},
               {0xFFFFFFCF, S_OK, 0xFFFFFFFF},
               {0xFFFFFFFF, S_OK, 0xFFFFFFFF}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.claimed);
    if (row.claimed > 6 && !kEmbeddedHost) continue;
    Restart();
    script_.claimedBytes = row.claimed;
    script_.getMarshalSizeMax = row.result;
    ULONG bytes = 0;
    EXPECT_EQ(SizeMax(&bytes), row.result);
    EXPECT_TRUE(bytes == row.bytes || (bytes > row.bytes && !kEmbeddedHost));
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
}

// The extension's length and the claimed size are never acted upon, and what is wrong elsewhere
// ends the reading before an object is made.
TEST_F(Marshalling, Unmarshal_DamagedHeader_IsRefusedOrWithoutEffect) {
  const struct {
    std::size_t offset;
    const char* bytes;
    HRESULT result;
    bool embeddedOnly = false;
  } kRows[] = {{44, "FF FF FF FF", S_OK},
               {44, "00 00 00 00", S_OK},
               {40, "FF FF FF FF", S_OK},
               {40, "04 00 00 00", S_OK},
               {0, "4C", kInvalidReference},
               {4, "00", kInvalidReference},
               {4, "01", kInvalidReference, true},
               {4, "05", kInvalidReference, true},
               {4, "04 00 00 80", kInvalidReference, true},
               {24, "52", REGDB_E_CLASSNOTREG},
               {24, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", REGDB_E_CLASSNOTREG}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.bytes << " at " << row.offset);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    for (const bool releases : {false, true}) {
      Restart();
      const std::string_view good = kReference, damage = row.bytes;
      const ComPtr<IStream> stream =
          NewStream(std::string(good).replace(row.offset * 3, damage.size(), damage));
      bool gave = false;
      EXPECT_EQ(releases ? CoReleaseMarshalData(stream.Get()) : Unmarshal(stream.Get(), &gave),
                row.result);
      EXPECT_EQ(gave, row.result == S_OK && !releases);
      if (row.result == kInvalidReference && !kEmbeddedHost) continue;
      EXPECT_EQ(PositionOf(stream.Get()), row.result == S_OK ? 54u : 48u);
    }
  }
}

TEST_F(Marshalling, Unmarshal_StreamEndsInsideHeader_GivesReadFault) {
  bool gave = true;
  for (const ULONG bytes : {0u, 3u, 4u, 8u, 24u, 40u, 47u}) {
    SCOPED_TRACE(bytes);
    const ComPtr<IStream> stream = NewStream(std::string(kReference).substr(0, bytes * 3));
    EXPECT_EQ(Unmarshal(stream.Get(), &gave), STG_E_READFAULT);
    EXPECT_FALSE(gave);
    SeekTo(stream.Get(), 0);
    EXPECT_EQ(CoReleaseMarshalData(stream.Get()), STG_E_READFAULT);
    EXPECT_EQ(script_.calls, "");
  }
  if (!kEmbeddedHost) return;
  FaultStream stream(NewStream(kReference).Get());
  stream.FailAt(StreamCall::kRead, 1, kOwnCode);
  EXPECT_EQ(Unmarshal(&stream), kOwnCode);
  stream.Reset();
  EXPECT_EQ(CoReleaseMarshalData(&stream), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kRead), 2u);
}

TEST_F(Marshalling, Unmarshal_FailingObject_LeavesNothing) {
  const struct {
    const char* what;
    void (*change)(Script&);
    IID iid;
    HRESULT result;
    const char* calls;
    bool embeddedOnly = false;
  } kRows[] = {
      {"create", [](Script& s) { s.create = kOwnCode; }, IID_NULL, kOwnCode, ""},
      {"no IMarshal", [](Script& s) { s.hasMarshal = false; }, IID_NULL, E_NOINTERFACE, ""},
      {"unmarshal", [](Script& s) { s.unmarshal = kOwnCode; }, IID_NULL, kOwnCode,
       " UnmarshalInterface"},
      {"missing", [](Script&) {}, kMissingInterface, E_NOINTERFACE, " UnmarshalInterface"},
      {"lie", [](Script& s) { s.liesWithNull = true; }, IID_NULL, E_NOINTERFACE,
       " UnmarshalInterface", true},
      {"lie, asked on", [](Script& s) { s.liesWithNull = true; }, IID_IUnknown, E_NOINTERFACE,
       " UnmarshalInterface", true},
      {"failure with pointer", [](Script& s) { s.unmarshal = kOwnCode, s.liesWithPointer = true; },
       IID_NULL, kOwnCode, " UnmarshalInterface", true}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    Restart();
    row.change(script_);
    bool gave = false;
    EXPECT_EQ(Unmarshal(NewStream(kReference).Get(), &gave, row.iid), row.result);
    EXPECT_EQ(script_.calls, std::string("CreateInstance") + row.calls);
    EXPECT_FALSE(gave);
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
  }
}

}  // namespace
}  // namespace tests
