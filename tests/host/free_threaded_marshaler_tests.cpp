#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/doubles.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests {

constexpr IID kPlainInterface{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x04}};

// Aggregates a marshaler and tells the references that others hold.
class AgileObject final : public Double<IUnknown> {
 public:
  AgileObject() { EXPECT_EQ(CoCreateFreeThreadedMarshaler(this, inner.Put()), S_OK); }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (IsEqualIID(iid, IID_IMarshal)) return inner->QueryInterface(iid, out);
    return Double::QueryInterface(IsEqualIID(iid, kPlainInterface) ? IID_IUnknown : iid, out);
  }
  platform::ComPtr<IMarshal> Marshaler() { return inner.As<IMarshal>(); }

  platform::ComPtr<IUnknown> inner;
};

namespace {

using platform::ComPtr;

constexpr HRESULT kInvalidReference = platform::ResultCode(0x8001011D);
constexpr HRESULT kOwnCode = platform::ResultCode(0x80041234);
constexpr CLSID kOwnClass{0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr CLSID kStandardClass{0x00000017, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr ULONGLONG kDataBytes = 28;
constexpr DWORD kAllFlags[] = {MSHLFLAGS_NORMAL, MSHLFLAGS_TABLESTRONG, MSHLFLAGS_TABLEWEAK};

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
  void ExpectRefused(IStream* stream, HRESULT code = kInvalidReference) {
    ComPtr<IUnknown> out;
    EXPECT_EQ(Unmarshal(stream, out), code);
    EXPECT_FALSE(out);
    EXPECT_EQ(ReleaseData(stream), code);
  }

 private:
  AgileObject reader_;
};

TEST_F(FreeThreadedMarshaler, IsPartOfTheOuterObject) {
  AgileObject object;
  EXPECT_EQ(object.inner.As<IUnknown>().Get(), object.inner.Get());
  const ComPtr<IMarshal> marshaler = object.Marshaler();
  EXPECT_EQ(object.references, 1);
  ComPtr<IUnknown> outer, alone;
  EXPECT_EQ(marshaler->QueryInterface(kPlainInterface, outer.PutVoid()), S_OK);
  EXPECT_EQ(outer.Get(), &object);
  ASSERT_EQ(CoCreateFreeThreadedMarshaler(nullptr, alone.Put()), S_OK);
  EXPECT_EQ(alone.As<IMarshal>().As<IUnknown>().Get(), alone.Get());
}

TEST_F(FreeThreadedMarshaler, ContextDecidesTheClass) {
  AgileObject object;
  for (const DWORD context : {MSHCTX_DIFFERENTMACHINE, MSHCTX_INPROC}) {
    CLSID classId{};
    EXPECT_EQ(object.Marshaler()->GetUnmarshalClass(kPlainInterface, &object, context, nullptr, 0,
                                                    &classId),
              S_OK);
    EXPECT_TRUE(IsEqualCLSID(classId, context == MSHCTX_INPROC ? kOwnClass : kStandardClass));
  }
  EXPECT_EQ(
      CoMarshalInterface(NewStream().Get(), kPlainInterface, &object, MSHCTX_LOCAL, nullptr, 0),
      E_NOINTERFACE);
}

TEST_F(FreeThreadedMarshaler, FlagsDecideWhatDataHolds) {
  for (const DWORD flags : kAllFlags) {
    SCOPED_TRACE(flags);
    const int held = flags == MSHLFLAGS_TABLEWEAK ? 0 : 1;
    AgileObject object;
    const ComPtr<IStream> stream = DataOf(object, flags);
    const std::string content = ContentOf(stream.Get());
    EXPECT_EQ(BytesOf(content).size(), kDataBytes);
    EXPECT_EQ(content.substr(0, 11), '0' + std::to_string(flags) + " 00 00 00");
    EXPECT_EQ(object.references, held);
    ComPtr<IUnknown> first, second;
    EXPECT_EQ(Unmarshal(stream.Get(), first), S_OK);
    EXPECT_EQ(first.Get(), &object);
    EXPECT_EQ(PositionOf(stream.Get()), kDataBytes);
    EXPECT_EQ(object.references, flags == MSHLFLAGS_NORMAL ? 1 : 1 + held);
    if (flags == MSHLFLAGS_NORMAL) continue;
    EXPECT_EQ(Unmarshal(stream.Get(), second), S_OK);
    if (flags == MSHLFLAGS_TABLEWEAK && !kEmbeddedHost) continue;
    EXPECT_EQ(ReleaseData(stream.Get()), S_OK);
    EXPECT_EQ(object.references, 2);
  }
}

TEST_F(FreeThreadedMarshaler, GivenUpData_IsRefused) {
  if (!kEmbeddedHost) GTEST_SKIP();
  AgileObject object;
  ComPtr<IUnknown> out;
  const ComPtr<IStream> read = DataOf(object, MSHLFLAGS_NORMAL);
  EXPECT_EQ(Unmarshal(read.Get(), out, IID_IPersist), E_NOINTERFACE);
  const ComPtr<IStream> released = DataOf(object, MSHLFLAGS_TABLESTRONG);
  EXPECT_EQ(ReleaseData(released.Get()), S_OK);
  // Takes the freed entry, under another generation.
  const ComPtr<IStream> next = DataOf(object, MSHLFLAGS_NORMAL);
  ExpectRefused(read.Get());
  ExpectRefused(released.Get());
  EXPECT_EQ(ReleaseData(next.Get()), S_OK);

  // Weak data dies with the marshaler.
  const ComPtr<IStream> weak = DataOf(object, MSHLFLAGS_TABLEWEAK);
  EXPECT_EQ(ReleaseData(weak.Get()), S_OK);
  EXPECT_EQ(Unmarshal(weak.Get(), out), S_OK);
  object.inner.Reset();
  ExpectRefused(weak.Get());
  out.Reset();
  EXPECT_EQ(object.references, 0);
}

TEST_F(FreeThreadedMarshaler, DamagedData_IsRefusedAndCostsNoReference) {
  if (!kEmbeddedHost) GTEST_SKIP();
  constexpr std::pair<std::size_t, BYTE> kRows[] = {{0, 0x01}, {0, 0x02},  {3, 0x80},  {4, 0x40},
                                                    {7, 0xFF}, {11, 0x80}, {12, 0x01}, {27, 0x80}};
  for (const DWORD flags : kAllFlags) {
    AgileObject object;
    const ComPtr<IStream> good = DataOf(object, flags);
    const int held = object.references;
    for (const auto& [offset, flip] : kRows) {
      SCOPED_TRACE(testing::Message() << "flags " << flags << ", offset " << offset);
      std::vector<BYTE> data = BytesOf(ContentOf(good.Get()));
      data[offset] = static_cast<BYTE>(data[offset] ^ flip);
      ExpectRefused(NewStream(HexOf(data.data(), data.size())).Get());
      EXPECT_EQ(object.references, held);
    }
    for (const ULONG bytes : {0u, 4u, 12u, 27u}) {
      ExpectRefused(NewStream(ContentOf(good.Get()).substr(0, bytes * 3)).Get(), STG_E_READFAULT);
    }
    EXPECT_EQ(ReleaseData(good.Get()), S_OK);
    EXPECT_EQ(object.references, 0);
  }
}

TEST_F(FreeThreadedMarshaler, FailingStream_LeavesNoReference) {
  if (!kEmbeddedHost) GTEST_SKIP();
  for (const DWORD flags : kAllFlags) {
    SCOPED_TRACE(flags);
    AgileObject object;
    FaultStream stream(NewStream().Get());
    const auto marshal = [&](REFIID iid, DWORD asked) {
      return object.Marshaler()->MarshalInterface(&stream, iid, &object, MSHCTX_INPROC, nullptr,
                                                  asked);
    };
    stream.FailAt(StreamCall::kWrite, 1, kOwnCode);
    EXPECT_EQ(marshal(kPlainInterface, flags), kOwnCode);
    stream.ShortenAt(StreamCall::kWrite, 2, 27);
    EXPECT_EQ(marshal(kPlainInterface, flags), STG_E_MEDIUMFULL);
    EXPECT_EQ(marshal(IID_IPersist, flags), E_NOINTERFACE);
    EXPECT_EQ(marshal(kPlainInterface, flags + 3), E_INVALIDARG);
    EXPECT_EQ(object.references, 0);
  }
}

TEST_F(FreeThreadedMarshaler, ObjectReference_HoldsHeaderAndData) {
  AgileObject object;
  const ComPtr<IStream> stream = NewStream();
  ASSERT_EQ(CoMarshalInterface(stream.Get(), kPlainInterface, &object, MSHCTX_INPROC, nullptr, 0),
            S_OK);
  EXPECT_EQ(ContentOf(stream.Get()).substr(0, 144),
            "4D 45 4F 57 04 00 00 00 54 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 04 "
            "3A 03 00 00 00 00 00 00 C0 00 00 00 00 00 00 46 00 00 00 00 1C 00 00 00 ");
  EXPECT_EQ(PositionOf(stream.Get()), 48 + kDataBytes);
  SeekTo(stream.Get(), 0);
  ComPtr<IUnknown> out;
  EXPECT_EQ(CoUnmarshalInterface(stream.Get(), IID_NULL, out.PutVoid()), S_OK);
  EXPECT_EQ(out.Get(), &object);
  EXPECT_EQ(object.references, 1);
}

// Normal data goes to one of its readers. Strong data that is released while others read it gives
// the object or a refusal.
TEST_F(FreeThreadedMarshaler, DataReadByManyThreads_NeverDangles) {
  if (!kEmbeddedHost) GTEST_SKIP();
  AgileObject object;
  for (int round = 0; round < 200; ++round) {
    const ComPtr<IStream> normal = DataOf(object, MSHLFLAGS_NORMAL);
    const ComPtr<IStream> strong = DataOf(object, MSHLFLAGS_TABLESTRONG);
    const std::string normalData = ContentOf(normal.Get()), strongData = ContentOf(strong.Get());
    std::atomic<int> winners{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        ComPtr<IUnknown> out;
        const HRESULT result = Unmarshal(NewStream(normalData).Get(), out);
        if (result == S_OK) ++winners;
        EXPECT_TRUE(result == S_OK || result == kInvalidReference);
        const ComPtr<IStream> stream = NewStream(strongData);
        while (Unmarshal(stream.Get(), out) == S_OK) EXPECT_EQ(out.Get(), &object);
      });
    }
    EXPECT_EQ(ReleaseData(strong.Get()), S_OK);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(winners, 1);
    EXPECT_EQ(object.references, 0);
  }
}

}  // namespace
}  // namespace tests
