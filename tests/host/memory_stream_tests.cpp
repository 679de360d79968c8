#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using platform::ComPtr;

TEST(MemoryStream, CopyTo_FailingTarget_GivesItsCode) {
  FaultStream target(NewStream().Get());
  target.FailAt(StreamCall::kWrite, 1, STG_E_MEDIUMFULL);
  ULARGE_INTEGER two{}, written{};
  two.QuadPart = 2;
  written.QuadPart = 99;
  EXPECT_EQ(NewStream("00 01")->CopyTo(&target, two, nullptr, &written), STG_E_MEDIUMFULL);
  EXPECT_EQ(written.QuadPart, 0u);
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
