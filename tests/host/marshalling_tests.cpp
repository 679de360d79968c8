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
  HRESULT Marshal(IStream* stream) {
    return CoMarshalInterface(stream, kScriptedInterface, NewObject().Get(), MSHCTX_INPROC, nullptr,
                              MSHLFLAGS_NORMAL);
  }
  HRESULT SizeMax(ULONG* bytes) {
    return CoGetMarshalSizeMax(bytes, kScriptedInterface, NewObject().Get(), MSHCTX_INPROC, nullptr,
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

TEST_F(Marshalling, Marshal_WritesHeaderAndData) {
  int contextData = 0;
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  const ComPtr<IPersistStream> object = NewObject();
  EXPECT_EQ(CoMarshalInterface(&stream, kScriptedInterface, object.Get(), MSHCTX_LOCAL,
                               &contextData, MSHLFLAGS_TABLEWEAK),
            S_OK);
  EXPECT_EQ(ContentOf(inner.Get()), kReference);
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 2u) << "the header is one write";
  EXPECT_EQ(script_.calls, "GetUnmarshalClass GetMarshalSizeMax MarshalInterface");
  EXPECT_TRUE(IsEqualIID(script_.iid, kScriptedInterface));
  EXPECT_EQ(script_.object, object.Get());
  EXPECT_EQ(script_.context, DWORD{MSHCTX_LOCAL});
  EXPECT_EQ(script_.contextData, &contextData);
  EXPECT_EQ(script_.flags, DWORD{MSHLFLAGS_TABLEWEAK});
}

TEST_F(Marshalling, Marshal_FailingStep_GivesItsCode) {
  for (const auto step : {&Script::getUnmarshalClass, &Script::marshal}) {
    Restart();
    script_.*step = kOwnCode;
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(Marshal(stream.Get()), kOwnCode);
    EXPECT_EQ(PositionOf(stream.Get()), step == &Script::marshal ? 48u : 0u);
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
  ULONG bytes = 99;
  ExpectEach(E_NOINTERFACE, {Marshal(stream.Get()), SizeMax(&bytes)});
  EXPECT_EQ(ContentOf(stream.Get()), "");
}

TEST_F(Marshalling, SizeMax_AddsTheHeader) {
  for (const auto& [claimed, expected] : {std::pair{6u, 54u}, {0xFFFFFFCFu, ~0u}, {~0u, ~0u}}) {
    if (claimed > 6 && !kEmbeddedHost) continue;
    script_.claimedBytes = claimed;
    ULONG bytes = 0;
    EXPECT_EQ(SizeMax(&bytes), S_OK);
    EXPECT_TRUE(bytes == expected || (bytes > expected && !kEmbeddedHost));
  }
}

TEST_F(Marshalling, Unmarshal_GivesTheInterfaceOfANewObject) {
  const ComPtr<IStream> stream = NewStream(std::string(kReference) + " EE");
  EXPECT_EQ(Unmarshal(stream.Get(), nullptr, IID_IPersistStream), S_OK);
  EXPECT_EQ(script_.calls, "CreateInstance UnmarshalInterface");
  EXPECT_TRUE(IsEqualIID(script_.iid, kScriptedInterface));
  EXPECT_EQ(PositionOf(stream.Get()), 54u);
  for (const ULONG bytes : {0u, 47u}) {
    const ComPtr<IStream> cut = NewStream(std::string(kReference).substr(0, bytes * 3));
    EXPECT_EQ(Unmarshal(cut.Get()), STG_E_READFAULT);
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
               {40, "FF FF FF FF", S_OK},
               {0, "4C", kInvalidReference},
               {4, "00", kInvalidReference},
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

TEST_F(Marshalling, Unmarshal_FailingObject_LeavesNothing) {
  for (int row = 0; row < (kEmbeddedHost ? 5 : 4); ++row) {
    SCOPED_TRACE(row);
    Restart();
    if (row == 0) script_.create = kOwnCode;
    if (row == 1) script_.unmarshal = kOwnCode;
    if (row == 2) script_.hasMarshal = false;
    if (row == 4) script_.liesWithNull = true;
    bool gave = true;
    EXPECT_EQ(
        Unmarshal(NewStream(kReference).Get(), &gave, row == 3 ? kMissingInterface : IID_NULL),
        row < 2 ? kOwnCode : E_NOINTERFACE);
    EXPECT_FALSE(gave);
  }
}

}  // namespace
}  // namespace tests
