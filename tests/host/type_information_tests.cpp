// Type libraries and late-bound calls, through a library of the tests' own.
#include <gmock/gmock.h>

#include "platform/com_object.h"
#include "platform/dispatch_impl.h"
#include "tests/host/class_registration.h"
#include "tests/host/type_probe.h"
#include "tests/support/host_kind.h"
#include "tests/support/late_call.h"
#include "tests/support/registered_text.h"
#include "tests/support/results.h"

namespace tests {

using platform::ComPtr;
using platform::ResultCode;

class TypeProbe : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
                  public platform::IDispatchImpl<ITypeProbe, &LIBID_TypeProbeLib, 1, 2> {
 public:
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<TypeProbe, ITypeProbe>(),
        platform::DirectRow<TypeProbe, IDispatch, ITypeProbe>()};
    return kRows;
  }
  STDMETHODIMP get_Level(LONG* level) override {
    *level = level_;
    return S_OK;
  }
  STDMETHODIMP put_Level(LONG level) override {
    level_ = level;
    return S_OK;
  }
  STDMETHODIMP get_Value(LONG index, VARIANT* value) override {
    value->vt = VT_I4;
    value->lVal = 10 * index + level_;
    return S_OK;
  }
  STDMETHODIMP put_Value(LONG index, VARIANT value) override {
    level_ = value.vt == VT_I4 ? value.lVal * index : value.vt;
    return S_OK;
  }
  STDMETHODIMP Join(BSTR text, DOUBLE number, VARIANT_BOOL flag, BSTR* joined) override {
    Text all(text, SysStringLen(text));
    all += number == 2.5 ? OLESTR(" 2.5") : OLESTR(" ?");
    all += flag == VARIANT_TRUE ? OLESTR(" true") : OLESTR(" false");
    *joined = SysAllocString(all.c_str());
    return S_OK;
  }
  STDMETHODIMP Measure(LONG* width, BSTR* name, ITypeProbe** self) override {
    *width = 320;
    *name = SysAllocString(OLESTR("wide"));
    return get_Self(self);
  }
  STDMETHODIMP LevelOf(ITypeProbe* other, LONG* level) override {
    return other ? other->get_Level(level) : E_POINTER;
  }
  STDMETHODIMP get_Self(ITypeProbe** self) override {
    AddRef();
    *self = this;
    return S_OK;
  }
  STDMETHODIMP Fail(LONG code) override {
    ComPtr<ICreateErrorInfo> error;
    CreateErrorInfo(error.Put());
    OLECHAR source[] = {'P', 'r', 'o', 'b', 'e', 0};
    OLECHAR text[] = {'n', 'o', 0};
    error->SetSource(source);
    error->SetDescription(text);
    SetErrorInfo(0, error.As<IErrorInfo>().Get());
    return code;
  }
  STDMETHODIMP Add(LONG* sum) override {
    *sum += level_;
    return S_OK;
  }
  STDMETHODIMP Look(std::uint8_t* bytes) override {
    level_ = bytes[0];
    return S_OK;
  }

 private:
  LONG level_ = 7;
};

namespace {

// The layouts are the same on both hosts.
static_assert(sizeof(TYPEDESC) == 16 && sizeof(ELEMDESC) == 32 && sizeof(ARRAYDESC) == 32);
static_assert(sizeof(FUNCDESC) == 88 && offsetof(FUNCDESC, elemdescFunc) == 48);
static_assert(sizeof(VARDESC) == 64 && offsetof(VARDESC, elemdescVar) == 24);
static_assert(sizeof(TYPEATTR) == 96 && offsetof(TYPEATTR, typekind) == 44);
static_assert(sizeof(TLIBATTR) == 32 && sizeof(DISPPARAMS) == 24 && sizeof(EXCEPINFO) == 64);

class TypeInformation : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(LoadTypeLibEx(File().c_str(), REGKIND_NONE, library_.Put()), S_OK);
    ASSERT_EQ(library_->GetTypeInfoOfGuid(IID_ITypeProbe, info_.Put()), S_OK);
    ASSERT_EQ(platform::CreateObject<TypeProbe>(nullptr, IID_ITypeProbe, probe_.PutVoid()), S_OK);
  }

  static Text File() {
    return BesideProgram(kEmbeddedHost ? "host_test_types.module" : "host_test_types.tlb");
  }

  Outcome Call(DISPID member, WORD flags, std::vector<VARIANT> arguments,
               std::vector<DISPID> names = {}) {
    return CallLate(
        [&](DISPPARAMS* params, VARIANT* value, EXCEPINFO* exception, UINT* bad) {
          return info_->Invoke(probe_.Get(), member, flags, params, value, exception, bad);
        },
        std::move(arguments), std::move(names));
  }

  ComPtr<ITypeLib> library_;
  ComPtr<ITypeInfo> info_;
  ComPtr<ITypeProbe> probe_;
};

constexpr LPCOLESTR kNone = OLESTR("0 ");
constexpr LPCOLESTR kConverted = OLESTR("8 5 2.5 true");
constexpr HRESULT kBadCount = DISP_E_BADPARAMCOUNT;
constexpr HRESULT kMismatch = DISP_E_TYPEMISMATCH;
constexpr HRESULT kTooMany = kEmbeddedHost ? kBadCount : S_OK;
constexpr HRESULT kUnknownArgument = kEmbeddedHost ? DISP_E_PARAMNOTFOUND : kBadCount;
constexpr HRESULT kLeftOut = kEmbeddedHost ? DISP_E_PARAMNOTOPTIONAL : kMismatch;

TEST_F(TypeInformation, Invoke_ConvertsAndGivesThePlatformsCodes) {
  LONG place = 0;
  std::uint8_t bytes[] = {42};
  VARIANT nothing{};
  nothing.vt = VT_DISPATCH;
  ComPtr<IDispatch> self;
  BSTR name = nullptr;
  const VARIANT outName = By(VT_BSTR, &name), outSelf = By(VT_DISPATCH, self.Put());
  const struct {
    const char* what;
    DISPID member;
    WORD flags;
    std::vector<VARIANT> arguments;
    HRESULT result = S_OK;
    LPCOLESTR value = OLESTR("0 ");
    int badArgument = -1;  // the system's platform does not tell
    std::vector<DISPID> names = {};
  } rows[] = {
      {"property", 1, kGet | kMethod, {}, S_OK, OLESTR("3 7")},
      {"put", 1, kSet, {Str(OLESTR(" 12 "))}},
      {"put without its name", 1, kSet | kMethod, {Int(1)}, DISP_E_PARAMNOTFOUND},
      {"put by reference", 1, DISPATCH_PROPERTYPUTREF, {Int(1)}, DISP_E_MEMBERNOTFOUND},
      {"method asked as property", 6, kGet, {Int(0)}, DISP_E_MEMBERNOTFOUND},
      {"converted", 2, kMethod, {Int(5), Str(OLESTR("2.5")), Int(1)}, S_OK, kConverted},
      {"named", 2, kMethod, {Str(OLESTR("5")), Int(1), Real(2.5)}, S_OK, kConverted, -1, {2, 1}},
      {"unknown name", 2, kMethod, {Int(5), Int(1), Int(1)}, kUnknownArgument, kNone, 0, {17}},
      {"too many", 6, kMethod, {Int(0), Int(0)}, kTooMany},
      {"no number", 2, kMethod, {Int(5), Str(OLESTR("x")), Int(1)}, kMismatch, kNone, 1},
      {"left out", 1, kSet, {Missing()}, kLeftOut, kNone, 0},
      {"null object for a number", 6, kMethod, {nothing}, DISP_E_BADVARTYPE, kNone, 0},
      {"the same in and out", 7, kMethod, {nothing}, DISP_E_BADVARTYPE, kNone, 0},
      {"object for an out number",
       3,
       kMethod,
       {Obj(nullptr), outName, outSelf},
       kMismatch,
       kNone,
       2},
      {"an object", 4, kMethod, {Obj(probe_.Get())}, S_OK, OLESTR("3 12")},
      {"raw pointer", 8, kMethod, {By(VT_UI1, bytes)}},
      {"raw pointer shows", 1, kGet, {}, S_OK, OLESTR("3 42")},
      {"in and out", 7, kMethod, {By(VT_I4, &place)}},
      {"S_FALSE", 6, kMethod, {Int(1)}},
      {"arguments for a number", 1, kGet, {Int(1)}, DISP_E_NOTACOLLECTION},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Outcome outcome = Call(row.member, row.flags, row.arguments,
                                 row.flags == kSet ? std::vector<DISPID>{kPut} : row.names);
    EXPECT_EQ(outcome.result, row.result);
    EXPECT_EQ(outcome.value, row.value);
    const bool isTold = kEmbeddedHost && row.badArgument >= 0;
    EXPECT_EQ(outcome.badArgument, isTold ? static_cast<UINT>(row.badArgument) : 99u);
  }
  EXPECT_EQ(place, 42);
  SysFreeString(name);
}

TEST_F(TypeInformation, Invoke_FailingMemberFillsTheException) {
  const Outcome outcome = Call(6, kMethod, {Int(static_cast<LONG>(0x80040461u))});
  EXPECT_EQ(outcome.result, ResultCode(0x80020009));
  EXPECT_EQ(outcome.code, ResultCode(0x80040461));
  EXPECT_EQ(outcome.source, OLESTR("Probe"));
  EXPECT_EQ(outcome.description, OLESTR("no"));
  // Without an error object there is the code alone.
  const Outcome plain = Call(4, kMethod, {Obj(nullptr)});
  EXPECT_EQ(plain.result, ResultCode(0x80020009));
  EXPECT_EQ(plain.code, E_POINTER);
  EXPECT_EQ(plain.description, OLESTR(""));
}

TEST_F(TypeInformation, Invoke_GivesOutArgumentsThroughReferences) {
  LONG width = 0;
  BSTR name = nullptr;
  IDispatch* self = nullptr;
  EXPECT_EQ(
      Call(3, kMethod, {By(VT_I4, &width), By(VT_BSTR, &name), By(VT_DISPATCH, &self)}).result,
      S_OK);
  EXPECT_EQ(width, 320);
  EXPECT_EQ(Taken(name), OLESTR("wide"));
  ASSERT_EQ(self, probe_.Get());
  self->Release();
}

// The system's platform hands some of these to the member as they stand.
TEST_F(TypeInformation, Invoke_HostileArguments_AreRefused) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the system's platform tests less";
  VARIANT odd{}, chain{};
  odd.vt = 0x1234;
  chain = By(VT_VARIANT, &chain);
  double real = 0;
  const struct {
    const char* what;
    DISPID member;
    VARIANT argument;
    HRESULT result;
  } rows[] = {
      {"no type", 6, odd, DISP_E_BADVARTYPE},
      {"chain of references", 6, chain, E_INVALIDARG},
      {"null reference out", 7, By(VT_I4, nullptr), E_INVALIDARG},
      {"null variant out", 7, By(VT_VARIANT, nullptr), E_INVALIDARG},
      {"variant of no type", 7, By(VT_VARIANT, &odd), DISP_E_BADVARTYPE},
      {"reference to another type", 7, By(VT_R8, &real), DISP_E_TYPEMISMATCH},
      {"left out", 7, Missing(), ResultCode(0x8002000F)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Outcome outcome = Call(row.member, kMethod, {row.argument});
    EXPECT_EQ(outcome.result, row.result);
    EXPECT_EQ(outcome.badArgument, 0u);
  }
  VARIANT one = Int(1);
  for (DISPPARAMS params : {DISPPARAMS{nullptr, nullptr, 0x7FFFFFFF, 0}, {&one, nullptr, 1, 1}}) {
    EXPECT_EQ(info_->Invoke(probe_.Get(), 6, 1, &params, nullptr, nullptr, nullptr), E_INVALIDARG);
  }
  DISPPARAMS many{&one, nullptr, 0x7FFFFFFF, 0};
  EXPECT_EQ(info_->Invoke(probe_.Get(), 6, 1, &many, nullptr, nullptr, nullptr),
            ResultCode(0x8002000E));
}

TEST_F(TypeInformation, WhatIsNotThere_HasThePlatformsCodes) {
  FUNCDESC* function = nullptr;
  VARDESC* variable = nullptr;
  HREFTYPE type = 0;
  ComPtr<ITypeInfo> info;
  BSTR text = nullptr;
  void* address = nullptr;
  ExpectEach(ResultCode(0x8002802B),
             {info_->GetFuncDesc(1000, &function), info_->GetVarDesc(0, &variable),
              info_->GetRefTypeOfImplType(5, &type),
              info_->GetDocumentation(999, &text, nullptr, nullptr, nullptr),
              library_->GetTypeInfo(1000, info.Put()),
              library_->GetTypeInfoOfGuid(IID_IStream, info.Put())});
  ExpectEach(ResultCode(0x800288BD), {info_->GetDllEntry(1, INVOKE_FUNC, &text, nullptr, nullptr),
                                      info_->AddressOfMember(1, INVOKE_FUNC, &address)});
  ComPtr<ITypeLib> library;
  for (const char* file : {"no_such.tlb", "host_test_empty.module"}) {
    EXPECT_EQ(LoadTypeLibEx(BesideProgram(file).c_str(), REGKIND_NONE, library.Put()),
              ResultCode(0x80029C4A));
  }
}

TEST_F(TypeInformation, Registration_ServesDispatch) {
  const Text library = OLESTR("TypeLib\\{1F0A7C54-3C11-4B1E-9A01-527D10447001}\\1.2");
  const Text interfaceKey = OLESTR("Interface\\{1F0A7C54-3C11-4B1E-9A01-527D10447002}");
  OLECHAR name[] = {'l', 'e', 'v', 'e', 'l', 0};
  LPOLESTR names[] = {name};
  DISPID id = 0;
  EXPECT_EQ(probe_->GetIDsOfNames(GUID{}, names, 1, 0, &id), TYPE_E_LIBNOTREGISTERED);

  Text file = File();
  ASSERT_EQ(RegisterTypeLib(library_.Get(), file.data(), nullptr), S_OK);
  EXPECT_EQ(RegisteredText(library), OLESTR("Type Probe Library"));
  EXPECT_EQ(RegisteredText(library + OLESTR("\\0\\win64")), file);
  EXPECT_EQ(RegisteredText(library + OLESTR("\\FLAGS")), OLESTR("8"));
  EXPECT_EQ(RegisteredText(interfaceKey), OLESTR("ITypeProbe"));
  EXPECT_EQ(RegisteredText(interfaceKey + OLESTR("\\TypeLib"), OLESTR("Version")), OLESTR("1.2"));

  const struct {
    WORD major, minor;
    HRESULT result;
  } versions[] = {
      {1, 2, S_OK}, {1, 1, S_OK}, {1, 3, TYPE_E_LIBNOTREGISTERED}, {2, 0, TYPE_E_LIBNOTREGISTERED}};
  for (const auto& [major, minor, result] : versions) {
    ComPtr<ITypeLib> found;
    EXPECT_EQ(LoadRegTypeLib(LIBID_TypeProbeLib, major, minor, 0, found.Put()), result);
  }
  EXPECT_EQ(probe_->GetIDsOfNames(GUID{}, names, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 1);
  // Arguments for a property without any go to the default property of the object that it is.
  VARIANT index = Int(4), value{};
  DISPPARAMS one{&index, nullptr, 1, 0};
  EXPECT_EQ(probe_->Invoke(5, GUID{}, 0, kGet, &one, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(Shown(value), OLESTR("3 47"));

  EXPECT_EQ(UnRegisterTypeLib(LIBID_TypeProbeLib, 1, 2, 0, SYS_WIN64), S_OK);
  EXPECT_FALSE(HasKey(library + OLESTR("\\0\\win64")) ||
               HasKey(interfaceKey + OLESTR("\\TypeLib")));
  EXPECT_EQ(UnRegisterTypeLib(LIBID_TypeProbeLib, 1, 2, 0, SYS_WIN64), E_INVALIDARG);
}

}  // namespace
}  // namespace tests
