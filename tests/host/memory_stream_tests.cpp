#include <gtest/gtest.h>

#include <algorithm>
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

TEST(MemoryStream, Create_BadArguments_GivesInvalidArgument) {
  EXPECT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, nullptr), E_INVALIDARG);
  if (!kEmbeddedHost) return;
  int noHandle = 0;
  ComPtr<IStream> stream;
  EXPECT_EQ(CreateStreamOnHGlobal(reinterpret_cast<HGLOBAL>(&noHandle), TRUE, stream.Put()),
            E_INVALIDARG);
  EXPECT_FALSE(stream);
}

TEST(MemoryStream, Read_FallsShortAtTheEnd_GivesSuccessAndTheCount) {
  constexpr struct {
    LONGLONG position;
    ULONG wanted, count;
    const char* buffer;
  } kRows[] = {
      {0, 4, 4, "00 01 02 03 CC CC CC CC"}, {1, 7, 7, "01 02 03 04 05 06 07 CC"},
      {5, 8, 3, "05 06 07 CC CC CC CC CC"}, {8, 8, 0, "CC CC CC CC CC CC CC CC"},
      {2, 0, 0, "CC CC CC CC CC CC CC CC"}, {9, 8, 0, "CC CC CC CC CC CC CC CC"},
  };
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
      EXPECT_EQ(PositionOf(stream.Get()), static_cast<ULONGLONG>(row.position) + row.count);
    }
  }
}

TEST(MemoryStream, Write_OverwritesAndGrows) {
  constexpr struct {
    LONGLONG position;
    const char *data, *content;
    bool hasGap;
  } kRows[] = {
      {0, "A1 A2", "A1 A2 02 03", false}, {3, "A1 A2", "00 01 02 A1 A2", false},
      {4, "A1", "00 01 02 03 A1", false}, {1, "", "00 01 02 03", false},
      {9, "", "00 01 02 03", false},      {7, "A1 A2", "00 01 02 03 00 00 00 A1 A2", true},
  };
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
      EXPECT_EQ(PositionOf(stream.Get()), static_cast<ULONGLONG>(row.position) + size);
      EXPECT_EQ(SizeOf(stream.Get()), BytesOf(row.content).size());
      if (!row.hasGap || kEmbeddedHost) {
        EXPECT_EQ(ContentOf(stream.Get()), row.content);
      }
    }
  }
}

TEST(MemoryStream, Write_InPiecesOfEverySize_KeepsAllBytes) {
  const ComPtr<IStream> stream = NewStream();
  std::vector<BYTE> written;
  for (ULONG size = 1; size < 400; ++size) {
    const std::vector<BYTE> piece(size, static_cast<BYTE>(size));
    ASSERT_EQ(stream->Write(piece.data(), size, nullptr), S_OK);
    written.insert(written.end(), piece.begin(), piece.end());
  }
  EXPECT_TRUE(ContentOf(stream.Get()) == HexOf(written.data(), written.size()));
}

TEST(MemoryStream, Seek_TellsTheNewPositionOrKeepsTheOld) {
  constexpr LONGLONG k4GiB = 0x100000000;
  constexpr LONGLONG kMin = -0x7FFFFFFFFFFFFFFF - 1;
  struct Row {
    LONGLONG move;
    DWORD origin;
    HRESULT result;
    ULONGLONG position;
    bool embeddedOnly = false;
  };
  const Row rows[] = {
      {0, STREAM_SEEK_SET, S_OK, 0},
      {7, STREAM_SEEK_SET, S_OK, 7},
      {100, STREAM_SEEK_SET, S_OK, 100},
      {0, STREAM_SEEK_CUR, S_OK, 3},
      {2, STREAM_SEEK_CUR, S_OK, 5},
      {-3, STREAM_SEEK_CUR, S_OK, 0},
      {60, STREAM_SEEK_CUR, S_OK, 63},
      {0, STREAM_SEEK_END, S_OK, 8},
      {-8, STREAM_SEEK_END, S_OK, 0},
      {5, STREAM_SEEK_END, S_OK, 13},
      {-1, STREAM_SEEK_SET, STG_E_SEEKERROR, 3},
      {-4, STREAM_SEEK_CUR, STG_E_SEEKERROR, 3},
      {-9, STREAM_SEEK_END, STG_E_SEEKERROR, 3},
      {0, 3, STG_E_SEEKERROR, 3},
      {0, 0xFFFFFFFF, STG_E_SEEKERROR, 3},
      {k4GiB - 1, STREAM_SEEK_SET, S_OK, 0xFFFFFFFF, true},
      {k4GiB - 4, STREAM_SEEK_CUR, S_OK, 0xFFFFFFFF, true},
      {k4GiB, STREAM_SEEK_SET, STG_E_SEEKERROR, 3, true},
      {k4GiB - 3, STREAM_SEEK_CUR, STG_E_SEEKERROR, 3, true},
      {k4GiB - 8, STREAM_SEEK_END, STG_E_SEEKERROR, 3, true},
      {k4GiB + 1, STREAM_SEEK_CUR, STG_E_SEEKERROR, 3, true},
      {0x7FFFFFFFFFFFFFFF, STREAM_SEEK_CUR, STG_E_SEEKERROR, 3, true},
      {kMin, STREAM_SEEK_CUR, STG_E_SEEKERROR, 3, true},
      {kMin, STREAM_SEEK_SET, STG_E_SEEKERROR, 3, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.move << " from origin " << row.origin);
    if (row.embeddedOnly && !kEmbeddedHost) continue;
    const ComPtr<IStream> stream = NewStream("00 01 02 03 04 05 06 07");
    SeekTo(stream.Get(), 3);
    ULONGLONG told = 99;
    EXPECT_EQ(SeekTo(stream.Get(), row.move, row.origin, &told), row.result);
    EXPECT_EQ(told, row.position);
    EXPECT_EQ(PositionOf(stream.Get()), row.position);
    EXPECT_EQ(SizeOf(stream.Get()), 8u);
    LARGE_INTEGER start;
    start.QuadPart = 0;
    EXPECT_EQ(stream->Seek(start, STREAM_SEEK_SET, nullptr), S_OK);
  }
}

TEST(MemoryStream, SetSize_KeepsContentAndPosition) {
  const struct {
    std::vector<ULONGLONG> sizes;
    const char* content;
    bool grows;
  } kRows[] = {
      {{2}, "00 01", false},
      {{4}, "00 01 02 03", false},
      {{0}, "", false},
      {{6}, "00 01 02 03 00 00", true},
      {{2, 5}, "00 01 00 00 00", true},
      {{0, 3}, "00 00 00", true},
      {{500, 1, 4}, "00 00 00 00", true},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.content);
    const ComPtr<IStream> stream = NewStream("00 01 02 03");
    SeekTo(stream.Get(), 3);
    for (const ULONGLONG size : row.sizes) EXPECT_EQ(stream->SetSize(Bytes(size)), S_OK);
    EXPECT_EQ(PositionOf(stream.Get()), 3u);
    EXPECT_EQ(SizeOf(stream.Get()), BytesOf(row.content).size());
    if (!row.grows || kEmbeddedHost) {
      EXPECT_EQ(ContentOf(stream.Get()), row.content);
    }
  }
}

TEST(MemoryStream, SetSize_ThenShorterWrite_KeepsTheSize) {
  const ComPtr<IStream> stream = NewStream();
  EXPECT_EQ(stream->SetSize(Bytes(6)), S_OK);
  EXPECT_EQ(stream->Write("\1\2", 2, nullptr), S_OK);
  EXPECT_EQ(SizeOf(stream.Get()), 6u);
  if (kEmbeddedHost) {
    EXPECT_EQ(ContentOf(stream.Get()), "01 02 00 00 00 00");
  }
}

TEST(MemoryStream, SizesFrom4GiB_AreRefusedWithoutAnyChange) {
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
}

// Room that was only set aside is neither touched nor told from zeros.
TEST(MemoryStream, SetSizeOfGibibytes_ReadsZerosBehindTheContent) {
  if (!kEmbeddedHost) GTEST_SKIP();
  const ComPtr<IStream> stream = NewStream("01 02");
  ASSERT_EQ(stream->SetSize(Bytes(0xC0000000)), S_OK);
  BYTE tail[4] = {9, 9, 9, 9};
  ULONG count = 0;
  EXPECT_EQ(stream->Read(tail, 4, &count), S_OK);
  EXPECT_EQ(HexOf(tail, count), "01 02 00 00");
  SeekTo(stream.Get(), -2, STREAM_SEEK_END);
  EXPECT_EQ(stream->Read(tail, 4, &count), S_OK);
  EXPECT_EQ(HexOf(tail, count), "00 00");
}

TEST(MemoryStream, Stat_TellsTypeAndSizeAndNoMore) {
  const ComPtr<IStream> stream = NewStream("00 01 02");
  STATSTG stat;
  std::memset(&stat, 0xCC, sizeof(stat));
  EXPECT_EQ(stream->Stat(&stat, STATFLAG_DEFAULT), S_OK);
  EXPECT_EQ(stat.type, static_cast<DWORD>(STGTY_STREAM));
  EXPECT_EQ(stat.cbSize.QuadPart, 3u);
  EXPECT_EQ(stat.pwcsName, nullptr);
  EXPECT_TRUE(IsEqualCLSID(stat.clsid, CLSID_NULL));
  EXPECT_EQ(stat.grfLocksSupported, 0u);
}

TEST(MemoryStream, Clone_SharesBytesButNotThePosition) {
  ComPtr<IStream> first = NewStream("00 01 02 03");
  SeekTo(first.Get(), 2);
  ComPtr<IStream> second;
  ASSERT_EQ(first->Clone(second.Put()), S_OK);
  EXPECT_EQ(PositionOf(second.Get()), 2u);
  EXPECT_EQ(second->Write("\xA1\xA2\xA3", 3, nullptr), S_OK);
  EXPECT_EQ(PositionOf(first.Get()), 2u);
  EXPECT_EQ(ContentOf(first.Get()), "00 01 A1 A2 A3");
  EXPECT_EQ(first->SetSize(Bytes(3)), S_OK);
  EXPECT_EQ(ContentOf(second.Get()), "00 01 A1");
  first.Reset();
  EXPECT_EQ(ContentOf(second.Get()), "00 01 A1");
}

TEST(MemoryStream, CopyTo_CopiesFromThePositionToTheEndAtMost) {
  constexpr struct {
    LONGLONG position;
    ULONGLONG bytes, count;
    const char* target;
  } kRows[] = {
      {0, 4, 4, "FF 00 01 02 03"},     {1, 2, 2, "FF 01 02"}, {2, 9, 2, "FF 02 03"},
      {0, ~0ull, 4, "FF 00 01 02 03"}, {4, 1, 0, "FF"},       {1, 0, 0, "FF"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.bytes << " at " << row.position);
    for (const bool wantsCounts : {true, false}) {
      const ComPtr<IStream> source = NewStream("00 01 02 03");
      const ComPtr<IStream> target = NewStream("FF");
      SeekTo(source.Get(), row.position);
      SeekTo(target.Get(), 1);
      ULARGE_INTEGER read = Bytes(99), written = Bytes(99);
      EXPECT_EQ(source->CopyTo(target.Get(), Bytes(row.bytes), wantsCounts ? &read : nullptr,
                               wantsCounts ? &written : nullptr),
                S_OK);
      EXPECT_EQ(read.QuadPart, wantsCounts ? row.count : 99);
      EXPECT_EQ(written.QuadPart, wantsCounts ? row.count : 99);
      EXPECT_EQ(ContentOf(target.Get()), row.target);
      EXPECT_EQ(PositionOf(source.Get()), static_cast<ULONGLONG>(row.position) + row.count);
    }
  }
  const ComPtr<IStream> source = NewStream("00");
  EXPECT_EQ(source->CopyTo(nullptr, Bytes(1), nullptr, nullptr), STG_E_INVALIDPOINTER);
}

TEST(MemoryStream, CopyTo_ManyBytes_ArriveInOrder) {
  std::vector<BYTE> data(200001);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<BYTE>(i * 7 + i / 256);
  const ComPtr<IStream> source = NewStream(), target = NewStream();
  source->Write(data.data(), static_cast<ULONG>(data.size()), nullptr);
  SeekTo(source.Get(), 0);
  ULARGE_INTEGER written = Bytes(0);
  EXPECT_EQ(source->CopyTo(target.Get(), Bytes(~0ull), nullptr, &written), S_OK);
  EXPECT_EQ(written.QuadPart, data.size());
  EXPECT_TRUE(ContentOf(target.Get()) == HexOf(data.data(), data.size()));
}

// Few bytes, so that every host moves them by one read and one write.
TEST(MemoryStream, CopyTo_SameBytes_CopiesWhatWasThereBefore) {
  constexpr struct {
    LONGLONG source, target;
    ULONGLONG bytes;
    const char* content;
  } kRows[] = {
      {0, 2, 4, "00 01 00 01 02 03"},
      {2, 0, 4, "02 03 04 05 04 05"},
      {0, 6, 6, "00 01 02 03 04 05 00 01 02 03 04 05"},
      {1, 1, 3, "00 01 02 03 04 05"},
      {3, 5, 9, "00 01 02 03 04 03 04 05"},
  };
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
  const ComPtr<IStream> source = NewStream("00 01 02 03");
  const ComPtr<IStream> inner = NewStream();
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

TEST(MemoryStream, TransactionsDoNothingAndRegionsAreRefused) {
  const ComPtr<IStream> stream = NewStream("00 01");
  EXPECT_EQ(stream->Commit(0), S_OK);
  EXPECT_EQ(stream->Revert(), S_OK);
  EXPECT_EQ(stream->LockRegion(Bytes(0), Bytes(1), 1), STG_E_INVALIDFUNCTION);
  if (kEmbeddedHost) {
    EXPECT_EQ(stream->UnlockRegion(Bytes(0), Bytes(1), 1), STG_E_INVALIDFUNCTION);
  }
  EXPECT_EQ(ContentOf(stream.Get()), "00 01");
}

TEST(MemoryStream, QueryInterface_AnswersThreeIdentifiersWithOnePointer) {
  const ComPtr<IStream> stream = NewStream();
  for (const IID& iid : {IID_IUnknown, IID_ISequentialStream, IID_IStream}) {
    ComPtr<IUnknown> found;
    EXPECT_EQ(stream->QueryInterface(iid, found.PutVoid()), S_OK);
    EXPECT_EQ(static_cast<void*>(found.Get()), static_cast<void*>(stream.Get()));
  }
  void* other = &other;
  EXPECT_EQ(stream->QueryInterface(IID_IPersist, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
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
  std::vector<BYTE> content(kThreads * kRounds);
  ULONG count = 0;
  EXPECT_EQ(stream->Read(content.data(), kThreads * kRounds, &count), S_OK);
  EXPECT_EQ(count, content.size());
  for (std::size_t i = 0; i < content.size(); ++i) ASSERT_EQ(content[i], i % kThreads + 1);
}

}  // namespace
}  // namespace tests
