// SPDX-License-Identifier: MIT
// Type libraries and late-bound calls, through a library of the tests' own.
#include "platform/com_object.h"
#include "platform/dispatch_impl.h"
#include "tests/host/host_operations.h"
#include "tests/host/type_probe.h"
#include "tests/rows/late_call.h"
#include "tests/support/host_kind.h"

RASTEL_INTERFACE_ID(ITypeLib);
RASTEL_INTERFACE_ID(ITypeInfo);

namespace tests {

// The layouts are the same on both hosts.
static_assert(sizeof(TYPEDESC) == 16 && sizeof(ELEMDESC) == 32 && sizeof(ARRAYDESC) == 32);
static_assert(sizeof(FUNCDESC) == 88 && offsetof(FUNCDESC, elemdescFunc) == 48);
static_assert(sizeof(VARDESC) == 64 && offsetof(VARDESC, elemdescVar) == 24);
static_assert(sizeof(TYPEATTR) == 96 && offsetof(TYPEATTR, typekind) == 44);
static_assert(sizeof(TLIBATTR) == 32 && sizeof(DISPPARAMS) == 24 && sizeof(EXCEPINFO) == 64);

class TypeProbe
    : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
      public platform::IDispatchImpl<ITypeProbe, &LIBID_TypeProbeLib, platform::NoElements, 1, 2> {
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
    *value = Bits(VT_I4, 10 * index + level_);
    return S_OK;
  }
  STDMETHODIMP put_Value(LONG index, VARIANT value) override {
    level_ = value.vt == VT_I4 ? value.lVal * index : value.vt;
    return S_OK;
  }
  STDMETHODIMP Join(BSTR text, DOUBLE number, VARIANT_BOOL flag, BSTR* joined) override {
    const std::string all = Narrow(text) + ' ' + Show(Bits(VT_I4, static_cast<LONG>(2 * number))) +
                            "/2 " + Show(Bits(VT_BOOL, flag));
    *joined = NewText(all);
    return S_OK;
  }
  STDMETHODIMP Measure(LONG* width, BSTR* name, ITypeProbe** self) override {
    *width = 320;
    *name = NewText("wide");
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
    platform::ComPtr<ICreateErrorInfo> error;
    CreateErrorInfo(error.Put());
    OLECHAR source[] = {'P', 0}, text[] = {'n', 'o', 0}, help[] = {'h', 0};
    error->SetSource(source);
    error->SetDescription(text);
    error->SetHelpFile(help);
    error->SetHelpContext(7);
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

namespace facts {
namespace {

// Through an ITypeInfo on an object, or through an object's own IDispatch: member, flags (1 method,
// 2 get, 4 put, 8 put by reference) and arguments.
std::string Invoke(Words& words) {
  const auto info = words.Object().As<ITypeInfo>();
  const auto object = words.Object();
  const auto member = static_cast<DISPID>(words.Number());
  const auto flags = static_cast<WORD>(words.Number());
  LateCall call(words);
  auto& [arguments, names, params, value, thrown, bad] = call;
  const HRESULT result = info ? info->Invoke(object.As<ITypeProbe>().Get(), member, flags, &params,
                                             &value, &thrown, &bad)
                              : object.As<IDispatch>()->Invoke(member, GUID{}, 0, flags, &params,
                                                               &value, &thrown, &bad);
  std::string shown = Shown(result, words) + ", " + Print(*value);
  if (SUCCEEDED(result)) shown += call.References();
  if (bad != 99) shown += ", argument " + std::to_string(bad);
  if (thrown.scode == 0) return shown;
  shown += ", " + Code(thrown.scode);
  for (BSTR text : {thrown.bstrSource, thrown.bstrDescription, thrown.bstrHelpFile}) {
    VARIANT view = Typed(VT_BSTR);
    view.bstrVal = text;
    shown += ", " + Print(view).substr(5);
  }
  return shown + ", " + std::to_string(thrown.dwHelpContext);
}

OleText ProbeFile() {
  return Widen(
      PathOf(kEmbeddedHost ? "beside\"host_test_types.module\"" : "beside\"host_test_types.tlb\""));
}

// The results for what a type and a library do not have.
std::string AskInVain(Words& words) {
  const auto info = words.Object().As<ITypeInfo>();
  const auto library = words.Object().As<ITypeLib>();
  FUNCDESC* function = nullptr;
  VARDESC* variable = nullptr;
  HREFTYPE type = 0;
  platform::ComPtr<ITypeInfo> found;
  BSTR text = nullptr;
  void* address = nullptr;
  std::string shown;
  for (const HRESULT result : {info->GetFuncDesc(1000, &function), info->GetVarDesc(0, &variable),
                               info->GetRefTypeOfImplType(5, &type),
                               info->GetDocumentation(999, &text, nullptr, nullptr, nullptr),
                               library->GetTypeInfo(1000, found.Put()),
                               library->GetTypeInfoOfGuid(IID_IStream, found.Put()),
                               info->GetDllEntry(1, INVOKE_FUNC, &text, nullptr, nullptr),
                               info->AddressOfMember(1, INVOKE_FUNC, &address)}) {
    if (!shown.empty()) shown += ' ';
    shown += Code(result);
  }
  return shown;
}

const MoreOperations kOperations(Operations{
    {"LoadProbeLibrary", Of(+[](ITypeLib** library) {
       return LoadTypeLibEx(ProbeFile().c_str(), REGKIND_NONE, library);
     })},
    {"RegisterProbe", Of(+[](ITypeLib* library, const OLECHAR* helpFolder) {
       DeleteAtEnd(OLESTR("TypeLib\\{1F0A7C54-3C11-4B1E-9A01-527D10447001}"));
       DeleteAtEnd(OLESTR("Interface\\{1F0A7C54-3C11-4B1E-9A01-527D10447002}"));
       return RegisterTypeLib(library, ProbeFile().data(), const_cast<OLECHAR*>(helpFolder));
     })},
    {"LoadTypeLibEx", Of(+[](Path path, int kind, ITypeLib** library) {
       return LoadTypeLibEx(path.text, static_cast<REGKIND>(kind), library);
     })},
    {"LoadRegTypeLib", Of(LoadRegTypeLib)},
    {"GetTypeInfoOfGuid", Of(&ITypeLib::GetTypeInfoOfGuid)},
    {"RegisterTypeLib", Of(+[](ITypeLib* library, Path path, const OLECHAR* helpFolder) {
       return RegisterTypeLib(library, const_cast<OLECHAR*>(path.text),
                              const_cast<OLECHAR*>(helpFolder));
     })},
    {"UnRegisterTypeLib", Of(+[](REFGUID library, WORD major, WORD minor, LCID locale, int system) {
       return UnRegisterTypeLib(library, major, minor, locale, static_cast<SYSKIND>(system));
     })},
    // An object and its type.
    {"Probe", Of(+[](ITypeProbe** object, ITypeInfo** type) {
       platform::ComPtr<ITypeLib> library;
       LoadTypeLibEx(ProbeFile().c_str(), REGKIND_NONE, library.Put());
       library->GetTypeInfoOfGuid(IID_ITypeProbe, type);
       return platform::CreateObject<TypeProbe>(nullptr, IID_ITypeProbe,
                                                reinterpret_cast<void**>(object));
     })},
    {"GetIDsOfNames", Of(+[](IDispatch* object, const OLECHAR* name, DISPID* id) {
       LPOLESTR names[] = {const_cast<OLECHAR*>(name)};
       return object->GetIDsOfNames(GUID{}, names, 1, 0, id);
     })},
    {"Invoke", Invoke},
    {"AskInVain", AskInVain},
});

}  // namespace
}  // namespace facts
}  // namespace tests
