// The module as a client sees it that knows ProgIDs and names only.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>

#include "interfaces/vector.h"
#include "platform/type_info_holder.h"
#include "tests/rows/rows.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/expected_text.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"
#include "tests/support/thread_error.h"
#include "types/type_library.h"

namespace tests {
namespace {

using platform::ComPtr;

HRESULT IdOf(auto& object, OleText name, DISPID* id) {
  LPOLESTR text = name.data();
  *id = -99;
  return object.GetIDsOfNames(GUID{}, &text, 1, 0, id);
}

TEST(LateBinding, KnowsEveryNameOnceTheLibraryIsRegistered) {
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  std::map<std::string, const HostType*> types;
  for (DWORD i = 0; i < library.typeCount; ++i) types[library.types[i].name] = &library.types[i];
  std::unique_ptr<RegisteredModule> registered;
  for (const HRESULT expected : {TYPE_E_LIBNOTREGISTERED, S_OK}) {
    if (expected == S_OK) registered = std::make_unique<RegisteredModule>();
    for (const auto& [name, type] : types) {
      if (type->kind != kHostClass || name == "AttributeEntryKLP") continue;
      SCOPED_TRACE(name);
      const auto object = ModuleClient::Get().Create<IDispatch>(*type->id);
      UINT count = 7;
      ComPtr<ITypeInfo> info;
      EXPECT_EQ(object->GetTypeInfoCount(nullptr), E_POINTER);
      EXPECT_TRUE(object->GetTypeInfoCount(&count) == S_OK && count == 1);
      EXPECT_EQ(object->GetTypeInfo(0, 0, nullptr), E_POINTER);
      EXPECT_EQ(object->GetTypeInfo(1, 0, info.Put()), DISP_E_BADINDEX);
      EXPECT_EQ(object->GetTypeInfo(0, 0, info.Put()), expected);
      const HostType& answered = *types.at(type->interfaces[0]);
      for (DWORD i = 0; i < answered.memberCount; ++i) {
        DISPID id = 0;
        EXPECT_EQ(IdOf(*object, Widen(answered.members[i].name), &id), expected);
        EXPECT_EQ(id, expected == S_OK ? answered.members[i].id : -99) << answered.members[i].name;
      }
    }
  }
}

// What is walked over from one end to the other.
std::string Walk(IDispatch& object) {
  DISPPARAMS none{};
  Value result;
  const HRESULT outcome =
      object.Invoke(DISPID_NEWENUM, GUID{}, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none,
                    &result, nullptr, nullptr);
  std::string text = facts::Code(outcome);
  if (FAILED(outcome)) return text;
  const auto elements = ComPtr<IUnknown>(result->punkVal).As<IEnumVARIANT>();
  for (Value element; elements->Next(1, &element, nullptr) == S_OK; VariantClear(&element)) {
    text += ", " + facts::Print(*element);
  }
  return text;
}

// Calls a member by its name, as a row says: how, which, and VARIANTs.
std::string CallByName(IDispatch& object, facts::Words& words) {
  const std::map<std::string, WORD> kinds{
      {"call", 1}, {"get", 2}, {"ask", 3}, {"put", 4}, {"set", 8}};
  const WORD kind = kinds.at(words.Next());
  DISPID member = 0, put = DISPID_PROPERTYPUT;
  const HRESULT named = IdOf(object, Widen(words.Next()), &member);
  std::vector<VARIANT*> arguments;
  while (words.HasMore()) arguments.push_back(words.Variant());
  if (FAILED(named)) return facts::Code(named);
  std::vector<VARIANT> reversed;
  for (auto next = arguments.rbegin(); next != arguments.rend(); ++next) reversed.push_back(**next);
  DISPPARAMS params{reversed.data(), kind >= 4 ? &put : nullptr, static_cast<UINT>(reversed.size()),
                    kind >= 4 ? 1u : 0u};
  Value result;
  EXCEPINFO exception{};
  PutErrorText(OLESTR("of an older report"));
  const HRESULT outcome =
      object.Invoke(member, GUID{}, 0, kind, &params, &result, &exception, nullptr);
  std::string text = facts::Code(outcome);
  if (outcome == DISP_E_EXCEPTION) text += ' ' + facts::Code(exception.scode);
  for (BSTR said : {exception.bstrSource, exception.bstrDescription}) {
    if (said) text += ' ' + facts::Quoted(OleText(said, SysStringLen(said)));
    SysFreeString(said);
  }
  // What a failing member returned is open.
  if (SUCCEEDED(outcome) && result->vt != VT_EMPTY) text += ", " + facts::Print(*result);
  for (const VARIANT* argument : arguments) {
    if (argument->vt & VT_BYREF) text += ", " + facts::Print(*argument);
  }
  return text;
}

// The rows run one after the other, each on the object that the last "new" has made.
TEST(LateBinding, CallsAndConvertsAsRecorded) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  std::ifstream file(RASTEL_LATE_CALLS);
  std::string text;
  ComPtr<IDispatch> object;
  for (std::string line; std::getline(file, line); text += line + '\n') {
    line.erase((std::min)(line.rfind(" -> "), line.size()));
    if (line.empty() || line[0] == '#') continue;
    facts::State state;
    facts::Words words(line, state);
    if (words.Take("new")) {
      CLSID id{};
      ASSERT_EQ(CLSIDFromProgID(Widen(words.Next()).c_str(), &id), S_OK) << line;
      CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid());
      ASSERT_TRUE(object) << line;
    } else if (words.Take("walk")) {
      line += " -> " + Walk(*object);
    } else {
      line += " -> " + CallByName(*object, words);
    }
  }
  ExpectText("late_calls.txt", text);
}

ComPtr<ITypeInfo> vectorInfo;

TEST(LateBinding, AsksForNamesThatThereIsNoMemoryFor) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadTypeLibEx(TypeLibraryFile().c_str(), REGKIND_NONE, library.Put()), S_OK);
  ASSERT_EQ(library->GetTypeInfoOfGuid(IID_IVectorKLP, vectorInfo.Put()), S_OK);
  const auto give = [](const platform::TypeInfoHolder&, LCID, ITypeInfo** out) noexcept {
    *out = ComPtr<ITypeInfo>(vectorInfo).Detach();
    return S_OK;
  };
  OLECHAR name[] = {'C', 'o', 'u', 'n', 't', 0};
  LPOLESTR names[] = {name};
  for (const long long granted : {0, 1, 2}) {
    platform::TypeInfoHolder holder(IID_IVectorKLP, LIBID_RASTEL_KLP_Lib, 1, 0, give);
    DISPID id = 0;
    AllocationFaults faults(granted);
    const HRESULT result = holder.GetIDsOfNames(names, 1, 0, &id);
    faults.Stop();
    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(id, 2);
    platform::TypeInfoHolder::ReleaseAll();
  }
  EXPECT_EQ(vectorInfo.Detach()->Release(), 0u) << "all others have let go";
}

}  // namespace
}  // namespace tests
