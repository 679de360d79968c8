#include "platform/dispatch_impl.h"

#include <gtest/gtest.h>

#include "platform/com_object.h"

struct IDualProbe : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE Act() = 0;
};
inline constexpr IID IID_IDualProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x20}};
RASTEL_INTERFACE_ID(IDualProbe);

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
  EXPECT_EQ(dispatch->Invoke(1, GUID{}, 0, 1, &none, nullptr, nullptr, nullptr),
            TYPE_E_LIBNOTREGISTERED);
}

}  // namespace tests
