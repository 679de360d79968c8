// SPDX-License-Identifier: MIT
// Objects as a client sees them that knows names only.
#include "platform/type_info_holder.h"
#include "tests/objects/session.h"
#include "tests/rows/late_call.h"
#include "tests/support/thread_error.h"

namespace tests::objects {
namespace {

using facts::Words;
using platform::ComPtr;

HRESULT IdOf(IDispatch& object, OleText name, DISPID* id) {
  LPOLESTR text = name.data();
  return object.GetIDsOfNames(GUID{}, &text, 1, 0, id);
}

std::string Id(Session& session, Words& words) {
  const auto object = session.As<IDispatch>(words.Next());
  const OleText name = Widen(words.Next());
  DISPID id = -99;
  const HRESULT result = session.Guarded([&] { return IdOf(*object, name, &id); });
  return Result(result) + ", " + std::to_string(id);
}

// The results of asking for type information in all ways, and how many members are known by name.
std::string Members(Session& session, Words& words) {
  const std::string name = words.Next();
  const auto object = session.As<IDispatch>(name);
  const HostType& type = *session.Object(name).type;
  UINT count = 7;
  ComPtr<ITypeInfo> info;
  std::string shown;
  for (const HRESULT result :
       {object->GetTypeInfoCount(nullptr), object->GetTypeInfoCount(&count),
        object->GetTypeInfo(0, 0, nullptr), object->GetTypeInfo(1, 0, info.Put()),
        object->GetTypeInfo(0, 0, info.Put())}) {
    shown += Result(result) + ' ';
  }
  DWORD known = 0;
  for (DWORD i = 0; i < type.memberCount; ++i) {
    DISPID id = -99;
    known += IdOf(*object, Widen(type.members[i].name), &id) == S_OK && id == type.members[i].id;
  }
  shown += std::to_string(count) + ", " + std::to_string(known) + " of " +
           std::to_string(type.memberCount);
  if (!info) return shown;
  info->AddRef();
  return shown + ", references " + std::to_string(info->Release());
}

// OBJECT MEMBER ARGUMENTS
std::string Call(Session& session, Words& words, WORD kind) {
  const auto object = session.As<IDispatch>(words.Next());
  DISPID member = 0;
  const HRESULT named = IdOf(*object, Widen(words.Next()), &member);
  facts::LateCall call(words);
  if (FAILED(named)) return Result(named);
  DISPID put = DISPID_PROPERTYPUT;
  if (kind >= DISPATCH_PROPERTYPUT) {
    call.params.rgdispidNamedArgs = &put;
    call.params.cNamedArgs = 1;
  }
  const HRESULT result =
      object->Invoke(member, GUID{}, 0, kind, &call.params, &call.value, &call.thrown, nullptr);
  PutErrorText(kBefore);  // Where words go that nobody asks for is the platform's affair.
  std::string shown = Result(result);
  if (result == DISP_E_EXCEPTION) shown += ' ' + facts::Code(call.thrown.scode);
  for (BSTR said : {call.thrown.bstrSource, call.thrown.bstrDescription}) {
    if (said) shown += ' ' + facts::Quoted(OleText(said, SysStringLen(said)));
  }
  // What a failing member returned is open.
  if (SUCCEEDED(result) && call.value->vt != VT_EMPTY) shown += ", " + session.Print(*call.value);
  return shown + call.References();
}

// OBJECT: what it is walked over, from one end to the other.
std::string Walk(Session& session, Words& words) {
  const auto object = session.As<IDispatch>(words.Next());
  DISPPARAMS none{};
  Value found;
  const HRESULT result =
      object->Invoke(DISPID_NEWENUM, GUID{}, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none,
                     &found, nullptr, nullptr);
  PutErrorText(kBefore);
  std::string shown = Result(result);
  if (FAILED(result)) return shown;
  const auto elements = ComPtr<IUnknown>(found->punkVal).As<IEnumVARIANT>();
  for (Value element; elements->Next(1, &element, nullptr) == S_OK; VariantClear(&element)) {
    shown += ", " + session.Print(*element);
  }
  return shown;
}

template <WORD kind>
std::string Late(Session& session, Words& words) {
  return Call(session, words, kind);
}

}  // namespace

const Operations& LateOperations() {
  static const Operations kOperations = {
      {"call", Late<DISPATCH_METHOD>},
      {"get", Late<DISPATCH_PROPERTYGET>},
      {"ask", Late<DISPATCH_METHOD | DISPATCH_PROPERTYGET>},
      {"put", Late<DISPATCH_PROPERTYPUT>},
      {"set", Late<DISPATCH_PROPERTYPUTREF>},
      {"walk", Walk},
      {"id", Id},
      {"members", Members},
      {"forget-types",  // of the code that is linked into the program
       [](Session&, Words&) { return platform::TypeInfoHolder::ReleaseAll(), std::string(); }}};
  return kOperations;
}

}  // namespace tests::objects
