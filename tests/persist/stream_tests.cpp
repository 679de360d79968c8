// The counting stream, and texts and objects on streams.
#include "module/persist/streams.h"

#include <gmock/gmock.h>

#include <functional>
#include <list>

#include "tests/persist/test_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/results.h"

// Sizes that cannot be had end in a null pointer under the sanitizer too.
#pragma GCC visibility push(default)
extern "C" const char* __asan_default_options();
const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#pragma GCC visibility pop

namespace tests {
namespace {

using platform::ComPtr;
using rastel::_bstr_t;
using rastel::CNullDeviceStream;
using Text = std::basic_string<OLECHAR>;

constexpr HRESULT kFull = platform::ResultCode(0x80030070u);
constexpr HRESULT kMemory = platform::ResultCode(0x8007000Eu);

TEST(CountingStream, CountsWritesAndRefusesEverythingElse) {
  CNullDeviceStream counter;
  IStream* const stream = &counter;
  ULONG count = 7;
  EXPECT_EQ(stream->Write(nullptr, 0, &count), S_OK);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(counter.Count(), 0u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(stream->Write(nullptr, 0xFFFFFFFF, nullptr), S_OK);
  EXPECT_EQ(stream->Write("ab", 2, &count), S_OK);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(counter.Count(), 0x2FFFFFFFFull);

  BYTE byte = 7;
  ULARGE_INTEGER position{};
  position.QuadPart = 7;
  STATSTG stat{};
  IStream* clone = stream;
  ExpectEach(
      E_NOTIMPL,
      {stream->Read(&byte, 1, &count), stream->SetSize(position), stream->Commit(0),
       stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, &position), stream->Revert(),
       stream->CopyTo(stream, position, &position, &position),
       stream->LockRegion(position, position, 0), stream->UnlockRegion(position, position, 0),
       stream->Clone(&clone), stream->Stat(&stat, STATFLAG_NONAME)});
  EXPECT_TRUE(byte == 7 && count == 2 && position.QuadPart == 7 && clone == stream);
}

TEST(CountingStream, AnswersItsThreeInterfacesAndIsToldFromOthersWithoutACall) {
  CNullDeviceStream counter;
  for (const IID& iid : {IID_IUnknown, IID_ISequentialStream, IID_IStream}) {
    void* out = nullptr;
    EXPECT_EQ(counter.QueryInterface(iid, &out), S_OK);
    EXPECT_EQ(out, static_cast<IStream*>(&counter));
  }
  void* out = &counter;
  EXPECT_EQ(counter.QueryInterface(IID_IPersistStream, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  // It gives the count from before.
  EXPECT_EQ(counter.AddRef(), 3u);
  EXPECT_EQ(counter.Release(), 3u);
  FaultStream other(&counter);
  EXPECT_EQ(CNullDeviceStream::Behind(&counter), &counter);
  EXPECT_EQ(CNullDeviceStream::Behind(&other), nullptr);
  EXPECT_EQ(CNullDeviceStream::Behind(NewStream().Get()), nullptr);
  EXPECT_EQ(CNullDeviceStream::Behind(nullptr), nullptr);
  EXPECT_EQ(other.References(), 0u);
}

// Names of AOIs and keys of maps show texts that come and go whole, and streams that fail.
TEST(Texts, WriteBstr_KeepsTheTextThatTheStreamTakesAway) {
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  _bstr_t holder(OLESTR("ab"));
  stream.onCall = [&] { holder.Release(); };
  rastel::WriteBstr(&stream, holder);
  EXPECT_EQ(ContentOf(inner.Get()), "02 00 00 00 61 00 62 00");
}

TEST(Texts, ReadBstr_EndsAtTheFirstNullAndShowsZerosForWhatIsMissing) {
  const ULONGLONG before = ResidentBytes();
  const struct {
    const char* stream;
    HRESULT expected;
    Text text;
  } rows[] = {{"00 00 00 00", S_OK, OLESTR("")},
              {"", S_OK, OLESTR("")},
              {"02 00 00 00 61 00 62 00 63 00", S_OK, OLESTR("ab")},
              {"03 00 00 00 61 00 00 00 62 00", S_OK, OLESTR("a")},
              {"03 00 00 00 61 00 62", S_OK, OLESTR("ab")},
              {"FF FF 00 00 61 00", S_OK, OLESTR("a")},
              {"FD FF FF 7F 61 00", kMemory, OLESTR("old")},
              {"01 00 00 80 61 00", kMemory, OLESTR("old")},
              {"FF FF FF FF 61 00", kMemory, OLESTR("old")}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.stream);
    const ComPtr<IStream> stream = NewStream(row.stream);
    _bstr_t holder(OLESTR("old"));
    EXPECT_EQ(Raised([&] { rastel::ReadBstr(stream.Get(), holder); }), row.expected);
    ASSERT_NE(holder.Wide(), nullptr);
    EXPECT_EQ(Text(holder.Wide(), holder.Length()), row.text);
  }
  // The longest text that a BSTR can hold, of which one character comes.
  const ComPtr<IStream> stream = NewStream("FC FF FF 7F 61 00");
  _bstr_t holder;
  const HRESULT result = Raised([&] { rastel::ReadBstr(stream.Get(), holder); });
  EXPECT_THAT(result, testing::AnyOf(S_OK, kMemory));
  EXPECT_EQ(holder.Length(), result == S_OK ? 1u : 0u);
  EXPECT_LT(ResidentBytes(), before + (64u << 20));
}

TEST(Scalars, ReadIntoTheValueItself) {
  std::uint32_t value = 0xAAAAAAAA;
  EXPECT_EQ(rastel::ReadScalar(NewStream("01 02").Get(), value), S_OK);
  EXPECT_EQ(value, 0xAAAA0201u);
  rastel::ReadScalarOrRaise(NewStream("01 02 03 04").Get(), value);
  EXPECT_EQ(value, 0x04030201u);
  CNullDeviceStream counter;
  EXPECT_EQ(Raised([&] { rastel::ReadScalarOrRaise(&counter, value); }), E_NOTIMPL);
}

class Objects : public ObjectTest {};

TEST_F(Objects, AreWrittenBehindAPresenceMark) {
  const std::string whole = std::string("01 ") + kTestClassHex + " A1 A2";
  const struct {
    const char* what;
    std::function<void(Script&)> change;
    HRESULT written;
    std::string content;
    HRESULT sized;
    ULONGLONG bytes;
  } rows[] = {
      {"good", [](Script&) {}, S_OK, whole, S_OK, 117},
      {"S_FALSE", [](Script& s) { s.save = s.getSizeMax = S_FALSE; }, S_OK, whole, S_OK, 117},
      {"none", [](Script& s) { s.query = E_NOINTERFACE; }, E_NOINTERFACE, "01", E_NOINTERFACE, 1},
      {"refuses", [](Script& s) { s.query = kFull; }, E_NOINTERFACE, "01", E_NOINTERFACE, 1},
      {"class", [](Script& s) { s.getClassId = kFull; }, kFull, "01", S_OK, 117},
      {"save", [](Script& s) { s.save = s.getSizeMax = kFull; }, kFull, whole, kFull, 1}};
  const ComPtr<TestObject> object = NewObject();
  IDispatch* const pointer = object.Get();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Restart("A1 A2");
    row.change(script_);
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(Raised([&] { rastel::WriteObject(stream.Get(), pointer); }), row.written);
    EXPECT_EQ(ContentOf(stream.Get()), row.content);
    ULONGLONG total = 0;
    EXPECT_EQ(Raised([&] { rastel::AddObjectSize(total, pointer); }), row.sized);
    EXPECT_EQ(total, row.bytes);
  }
  const ComPtr<IStream> stream = NewStream();
  rastel::WriteObject(stream.Get(), nullptr);
  EXPECT_EQ(ContentOf(stream.Get()), "00");
  ULONGLONG total = 5;
  rastel::AddObjectSize(total, nullptr);
  EXPECT_EQ(total, 6u);
  CNullDeviceStream counter;
  Restart("A1 A2");
  rastel::WriteObject(&counter, pointer);
  EXPECT_EQ(counter.Count(), 19u);
  const std::list<rastel::NestedLevel> tooDeep(rastel::kMostNestingLevels);
  EXPECT_EQ(Raised([&] { rastel::WriteObject(&counter, pointer); }), E_ACCESSDENIED);
  EXPECT_EQ(Raised([&] { rastel::AddObjectSize(total, pointer); }), E_ACCESSDENIED);
}

TEST_F(Objects, Read_GivesTheOldObjectUpWhateverTheMarkSays) {
  Register();
  script_.data = "A1 A2";
  const std::string object = std::string(kTestClassHex) + "A1 A2";
  const struct {
    std::string stream;
    HRESULT load, expected;
    bool hasNew, keepsOld;
  } rows[] = {{"00", S_OK, S_OK, false, false},
              {"01" + object, S_OK, S_OK, true, false},
              {"07" + object, S_FALSE, S_OK, true, false},
              {"01" + object, kFull, kFull, false, false},
              {"01" + std::string(32, '0'), S_OK, REGDB_E_CLASSNOTREG, false, false},
              {"01 10 7A", S_OK, platform::ResultCode(0x8003001Eu), false, false},
              {"", S_OK, S_OK, false, false},
              {"failing", S_OK, kFull, false, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.stream);
    script_.load = row.load;
    const ComPtr<IStream> inner = NewStream(row.keepsOld ? "" : row.stream);
    FaultStream stream(inner.Get());
    if (row.keepsOld) stream.FailAt(StreamCall::kRead, 1, kFull);
    ComPtr<IDispatch> pointer;
    pointer.Attach(NewObject().Detach());
    IDispatch* const old = pointer.Get();
    // The release comes when the pointer has its new value.
    script_.onRelease = [&] {
      EXPECT_NE(pointer.Get(), old);
      EXPECT_EQ(static_cast<bool>(pointer), row.hasNew);
    };
    EXPECT_EQ(Raised([&] { rastel::ReadObject(&stream, pointer); }), row.expected);
    script_.onRelease = nullptr;
    EXPECT_EQ(script_.objects, row.hasNew || row.keepsOld ? 1 : 0);
    EXPECT_EQ(static_cast<bool>(pointer), row.hasNew || row.keepsOld);
    EXPECT_EQ(stream.References(), 0u);
  }
}

}  // namespace
}  // namespace tests
