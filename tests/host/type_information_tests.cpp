// Type libraries and late-bound calls, through a library of the tests' own.
#include <gmock/gmock.h>

#include "platform/com_object.h"
#include "platform/dispatch_impl.h"
#include "tests/host/class_registration.h"
#include "tests/host/type_probe.h"
#include "tests/support/host_kind.h"
#include "tests/support/late_call.h"

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
  STDMETHODIMP get_Numbers(SAFEARRAY** numbers) override {
    *numbers = SafeArrayCreateVector(VT_VARIANT, 0, 3);
    return S_OK;
  }
  STDMETHODIMP get_Mode(ProbeMode* mode) override {
    *mode = mode_;
    return S_OK;
  }
  STDMETHODIMP put_Mode(ProbeMode mode) override {
    mode_ = mode;
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
  STDMETHODIMP Address(std::uint8_t**) override { return E_UNEXPECTED; }
  STDMETHODIMP Add(LONG* sum) override {
    *sum += level_;
    return S_OK;
  }
  STDMETHODIMP Look(std::uint8_t* bytes) override {
    level_ = bytes[0];
    return S_OK;
  }
  STDMETHODIMP Hide() override { return E_UNEXPECTED; }

 private:
  LONG level_ = 7;
  ProbeMode mode_ = ProbeOn;
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
constexpr HRESULT kUnknownArgument = kEmbeddedHost ? DISP_E_PARAMNOTFOUND : kBadCount;
constexpr HRESULT kLeftOut = kEmbeddedHost ? DISP_E_PARAMNOTOPTIONAL : DISP_E_TYPEMISMATCH;

TEST_F(TypeInformation, Invoke_ConvertsAndGivesThePlatformsCodes) {
  ComPtr<IStream> stranger;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, stranger.Put()), S_OK);
  LONG place = 0;
  std::uint8_t bytes[] = {42};
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
      {"indexed property", 0, kGet, {Int(50)}, S_OK, OLESTR("3 507")},
      {"put", 1, kSet, {Str(OLESTR(" 12 "))}},
      {"put shows", 1, kGet, {}, S_OK, OLESTR("3 12")},
      {"indexed put", 0, kSet, {Int(3), Int(5)}},
      {"indexed put shows", 1, kGet, {}, S_OK, OLESTR("3 15")},
      {"put without its name", 1, kSet | kMethod, {Int(1)}, DISP_E_PARAMNOTFOUND},
      {"put by reference", 1, DISPATCH_PROPERTYPUTREF, {Int(1)}, DISP_E_MEMBERNOTFOUND},
      {"put of what is read only", 5, kSet, {Int(1)}, DISP_E_MEMBERNOTFOUND},
      {"unknown member", 99, kMethod, {}, DISP_E_MEMBERNOTFOUND},
      {"restricted member", 12, kMethod, {}, DISP_E_MEMBERNOTFOUND},
      {"method asked as property", 8, kGet, {Int(0)}, DISP_E_MEMBERNOTFOUND},
      {"converted", 2, kMethod, {Int(5), Str(OLESTR("2.5")), Int(1)}, S_OK, kConverted},
      {"named", 2, kMethod, {Str(OLESTR("5")), Int(1), Real(2.5)}, S_OK, kConverted, -1, {2, 1}},
      {"unknown name", 2, kMethod, {Int(5), Int(1), Int(1)}, kUnknownArgument, kNone, 0, {17}},
      {"too few", 2, kMethod, {Int(5)}, kBadCount},
      {"too many", 2, kMethod, {Int(5), Int(5), Int(5), Int(5)}, kBadCount},
      {"too many, nothing returned",
       8,
       kMethod,
       {Int(0), Int(0)},
       kEmbeddedHost ? kBadCount : S_OK},
      {"no number", 2, kMethod, {Int(5), Str(OLESTR("x")), Int(1)}, DISP_E_TYPEMISMATCH, kNone, 1},
      {"out of range", 1, kSet, {Real(1e10)}, DISP_E_OVERFLOW, kNone, 0},
      {"left out", 1, kSet, {Missing()}, kLeftOut, kNone, 0},
      {"another interface", 4, kMethod, {Obj(stranger.Get())}, E_NOINTERFACE, kNone, 0},
      {"an object", 4, kMethod, {Obj(probe_.Get())}, S_OK, OLESTR("3 15")},
      {"enumeration", 7, kSet, {Str(OLESTR("3"))}},
      {"enumeration shows", 7, kGet, {}, S_OK, OLESTR("3 3")},
      {"array", 6, kGet, {}, S_OK, OLESTR("8204")},
      {"object returned", 5, kGet, {}, S_OK, OLESTR("9")},
      {"pointer to a pointer", 9, kMethod, {}, DISP_E_BADVARTYPE},
      {"raw pointer", 11, kMethod, {By(VT_UI1, bytes)}},
      {"raw pointer shows", 1, kGet, {}, S_OK, OLESTR("3 42")},
      {"in and out", 10, kMethod, {By(VT_I4, &place)}},
      {"S_FALSE", 8, kMethod, {Int(1)}},
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
}

TEST_F(TypeInformation, Invoke_FailingMemberFillsTheException) {
  const Outcome outcome = Call(8, kMethod, {Int(static_cast<LONG>(0x80040461u))});
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
  VARIANT width{}, name{}, self{};
  self = Obj(probe_.Get());
  EXPECT_EQ(Call(3, kMethod, {By(VT_VARIANT, &width), By(VT_VARIANT, &name), By(VT_VARIANT, &self)})
                .result,
            S_OK);
  EXPECT_EQ(Shown(width), OLESTR("3 320"));
  EXPECT_EQ(Shown(name), OLESTR("8 wide"));
  EXPECT_EQ(Shown(self), OLESTR("9"));
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
      {"no type", 8, odd, DISP_E_BADVARTYPE},
      {"chain of references", 8, chain, E_INVALIDARG},
      {"null reference in", 8, By(VT_I4, nullptr), E_INVALIDARG},
      {"null reference out", 10, By(VT_I4, nullptr), E_INVALIDARG},
      {"null variant out", 10, By(VT_VARIANT, nullptr), E_INVALIDARG},
      {"variant of no type", 10, By(VT_VARIANT, &odd), DISP_E_BADVARTYPE},
      {"reference to another type", 10, By(VT_R8, &real), DISP_E_TYPEMISMATCH},
      {"number for a raw pointer", 11, Int(1), DISP_E_TYPEMISMATCH},
      {"text for an object", 4, Str(OLESTR("x")), DISP_E_TYPEMISMATCH},
      {"left out", 10, Missing(), ResultCode(0x8002000F)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Outcome outcome = Call(row.member, kMethod, {row.argument});
    EXPECT_EQ(outcome.result, row.result);
    EXPECT_EQ(outcome.badArgument, 0u);
  }
  DISPPARAMS beyond{nullptr, nullptr, 0x7FFFFFFF, 0};
  VARIANT one = Int(1);
  DISPPARAMS unnamed{&one, nullptr, 1, 1};
  DISPPARAMS many{&one, nullptr, 0x7FFFFFFF, 0};
  EXPECT_EQ(info_->Invoke(probe_.Get(), 8, 1, &beyond, nullptr, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(info_->Invoke(probe_.Get(), 8, 1, &unnamed, nullptr, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(info_->Invoke(probe_.Get(), 8, 1, &many, nullptr, nullptr, nullptr),
            ResultCode(0x8002000E));
  EXPECT_EQ(info_->Invoke(nullptr, 8, 1, &many, nullptr, nullptr, nullptr), E_INVALIDARG);
}

TEST_F(TypeInformation, GetIDsOfNames_IgnoresCase) {
  const struct {
    std::vector<LPCOLESTR> names;
    HRESULT result;
    std::vector<DISPID> ids;
  } rows[] = {
      {{OLESTR("LEVEL")}, S_OK, {1}},
      {{OLESTR("value")}, S_OK, {0}},
      {{OLESTR("join"), OLESTR("Flag"), OLESTR("TEXT")}, S_OK, {2, 2, 0}},
      {{OLESTR("get_Level")}, DISP_E_UNKNOWNNAME, {-1}},
      {{OLESTR("Join"), OLESTR("other")}, DISP_E_UNKNOWNNAME, {2, -1}},
  };
  for (const auto& row : rows) {
    std::vector<LPOLESTR> names;
    for (LPCOLESTR name : row.names) names.push_back(const_cast<LPOLESTR>(name));
    std::vector<DISPID> ids(names.size(), 77);
    EXPECT_EQ(info_->GetIDsOfNames(names.data(), static_cast<UINT>(names.size()), ids.data()),
              row.result);
    EXPECT_EQ(ids, row.ids);
  }
}

TEST_F(TypeInformation, DispatchView_FoldsWhatIsReturned) {
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info_->GetTypeAttr(&attributes), S_OK);
  EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
  EXPECT_EQ(attributes->cFuncs, 7 + 16);
  EXPECT_EQ(attributes->cbSizeVft, 7 * 8);
  EXPECT_EQ(attributes->wTypeFlags & (TYPEFLAG_FDUAL | TYPEFLAG_FDISPATCHABLE),
            TYPEFLAG_FDUAL | TYPEFLAG_FDISPATCHABLE);
  info_->ReleaseTypeAttr(attributes);
  const struct {
    UINT index;
    MEMBERID id;
    SHORT parameters;
    VARTYPE type;
    SHORT offset;
  } rows[] = {{0, 0x60000000, 2, VT_VOID, 0},
              {7, 1, 0, VT_I4, 56},
              {8, 1, 1, VT_VOID, 64},
              {11, 2, 3, VT_BSTR, 88}};
  for (const auto& row : rows) {
    FUNCDESC* function = nullptr;
    ASSERT_EQ(info_->GetFuncDesc(row.index, &function), S_OK);
    EXPECT_EQ(function->funckind, FUNC_DISPATCH);
    EXPECT_EQ(function->memid, row.id);
    EXPECT_EQ(function->cParams, row.parameters);
    EXPECT_EQ(function->elemdescFunc.tdesc.vt, row.type);
    EXPECT_EQ(function->oVft, row.offset);
    info_->ReleaseFuncDesc(function);
  }
}

TEST_F(TypeInformation, WhatIsNotThere_HasThePlatformsCodes) {
  FUNCDESC* function = nullptr;
  VARDESC* variable = nullptr;
  HREFTYPE type = 0;
  ComPtr<ITypeInfo> info;
  ComPtr<IUnknown> object;
  BSTR text = nullptr;
  void* address = nullptr;
  const HRESULT notFound = ResultCode(0x8002802B);
  const HRESULT notOfModule = ResultCode(0x800288BD);
  EXPECT_EQ(info_->GetFuncDesc(1000, &function), notFound);
  EXPECT_EQ(info_->GetVarDesc(0, &variable), notFound);
  EXPECT_EQ(info_->GetRefTypeOfImplType(5, &type), notFound);
  EXPECT_EQ(info_->GetDocumentation(999, &text, nullptr, nullptr, nullptr), notFound);
  EXPECT_EQ(info_->GetDllEntry(1, INVOKE_FUNC, &text, nullptr, nullptr), notOfModule);
  EXPECT_EQ(info_->AddressOfMember(1, INVOKE_FUNC, &address), notOfModule);
  EXPECT_EQ(info_->CreateInstance(nullptr, IID_IUnknown, object.PutVoid()), E_INVALIDARG);
  EXPECT_EQ(library_->GetTypeInfo(1000, info.Put()), notFound);
  EXPECT_EQ(library_->GetTypeInfoOfGuid(IID_IStream, info.Put()), notFound);
  ComPtr<ITypeLib> library;
  EXPECT_EQ(LoadTypeLibEx(BesideProgram("no_such.tlb").c_str(), REGKIND_NONE, library.Put()),
            ResultCode(0x80029C4A));
  EXPECT_EQ(
      LoadTypeLibEx(BesideProgram("host_test_empty.module").c_str(), REGKIND_NONE, library.Put()),
      ResultCode(0x80029C4A));
}

TEST_F(TypeInformation, Names_AreFoundInTheLibrary) {
  // In any case, which the system's platform does not see.
  OLECHAR name[] = {kEmbeddedHost ? OLECHAR{'j'} : OLECHAR{'J'}, 'o', 'i', 'n', 0};
  BOOL found = FALSE;
  EXPECT_EQ(library_->IsName(name, 0, &found), S_OK);
  EXPECT_TRUE(found);
  ITypeInfo* infos[4] = {};
  MEMBERID members[4] = {};
  USHORT count = 4;
  EXPECT_EQ(library_->FindName(name, 0, infos, members, &count), S_OK);
  ASSERT_EQ(count, 1);
  EXPECT_EQ(members[0], 2);
  ComPtr<ITypeLib> owner;
  UINT index = 99;
  EXPECT_EQ(infos[0]->GetContainingTypeLib(owner.Put(), &index), S_OK);
  TYPEKIND kind = TKIND_MAX;
  EXPECT_EQ(owner->GetTypeInfoType(index, &kind), S_OK);
  EXPECT_EQ(kind, TKIND_DISPATCH);
  infos[0]->Release();
}

// The default value of a key below HKEY_CLASSES_ROOT, or a named one; empty when there is none.
Text Entry(const Text& path, LPCOLESTR name = nullptr) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
  OLECHAR text[512] = {};
  DWORD bytes = sizeof(text) - sizeof(OLECHAR);
  RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &bytes);
  RegCloseKey(key);
  return text;
}

TEST_F(TypeInformation, Registration_ServesDispatch) {
  const Text library = OLESTR("TypeLib\\{1F0A7C54-3C11-4B1E-9A01-527D10447001}");
  const Text interfaceKey = OLESTR("Interface\\{1F0A7C54-3C11-4B1E-9A01-527D10447002}");
  OLECHAR name[] = {'l', 'e', 'v', 'e', 'l', 0};
  LPOLESTR names[] = {name};
  DISPID id = 0;
  EXPECT_EQ(probe_->GetIDsOfNames(GUID{}, names, 1, 0, &id), TYPE_E_LIBNOTREGISTERED);

  Text file = File();
  ASSERT_EQ(RegisterTypeLib(library_.Get(), file.data(), nullptr), S_OK);
  EXPECT_EQ(Entry(library + OLESTR("\\1.2")), OLESTR("Type Probe Library"));
  EXPECT_EQ(Entry(library + OLESTR("\\1.2\\0\\win64")), file);
  EXPECT_EQ(Entry(library + OLESTR("\\1.2\\FLAGS")), OLESTR("8"));
  EXPECT_EQ(Entry(interfaceKey), OLESTR("ITypeProbe"));
  EXPECT_EQ(Entry(interfaceKey + OLESTR("\\TypeLib"), OLESTR("Version")), OLESTR("1.2"));
  EXPECT_EQ(Entry(interfaceKey + OLESTR("\\ProxyStubClsid32")),
            OLESTR("{00020424-0000-0000-C000-000000000046}"));

  ComPtr<ITypeLib> found;
  EXPECT_EQ(LoadRegTypeLib(LIBID_TypeProbeLib, 1, 2, 0, found.Put()), S_OK);
  found = nullptr;
  EXPECT_EQ(LoadRegTypeLib(LIBID_TypeProbeLib, 1, 3, 0, found.Put()), TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(LoadRegTypeLib(LIBID_TypeProbeLib, 2, 0, 0, found.Put()), TYPE_E_LIBNOTREGISTERED);
  EXPECT_EQ(LoadRegTypeLib(LIBID_TypeProbeLib, 1, 1, 0, found.Put()), S_OK);
  BSTR path = nullptr;
  EXPECT_EQ(QueryPathOfRegTypeLib(LIBID_TypeProbeLib, 1, 2, 0, &path), S_OK);
  EXPECT_EQ(Text(path ? path : OLESTR("")), file);
  SysFreeString(path);

  EXPECT_EQ(probe_->GetIDsOfNames(GUID{}, names, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 1);
  DISPPARAMS none{};
  VARIANT value{};
  EXPECT_EQ(probe_->Invoke(1, GUID{}, 0, kGet, &none, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(Shown(value), OLESTR("3 7"));
  // Arguments for a property without any go to the default property of the object that it is.
  VARIANT index = Int(4);
  DISPPARAMS one{&index, nullptr, 1, 0};
  EXPECT_EQ(probe_->Invoke(5, GUID{}, 0, kGet, &one, &value, nullptr, nullptr), S_OK);
  EXPECT_EQ(Shown(value), OLESTR("3 47"));

  EXPECT_EQ(UnRegisterTypeLib(LIBID_TypeProbeLib, 1, 2, 0, SYS_WIN64), S_OK);
  EXPECT_EQ(Entry(library + OLESTR("\\1.2\\0\\win64")), OLESTR(""));
  EXPECT_EQ(Entry(interfaceKey + OLESTR("\\TypeLib")), OLESTR(""));
  EXPECT_EQ(UnRegisterTypeLib(LIBID_TypeProbeLib, 1, 2, 0, SYS_WIN64), E_INVALIDARG);
}

}  // namespace
}  // namespace tests
