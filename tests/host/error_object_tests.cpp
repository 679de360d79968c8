#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/com_ptr.h"
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

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

class ErrorObjects : public testing::Test {
 protected:
  ErrorObjects() {
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(CreateErrorInfo(made_.Put()), S_OK);
    object_ = made_.As<IErrorInfo>();
  }
  ~ErrorObjects() override { SetErrorInfo(0, nullptr); }

  ComPtr<ICreateErrorInfo> made_;
  ComPtr<IErrorInfo> object_;
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
  EXPECT_EQ(made_.As<IUnknown>().Get(), object_.As<IUnknown>().Get());
  EXPECT_EQ(object_.As<ICreateErrorInfo>().Get(), made_.Get());
  EXPECT_FALSE(object_.As<IStream>());
  const GUID guid{7, 8, 9, {1, 2}};
  GUID found{};
  DWORD context = 9;
  EXPECT_EQ(object_->GetHelpContext(&context), S_OK);
  EXPECT_EQ(context, 0u);
  if (kEmbeddedHost) {
    EXPECT_EQ(object_->GetGUID(&found), S_OK);
    EXPECT_TRUE(IsEqualGUID(found, GUID_NULL));
  }
  ExpectEach(S_OK, {made_->SetGUID(guid), made_->SetHelpContext(0x80000001),
                    object_->GetGUID(&found), object_->GetHelpContext(&context)});
  EXPECT_TRUE(IsEqualGUID(found, guid));
  EXPECT_EQ(context, 0x80000001u);
}

TEST_F(ErrorObjects, Texts_AreCopiedInAndOut) {
  const struct {
    HRESULT (STDMETHODCALLTYPE ICreateErrorInfo::*set)(LPOLESTR);
    HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*);
  } kRows[] = {{&ICreateErrorInfo::SetSource, &IErrorInfo::GetSource},
               {&ICreateErrorInfo::SetDescription, &IErrorInfo::GetDescription},
               {&ICreateErrorInfo::SetHelpFile, &IErrorInfo::GetHelpFile}};
  for (const auto& row : kRows) {
    EXPECT_EQ(TextOf(object_.Get(), row.get), "null");
    Text text = OLESTR("first");
    EXPECT_EQ((made_.Get()->*row.set)(text.data()), S_OK);
    text = OLESTR("x");
    EXPECT_EQ(TextOf(object_.Get(), row.get), "\"first\"");
    for (const char* expected : {"\"x\"", "\"\"", "null"}) {
      const bool isNull = expected[0] == 'n';
      EXPECT_EQ((made_.Get()->*row.set)(isNull ? nullptr : text.data()), S_OK);
      EXPECT_EQ(TextOf(object_.Get(), row.get), expected);
      text.clear();
    }
    if (kEmbeddedHost) {
      EXPECT_EQ((object_.Get()->*row.get)(nullptr), E_INVALIDARG);
    }
  }
}

TEST_F(ErrorObjects, Slot_HoldsOneObjectUntilItIsTakenOrReplaced) {
  CountedErrorInfo first, second;
  IErrorInfo* found = nullptr;
  ExpectEach(S_OK, {SetErrorInfo(0, &first), SetErrorInfo(0, &first)});
  EXPECT_EQ(first.references, 1);
  ExpectEach(E_INVALIDARG, {SetErrorInfo(1, nullptr), SetErrorInfo(1, &second),
                            GetErrorInfo(0, nullptr), GetErrorInfo(1, &found)});
  EXPECT_EQ(first.references, 1);
  EXPECT_EQ(SetErrorInfo(0, &second), S_OK);
  EXPECT_EQ(first.references, 0);
  EXPECT_EQ(GetErrorInfo(0, &found), S_OK);
  EXPECT_EQ(found, &second);
  EXPECT_EQ(second.references, 1);
  EXPECT_EQ(GetErrorInfo(0, &found), S_FALSE);
  EXPECT_EQ(found, nullptr);
  ExpectEach(S_OK, {SetErrorInfo(0, &first), SetErrorInfo(0, nullptr)});
  EXPECT_EQ(first.references, 0);
  // The object itself is there and not a copy.
  Text text = OLESTR("later");
  ExpectEach(S_OK, {SetErrorInfo(0, object_.Get()), made_->SetDescription(text.data()),
                    GetErrorInfo(0, object_.Put())});
  EXPECT_EQ(TextOf(object_.Get(), &IErrorInfo::GetDescription), "\"later\"");
}

TEST_F(ErrorObjects, Threads_HaveSlotsOfTheirOwnAndReleaseThemAtTheEnd) {
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
