#include "platform/dispatch_impl.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/com_object.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/doubles.h"
#include "tests/support/thread_error.h"

struct IDualProbe : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE Act() = 0;
};
inline constexpr IID IID_IDualProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x20}};
RASTEL_INTERFACE_ID(IDualProbe);
RASTEL_INTERFACE_ID(ITypeInfo);

namespace tests {

inline constexpr GUID kNoLibrary{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x21}};

class DualProbe : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
                  public platform::IDispatchImpl<IDualProbe, &kNoLibrary> {
 public:
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<DualProbe, IDualProbe>(),
        platform::DirectRow<DualProbe, IDispatch, IDualProbe>()};
    return kRows;
  }
  STDMETHODIMP Act() override { return S_OK; }
};

TEST(Dispatch, WithoutALibraryTheRestAnswersThatItIsNotRegistered) {
  platform::ComPtr<IDispatch> dispatch;
  ASSERT_EQ(platform::CreateObject<DualProbe>(nullptr, IID_IDispatch, dispatch.PutVoid()), S_OK);
  UINT count = 7;
  EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(dispatch->GetTypeInfoCount(nullptr), E_POINTER);

  ITypeInfo* info = reinterpret_cast<ITypeInfo*>(&count);
  EXPECT_EQ(dispatch->GetTypeInfo(0, 0, nullptr), E_POINTER);
  EXPECT_EQ(dispatch->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
  EXPECT_EQ(dispatch->GetTypeInfo(0, 0, &info), TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(info, nullptr);
  OLECHAR text[] = {'A', 'c', 't', 0};
  LPOLESTR name = text;
  DISPID id = 0;
  EXPECT_EQ(dispatch->GetIDsOfNames(GUID{}, &name, 1, 0, &id), TYPE_E_LIBNOTREGISTERED);
  DISPPARAMS none{};
  PutErrorText(OLESTR("of an older report"));
  EXPECT_EQ(dispatch->Invoke(1, GUID{}, 0, 1, &none, nullptr, nullptr, nullptr),
            TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(TakeThreadError(), std::nullopt);
}

// A method 5 "Act" and a property 7 "Size". Counts how often its members are read, and its names
// asked for, which it answers with 9.
class CountedTypeInfo final : public Double<ITypeInfo> {
 public:
  STDMETHODIMP GetTypeAttr(TYPEATTR** out) override {
    ++read;
    attributes_.cFuncs = 3;
    *out = &attributes_;
    return S_OK;
  }
  STDMETHODIMP GetFuncDesc(UINT index, FUNCDESC** out) override {
    *out = &functions_[index];
    (*out)->memid = index == 0 ? 5 : 7;
    return S_OK;
  }
  STDMETHODIMP GetDocumentation(MEMBERID member, BSTR* name, BSTR*, DWORD*, BSTR*) override {
    *name = SysAllocString(member == 5 ? OLESTR("Act") : OLESTR("Size"));
    return S_OK;
  }
  STDMETHODIMP GetIDsOfNames(LPOLESTR*, UINT, MEMBERID* ids) override {
    ++asked;
    *ids = 9;
    return S_OK;
  }
  STDMETHODIMP_(void) ReleaseTypeAttr(TYPEATTR*) override {}
  STDMETHODIMP_(void) ReleaseFuncDesc(FUNCDESC*) override {}
  STDMETHODIMP_(void) ReleaseVarDesc(VARDESC*) override {}
  STDMETHODIMP GetTypeComp(ITypeComp**) override { return E_NOTIMPL; }
  STDMETHODIMP GetVarDesc(UINT, VARDESC**) override { return E_NOTIMPL; }
  STDMETHODIMP GetNames(MEMBERID, BSTR*, UINT, UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetRefTypeOfImplType(UINT, HREFTYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP GetImplTypeFlags(UINT, INT*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(void*, MEMBERID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP GetDllEntry(MEMBERID, INVOKEKIND, BSTR*, BSTR*, WORD*) override { return E_NOTIMPL; }
  STDMETHODIMP GetRefTypeInfo(HREFTYPE, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP AddressOfMember(MEMBERID, INVOKEKIND, void**) override { return E_NOTIMPL; }
  STDMETHODIMP CreateInstance(IUnknown*, REFIID, void**) override { return E_NOTIMPL; }
  STDMETHODIMP GetMops(MEMBERID, BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetContainingTypeLib(ITypeLib**, UINT*) override { return E_NOTIMPL; }

  std::atomic<int> read = 0, asked = 0;

 private:
  TYPEATTR attributes_{};
  FUNCDESC functions_[3]{};
};

CountedTypeInfo countedInfo;

HRESULT LoadCounted(const platform::TypeInfoHolder&, LCID, ITypeInfo** out) noexcept {
  countedInfo.AddRef();
  *out = &countedInfo;
  return S_OK;
}

DISPID IdOf(platform::TypeInfoHolder& holder, std::basic_string<OLECHAR> name, UINT count = 1) {
  LPOLESTR names[] = {name.data(), name.data()};
  DISPID ids[2] = {};
  EXPECT_EQ(holder.GetIDsOfNames(names, count, 0, ids), S_OK);
  return ids[0];
}

TEST(Dispatch, NamesAreReadOnceAndOthersAskedFor) {
  platform::TypeInfoHolder holder(IID_IDualProbe, kNoLibrary, 1, 0, &LoadCounted);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { IdOf(holder, OLESTR("Act")); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(countedInfo.read, 1);
  const struct {
    LPCOLESTR name;
    UINT count;
    DISPID id;
    int asked;
  } rows[] = {{OLESTR("Act"), 1, 5, 0}, {OLESTR("Size"), 1, 7, 0},  {OLESTR("size"), 1, 9, 1},
              {OLESTR("Siz"), 1, 9, 1}, {OLESTR("Sizes"), 1, 9, 1}, {OLESTR("Rotate"), 1, 9, 1},
              {OLESTR("Act"), 2, 9, 1}, {OLESTR("Act"), 1, 5, 0}};
  for (const auto& row : rows) {
    countedInfo.asked = 0;
    EXPECT_EQ(IdOf(holder, row.name, row.count), row.id);
    EXPECT_EQ(countedInfo.asked, row.asked);
  }
  platform::TypeInfoHolder::ReleaseAll();
  EXPECT_EQ(countedInfo.references, 0);
}

TEST(Dispatch, NamesWithoutMemoryAreAskedFor) {
  for (const long long granted : {0, 1}) {
    platform::TypeInfoHolder holder(IID_IDualProbe, kNoLibrary, 1, 0, &LoadCounted);
    ITypeInfo* info = nullptr;
    AllocationFaults faults(granted);
    EXPECT_EQ(holder.Get(0, &info), S_OK);
    faults.Stop();
    info->Release();
    EXPECT_EQ(IdOf(holder, OLESTR("Act")), 9);
    platform::TypeInfoHolder::ReleaseAll();
  }
}

}  // namespace tests
