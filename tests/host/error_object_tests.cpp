#include <gtest/gtest.h>

#include <thread>

#include "tests/support/doubles.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {

// Stands in for an error object.
class CountedErrorInfo final : public Double<IErrorInfo> {
 public:
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (setsOnRelease) SetErrorInfo(0, setsOnRelease);
    return left;
  }
  STDMETHODIMP GetGUID(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetSource(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetDescription(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetHelpContext(DWORD*) override { return E_NOTIMPL; }

  IErrorInfo* setsOnRelease = nullptr;
};

namespace {

TEST(ErrorObjects, Slot_HoldsOneObjectUntilItIsTakenOrReplaced) {
  CountedErrorInfo first, second;
  SetErrorInfo(0, nullptr);
  IErrorInfo* found = nullptr;
  ExpectEach(S_OK, {SetErrorInfo(0, &first), SetErrorInfo(0, &first)});
  ExpectEach(E_INVALIDARG, {SetErrorInfo(1, nullptr), GetErrorInfo(0, nullptr),
                            GetErrorInfo(1, &found), CreateErrorInfo(nullptr)});
  EXPECT_EQ(first.references, 1);
  EXPECT_EQ(SetErrorInfo(0, &second), S_OK);
  EXPECT_EQ(first.references, 0);
  EXPECT_EQ(GetErrorInfo(0, &found), S_OK);
  EXPECT_EQ(found, &second);
  EXPECT_EQ(second.references, 1);
  EXPECT_EQ(GetErrorInfo(0, &found), S_FALSE);
  EXPECT_EQ(found, nullptr);
}

TEST(ErrorObjects, Threads_HaveSlotsOfTheirOwnAndReleaseThemAtTheEnd) {
  CountedErrorInfo mine, others, last;
  if (kEmbeddedHost) others.setsOnRelease = &last;
  SetErrorInfo(0, &mine);
  std::thread([&others] {
    IErrorInfo* found = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &found), S_FALSE);
    ExpectEach(S_OK, {SetErrorInfo(0, nullptr), SetErrorInfo(0, &others)});
    EXPECT_EQ(others.references, 1);
  }).join();
  EXPECT_EQ(others.references, 0);
  EXPECT_EQ(last.references, 0);
  EXPECT_EQ(mine.references, 1);
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(mine.references, 0);
}

}  // namespace
}  // namespace tests
