#include "tests/objects/session.h"

#include <cstring>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "tests/support/module_client.h"
#include "tests/support/thread_error.h"

namespace tests::objects {
namespace {

using platform::ComPtr;

constexpr char kBefore[] = "from before the call";

std::string Result(HRESULT result) {
  return result < 0 ? facts::Code(result) : std::to_string(result);
}

HRESULT ParseCode(const std::string& word) {
  for (const HRESULT code : {S_OK, S_FALSE, E_FAIL, E_NOTIMPL, E_NOINTERFACE, E_POINTER,
                             E_UNEXPECTED, E_OUTOFMEMORY, E_INVALIDARG, E_ACCESSDENIED}) {
    if (word == facts::Code(code)) return code;
  }
  return static_cast<HRESULT>(std::strtoul(word.c_str(), nullptr, 0));
}

StreamCall ParseCall(const std::string& word) {
  return word == "read"    ? StreamCall::kRead
         : word == "write" ? StreamCall::kWrite
         : word == "seek"  ? StreamCall::kSeek
                           : StreamCall::kEvery;
}

constexpr std::pair<const char*, const IID*> kPlatformInterfaces[] = {
    {"IUnknown", &IID_IUnknown},
    {"IDispatch", &IID_IDispatch},
    {"IPersist", &IID_IPersist},
    {"IPersistStream", &IID_IPersistStream},
    {"IPersistStreamInit", &IID_IPersistStreamInit},
    {"IMarshal", &IID_IMarshal},
    {"ISupportErrorInfo", &IID_ISupportErrorInfo}};

}  // namespace

const HostType* FindType(std::string_view name) {
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  for (DWORD i = 0; i < library.typeCount; ++i) {
    const std::string_view full = library.types[i].name;
    if (name == full || (full.ends_with("KLP") && name == full.substr(0, full.size() - 3))) {
      return &library.types[i];
    }
  }
  return nullptr;
}

Session::Session() {
  // Objects inside streams are made by the host, which finds their classes here.
  const auto publish = [&](REFCLSID id, IUnknown* factory) {
    CoRegisterClassObject(id, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookies_.emplace_back());
  };
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  for (DWORD i = 0; i < library.typeCount; ++i) {
    if (library.types[i].kind != kHostClass) continue;
    ComPtr<IUnknown> factory;
    ModuleClient::Get().GetClassObject(*library.types[i].id, IID_IUnknown, factory.PutVoid());
    publish(*library.types[i].id, factory.Get());
  }
  publish(kTestClass, &factory_);
}

Session::~Session() {
  Leftovers();
  for (const DWORD cookie : cookies_) CoRevokeClassObject(cookie);
  SetErrorInfo(0, nullptr);
}

std::string Session::Leftovers() {
  script_.onSave = script_.onLoad = script_.onIsDirty = script_.onRelease = script_.onAddRef = {};
  objects.clear();
  std::string left;
  for (auto& [name, stream] : streams) {
    if (stream.faults.References() > 0) left += " references of stream " + name;
  }
  streams.clear();
  elements.clear();
  if (script_.objects > 0) left += ' ' + std::to_string(script_.objects) + " client objects";
  if (!cookies_.empty()) {
    for (const DWORD cookie : std::exchange(cookies_, {})) CoRevokeClassObject(cookie);
    if (ModuleClient::Get().CanUnloadNow() != S_OK) left += " objects of the module";
  }
  return left;
}

Named& Session::Object(const std::string& name) {
  const auto found = objects.find(name);
  if (found == objects.end() || !found->second.pointer) {
    throw std::runtime_error("no object named " + name);
  }
  return found->second;
}

std::string Session::Print(const VARIANT& value) {
  if ((value.vt == VT_UNKNOWN || value.vt == VT_DISPATCH) && value.punkVal) {
    const ComPtr<IUnknown> unknown(value.punkVal);
    for (const auto& [name, named] : objects) {
      const bool isSame =
          named.pointer && named.pointer.As<IUnknown>().Get() == unknown.As<IUnknown>().Get();
      if (isSame) return facts::NameOf(value.vt) + ":@" + name;
    }
  }
  return facts::Print(value);
}

std::string Session::Run(std::string_view row) {
  std::string results;
  while (row.find_first_not_of(' ') != row.npos) {
    row.remove_prefix(row.find_first_not_of(' '));
    static constexpr std::string_view kDrivers[] = {"fail-each",   "short-each", "cut-each",
                                                    "refuse-each", "times",      "on"};
    const std::string_view first = row.substr(0, row.find_first_of(" :"));
    const bool takesAll =
        std::find(std::begin(kDrivers), std::end(kDrivers), first) != std::end(kDrivers);
    const std::size_t end = takesAll ? row.size() : facts::Find(row, ';');
    const std::string result = RunOne(row.substr(0, end));
    if (!result.empty()) results += (results.empty() ? "" : "; ") + result;
    row.remove_prefix((std::min)(row.size(), end + 1));
  }
  return results;
}

std::string Session::RunOne(std::string_view operation) {
  facts::State state;
  state.named = [&](const std::string& name) -> IUnknown* {
    if (name == "new") return static_cast<IDispatch*>(new TestObject(script_));
    IUnknown* const object = Object(name).pointer.Get();
    object->AddRef();
    return object;
  };
  Words words(operation, state);
  std::string name = words.Next();
  if (name.ends_with(':')) name.pop_back();
  PutErrorText(OLESTR("from before the call"));
  std::string result;
  try {
    result = words.Take("=") ? Assign(name, words) : Perform(name, words);
  } catch (const std::exception& error) {
    return error.what();
  }
  if (words.HasMore()) result += ", not read: " + words.Next();
  result += Aside();
  // An operation that this one is a part of begins again.
  PutErrorText(OLESTR("from before the call"));
  script_.calls.clear();
  hookLog_.clear();
  debug_.Clear();
  return result;
}

// Looks at an object without leaving traces of the looking.
template <class Look>
std::string Session::Quietly(Look look) {
  const std::string shown = look();
  PutErrorText(OLESTR("from before the call"));
  debug_.Clear();
  script_.calls.clear();
  return shown;
}

std::string Session::Aside() {
  std::string aside;
  const auto error = TakeThreadError();
  const auto text =
      error && error->description ? *error->description : std::basic_string<OLECHAR>();
  const std::string narrow(text.begin(), text.end());
  if (!error) aside += " no error object";
  if (error && narrow != kBefore) {
    aside += ' ' + facts::Quoted(std::basic_string_view<OLECHAR>(text));
    const auto source = error->source.value_or(OLESTR(""));
    lastError_ =
        facts::Quoted(std::basic_string_view<OLECHAR>(source)) + ' ' + facts::Print(error->guid);
  }
  std::string last;
  int times = 0;
  const auto flush = [&] {
    if (times > 0) aside += " debug " + last + (times > 1 ? " x " + std::to_string(times) : "");
    times = 0;
  };
  for (const std::string& debugText : debug_.Texts()) {
    const std::string shown = facts::Quoted(std::string_view(debugText));
    if (shown != last) flush();
    last = shown;
    ++times;
  }
  flush();
  if (!script_.calls.empty()) aside += " calls " + script_.calls;
  if (!hookLog_.empty()) aside += " {" + hookLog_ + '}';
  return aside;
}

std::string Session::Assign(const std::string& name, Words& words) {
  const std::string what = words.Next();
  if (what == "stream") {
    streams.erase(name);
    const std::vector<BYTE> bytes = BytesOf(words.Rest());
    IStream* const memory = streams[name].memory.Get();
    memory->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    SeekTo(memory, 0);
    return "";
  }
  if (what == "file") {
    const std::string hex = SampleHex(std::string(RASTEL_TEST_DATA "/") + words.Next());
    return Assign(name, *std::make_unique<Words>("stream " + hex, words.row));
  }
  if (what == "memory") {  // elements of a client, numbered from 1 on
    const VARTYPE type = facts::TypeOf(words.Next());
    const auto count = static_cast<std::size_t>(words.Number());
    auto owned = std::make_unique<BYTE[]>(count * WidthOf(type));
    for (std::size_t i = 0; i < count; ++i) {
      VARIANT value = Typed(VT_I8);
      value.llVal = static_cast<LONGLONG>(i + 1);
      VariantChangeType(&value, &value, 0, type);
      std::memcpy(owned.get() + i * WidthOf(type), &value.llVal, WidthOf(type));
    }
    void* const first = owned.get();
    elements[name] = {type, first, std::move(owned)};
    return "";
  }
  Named made;
  HRESULT result = S_OK;
  if (what == "object") {
    made.pointer.Attach(static_cast<IDispatch*>(new TestObject(script_)));
  } else if (what == "new") {
    const std::string className = words.Next();
    const HostType* const type = FindType(className);
    if (!type) return "no such class";
    const HostType* const typed = FindType("I" + className);
    made.type = words.Take("as") ? FindType(words.Next())
                : typed          ? typed
                                 : FindType(type->interfaces[0]);
    result = Guarded([&] {
      return ModuleClient::Get().CreateInside(nullptr, *type->id, *made.type->id,
                                              made.pointer.PutVoid());
    });
    if (result == S_OK) {
      objects[name] = std::move(made);
      return wasRefused_ || granted_ != AllocationFaults::kNone ? "0" : "";
    }
  } else {  // another interface of an object
    words.Take("as");
    made.type = FindType(words.Next());
    if (!made.type) return "no such interface";
    result = Object(what).pointer->QueryInterface(*made.type->id, made.pointer.PutVoid());
  }
  if (SUCCEEDED(result)) objects[name] = std::move(made);
  return result == S_OK && what == "object" ? "" : Result(result);
}

std::string Session::Repeat(const std::function<bool(int)>& prepare, std::string_view operations,
                            const std::function<bool()>& isOver) {
  std::string shown, last;
  int first = 1, number = 1;
  const auto flush = [&](int end) {
    if (end < first) return;
    shown += (shown.empty() ? "" : " | ") + std::to_string(first) +
             (end > first ? "-" + std::to_string(end) : "") + ": " + last;
  };
  for (; prepare(number); ++number) {
    const std::string result = Run(operations);
    if (result != last || number == 1) {
      if (number > 1) flush(number - 1);
      first = number;
      last = result;
    }
    if (isOver()) {
      ++number;
      break;
    }
  }
  flush(number - 1);
  return shown;
}

// fail-each CALL STREAM CODE: operations; short-each CALL STREAM BYTES: operations
std::string Session::FailEach(Words& words, bool isShort) {
  const StreamCall call = ParseCall(words.Next());
  const std::string name = words.Next();
  const std::string wordOfFault = words.Next();
  const std::string fault = wordOfFault.substr(0, wordOfFault.find(':'));
  const std::string operations = words.Rest();
  const std::string content = ContentOf(streams[name].memory.Get());
  int last = 0;
  return Repeat(
      [&](int number) {
        last = number;
        streams.erase(name);
        NamedStream& stream = streams[name];
        stream.memory->Write(BytesOf(content).data(), static_cast<ULONG>(BytesOf(content).size()),
                             nullptr);
        SeekTo(stream.memory.Get(), 0);
        const auto at = static_cast<ULONG>(number);
        if (isShort) {
          stream.faults.ShortenAt(call, at,
                                  static_cast<ULONG>(std::strtoul(fault.c_str(), nullptr, 0)));
        } else {
          stream.faults.FailAt(call, at, ParseCode(fault));
        }
        return true;
      },
      operations, [&] { return streams[name].faults.Calls(call) < static_cast<ULONG>(last); });
}

// cut-each STREAM: operations, on its first 0, 1, 2, ... bytes, which are the runs 1, 2, 3, ...
std::string Session::CutEach(Words& words) {
  const std::string word = words.Next();
  const std::string name = word.substr(0, word.find(':'));
  const std::string operations = words.Rest();
  const std::vector<BYTE> content = BytesOf(ContentOf(streams[name].memory.Get()));
  std::size_t cut = 0;
  return Repeat(
      [&](int number) {
        cut = static_cast<std::size_t>(number) - 1;
        streams.erase(name);
        IStream* const memory = streams[name].memory.Get();
        memory->Write(content.data(), static_cast<ULONG>(cut), nullptr);
        SeekTo(memory, 0);
        return true;
      },
      operations, [&] { return cut == content.size(); });
}

// refuse-each: operations, of which the last call's allocations fail one after the other
std::string Session::RefuseEach(Words& words) {
  const std::string operations = words.Rest();
  const std::size_t end = operations.rfind(';');
  const std::string before = end == operations.npos ? "" : operations.substr(0, end);
  const std::string last = end == operations.npos ? operations : operations.substr(end + 1);
  long long granted = 0;
  const std::string shown = Repeat(
      [&](int number) {
        Run(before);
        granted_ = granted = number - 1;
        return true;
      },
      last,
      [&] {
        granted_ = AllocationFaults::kNone;
        return !wasRefused_;
      });
  return shown;
}

// times N: operations
std::string Session::Times(Words& words) {
  const std::string word = words.Next();
  const int times = std::atoi(word.c_str());
  const std::string operations = words.Rest();
  int run = 0;
  return Repeat([&](int number) { return (run = number) <= times; }, operations,
                [&] { return false; });
}

IStream* Session::StreamOf(Words& words, NamedStream& unnamed) {
  if (words.Take("null")) return nullptr;
  const std::string rest = words.Rest();
  const std::string first = rest.substr((std::min)(rest.find_first_not_of(' '), rest.size()));
  const bool isHex = first.find_first_not_of("0123456789ABCDEF ") == first.npos;
  if (!first.empty() && !isHex) return &streams[first.substr(0, first.find(' '))].faults;
  const std::vector<BYTE> bytes = BytesOf(first);
  unnamed.memory->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  SeekTo(unnamed.memory.Get(), 0);
  return &unnamed.faults;
}

// save OBJECT [clear] [STREAM]: without a stream what was written is shown.
std::string Session::Save(Words& words) {
  const auto persist = As<IPersistStream>(words.Next());
  const BOOL clearDirty = words.Take("clear");
  NamedStream unnamed;
  const bool isShown = !words.HasMore();
  IStream* const stream = StreamOf(words, unnamed);
  const HRESULT result = Guarded([&] { return persist->Save(stream, clearDirty); });
  return Result(result) + (isShown ? ", " + ContentOf(unnamed.memory.Get()) : "");
}

// load OBJECT STREAM or load OBJECT BYTES: the result, and how many bytes were read of how many.
std::string Session::Load(Words& words) {
  const auto persist = As<IPersistStream>(words.Next());
  NamedStream unnamed;
  IStream* const stream = StreamOf(words, unnamed);
  const HRESULT result = Guarded([&] { return persist->Load(stream); });
  if (!stream) return Result(result);
  STATSTG stat{};
  stream->Stat(&stat, STATFLAG_NONAME);
  const ULONGLONG position = PositionOf(stream);
  if (position == stat.cbSize.QuadPart) return Result(result) + ", all read";
  return Result(result) + ", " + std::to_string(position) + " of " +
         std::to_string(stat.cbSize.QuadPart) + " read";
}

// on CALL: operations, in each such call of a client's object; on STREAM N: operations, in the
// n-th call of any kind. Without operations: no more.
std::string Session::Hook(Words& words) {
  std::string where = words.Next();
  std::string number = where.ends_with(':') ? "" : words.Next();
  if (where.ends_with(':')) where.pop_back();
  const std::string operations = words.Rest();
  const bool isOff = operations.find_first_not_of(' ') == operations.npos;
  const auto run = [this, operations] {
    const std::string log = std::exchange(hookLog_, "");
    const std::string calls = script_.calls;
    ComPtr<IErrorInfo> error;
    GetErrorInfo(0, error.Put());
    const std::string result = Run(operations);
    SetErrorInfo(0, error.Get());
    hookLog_ = log + (log.empty() || result.empty() ? "" : ", ") + result;
    script_.calls = calls;
  };
  static const std::map<std::string, std::function<void()> Script::*> kHooks = {
      {"Save", &Script::onSave},
      {"Load", &Script::onLoad},
      {"IsDirty", &Script::onIsDirty},
      {"Release", &Script::onRelease},
      {"AddRef", &Script::onAddRef}};
  const auto hook = kHooks.find(where);
  if (hook != kHooks.end()) {
    // What a hook does itself does not set it off again.
    auto isInside = std::make_shared<bool>(false);
    script_.*hook->second = isOff ? std::function<void()>() : [=] {
      if (std::exchange(*isInside, true)) return;
      run();
      *isInside = false;
    };
    return "";
  }
  NamedStream& stream = streams.at(where);
  const auto at = static_cast<ULONG>(std::strtoul(number.c_str(), nullptr, 0));
  stream.faults.onCall = isOff ? std::function<void()>() : [&stream, at, run] {
    if (stream.faults.Calls(StreamCall::kEvery) + 1 == at) run();
  };
  return "";
}

// script CALL CODE, or script data BYTES: what the client's objects answer and write from now on
std::string Session::SetScript(Words& words) {
  static const std::map<std::string, HRESULT Script::*> kResults = {
      {"query", &Script::query},
      {"queryInit", &Script::queryInit},
      {"getClassId", &Script::getClassId},
      {"load", &Script::load},
      {"countingSave", &Script::countingSave},
      {"save", &Script::save},
      {"getSizeMax", &Script::getSizeMax},
      {"isDirty", &Script::isDirty}};
  const std::string what = words.Next();
  if (what == "data") {
    static std::string data;
    data = words.Rest();
    script_.data = data.find_first_not_of(' ') == data.npos ? nullptr : data.c_str();
    return "";
  }
  script_.*kResults.at(what) = ParseCode(words.Next());
  return "";
}

// The interfaces that an object answers; a + behind those that report errors.
std::string Session::Answers(const std::string& name) {
  const ComPtr<IUnknown> object = Object(name).pointer;
  const auto support = object.As<ISupportErrorInfo>();
  std::string shown;
  const auto ask = [&](const char* itsName, const IID& iid) {
    ComPtr<IUnknown> answer;
    if (FAILED(object->QueryInterface(iid, answer.PutVoid()))) return;
    const bool reports = support && support->InterfaceSupportsErrorInfo(iid) == S_OK;
    shown += (shown.empty() ? "" : " ") + std::string(itsName) + (reports ? "+" : "");
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

std::string Session::Perform(const std::string& name, Words& words) {
  const std::size_t dot = name.find('.');
  if (dot != name.npos) return CallSlot(*this, name.substr(0, dot), name.substr(dot + 1), words);
  static const std::map<std::string, std::function<std::string(Session&, Words&)>> kOperations = {
      {"fail-each", [](Session& s, Words& w) { return s.FailEach(w, false); }},
      {"short-each", [](Session& s, Words& w) { return s.FailEach(w, true); }},
      {"cut-each", [](Session& s, Words& w) { return s.CutEach(w); }},
      {"refuse-each", [](Session& s, Words& w) { return s.RefuseEach(w); }},
      {"times", [](Session& s, Words& w) { return s.Times(w); }},
      {"on", [](Session& s, Words& w) { return s.Hook(w); }},
      {"script", [](Session& s, Words& w) { return s.SetScript(w); }},
      {"save", [](Session& s, Words& w) { return s.Save(w); }},
      {"load", [](Session& s, Words& w) { return s.Load(w); }},
      {"show", [](Session& s, Words& w) { return s.Quietly([&] { return Show(s, w.Next()); }); }},
      {"number",
       [](Session& s, Words& w) { return s.Quietly([&] { return NumberPixels(s, w.Next()); }); }},
      {"answers", [](Session& s, Words& w) { return s.Answers(w.Next()); }},
      {"error", [](Session& s, Words&) { return s.lastError_; }},
      {"pixels",
       [](Session& s, Words& w) {
         const std::string object = w.Next();
         return s.Quietly([&] { return ShowPixels(s, object, w); });
       }},
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
      // Through a marshaler and back, under a second name.
      {"marshal",
       [](Session& s, Words& w) {
         const Named& from = s.Object(w.Next());
         Named to{{}, from.type};
         const auto packet = NewStream();
         HRESULT result = CoMarshalInterface(packet.Get(), *from.type->id, from.pointer.Get(),
                                             MSHCTX_LOCAL, nullptr, MSHLFLAGS_NORMAL);
         if (FAILED(result)) return "out " + Result(result);
         SeekTo(packet.Get(), 0);
         result = CoUnmarshalInterface(packet.Get(), *from.type->id, to.pointer.PutVoid());
         if (SUCCEEDED(result)) s.objects[w.Next()] = std::move(to);
         return Result(result);
       }},
      {"drop",
       [](Session& s, Words& w) {
         while (w.HasMore()) {
           const std::string object = w.Next();
           // Not under its name any more when its last reference goes.
           const Named gone = std::move(s.objects[object]);
           s.objects.erase(object);
           s.elements.erase(object);
         }
         return std::string();
       }},
      {"references",
       [](Session& s, Words& w) {
         IUnknown* const object = s.Object(w.Next()).pointer.Get();
         object->AddRef();
         return std::to_string(object->Release());
       }},
      {"alive", [](Session& s, Words&) { return std::to_string(s.script_.objects); }},
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
      {"poke",  // the bits of a value, as a client writes them through a pointer
       [](Session& s, Words& w) {
         const Elements& elements = s.elements.at(w.Next());
         const auto index = static_cast<std::size_t>(w.Number());
         VARIANT value = *w.Variant();
         std::memcpy(static_cast<BYTE*>(elements.first) + index * WidthOf(elements.type),
                     facts::ElementIn(value, elements.type), WidthOf(elements.type));
         return std::string();
       }},
      {"content", [](Session& s, Words& w) { return ContentOf(s.streams[w.Next()].memory.Get()); }},
      {"seek",
       [](Session& s, Words& w) {
         IStream* const stream = s.streams[w.Next()].memory.Get();
         SeekTo(stream, w.Number());
         return std::string();
       }},
      {"fail",  // fail STREAM CALL N CODE
       [](Session& s, Words& w) {
         FaultStream& stream = s.streams[w.Next()].faults;
         const StreamCall call = ParseCall(w.Next());
         const auto at = static_cast<ULONG>(w.Number());
         stream.FailAt(call, at, ParseCode(w.Next()));
         return std::string();
       }},
      {"fail-from",
       [](Session& s, Words& w) {
         FaultStream& stream = s.streams[w.Next()].faults;
         const StreamCall call = ParseCall(w.Next());
         const auto at = static_cast<ULONG>(w.Number());
         stream.FailFrom(call, at, ParseCode(w.Next()));
         return std::string();
       }},
      {"shorten",  // shorten STREAM CALL N BYTES
       [](Session& s, Words& w) {
         FaultStream& stream = s.streams[w.Next()].faults;
         const StreamCall call = ParseCall(w.Next());
         const auto at = static_cast<ULONG>(w.Number());
         stream.ShortenAt(call, at, static_cast<ULONG>(w.Number()));
         return std::string();
       }},
      {"calls",  // and forgets them and the faults
       [](Session& s, Words& w) {
         FaultStream& stream = s.streams[w.Next()].faults;
         std::string shown;
         for (const auto& [itsName, call] : {std::pair{"read ", StreamCall::kRead},
                                             {" write ", StreamCall::kWrite},
                                             {" seek ", StreamCall::kSeek},
                                             {" all ", StreamCall::kEvery}}) {
           shown += itsName + std::to_string(stream.Calls(call));
         }
         stream.Reset();
         return shown;
       }}};
  const auto found = kOperations.find(name);
  return found == kOperations.end() ? "no such operation: " + name : found->second(*this, words);
}

}  // namespace tests::objects
