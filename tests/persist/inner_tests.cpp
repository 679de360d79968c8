// SPDX-License-Identifier: MIT
// What no vector, map or picture reaches: slots of the counting stream that none of our writers
// calls, and what only foreign objects could do.
#include "module/persist/streams.h"
#include "module/records/class_holder.h"
#include "module/records/plain_records.h"
#include "tests/persist/client_objects.h"
#include "tests/support/fault_stream.h"

namespace tests {
namespace {

using rastel::CNullDeviceStream;

TEST(CountingStream, CountsWritesAndRefusesEverythingElse) {
  CNullDeviceStream counter;
  IStream* const stream = &counter;
  ULONG count = 7;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(stream->Write(nullptr, 0xFFFFFFFF, nullptr), S_OK);
  EXPECT_EQ(stream->Write("ab", 2, &count), S_OK);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(counter.Count(), 0x2FFFFFFFFull);
  ULARGE_INTEGER size{};
  STATSTG stat{};
  IStream* clone = stream;
  for (const HRESULT refused :
       {stream->Read(&stat, 1, &count), stream->SetSize(size), stream->Commit(0),
        stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, &size), stream->Revert(),
        stream->CopyTo(stream, size, &size, &size), stream->LockRegion(size, size, 0),
        stream->UnlockRegion(size, size, 0), stream->Clone(&clone),
        stream->Stat(&stat, STATFLAG_NONAME)}) {
    EXPECT_EQ(refused, E_NOTIMPL);
  }
  EXPECT_TRUE(count == 2 && clone == stream);
  void* out = nullptr;
  for (const IID& iid : {IID_IUnknown, IID_ISequentialStream, IID_IStream}) {
    EXPECT_EQ(stream->QueryInterface(iid, &out), S_OK);
    EXPECT_EQ(std::exchange(out, &out), stream);
  }
  EXPECT_EQ(stream->QueryInterface(IID_IPersistStream, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
  // It gives the count from before.
  EXPECT_EQ(stream->AddRef(), 3u);
  EXPECT_EQ(stream->Release(), 3u);
  // It is told from others without a call.
  FaultStream other(stream);
  EXPECT_EQ(CNullDeviceStream::Behind(stream), &counter);
  EXPECT_EQ(CNullDeviceStream::Behind(&other), nullptr);
  EXPECT_EQ(CNullDeviceStream::Behind(nullptr), nullptr);
}

TEST(ClassHolder, IsFilledOnce) {
  platform::CComObject<rastel::CInternalClassHolder>* made = nullptr;
  ASSERT_EQ(platform::CComObject<rastel::CInternalClassHolder>::CreateInstance(&made), S_OK);
  const ComPtr<rastel::CInternalClassHolder> holder(made);
  const auto stream = NewStream("A1 A2 A3 A4 A5 A6 A7 A8");
  EXPECT_EQ(holder->Load(stream.Get()), E_NOTIMPL);
  EXPECT_EQ(holder->IsDirty(), S_FALSE);
  EXPECT_EQ(holder->LoadWithSize(stream.Get(), 3, kTestClass), S_OK);
  EXPECT_EQ(holder->LoadWithSize(stream.Get(), 0xFFFFFFFF, CLSID_NULL), S_OK);
  const auto saved = NewStream();
  EXPECT_EQ(holder->Save(saved.Get(), TRUE), S_OK);
  EXPECT_EQ(ContentOf(saved.Get()), "A4 A5 A6");
  ULARGE_INTEGER size{};
  EXPECT_EQ(holder->GetSizeMax(&size), S_OK);
  EXPECT_EQ(size.QuadPart, 3u);
}

}  // namespace
}  // namespace tests
