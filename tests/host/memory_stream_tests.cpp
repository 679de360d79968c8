#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using platform::ComPtr;

ULARGE_INTEGER Bytes(ULONGLONG count) {
  ULARGE_INTEGER bytes;
  bytes.QuadPart = count;
  return bytes;
}

ULONGLONG SizeOf(IStream* stream) {
  STATSTG stat{};
  EXPECT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
  return stat.cbSize.QuadPart;
}

TEST(MemoryStream, Create_AnswersThreeIdentifiersOrInvalidArgument) {
  const ComPtr<IStream> stream = NewStream();
  for (const IID& iid : {IID_IUnknown, IID_ISequentialStream, IID_IStream}) {
    ComPtr<IUnknown> found;
    EXPECT_EQ(stream->QueryInterface(iid, found.PutVoid()), S_OK);
    EXPECT_EQ(static_cast<void*>(found.Get()), static_cast<void*>(stream.Get()));
  }
  void* other = &other;
  EXPECT_EQ(stream->QueryInterface(IID_IPersist, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, nullptr), E_INVALIDARG);
  if (!kEmbeddedHost) return;
  int noHandle = 0;
  ComPtr<IStream> none;
  EXPECT_EQ(CreateStreamOnHGlobal(reinterpret_cast<HGLOBAL>(&noHandle), TRUE, none.Put()),
            E_INVALIDARG);
  EXPECT_FALSE(none);
}

TEST(MemoryStream, Read_FallsShortAtTheEnd_GivesSuccessAndTheCount) {
  constexpr struct {
    ULONG position, wanted, count;
    const char* buffer;
  } kRows[] = {{0, 4, 4, "00 01 02 03 CC CC CC CC"}, {1, 7, 7, "01 02 03 04 05 06 07 CC"},
               {5, 8, 3, "05 06 07 CC CC CC CC CC"}, {8, 8, 0, "CC CC CC CC CC CC CC CC"},
               {2, 0, 0, "CC CC CC CC CC CC CC CC"}, {9, 8, 0, "CC CC CC CC CC CC CC CC"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.wanted << " at " << row.position);
    if (row.position > 8 && !kEmbeddedHost) continue;
    for (const bool wantsCount : {true, false}) {
      const ComPtr<IStream> stream = NewStream("00 01 02 03 04 05 06 07");
      SeekTo(stream.Get(), row.position);
      std::vector<BYTE> buffer(8, 0xCC);
      ULONG count = 99;
      EXPECT_EQ(stream->Read(buffer.data(), row.wanted, wantsCount ? &count : nullptr), S_OK);
      EXPECT_EQ(count, wantsCount ? row.count : 99);
      EXPECT_EQ(HexOf(buffer.data(), 8), row.buffer);
      EXPECT_EQ(PositionOf(stream.Get()), row.position + row.count);
    }
  }
}

TEST(MemoryStream, Write_OverwritesAndGrows) {
  constexpr struct {
    ULONG position;
    const char *data, *content;
  } kRows[] = {{0, "A1 A2", "A1 A2 02 03"}, {3, "A1 A2", "00 01 02 A1 A2"},
               {4, "A1", "00 01 02 03 A1"}, {1, "", "00 01 02 03"},
               {9, "", "00 01 02 03"},      {7, "A1 A2", "00 01 02 03 00 00 00 A1 A2"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.data << " at " << row.position);
    for (const bool wantsCount : {true, false}) {
      const ComPtr<IStream> stream = NewStream("00 01 02 03");
      SeekTo(stream.Get(), row.position);
      const std::vector<BYTE> data = BytesOf(row.data);
      const ULONG size = static_cast<ULONG>(data.size());
      ULONG count = 99;
      EXPECT_EQ(stream->Write(size ? data.data() : nullptr, size, wantsCount ? &count : nullptr),
                S_OK);
      EXPECT_EQ(count, wantsCount ? size : 99);
      EXPECT_EQ(PositionOf(stream.Get()), row.position + size);
      EXPECT_EQ(SizeOf(stream.Get()), BytesOf(row.content).size());
      // What lies in a gap is the embedded host's own choice.
      const bool hasGap = size > 0 && row.position > 4;
      EXPECT_TRUE(ContentOf(stream.Get()) == row.content || (hasGap && !kEmbeddedHost));
    }
  }
}

TEST(MemoryStream, PiecesOfEverySize_AreKeptAndCopied) {
  const ComPtr<IStream> stream = NewStream(), target = NewStream();
  std::vector<BYTE> written;
  for (ULONG size = 1; size < 650; ++size) {
    const std::vector<BYTE> piece(size, static_cast<BYTE>(size));
    ASSERT_EQ(stream->Write(piece.data(), size, nullptr), S_OK);
    written.insert(written.end(), piece.begin(), piece.end());
  }
  EXPECT_TRUE(ContentOf(stream.Get()) == HexOf(written.data(), written.size()));
  SeekTo(stream.Get(), 0);
  ULARGE_INTEGER count = Bytes(0);
  EXPECT_EQ(stream->CopyTo(target.Get(), Bytes(~0ull), nullptr, &count), S_OK);
  EXPECT_EQ(count.QuadPart, written.size());
  EXPECT_TRUE(ContentOf(target.Get()) == HexOf(written.data(), written.size()));
}

TEST(MemoryStream, Seek_TellsTheNewPositionOrKeepsTheOld) {
  constexpr LONGLONG k4GiB = 0x100000000, kMin = -0x7FFFFFFFFFFFFFFF - 1;
  constexpr ULONGLONG kError = ~0ull;
  const struct {
    DWORD origin;
    LONGLONG move;
    ULONGLONG position;
    bool embeddedOnly = false;
  } rows[] = {{0, 0, 0},
              {0, 7, 7},
              {0, 100, 100},
              {1, 0, 3},
              {1, 2, 5},
              {1, -3, 0},
              {1, 60, 63},
              {2, 0, 8},
              {2, -8, 0},
              {2, 5, 13},
              {0, -1, kError},
              {1, -4, kError},
              {2, -9, kError},
              {3, 0, kError},
              {~0u, 0, kError},
              {0, k4GiB - 1, 0xFFFFFFFF, true},
              {1, k4GiB - 4, 0xFFFFFFFF, true},
              {0, k4GiB, kError, true},
              {1, k4GiB - 3, kError, true},
              {2, k4GiB - 8, kError, true},
              {1, k4GiB + 1, kError, true},
              {1, 0x7FFFFFFFFFFFFFFF, kError, true},
              {1, kMin, kError, true},
              {0, kMin, kError, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.move << " from origin " << row.origin);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    const ComPtr<IStream> stream = NewStream("00 01 02 03 04 05 06 07");
    SeekTo(stream.Get(), 3);
    ULONGLONG told = 99;
    const HRESULT expected = row.position == kError ? STG_E_SEEKERROR : S_OK;
    EXPECT_EQ(SeekTo(stream.Get(), row.move, row.origin, &told), expected);
    EXPECT_EQ(told, row.position == kError ? 3 : row.position);
    EXPECT_EQ(PositionOf(stream.Get()), told);
    EXPECT_EQ(SizeOf(stream.Get()), 8u);
    EXPECT_EQ(stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), S_OK);
  }
}

TEST(MemoryStream, SetSize_KeepsContentAndPosition) {
  const struct {
    std::vector<ULONGLONG> sizes;
    const char* content;
  } kRows[] = {{{2}, "00 01"},
               {{4}, "00 01 02 03"},
               {{0}, ""},
               {{6}, "00 01 02 03 00 00"},
               {{2, 5}, "00 01 00 00 00"},
               {{0, 3}, "00 00 00"},
               {{500, 1, 4}, "00 00 00 00"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.content);
    const ComPtr<IStream> stream = NewStream("00 01 02 03");
    SeekTo(stream.Get(), 3);
    for (const ULONGLONG size : row.sizes) EXPECT_EQ(stream->SetSize(Bytes(size)), S_OK);
    EXPECT_EQ(PositionOf(stream.Get()), 3u);
    EXPECT_EQ(SizeOf(stream.Get()), BytesOf(row.content).size());
    const bool grows = row.sizes.size() > 1 || row.sizes[0] > 4;
    EXPECT_TRUE(ContentOf(stream.Get()) == row.content || (grows && !kEmbeddedHost));
  }
}

TEST(MemoryStream, SizesUpTo4GiB_ReadZerosAndGreaterOnesChangeNothing) {
  if (!kEmbeddedHost) GTEST_SKIP();
  const ComPtr<IStream> stream = NewStream("00 01 02 03");
  for (const ULONGLONG size : {0x100000000ull, 0x100000001ull, ~0ull}) {
    EXPECT_EQ(stream->SetSize(Bytes(size)), E_OUTOFMEMORY);
  }
  SeekTo(stream.Get(), 0xFFFFFFFC);
  ULONG count = 99;
  EXPECT_EQ(stream->Write("abcd", 4, &count), E_OUTOFMEMORY);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(PositionOf(stream.Get()), 0xFFFFFFFCu);
  EXPECT_EQ(ContentOf(stream.Get()), "00 01 02 03");
  // Room that was only set aside is neither touched nor told from zeros.
  ASSERT_EQ(stream->SetSize(Bytes(0xC0000000)), S_OK);
  BYTE bytes[4] = {9, 9, 9, 9};
  for (const LONGLONG position : {2ll, 0xBFFFFFFEll}) {
    SeekTo(stream.Get(), position);
    EXPECT_EQ(stream->Read(bytes, 4, &count), S_OK);
    EXPECT_EQ(HexOf(bytes, count), position == 2 ? "02 03 00 00" : "00 00");
  }
}

TEST(MemoryStream, Stat_TellsTypeAndSizeAndNoMore) {
  STATSTG stat;
  std::memset(&stat, 0xCC, sizeof(stat));
  EXPECT_EQ(NewStream("00 01 02")->Stat(&stat, STATFLAG_DEFAULT), S_OK);
  EXPECT_EQ(stat.type, static_cast<DWORD>(STGTY_STREAM));
  EXPECT_EQ(stat.cbSize.QuadPart, 3u);
  EXPECT_EQ(stat.pwcsName, nullptr);
  EXPECT_TRUE(IsEqualCLSID(stat.clsid, CLSID_NULL));
  EXPECT_EQ(stat.grfLocksSupported, 0u);
}

TEST(MemoryStream, Clone_SharesBytesButNotThePosition) {
  ComPtr<IStream> first = NewStream("00 01 02 03"), second;
  SeekTo(first.Get(), 2);
  ASSERT_EQ(first->Clone(second.Put()), S_OK);
  EXPECT_EQ(PositionOf(second.Get()), 2u);
  EXPECT_EQ(second->Write("\xA1\xA2\xA3", 3, nullptr), S_OK);
  EXPECT_EQ(PositionOf(first.Get()), 2u);
  EXPECT_EQ(ContentOf(first.Get()), "00 01 A1 A2 A3");
  EXPECT_EQ(first->SetSize(Bytes(3)), S_OK);
  EXPECT_EQ(first->Commit(0), S_OK);
  EXPECT_EQ(first->Revert(), S_OK);
  EXPECT_EQ(first->LockRegion(Bytes(0), Bytes(1), 1), STG_E_INVALIDFUNCTION);
  if (kEmbeddedHost) {
    EXPECT_EQ(first->UnlockRegion(Bytes(0), Bytes(1), 1), STG_E_INVALIDFUNCTION);
  }
  first.Reset();
  EXPECT_EQ(ContentOf(second.Get()), "00 01 A1");
}

TEST(MemoryStream, CopyTo_CopiesFromThePositionToTheEndAtMost) {
  constexpr struct {
    ULONG position;
    ULONGLONG bytes, count;
    const char* target;
  } kRows[] = {{0, 4, 4, "FF 00 01 02 03"},
               {0, ~0ull, 4, "FF 00 01 02 03"},
               {1, 2, 2, "FF 01 02"},
               {2, 9, 2, "FF 02 03"},
               {4, 1, 0, "FF"},
               {1, 0, 0, "FF"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.bytes << " at " << row.position);
    for (const bool wantsCounts : {true, false}) {
      const ComPtr<IStream> source = NewStream("00 01 02 03"), target = NewStream("FF");
      SeekTo(source.Get(), row.position);
      SeekTo(target.Get(), 1);
      ULARGE_INTEGER read = Bytes(99), written = Bytes(99);
      EXPECT_EQ(source->CopyTo(target.Get(), Bytes(row.bytes), wantsCounts ? &read : nullptr,
                               wantsCounts ? &written : nullptr),
                S_OK);
      EXPECT_EQ(read.QuadPart, wantsCounts ? row.count : 99);
      EXPECT_EQ(written.QuadPart, wantsCounts ? row.count : 99);
      EXPECT_EQ(ContentOf(target.Get()), row.target);
      EXPECT_EQ(PositionOf(source.Get()), row.position + row.count);
    }
  }
  EXPECT_EQ(NewStream("00")->CopyTo(nullptr, Bytes(1), nullptr, nullptr), STG_E_INVALIDPOINTER);
}

// Few bytes, so that every host moves them by one read and one write.
TEST(MemoryStream, CopyTo_SameBytes_CopiesWhatWasThereBefore) {
  constexpr struct {
    LONGLONG source, target;
    ULONGLONG bytes;
    const char* content;
  } kRows[] = {{0, 2, 4, "00 01 00 01 02 03"},
               {2, 0, 4, "02 03 04 05 04 05"},
               {0, 6, 6, "00 01 02 03 04 05 00 01 02 03 04 05"},
               {1, 1, 3, "00 01 02 03 04 05"},
               {3, 5, 9, "00 01 02 03 04 03 04 05"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.content);
    const ComPtr<IStream> source = NewStream("00 01 02 03 04 05");
    ComPtr<IStream> clone;
    ASSERT_EQ(source->Clone(clone.Put()), S_OK);
    SeekTo(source.Get(), row.source);
    SeekTo(clone.Get(), row.target);
    EXPECT_EQ(source->CopyTo(clone.Get(), Bytes(row.bytes), nullptr, nullptr), S_OK);
    EXPECT_EQ(ContentOf(source.Get()), row.content);
  }
  // To itself: the position stands behind what was read when the write begins.
  const ComPtr<IStream> stream = NewStream("00 01 02 03 04 05");
  ULARGE_INTEGER read = Bytes(0), written = Bytes(0);
  EXPECT_EQ(stream->CopyTo(stream.Get(), Bytes(4), &read, &written), S_OK);
  EXPECT_EQ(read.QuadPart, 4u);
  EXPECT_EQ(written.QuadPart, 4u);
  EXPECT_EQ(ContentOf(stream.Get()), "00 01 02 03 00 01 02 03");
  EXPECT_EQ(PositionOf(stream.Get()), 8u);
}

TEST(MemoryStream, CopyTo_FailingTarget_GivesItsCode) {
  const ComPtr<IStream> source = NewStream("00 01 02 03"), inner = NewStream();
  FaultStream target(inner.Get());
  target.FailAt(StreamCall::kWrite, 1, STG_E_MEDIUMFULL);
  ULARGE_INTEGER read = Bytes(99), written = Bytes(99);
  EXPECT_EQ(source->CopyTo(&target, Bytes(4), &read, &written), STG_E_MEDIUMFULL);
  EXPECT_EQ(written.QuadPart, 0u);
  target.Reset();
  target.ShortenAt(StreamCall::kWrite, 1, 1);
  SeekTo(source.Get(), 0);
  EXPECT_EQ(source->CopyTo(&target, Bytes(4), &read, &written), S_OK);
  EXPECT_EQ(read.QuadPart, 4u);
  EXPECT_EQ(written.QuadPart, 1u);
  EXPECT_EQ(target.References(), 0u);
}

TEST(MemoryStream, ClonesOnSeveralThreads_KeepEveryByte) {
  if (!kEmbeddedHost) GTEST_SKIP();
  constexpr int kThreads = 4, kRounds = 2000;
  const ComPtr<IStream> stream = NewStream();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&stream, thread] {
      for (int round = 0; round < kRounds; ++round) {
        ComPtr<IStream> clone;
        stream->Clone(clone.Put());
        SeekTo(clone.Get(), round * kThreads + thread);
        const BYTE mark = static_cast<BYTE>(thread + 1);
        clone->Write(&mark, 1, nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<BYTE> content = BytesOf(ContentOf(stream.Get()));
  ASSERT_EQ(content.size(), std::size_t{kThreads * kRounds});
  for (std::size_t i = 0; i < content.size(); ++i) ASSERT_EQ(content[i], i % kThreads + 1);
}

}  // namespace
}  // namespace tests
