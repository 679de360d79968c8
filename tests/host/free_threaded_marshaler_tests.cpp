#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests {

constexpr IID kPlainInterface{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x04}};

// Aggregates a marshaler and tells its own count. It lives where it is declared: at 0 it only gives
// its marshaler up.
class AgileObject final : public IUnknown {
 public:
  AgileObject() { EXPECT_EQ(CoCreateFreeThreadedMarshaler(this, &marshaler_), S_OK); }
  ~AgileObject() { DropMarshaler(); }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (IsEqualIID(iid, IID_IMarshal)) return marshaler_->QueryInterface(iid, out);
    if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, kPlainInterface)) return E_NOINTERFACE;
    *out = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }

  void DropMarshaler() {
    if (marshaler_) marshaler_->Release();
    marshaler_ = nullptr;
  }
  IUnknown* Inner() { return marshaler_; }
  platform::ComPtr<IMarshal> Marshaler() {
    platform::ComPtr<IMarshal> marshaler;
    marshaler_->QueryInterface(IID_IMarshal, marshaler.PutVoid());
    return marshaler;
  }

  std::atomic<ULONG> references{1};

 private:
  IUnknown* marshaler_ = nullptr;
};

namespace {

using platform::ComPtr;

constexpr HRESULT kInvalidReference = platform::ResultCode(0x8001011D);
constexpr HRESULT kOwnCode = platform::ResultCode(0x80041234);
constexpr CLSID kOwnClass{0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr CLSID kStandardClass{0x00000017, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr ULONGLONG kDataBytes = 28;

class FreeThreadedMarshaler : public testing::Test {
 protected:
  FreeThreadedMarshaler() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~FreeThreadedMarshaler() override { CoUninitialize(); }

  // In-process data of the object, at position 0.
  ComPtr<IStream> DataOf(AgileObject& object, DWORD flags) {
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(object.Marshaler()->MarshalInterface(stream.Get(), kPlainInterface, &object,
                                                   MSHCTX_INPROC, nullptr, flags),
              S_OK);
    SeekTo(stream.Get(), 0);
    return stream;
  }

  // Reads the stream from the start.
  HRESULT Unmarshal(IStream* stream, ComPtr<IUnknown>& out, REFIID iid = kPlainInterface) {
    SeekTo(stream, 0);
    return reader_.Marshaler()->UnmarshalInterface(stream, iid, out.PutVoid());
  }
  HRESULT ReleaseData(IStream* stream) {
    SeekTo(stream, 0);
    return reader_.Marshaler()->ReleaseMarshalData(stream);
  }

 private:
  AgileObject reader_;
};

TEST_F(FreeThreadedMarshaler, IsPartOfTheOuterObject) {
  if (kEmbeddedHost) {
    EXPECT_EQ(CoCreateFreeThreadedMarshaler(nullptr, nullptr), E_INVALIDARG);
  }
  AgileObject object;
  EXPECT_EQ(object.references, 1u);
  ComPtr<IUnknown> inner;
  EXPECT_EQ(object.Inner()->QueryInterface(IID_IUnknown, inner.PutVoid()), S_OK);
  EXPECT_EQ(inner.Get(), object.Inner());
  EXPECT_EQ(object.references, 1u);
  void* missing = &missing;
  EXPECT_EQ(object.Inner()->QueryInterface(kPlainInterface, &missing), E_NOINTERFACE);
  EXPECT_EQ(missing, nullptr);

  ComPtr<IMarshal> marshaler = object.Marshaler();
  EXPECT_EQ(object.references, 2u);
  ComPtr<IUnknown> outer;
  EXPECT_EQ(marshaler->QueryInterface(kPlainInterface, outer.PutVoid()), S_OK);
  EXPECT_EQ(outer.Get(), &object);
  EXPECT_EQ(marshaler->AddRef(), 4u);
  EXPECT_EQ(marshaler->Release(), 3u);
  EXPECT_EQ(marshaler->DisconnectObject(0), S_OK);
}

TEST_F(FreeThreadedMarshaler, WithoutOuter_StandsAlone) {
  ComPtr<IUnknown> alone;
  ASSERT_EQ(CoCreateFreeThreadedMarshaler(nullptr, alone.Put()), S_OK);
  ComPtr<IMarshal> marshaler = alone.As<IMarshal>();
  ASSERT_TRUE(marshaler);
  EXPECT_EQ(marshaler.As<IUnknown>().Get(), alone.Get());
  EXPECT_FALSE(marshaler.As<IStream>());
  alone.Reset();
  EXPECT_EQ(marshaler->DisconnectObject(0), S_OK);
}

TEST_F(FreeThreadedMarshaler, ContextDecidesTheClass) {
  AgileObject object;
  const ComPtr<IMarshal> marshaler = object.Marshaler();
  for (DWORD context = MSHCTX_LOCAL; context <= MSHCTX_INPROC; ++context) {
    SCOPED_TRACE(context);
    CLSID classId{};
    DWORD bytes = 0;
    EXPECT_EQ(marshaler->GetUnmarshalClass(kPlainInterface, &object, context, nullptr,
                                           MSHLFLAGS_NORMAL, &classId),
              S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, context == MSHCTX_INPROC ? kOwnClass : kStandardClass));
    EXPECT_EQ(marshaler->GetMarshalSizeMax(kPlainInterface, &object, context, nullptr,
                                           MSHLFLAGS_NORMAL, &bytes),
              S_OK);
    if (context == MSHCTX_INPROC) {
      EXPECT_EQ(bytes, kDataBytes);
      continue;
    }
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(marshaler->MarshalInterface(stream.Get(), kPlainInterface, &object, context, nullptr,
                                          MSHLFLAGS_NORMAL),
              E_NOINTERFACE);
    EXPECT_EQ(CoMarshalInterface(stream.Get(), kPlainInterface, &object, context, nullptr,
                                 MSHLFLAGS_NORMAL),
              E_NOINTERFACE);
    EXPECT_EQ(ContentOf(stream.Get()), "");
  }
}

TEST_F(FreeThreadedMarshaler, Data_TellsFlagsEntryAndProcess) {
  AgileObject object;
  std::string process;
  for (DWORD flags = MSHLFLAGS_NORMAL; flags <= MSHLFLAGS_TABLEWEAK; ++flags) {
    const ComPtr<IStream> stream = DataOf(object, flags);
    const std::string content = ContentOf(stream.Get());
    EXPECT_EQ(BytesOf(content).size(), kDataBytes);
    EXPECT_EQ(content.substr(0, 11),
              std::string("0") + static_cast<char>('0' + flags) + " 00 00 00");
    if (kEmbeddedHost && flags > 0) {
      EXPECT_EQ(content.substr(36), process);
    }
    process = content.substr(36);
    EXPECT_EQ(ReleaseData(stream.Get()), S_OK);
  }
  if (kEmbeddedHost) {
    EXPECT_NE(process, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  }
}

TEST_F(FreeThreadedMarshaler, FlagsDecideWhatDataHolds) {
  const struct {
    DWORD flags;
    ULONG held;
    bool readsAgain;
  } kRows[] = {{MSHLFLAGS_NORMAL, 1, false},
               {MSHLFLAGS_TABLESTRONG, 1, true},
               {MSHLFLAGS_TABLEWEAK, 0, true}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.flags);
    AgileObject object;
    const ComPtr<IStream> stream = DataOf(object, row.flags);
    EXPECT_EQ(object.references, 1 + row.held);
    ComPtr<IUnknown> first, second;
    EXPECT_EQ(Unmarshal(stream.Get(), first), S_OK);
    EXPECT_EQ(first.Get(), &object);
    EXPECT_EQ(PositionOf(stream.Get()), kDataBytes);
    EXPECT_EQ(object.references, 2 + (row.readsAgain ? row.held : 0));
    if (row.readsAgain) {
      EXPECT_EQ(Unmarshal(stream.Get(), second), S_OK);
      EXPECT_EQ(second.Get(), &object);
      if (row.held > 0 || kEmbeddedHost) {
        EXPECT_EQ(ReleaseData(stream.Get()), S_OK);
        EXPECT_EQ(object.references, 3u);
      }
    }
    first.Reset();
    second.Reset();
    EXPECT_EQ(object.references, 1u);
  }
}

TEST_F(FreeThreadedMarshaler, ReleaseData_GivesUpTheReference) {
  for (const DWORD flags : {MSHLFLAGS_NORMAL, MSHLFLAGS_TABLESTRONG}) {
    AgileObject object;
    const ComPtr<IStream> stream = DataOf(object, flags);
    EXPECT_EQ(ReleaseData(stream.Get()), S_OK);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(PositionOf(stream.Get()), kDataBytes);
  }
}

TEST_F(FreeThreadedMarshaler, MissingInterface_GivesNullAndConsumesNormalData) {
  AgileObject object;
  const ComPtr<IStream> stream = DataOf(object, MSHLFLAGS_NORMAL);
  ComPtr<IUnknown> out;
  EXPECT_EQ(Unmarshal(stream.Get(), out, IID_IPersist), E_NOINTERFACE);
  EXPECT_FALSE(out);
  EXPECT_EQ(object.references, 1u);
}

TEST_F(FreeThreadedMarshaler, GivenUpData_IsRefused) {
  if (!kEmbeddedHost) GTEST_SKIP();
  AgileObject object;
  ComPtr<IUnknown> out;
  const ComPtr<IStream> read = DataOf(object, MSHLFLAGS_NORMAL);
  EXPECT_EQ(Unmarshal(read.Get(), out), S_OK);
  const ComPtr<IStream> released = DataOf(object, MSHLFLAGS_TABLESTRONG);
  EXPECT_EQ(ReleaseData(released.Get()), S_OK);
  // Takes the freed entry, under another generation.
  const ComPtr<IStream> next = DataOf(object, MSHLFLAGS_NORMAL);
  for (IStream* stream : {read.Get(), released.Get()}) {
    EXPECT_EQ(Unmarshal(stream, out), kInvalidReference);
    EXPECT_FALSE(out);
    EXPECT_EQ(ReleaseData(stream), kInvalidReference);
  }
  EXPECT_EQ(ReleaseData(next.Get()), S_OK);
  EXPECT_EQ(object.references, 1u);
}

TEST_F(FreeThreadedMarshaler, WeakData_SharesOneEntryAndDiesWithTheMarshaler) {
  if (!kEmbeddedHost) GTEST_SKIP();
  AgileObject object;
  const ComPtr<IStream> stream = DataOf(object, MSHLFLAGS_TABLEWEAK);
  const ComPtr<IStream> again = DataOf(object, MSHLFLAGS_TABLEWEAK);
  EXPECT_EQ(ContentOf(stream.Get()), ContentOf(again.Get()));
  ComPtr<IUnknown> out;
  EXPECT_EQ(ReleaseData(stream.Get()), S_OK);
  EXPECT_EQ(Unmarshal(stream.Get(), out), S_OK);
  object.DropMarshaler();
  EXPECT_EQ(Unmarshal(stream.Get(), out), kInvalidReference);
  EXPECT_EQ(ReleaseData(stream.Get()), kInvalidReference);
  EXPECT_EQ(object.references, 1u);
}

TEST_F(FreeThreadedMarshaler, DamagedData_IsRefusedAndCostsNoReference) {
  if (!kEmbeddedHost) GTEST_SKIP();
  constexpr struct {
    std::size_t offset;
    BYTE flip;
  } kRows[] = {{0, 0x01}, {0, 0x02}, {0, 0x03}, {0, 0x04}, {3, 0x80},  {4, 0x40},  {6, 0x01},
               {7, 0x80}, {7, 0xFF}, {8, 0x01}, {8, 0xFF}, {11, 0x80}, {12, 0x01}, {27, 0x80}};
  for (DWORD flags = MSHLFLAGS_NORMAL; flags <= MSHLFLAGS_TABLEWEAK; ++flags) {
    AgileObject object;
    const ComPtr<IStream> good = DataOf(object, flags);
    const ULONG held = object.references;
    for (const auto& row : kRows) {
      SCOPED_TRACE(testing::Message() << "flags " << flags << ", offset " << row.offset);
      std::vector<BYTE> data = BytesOf(ContentOf(good.Get()));
      data[row.offset] = static_cast<BYTE>(data[row.offset] ^ row.flip);
      const ComPtr<IStream> bad = NewStream(HexOf(data.data(), data.size()));
      ComPtr<IUnknown> out;
      EXPECT_EQ(Unmarshal(bad.Get(), out), kInvalidReference);
      EXPECT_FALSE(out);
      EXPECT_EQ(ReleaseData(bad.Get()), kInvalidReference);
      EXPECT_EQ(object.references, held);
    }
    for (const ULONG bytes : {0u, 4u, 12u, 27u}) {
      const ComPtr<IStream> cut = NewStream(ContentOf(good.Get()).substr(0, bytes * 3));
      ComPtr<IUnknown> out;
      EXPECT_EQ(Unmarshal(cut.Get(), out), STG_E_READFAULT);
      EXPECT_EQ(ReleaseData(cut.Get()), STG_E_READFAULT);
    }
    EXPECT_EQ(ReleaseData(good.Get()), S_OK);
    EXPECT_EQ(object.references, 1u);
  }
}

TEST_F(FreeThreadedMarshaler, FailingStream_LeavesNoReference) {
  if (!kEmbeddedHost) GTEST_SKIP();
  for (DWORD flags = MSHLFLAGS_NORMAL; flags <= MSHLFLAGS_TABLEWEAK; ++flags) {
    SCOPED_TRACE(flags);
    AgileObject object;
    const ComPtr<IStream> inner = NewStream();
    FaultStream stream(inner.Get());
    const ComPtr<IMarshal> marshaler = object.Marshaler();
    const auto marshal = [&](REFIID iid, DWORD asked) {
      return marshaler->MarshalInterface(&stream, iid, &object, MSHCTX_INPROC, nullptr, asked);
    };
    stream.FailAt(StreamCall::kWrite, 1, kOwnCode);
    EXPECT_EQ(marshal(kPlainInterface, flags), kOwnCode);
    stream.ShortenAt(StreamCall::kWrite, 2, 27);
    EXPECT_EQ(marshal(kPlainInterface, flags), STG_E_MEDIUMFULL);
    EXPECT_EQ(marshal(IID_IPersist, flags), E_NOINTERFACE);
    EXPECT_EQ(marshal(kPlainInterface, flags + 3), E_INVALIDARG);
    EXPECT_EQ(object.references, 2u);
    EXPECT_EQ(stream.Calls(StreamCall::kEvery), 2u);
    ComPtr<IUnknown> out;
    stream.FailAt(StreamCall::kRead, 1, kOwnCode);
    EXPECT_EQ(marshaler->UnmarshalInterface(&stream, IID_IUnknown, out.PutVoid()), kOwnCode);
    EXPECT_EQ(stream.References(), 0u);
  }
}

TEST_F(FreeThreadedMarshaler, ObjectReference_GivesTheOriginalOnAnyThread) {
  AgileObject object;
  for (const DWORD flags : {MSHLFLAGS_NORMAL, MSHLFLAGS_TABLESTRONG}) {
    const ComPtr<IStream> stream = NewStream();
    ASSERT_EQ(
        CoMarshalInterface(stream.Get(), kPlainInterface, &object, MSHCTX_INPROC, nullptr, flags),
        S_OK);
    EXPECT_EQ(ContentOf(stream.Get()).substr(0, 144),
              "4D 45 4F 57 04 00 00 00 54 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 04 "
              "3A 03 00 00 00 00 00 00 C0 00 00 00 00 00 00 46 00 00 00 00 1C 00 00 00 ");
    EXPECT_EQ(PositionOf(stream.Get()), 48 + kDataBytes);
    std::thread([&] {
      CoInitializeEx(nullptr, COINIT_MULTITHREADED);
      SeekTo(stream.Get(), 0);
      ComPtr<IUnknown> out;
      EXPECT_EQ(CoUnmarshalInterface(stream.Get(), IID_NULL, out.PutVoid()), S_OK);
      EXPECT_EQ(out.Get(), &object);
      out.Reset();
      CoUninitialize();
    }).join();
    if (flags == MSHLFLAGS_TABLESTRONG) {
      SeekTo(stream.Get(), 0);
      EXPECT_EQ(CoReleaseMarshalData(stream.Get()), S_OK);
    } else if (kEmbeddedHost) {
      void* out = &out;
      SeekTo(stream.Get(), 0);
      EXPECT_EQ(CoUnmarshalInterface(stream.Get(), IID_NULL, &out), kInvalidReference);
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(object.references, 1u);
  }
}

TEST_F(FreeThreadedMarshaler, NormalDataReadByManyThreads_GoesToOne) {
  if (!kEmbeddedHost) GTEST_SKIP();
  constexpr int kThreads = 4, kRounds = 200;
  AgileObject object;
  for (int round = 0; round < kRounds; ++round) {
    const std::vector<BYTE> data = BytesOf(ContentOf(DataOf(object, MSHLFLAGS_NORMAL).Get()));
    std::atomic<int> winners{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] {
        const ComPtr<IStream> stream = NewStream(HexOf(data.data(), data.size()));
        ComPtr<IUnknown> out;
        const HRESULT result = Unmarshal(stream.Get(), out);
        if (result == S_OK) ++winners;
        EXPECT_TRUE(result == S_OK || result == kInvalidReference);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(winners, 1);
    EXPECT_EQ(object.references, 1u);
  }
}

// Strong data that is released while others read it: a reader has the object or a refusal.
TEST_F(FreeThreadedMarshaler, StrongDataReleasedWhileRead_NeverDangles) {
  if (!kEmbeddedHost) GTEST_SKIP();
  AgileObject object;
  for (int round = 0; round < 200; ++round) {
    const ComPtr<IStream> made = DataOf(object, MSHLFLAGS_TABLESTRONG);
    const std::string data = ContentOf(made.Get());
    std::thread reader([&] {
      const ComPtr<IStream> stream = NewStream(data);
      ComPtr<IUnknown> out;
      while (Unmarshal(stream.Get(), out) == S_OK) EXPECT_EQ(out.Get(), &object);
    });
    EXPECT_EQ(ReleaseData(made.Get()), S_OK);
    reader.join();
    EXPECT_EQ(object.references, 1u);
  }
}

TEST_F(FreeThreadedMarshaler, ManyEntries_StayApart) {
  constexpr std::size_t kObjects = 300;
  std::vector<std::unique_ptr<AgileObject>> objects;
  std::vector<ComPtr<IStream>> streams;
  for (std::size_t i = 0; i < kObjects; ++i) {
    objects.push_back(std::make_unique<AgileObject>());
    streams.push_back(DataOf(*objects[i], i % 2 ? MSHLFLAGS_NORMAL : MSHLFLAGS_TABLESTRONG));
  }
  for (std::size_t i = 0; i < kObjects; ++i) {
    ComPtr<IUnknown> out;
    EXPECT_EQ(Unmarshal(streams[i].Get(), out), S_OK);
    EXPECT_EQ(out.Get(), objects[i].get());
    if (i % 2 == 0) {
      EXPECT_EQ(ReleaseData(streams[i].Get()), S_OK);
    }
  }
  for (const auto& object : objects) EXPECT_EQ(object->references, 1u);
}

}  // namespace
}  // namespace tests
