#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "platform/com_ptr.h"
#include "tests/support/host_kind.h"

namespace tests {

// Stands in for an error object and tells its count; Release does not destroy it.
class CountedErrorInfo final : public IErrorInfo {
 public:
  STDMETHODIMP QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references;
    if (setsOnRelease) SetErrorInfo(0, setsOnRelease);
    return left;
  }
  STDMETHODIMP GetGUID(GUID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetSource(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetDescription(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetHelpContext(DWORD*) override { return E_NOTIMPL; }

  std::atomic<ULONG> references{0};
  IErrorInfo* setsOnRelease = nullptr;
};

namespace {

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

class ErrorObjects : public testing::Test {
 protected:
  ErrorObjects() { SetErrorInfo(0, nullptr); }
  ~ErrorObjects() override { SetErrorInfo(0, nullptr); }
};

// "null" for no text at all.
std::string TextOf(IErrorInfo* object, HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*)) {
  BSTR text = nullptr;
  EXPECT_EQ((object->*get)(&text), S_OK);
  if (!text) return "null";
  const std::string narrow(text, text + SysStringLen(text));
  SysFreeString(text);
  return '"' + narrow + '"';
}

TEST_F(ErrorObjects, Create_GivesAnEmptyObjectOfThreeInterfaces) {
  EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
  ComPtr<ICreateErrorInfo> made;
  ASSERT_EQ(CreateErrorInfo(made.Put()), S_OK);
  const ComPtr<IErrorInfo> object = made.As<IErrorInfo>();
  ASSERT_TRUE(object);
  EXPECT_EQ(made.As<IUnknown>().Get(), object.As<IUnknown>().Get());
  EXPECT_EQ(object.As<ICreateErrorInfo>().Get(), made.Get());
  EXPECT_FALSE(object.As<IStream>());
  DWORD context = 9;
  EXPECT_EQ(object->GetHelpContext(&context), S_OK);
  EXPECT_EQ(context, 0u);
  if (!kEmbeddedHost) return;
  GUID guid{1, 2, 3, {}};
  EXPECT_EQ(object->GetGUID(&guid), S_OK);
  EXPECT_TRUE(IsEqualGUID(guid, GUID_NULL));
}

TEST_F(ErrorObjects, Texts_AreCopiedInAndOut) {
  const struct {
    HRESULT (STDMETHODCALLTYPE ICreateErrorInfo::*set)(LPOLESTR);
    HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*);
  } kRows[] = {
      {&ICreateErrorInfo::SetSource, &IErrorInfo::GetSource},
      {&ICreateErrorInfo::SetDescription, &IErrorInfo::GetDescription},
      {&ICreateErrorInfo::SetHelpFile, &IErrorInfo::GetHelpFile},
  };
  ComPtr<ICreateErrorInfo> made;
  ASSERT_EQ(CreateErrorInfo(made.Put()), S_OK);
  const ComPtr<IErrorInfo> object = made.As<IErrorInfo>();
  for (const auto& row : kRows) {
    EXPECT_EQ(TextOf(object.Get(), row.get), "null");
    Text text = OLESTR("first");
    EXPECT_EQ((made.Get()->*row.set)(text.data()), S_OK);
    text[0] = 'x';
    EXPECT_EQ(TextOf(object.Get(), row.get), "\"first\"");
    EXPECT_EQ(TextOf(object.Get(), row.get), "\"first\"");
    EXPECT_EQ((made.Get()->*row.set)(text.data()), S_OK);
    EXPECT_EQ(TextOf(object.Get(), row.get), "\"xirst\"");
    text.clear();
    EXPECT_EQ((made.Get()->*row.set)(text.data()), S_OK);
    EXPECT_EQ(TextOf(object.Get(), row.get), "\"\"");
    EXPECT_EQ((made.Get()->*row.set)(nullptr), S_OK);
    EXPECT_EQ(TextOf(object.Get(), row.get), "null");
    if (kEmbeddedHost) {
      EXPECT_EQ((object.Get()->*row.get)(nullptr), E_INVALIDARG);
    }
  }
  const GUID guid{7, 8, 9, {1, 2}};
  GUID found{};
  DWORD context = 0;
  EXPECT_EQ(made->SetGUID(guid), S_OK);
  EXPECT_EQ(made->SetHelpContext(0x80000001), S_OK);
  EXPECT_EQ(object->GetGUID(&found), S_OK);
  EXPECT_EQ(object->GetHelpContext(&context), S_OK);
  EXPECT_TRUE(IsEqualGUID(found, guid));
  EXPECT_EQ(context, 0x80000001u);
}

TEST_F(ErrorObjects, Get_TakesTheObjectAwayFromTheThread) {
  CountedErrorInfo object;
  EXPECT_EQ(SetErrorInfo(0, &object), S_OK);
  EXPECT_EQ(object.references, 1u);
  IErrorInfo* found = nullptr;
  EXPECT_EQ(GetErrorInfo(0, &found), S_OK);
  EXPECT_EQ(found, &object);
  EXPECT_EQ(object.references, 1u);
  EXPECT_EQ(GetErrorInfo(0, &found), S_FALSE);
  EXPECT_EQ(found, nullptr);
  object.Release();
}

TEST_F(ErrorObjects, Set_ReleasesWhatTheSlotHeld) {
  CountedErrorInfo first, second;
  SetErrorInfo(0, &first);
  EXPECT_EQ(SetErrorInfo(0, &first), S_OK);
  EXPECT_EQ(first.references, 1u);
  EXPECT_EQ(SetErrorInfo(0, &second), S_OK);
  EXPECT_EQ(first.references, 0u);
  EXPECT_EQ(second.references, 1u);
  EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
  EXPECT_EQ(second.references, 0u);
  IErrorInfo* found = &first;
  EXPECT_EQ(GetErrorInfo(0, &found), S_FALSE);
  EXPECT_EQ(found, nullptr);
}

TEST_F(ErrorObjects, BadArguments_LeaveTheSlotAlone) {
  CountedErrorInfo object;
  SetErrorInfo(0, &object);
  EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
  EXPECT_EQ(SetErrorInfo(1, &object), E_INVALIDARG);
  EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
  IErrorInfo* found = nullptr;
  EXPECT_EQ(GetErrorInfo(1, &found), E_INVALIDARG);
  EXPECT_EQ(object.references, 1u);
  EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
  EXPECT_EQ(object.references, 0u);
}

TEST_F(ErrorObjects, Slot_HoldsTheObjectAndNotACopy) {
  ComPtr<ICreateErrorInfo> made;
  ASSERT_EQ(CreateErrorInfo(made.Put()), S_OK);
  SetErrorInfo(0, made.As<IErrorInfo>().Get());
  Text text = OLESTR("later");
  made->SetDescription(text.data());
  ComPtr<IErrorInfo> found;
  ASSERT_EQ(GetErrorInfo(0, found.Put()), S_OK);
  EXPECT_EQ(TextOf(found.Get(), &IErrorInfo::GetDescription), "\"later\"");
}

TEST_F(ErrorObjects, Threads_HaveSlotsOfTheirOwnAndReleaseThemAtTheEnd) {
  CountedErrorInfo mine, others;
  SetErrorInfo(0, &mine);
  std::thread([&others] {
    IErrorInfo* found = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &found), S_FALSE);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(SetErrorInfo(0, &others), S_OK);
    EXPECT_EQ(others.references, 1u);
  }).join();
  EXPECT_EQ(others.references, 0u);
  EXPECT_EQ(mine.references, 1u);
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(mine.references, 0u);
}

TEST_F(ErrorObjects, ObjectThatSetsAnotherWhenItsThreadEnds_LeavesNothing) {
  if (!kEmbeddedHost) GTEST_SKIP();
  CountedErrorInfo first, second;
  first.setsOnRelease = &second;
  std::thread([&first] { SetErrorInfo(0, &first); }).join();
  EXPECT_EQ(first.references, 0u);
  EXPECT_EQ(second.references, 0u);
}

}  // namespace
}  // namespace tests
