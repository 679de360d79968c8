// SPDX-License-Identifier: MIT
// Operations on objects, and on elements that they lend or are lent.
#include <cstring>

#include "interfaces/stream_classes.h"
#include "tests/objects/session.h"

namespace tests::objects {
namespace {

using facts::Words;
using platform::ComPtr;

constexpr std::pair<const char*, const IID*> kPlatformInterfaces[] = {
    {"IUnknown", &IID_IUnknown},
    {"IDispatch", &IID_IDispatch},
    {"IPersist", &IID_IPersist},
    {"IPersistStream", &IID_IPersistStream},
    {"IPersistStreamInit", &IID_IPersistStreamInit},
    {"IPersistPropertyBag", &IID_IPersistPropertyBag},
    {"IMarshal", &IID_IMarshal},
    {"ISupportErrorInfo", &IID_ISupportErrorInfo},
    {"IClassFactory", &IID_IClassFactory}};

// The interfaces that an object answers; a + behind those that report errors, a = behind the one
// that it is held by.
std::string Answers(Session& session, Words& words) {
  const ComPtr<IUnknown> object = session.Object(words.Next()).pointer;
  const auto support = object.As<ISupportErrorInfo>();
  std::string shown;
  const auto ask = [&](const char* itsName, const IID& iid) {
    ComPtr<IUnknown> answer;
    if (FAILED(object->QueryInterface(iid, answer.PutVoid()))) return;
    const bool reports = support && support->InterfaceSupportsErrorInfo(iid) == S_OK;
    shown += (shown.empty() ? "" : " ") + std::string(itsName) + (reports ? "+" : "") +
             (answer.Get() == object.Get() ? "=" : "");
  };
  for (const auto& [itsName, iid] : kPlatformInterfaces) ask(itsName, *iid);
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  for (DWORD i = 0; i < library.typeCount; ++i) {
    const HostType& type = library.types[i];
    const bool isInterface = type.kind == kHostInterface || type.kind == kHostDualInterface;
    if (isInterface) ask(type.name, *type.id);
  }
  return shown;
}

// For another process.
HRESULT Marshal(const Named& from, IStream* packet) {
  return CoMarshalInterface(packet, *from.type->id, from.pointer.Get(), MSHCTX_LOCAL, nullptr,
                            MSHLFLAGS_NORMAL);
}

}  // namespace

const IID* IdOf(const std::string& name) {
  if (const HostType* const type = FindType(name)) return type->id;
  for (const auto& [itsName, iid] : kPlatformInterfaces) {
    if (name == itsName) return iid;
  }
  return nullptr;
}

const Operations& ObjectOperations() {
  static const Operations kOperations = {
      {"answers", Answers},
      {"size",
       [](Session& s, Words& w) {
         const auto persist = s.As<IPersistStream>(w.Next());
         ULARGE_INTEGER size{};
         const HRESULT result = s.Guarded([&] { return persist->GetSizeMax(&size); });
         return Result(result) + ", " + std::to_string(size.QuadPart);
       }},
      {"dirty",
       [](Session& s, Words& w) { return Result(s.As<IPersistStream>(w.Next())->IsDirty()); }},
      {"classid",
       [](Session& s, Words& w) {
         CLSID id{};
         const HRESULT result = s.As<IPersist>(w.Next())->GetClassID(&id);
         return Result(result) + ", " + facts::Print(id);
       }},
      {"init",
       [](Session& s, Words& w) { return Result(s.As<IPersistStreamInit>(w.Next())->InitNew()); }},
      {"packet",
       [](Session& s, Words& w) {
         const auto packet = NewStream();
         const HRESULT result = Marshal(s.Object(w.Next()), packet.Get());
         return Result(result) + ", " + ContentOf(packet.Get());
       }},
      {"marshal",  // and back in, under a second name
       [](Session& s, Words& w) {
         const Named& from = s.Object(w.Next());
         Named to{{}, from.type};
         const auto packet = NewStream();
         HRESULT result = Marshal(from, packet.Get());
         if (FAILED(result)) return "out " + Result(result);
         SeekTo(packet.Get(), 0);
         result = CoUnmarshalInterface(packet.Get(), *from.type->id, to.pointer.PutVoid());
         if (SUCCEEDED(result)) s.objects[w.Next()] = std::move(to);
         return Result(result);
       }},
      {"bag",  // a property bag that is there, and not used
       [](Session& s, Words& w) {
         const auto bag = s.As<IPersistPropertyBag>(w.Next());
         CLSID id{};
         std::string shown;
         for (const HRESULT result : {bag->InitNew(), bag->Load(nullptr, nullptr),
                                      bag->Save(nullptr, TRUE, TRUE), bag->GetClassID(&id)}) {
           shown += Result(result) + ' ';
         }
         return shown + facts::Print(id);
       }},
      {"marshal-class",  // in a context
       [](Session& s, Words& w) {
         const auto marshal = s.As<IMarshal>(w.Next());
         CLSID id{};
         const HRESULT result = marshal->GetUnmarshalClass(
             IID_IUnknown, marshal.Get(), static_cast<DWORD>(w.Number()), nullptr, 0, &id);
         return Result(result) + ", " + facts::Print(id);
       }},
      {"unmarshal",  // OBJECT STREAM, by the object itself
       [](Session& s, Words& w) {
         const auto marshal = s.As<IMarshal>(w.Next());
         IStream* const stream = &s.streams[w.Next()].faults;
         ComPtr<IUnknown> out;
         const HRESULT result = marshal->UnmarshalInterface(stream, IID_IUnknown, out.PutVoid());
         return Result(result) + (out ? ", object" : ", null");
       }},
      {"marshal-into",  // OBJECT STREAM, the same
       [](Session& s, Words& w) {
         const auto marshal = s.As<IMarshal>(w.Next());
         IStream* const stream = &s.streams[w.Next()].faults;
         return Result(
             marshal->MarshalInterface(stream, IID_IUnknown, marshal.Get(), 2, nullptr, 0));
       }},
      {"marshal-size",
       [](Session& s, Words& w) {
         const auto marshal = s.As<IMarshal>(w.Next());
         DWORD size = 0;
         const HRESULT result =
             marshal->GetMarshalSizeMax(IID_IUnknown, marshal.Get(), 2, nullptr, 0, &size);
         return Result(result) + ", " + std::to_string(size);
       }},
      {"is",  // whether two names are of one object
       [](Session& s, Words& w) {
         const auto first = s.As<IUnknown>(w.Next());
         return std::string(first.Get() == s.As<IUnknown>(w.Next()).Get() ? "the same" : "another");
       }},
      {"slot", CallUnnamedSlot},
      {"lock",
       [](Session& s, Words& w) {
         const auto factory = s.As<IClassFactory>(w.Next());
         return Result(factory->LockServer(static_cast<BOOL>(w.Number())));
       }},
      {"allow",  // FACTORY all, or the classes that streams may name
       [](Session& s, Words& w) {
         const auto classes = s.As<IStreamClassesKLP>(w.Next());
         if (w.Take("all")) return Result(classes->AllowAll());
         if (w.Take("null")) return Result(classes->AllowOnly(nullptr, 1));
         std::vector<CLSID> allowed;
         while (w.HasMore()) allowed.push_back(w.Guid());
         return Result(classes->AllowOnly(allowed.data(), static_cast<ULONG>(allowed.size())));
       }},
      {"load-allowed",  // FACTORY STREAM [null, for no place]
       [](Session& s, Words& w) {
         const auto classes = s.As<IStreamClassesKLP>(w.Next());
         const bool hasStream = !w.Take("null");
         NamedStream& stream = s.streams[hasStream ? w.Next() : "none"];
         ComPtr<IPersist> object;
         void** const place = w.Take("null") ? nullptr : object.PutVoid();
         const HRESULT result =
             classes->LoadFromStream(hasStream ? &stream.faults : nullptr, IID_IPersist, place);
         return Result(result) + (object ? ", object, " : ", null, ") +
                std::to_string(PositionOf(stream.memory.Get()));
       }},
      {"unload", [](Session&, Words&) { return Result(ModuleClient::Get().CanUnloadNow()); }},
      {"references",
       [](Session& s, Words& w) {
         IUnknown* const object = s.Object(w.Next()).pointer.Get();
         object->AddRef();
         return std::to_string(object->Release());
       }},
      {"same",
       [](Session& s, Words& w) {
         const void* const first = s.elements.at(w.Next()).first;
         return std::string(first == s.elements.at(w.Next()).first ? "the same" : "another");
       }},
      {"peek",
       [](Session& s, Words& w) {
         const Elements& elements = s.elements.at(w.Next());
         const auto first = static_cast<std::size_t>(w.Number());
         return ShowElements(elements, first,
                             w.HasMore() ? static_cast<std::size_t>(w.Number()) : 1);
       }},
      {"poke",  // a value, as a client writes it through a pointer
       [](Session& s, Words& w) {
         const Elements& elements = s.elements.at(w.Next());
         const auto index = static_cast<std::size_t>(w.Number());
         BYTE* const place = static_cast<BYTE*>(elements.first) + index * WidthOf(elements.type);
         VARIANT& value = *w.Variant();
         if (elements.type == VT_VARIANT) {
           std::swap(value, *reinterpret_cast<VARIANT*>(place));
         } else {
           std::memcpy(place, facts::ElementIn(value, elements.type), WidthOf(elements.type));
         }
         return std::string();
       }}};
  return kOperations;
}

}  // namespace tests::objects
