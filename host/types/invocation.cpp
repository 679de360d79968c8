// SPDX-License-Identifier: MIT
#include "host/types/invocation.h"

#include <algorithm>

#include "host/services/error_objects.h"
#include "host/values/conversion.h"
#include "host/values/strings.h"
#include "host/values/variant_types.h"
#include "host/values/variants.h"

namespace host {
namespace {

constexpr VARTYPE ValueType(VARTYPE type) noexcept {
  return static_cast<VARTYPE>(type & ~VT_BYREF);
}
constexpr bool IsInterfaceType(VARTYPE type) noexcept {
  return type == VT_DISPATCH || type == VT_UNKNOWN;
}

// Where a value of a type lies in its VARIANT.
void* ValueIn(VARIANT& variant, VARTYPE type) noexcept {
  if (type == VT_VARIANT) return &variant;
  if (type == VT_DECIMAL) return &variant.decVal;
  return &variant.llVal;
}

// A parameter on its way through a call.
struct Argument {
  const HostTypeParameter* row;
  const IID* iid;  // of an interface; else null
  VARTYPE type;    // what a VARIANT argument for it has to be
  VARIANT value;   // owned when isOwned, else bits of the caller's
  bool isOwned;
  void* reference;    // what the callee gets for a VT_BYREF type
  VARIANT* receiver;  // takes the value after the call
};

bool IsReturned(const HostTypeParameter& row) noexcept {
  return (row.flags & PARAMFLAG_FRETVAL) != 0;
}

// What a VARIANT has to be to hold the parameter; VT_EMPTY when none can.
VARTYPE VariantTypeOf(const TypeLibrary& library, const HostTypeUse& use, const IID** iid) {
  *iid = nullptr;
  VARTYPE type = use.type;
  int pointers = use.pointers;
  if (type == VT_USERDEFINED) {
    const DWORD index = library.Find(use.name);
    if (index == kNoType) return VT_EMPTY;
    const HostType& named = library.type(index);
    if (named.kind == kHostEnumeration) {
      type = VT_I4;
    } else {
      type = named.kind == kHostDualInterface ? VT_DISPATCH : VT_UNKNOWN;
      *iid = named.id;
      --pointers;
    }
  } else if (type == VT_INT) {
    type = VT_I4;
  } else if (type == VT_UINT) {
    type = VT_UI4;
  } else if (type == VT_DISPATCH) {
    *iid = &IID_IDispatch;
  } else if (type == VT_UNKNOWN) {
    *iid = &IID_IUnknown;
  }
  if (use.isArray) type |= VT_ARRAY;
  if (pointers > 1) return VT_EMPTY;
  return pointers == 1 ? static_cast<VARTYPE>(type | VT_BYREF) : type;
}

class Call {
 public:
  Call(const TypeLibrary& library, const HostTypeMember& member)
      : library_(library), member_(member) {}
  ~Call() {
    for (WORD i = 0; i < described_; ++i) {
      if (arguments_[i].isOwned) VariantClear(&arguments_[i].value);
    }
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  // Finds out what each parameter has to be.
  HRESULT Describe() {
    for (WORD i = 0; i < member_.parameterCount; ++i) {
      Argument& argument = arguments_[i];
      argument = {};
      ++described_;
      argument.row = &member_.parameters[i];
      argument.type = VariantTypeOf(library_, argument.row->use, &argument.iid);
      if (argument.type == VT_EMPTY) return DISP_E_BADVARTYPE;
    }
    return S_OK;
  }

  // Takes the arguments, one for each parameter that is not returned.
  HRESULT Take(const DISPPARAMS& params, UINT* badArgument) {
    VARIANT* sources[kHostMostParameters];
    const UINT count = GivenParameters();
    std::fill_n(sources, count, nullptr);
    for (UINT i = 0; i < params.cNamedArgs; ++i) {
      const DISPID id = params.rgdispidNamedArgs[i];
      const bool isPutValue = id == DISPID_PROPERTYPUT && member_.kind == INVOKE_PROPERTYPUT;
      const UINT index = isPutValue ? count - 1 : static_cast<UINT>(id);
      if (index >= count || sources[index] != nullptr) {
        if (badArgument != nullptr) *badArgument = i;
        return DISP_E_PARAMNOTFOUND;
      }
      sources[index] = &params.rgvarg[i];
    }
    // The others stand behind them, the first one last, and fill what is left.
    VARIANT* next = params.rgvarg + params.cArgs;
    for (UINT i = 0; i < count; ++i) {
      if (sources[i] == nullptr) sources[i] = --next;
    }
    for (UINT i = 0; i < count; ++i) {
      const HRESULT result = TakeArgument(arguments_[i], *sources[i]);
      if (FAILED(result)) {
        if (badArgument != nullptr) *badArgument = static_cast<UINT>(sources[i] - params.rgvarg);
        return result;
      }
    }
    if (count < member_.parameterCount) MakeRoom(arguments_[count]);
    return S_OK;
  }

  HRESULT Make(void* instance) {
    void* passed[kHostMostParameters];
    for (WORD i = 0; i < member_.parameterCount; ++i) {
      Argument& argument = arguments_[i];
      passed[i] = (argument.type & VT_BYREF) != 0 ? &argument.reference
                                                  : ValueIn(argument.value, argument.type);
    }
    const HRESULT result = member_.call(instance, passed);
    for (WORD i = 0; i < member_.parameterCount; ++i) {
      Argument& argument = arguments_[i];
      // The callee wrote over the type along with the number.
      if (ValueType(argument.type) == VT_DECIMAL) argument.value.vt = VT_DECIMAL;
    }
    return result;
  }

  // Hands over what the call gave.
  HRESULT Give(VARIANT* result) {
    for (UINT i = 0; i < GivenParameters(); ++i) {
      Argument& argument = arguments_[i];
      if (argument.receiver == nullptr) continue;
      const HRESULT cleared = CheckClearable(*argument.receiver);
      if (FAILED(cleared)) return cleared;
      argument.isOwned = false;
      MoveInto(argument.receiver, argument.value);
    }
    if (result == nullptr || GivenParameters() == member_.parameterCount) return S_OK;
    Argument& returned = arguments_[GivenParameters()];
    if ((returned.value.vt & VT_BYREF) != 0) return VariantCopyInd(result, &returned.value);
    returned.isOwned = false;
    *result = returned.value;
    return S_OK;
  }

  UINT GivenParameters() const noexcept {
    const WORD count = member_.parameterCount;
    return count > 0 && IsReturned(member_.parameters[count - 1]) ? count - 1u : count;
  }

 private:
  // Room of the call's own for an out value.
  static void MakeRoom(Argument& argument) noexcept {
    const VARTYPE type = ValueType(argument.type);
    argument.value = {};
    argument.value.vt = type == VT_VARIANT ? static_cast<VARTYPE>(VT_EMPTY) : type;
    argument.isOwned = true;
    argument.reference = ValueIn(argument.value, type);
  }

  static HRESULT TakeArgument(Argument& argument, VARIANT& source) {
    const bool isMissing = source.vt == VT_ERROR && source.scode == DISP_E_PARAMNOTFOUND;
    if (isMissing && argument.type != VT_VARIANT && argument.type != VT_ERROR) {
      return DISP_E_PARAMNOTOPTIONAL;
    }
    return (argument.type & VT_BYREF) != 0 ? TakeReference(argument, source)
                                           : TakeValue(argument, source, argument.type);
  }

  // A value, for the callee to read.
  static HRESULT TakeValue(Argument& argument, VARIANT& source, VARTYPE type) {
    if (type == VT_VARIANT) {
      argument.isOwned = true;
      return VariantCopyInd(&argument.value, &source);
    }
    VARIANT view;
    const HRESULT seen = Dereference(source, &view);
    if (FAILED(seen)) return seen;
    if (argument.iid != nullptr && IsInterfaceType(type)) {
      if (!IsInterfaceType(view.vt)) return DISP_E_TYPEMISMATCH;
      argument.value.vt = VT_UNKNOWN;
      argument.value.punkVal = nullptr;
      argument.isOwned = true;
      if (view.punkVal == nullptr) return S_OK;
      Reference<IUnknown> found;
      const HRESULT asked = AskFor(view.punkVal, *argument.iid, found);
      argument.value.punkVal = found.Detach();
      return asked;
    }
    if (view.vt == type) {
      argument.value = view;
      return S_OK;
    }
    argument.isOwned = true;
    return VariantChangeType(&argument.value, &view, 0, type);
  }

  static HRESULT TakeReference(Argument& argument, VARIANT& source) {
    const VARTYPE type = ValueType(argument.type);
    const bool isIn = (argument.row->flags & PARAMFLAG_FIN) != 0;
    const bool isOut = (argument.row->flags & PARAMFLAG_FOUT) != 0;
    if ((source.vt & VT_BYREF) != 0 && source.byref == nullptr) return E_INVALIDARG;
    const bool fits = source.vt == argument.type ||
                      (source.vt == (VT_BYREF | VT_UNKNOWN) && IsInterfaceType(type));
    if (fits) {
      argument.reference = source.byref;
      return S_OK;
    }
    // What goes in is a block of unknown length: nothing here could stand for it.
    if (!isOut) return DISP_E_TYPEMISMATCH;
    const bool isVariant = source.vt == (VT_BYREF | VT_VARIANT);
    if ((source.vt & VT_BYREF) != 0 && !isVariant) return DISP_E_TYPEMISMATCH;
    // The system's platform finds that out behind the call.
    if (!isIn && IsInterfaceType(source.vt) && !IsInterfaceType(type) && type != VT_VARIANT) {
      return DISP_E_TYPEMISMATCH;
    }
    if (isVariant) {
      const HRESULT clearable = CheckClearable(*source.pvarVal);
      if (FAILED(clearable)) return clearable;
    }
    MakeRoom(argument);
    if (isIn &&
        !(IsInterfaceType(type) && (isVariant ? source.pvarVal : &source)->vt == VT_EMPTY)) {
      VARIANT taken{};
      Argument inner{argument.row, argument.iid, type, taken, false, nullptr, nullptr};
      HRESULT result = TakeValue(inner, source, type);
      // The room owns its content, so it gets a copy of what is the caller's.
      if (SUCCEEDED(result) && !inner.isOwned) {
        VARIANT copy{};
        result = VariantCopy(&copy, &inner.value);
        inner.value = copy;
      }
      if (FAILED(result)) return result;
      argument.value = inner.value;
      if (IsInterfaceType(type)) argument.value.vt = type;
    }
    if (isVariant) argument.receiver = source.pvarVal;
    return S_OK;
  }

  const TypeLibrary& library_;
  const HostTypeMember& member_;
  // The first ones are there.
  Argument arguments_[kHostMostParameters];
  WORD described_ = 0;
};

void FillException(EXCEPINFO& exception, HRESULT code) {
  exception = {};
  exception.scode = code;
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return;
  info->GetSource(&exception.bstrSource);
  info->GetDescription(&exception.bstrDescription);
  info->GetHelpFile(&exception.bstrHelpFile);
  info->GetHelpContext(&exception.dwHelpContext);
  info->Release();
}

constexpr std::uint64_t kNumberTypes =
    TypeRange(VT_I2, VT_DATE) | TypeRange(VT_BOOL, VT_BOOL) | TypeRange(VT_I1, VT_UINT);

// Whether the member only gives a number: the commonest call of all.
bool GivesNumber(const HostTypeMember& member) noexcept {
  if (member.parameterCount != 1 || !IsReturned(member.parameters[0])) return false;
  const HostTypeUse& use = member.parameters[0].use;
  return use.pointers == 1 && !use.isArray && IsOneOf(use.type, kNumberTypes);
}

// Its bytes move as what they are: wider ones would wait for the callee's to reach memory.
void GiveNumber(VARIANT& result, VARTYPE type, const LONGLONG& number) noexcept {
  result = {};
  result.vt = type == VT_INT ? VARTYPE{VT_I4} : type == VT_UINT ? VARTYPE{VT_UI4} : type;
  switch (ValueBytes(type)) {
    case 1:
      std::memcpy(&result.llVal, &number, 1);
      break;
    case 2:
      std::memcpy(&result.llVal, &number, 2);
      break;
    case 4:
      std::memcpy(&result.llVal, &number, 4);
      break;
    default:
      result.llVal = number;
  }
}

HRESULT AskForNumber(const HostTypeMember& member, void* instance, VARIANT* result,
                     EXCEPINFO* exception) {
  LONGLONG number = 0;
  void* reference = &number;
  void* passed[] = {&reference};
  const HRESULT made = member.call(instance, passed);
  if (FAILED(made)) {
    if (result != nullptr) VariantInit(result);
    if (exception != nullptr) FillException(*exception, made);
    return DISP_E_EXCEPTION;
  }
  if (result != nullptr) GiveNumber(*result, member.parameters[0].use.type, number);
  return S_OK;
}

}  // namespace

HRESULT InvokeMember(const TypeLibrary& library, const HostTypeMember& member, void* instance,
                     const DISPPARAMS& params, VARIANT* result, EXCEPINFO* exception,
                     UINT* badArgument) {
  if (member.kind == INVOKE_PROPERTYPUT &&
      (params.cNamedArgs == 0 || params.rgdispidNamedArgs[0] != DISPID_PROPERTYPUT)) {
    return DISP_E_PARAMNOTFOUND;
  }
  if (params.cArgs == 0 && GivesNumber(member)) {
    return AskForNumber(member, instance, result, exception);
  }
  if (member.parameterCount > kHostMostParameters) return DISP_E_BADVARTYPE;
  Call call(library, member);
  const HRESULT described = call.Describe();
  if (FAILED(described)) return described;
  const bool handsOn = params.cArgs > 0 && call.GivenParameters() == 0 && result != nullptr &&
                       member.kind == INVOKE_PROPERTYGET && member.parameterCount == 1;
  if (params.cArgs != call.GivenParameters() && !handsOn) return DISP_E_BADPARAMCOUNT;
  const HRESULT taken = call.Take(handsOn ? DISPPARAMS{} : params, badArgument);
  if (FAILED(taken)) return taken;

  const HRESULT made = call.Make(instance);
  if (result != nullptr) VariantInit(result);
  if (FAILED(made)) {
    if (exception != nullptr) FillException(*exception, made);
    return DISP_E_EXCEPTION;
  }
  const HRESULT given = call.Give(result);
  if (FAILED(given) || !handsOn) return given;

  const VARIANT value = *result;
  VariantInit(result);
  if (value.vt != VT_DISPATCH || value.pdispVal == nullptr) {
    ReleaseValue(value);
    return DISP_E_NOTACOLLECTION;
  }
  Reference<IDispatch> object(value.pdispVal);
  DISPPARAMS handed = params;
  return object->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYGET, &handed, result, exception,
                        badArgument);
}

}  // namespace host
