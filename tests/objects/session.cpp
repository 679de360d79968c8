// SPDX-License-Identifier: MIT
#include "tests/objects/session.h"

#include <chrono>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include "module/frame/catalogue.h"
#include "module/frame/reports.h"
#include "module/persist/streams.h"
#include "tests/support/thread_error.h"

namespace tests::objects {
namespace {

using platform::ComPtr;

constexpr std::string_view kThen = " then ";

std::string WithoutColon(const std::string& word) { return word.substr(0, word.find(':')); }

// Bytes of this process that lie in memory; 0 where the system does not tell.
ULONGLONG ResidentBytes() {
  ULONGLONG pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return pages * 4096;
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

// L for Load, s for Save, c for one that counts; in capitals with the dirty flag.
std::string Letters(const std::string& calls) {
  std::string letters;
  std::istringstream words(calls);
  for (std::string call; words >> call;) {
    const bool clears = call.ends_with("(true)");
    if (call == "Load") letters += 'L';
    if (call.starts_with("Save")) letters += clears ? 'S' : 's';
    if (call.starts_with("CountingSave")) letters += clears ? 'C' : 'c';
  }
  return letters;
}

// Makes an object of the code that is linked into the program, whose allocations can all be
// refused.
HRESULT MakeInside(REFCLSID classId, REFIID iid, void** out) {
  const rastel::CatalogueRow* row = rastel::Catalogue();
  while (!IsEqualCLSID(*row->classId, classId)) ++row;
  return row->instanceCreator(nullptr, iid, out);
}

}  // namespace

std::string Result(HRESULT result) {
  return result < 0 ? facts::Code(result) : std::to_string(result);
}

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
  rastel::SetReportModule(ModuleClient::Get().Handle());
  script_.isCounting = [](IStream* stream) {
    return rastel::CNullDeviceStream::Behind(stream) != nullptr;
  };
  script_.onCall = [this](const char* call) {
    if (FaultStream::IsWindowOpen()) std::abort();
    if (!hooks_.empty()) RunHooks(call, ++calls_[call]);
  };
}

Session::~Session() {
  Leftovers();
  SetErrorInfo(0, nullptr);
}

std::string Session::Leftovers() {
  hooks_.clear();
  while (!objects.empty()) Drop(objects.begin()->first);
  std::string left;
  for (auto& [name, stream] : streams) {
    if (stream.faults.References() > 0) left += " references of stream " + name;
  }
  streams.clear();
  elements.clear();
  if (script_.objects > 0) left += ' ' + std::to_string(script_.objects) + " client objects";
  classes_.reset();
  registered_.reset();
  if (ModuleClient::Get().CanUnloadNow() != S_OK) left += " objects of the module";
  if (rastel::CanUnloadNow() != S_OK) left += " objects of the program";
  return left;
}

void Session::Drop(const std::string& name) {
  // Not under its name any more when its last reference goes.
  const auto dropped = objects.extract(name);
  if (!dropped.empty() && dropped.mapped().isLent) {
    static_cast<void>(dropped.mapped().pointer.Detach());
  }
  elements.erase(name);
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
                                                    "refuse-each", "refuse-any", "times",
                                                    "on",          "elsewhere",  "swift"};
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
    if (name == "new") return TestObject::New(script_).Detach();
    IUnknown* const object = Object(name).pointer.Get();
    object->AddRef();
    return object;
  };
  Words words(operation, state);
  std::string name = words.Next();
  if (name.ends_with(':')) name.pop_back();
  PutErrorText(kBefore);
  std::string result;
  try {
    result = words.Take("=") ? Assign(name, words) : Perform(name, words);
  } catch (const std::exception& error) {
    return error.what();
  }
  if (words.HasMore()) result += ", not read: " + words.Next();
  result += Aside();
  // An operation that this one is a part of begins again.
  PutErrorText(kBefore);
  script_.calls.clear();
  hookLog_.clear();
  debug_.Clear();
  return result;
}

// Looks at an object without leaving traces of the looking.
template <class Look>
std::string Session::Quietly(Look look) {
  const std::string shown = look();
  PutErrorText(kBefore);
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
  if (error && text != kBefore) {
    const std::string shown = facts::Quoted(std::basic_string_view<OLECHAR>(text));
    aside += ' ' + (text.size() < 300 ? shown : Summary(narrow));
    lastError_ = (error->source ? facts::Quoted(OleText(*error->source)) : "null") + ' ' +
                 facts::Print(error->guid);
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
  const std::string calls = Letters(script_.calls);
  if (!calls.empty()) aside += " calls " + calls;
  if (!hookLog_.empty()) aside += " {" + hookLog_ + '}';
  return aside;
}

std::string Session::Assign(const std::string& name, Words& words) {
  const std::string what = words.Next();
  if (what == "stream" || what == "file") {
    const bool isFile = what == "file";
    Renew(name, isFile ? SampleHex(RASTEL_TEST_DATA "/" + words.Next()) : words.Rest());
    return "";
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
  if (what == "object" || what == "outer") {
    Drop(name);
    Named& made = objects[name];
    if (what == "outer") {
      made.pointer = &outers_.emplace_back();
      if (words.Take("without")) outers_.back().hidden = IdOf(words.Next());
    } else {
      made.pointer.Attach(TestObject::New(script_).Detach());
    }
    return "";
  }
  return Make(what, name, words);
}

// NAME = new CLASS, inside CLASS, class CLASS, made FACTORY, or OTHER, behind the first two and
// the fourth: [in OUTER] [as INTERFACE]. The name null hands over no place for the object.
std::string Session::Make(const std::string& what, const std::string& name, Words& words) {
  const bool isObject = what == "new" || what == "inside",
             isRefusing = granted_ != AllocationFaults::kNone;
  const std::string from = isObject || what == "class" || what == "made" ? words.Next() : what;
  Outer* outer = nullptr;
  if (words.Take("in")) outer = static_cast<Outer*>(Object(words.Next()).pointer.Get());
  std::string asked = words.Take("as") ? words.Next() : outer ? "IUnknown" : "";
  GUID classId{};
  std::function<HRESULT(REFIID, void**)> make;
  if (isObject || what == "class") {
    const HostType* const type = FindType(from);
    classId = type ? *type->id : Words(from, words.row).Guid();
  }
  if (what == "made") {
    const auto factory = As<IClassFactory>(from);
    make = [=](REFIID iid, void** out) { return factory->CreateInstance(outer, iid, out); };
  } else if (what == "class") {
    asked = "IClassFactory";
    make = [=](REFIID iid, void** out) {
      return ModuleClient::Get().GetClassObject(classId, iid, out);
    };
  } else if (isObject) {
    const HostType* const typed = FindType("I" + from);
    if (asked.empty()) asked = typed ? typed->name : FindType(from)->interfaces[0];
    make = [=](REFIID iid, void** out) {
      return what == "inside" ? MakeInside(classId, iid, out)
                              : ModuleClient::Get().CreateInside(outer, classId, iid, out);
    };
  } else {
    make = [&](REFIID iid, void** out) { return Object(from).pointer->QueryInterface(iid, out); };
  }
  const IID* const iid = IdOf(asked);
  if (!iid) return "no such interface";
  void* made = &made;
  const HRESULT result = Guarded([&] { return make(*iid, name == "null" ? nullptr : &made); });
  if (FAILED(result)) return Result(result) + (made && name != "null" ? ", left" : "");
  Drop(name);
  Named& named = objects[name];
  named.type = FindType(asked);
  named.pointer.Attach(static_cast<IUnknown*>(made));
  if (outer) outer->inner = named.pointer.Get();
  return isObject && result == S_OK && !isRefusing ? "" : Result(result);
}

std::string Session::Repeat(const std::function<bool(int, std::string*)>& run, bool isNumbered) {
  std::vector<std::pair<int, std::string>> said;  // by the first of the numbers
  int number = 0;
  for (bool goesOn = true; goesOn;) {
    std::string now;
    goesOn = run(++number, &now);
    if (said.empty() || said.back().second != now) said.emplace_back(number, now);
  }
  std::string shown;
  for (std::size_t i = 0; i < said.size(); ++i) {
    const auto& [first, text] = said[i];
    const int last = i + 1 < said.size() ? said[i + 1].first - 1 : number;
    shown += (i == 0 ? "" : " | ");
    if (isNumbered) shown += std::to_string(first);
    if (isNumbered && last > first) shown += '-' + std::to_string(last);
    shown += (isNumbered ? ": " : "") + text;
  }
  return shown;
}

std::string Session::RepeatBoth(const std::function<bool(int, bool, std::string*)>& run,
                                bool isNumbered) {
  return Repeat(
      [&](int number, std::string* said) {
        std::string forGood;
        const bool goesOn = run(number, false, said);
        if (goesOn) run(number, true, &forGood);
        if (goesOn && forGood != *said) *said += " (for good: " + forGood + ')';
        return goesOn;
      },
      isNumbered);
}

NamedStream& Session::Renew(const std::string& name, std::string_view hex) {
  streams.erase(name);
  return streams.try_emplace(name, hex).first->second;
}

// fail-each CALL STREAM CODE: operations; short-each CALL STREAM BYTES: operations
template <class Fault>
std::string Session::FaultEach(Words& words, FaultSetter<Fault> set) {
  const StreamCall call = ParseCall(words.Next());
  const std::string name = words.Next();
  const auto fault = static_cast<Fault>(ParseCode(WithoutColon(words.Next())));
  const std::string operations = words.Rest();
  const std::string content = ContentOf(streams[name].memory.Get());
  return RepeatBoth([&](int number, bool forGood, std::string* said) {
    const auto at = static_cast<ULONG>(number);
    (Renew(name, content).faults.*set)(call, at, fault, forGood);
    *said = Run(operations);
    return streams[name].faults.Calls(call) >= at;
  });
}

// cut-each STREAM: operations, on its first 0, 1, 2, ... bytes, which are the runs 1, 2, 3, ...
std::string Session::CutEach(Words& words) {
  const std::string name = WithoutColon(words.Next());
  const std::string operations = words.Rest();
  const std::string content = ContentOf(streams[name].memory.Get());
  return Repeat([&](int number, std::string* said) {
    const std::size_t end = static_cast<std::size_t>(number - 1) * 3;  // of "A1 A2 A3"
    Renew(name, content.substr(0, end));
    *said = Run(operations);
    return end < content.size();
  });
}

// refuse-each: operations, of which the last call's allocations fail one after the other; behind
// "then" others that run each time; refuse-any the same, where it depends on the machine how many
// allocations there are
std::string Session::RefuseEach(Words& words, bool isNumbered) {
  const std::string all = words.Rest();
  const std::size_t then = (std::min)(all.find(kThen), all.size());
  const std::size_t end = all.rfind(';', then) + 1;
  return RepeatBoth(
      [&](int number, bool forGood, std::string* said) {
        Run(all.substr(0, end));
        granted_ = number - 1;
        refusesForGood_ = forGood;
        *said = Run(all.substr(end, then - end));
        granted_ = AllocationFaults::kNone;
        const bool wasRefused = std::exchange(wasRefused_, false);
        if (then < all.size()) *said += "; " + Run(all.substr(then + kThen.size()));
        return wasRefused;
      },
      isNumbered);
}

// times N: operations
std::string Session::Times(Words& words) {
  const int times = std::atoi(words.Next().c_str());
  const std::string operations = words.Rest();
  if (times == 0) return "";
  return Repeat([&](int number, std::string* said) {
    *said = Run(operations);
    return number < times;
  });
}

// elsewhere: operations, on another thread; they are not waited for if they wait themselves
std::string Session::Elsewhere(Words& words) {
  auto& said = elsewhere_.emplace_back(std::async(
      std::launch::async, [this, operations = words.Rest()] { return Run(operations); }));
  const bool isDone = said.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
  return isDone ? said.get() : "waits";
}

NamedStream* Session::StreamOf(Words& words, std::optional<NamedStream>& unnamed) {
  if (words.Take("null")) return nullptr;
  const std::string rest = words.Rest();
  const std::string first = rest.substr((std::min)(rest.find_first_not_of(' '), rest.size()));
  const bool isHex = first.find_first_not_of("0123456789ABCDEF ") == first.npos;
  if (!first.empty() && !isHex) return &streams[first.substr(0, first.find(' '))];
  return &unnamed.emplace(first);
}

// save OBJECT [clear] [STREAM]: without a stream what was written is shown.
std::string Session::Save(Words& words) {
  IPersistStream* const persist = As<IPersistStream>(words.Next()).Get();
  const BOOL clearDirty = words.Take("clear");
  std::optional<NamedStream> unnamed;
  const bool isShown = !words.HasMore();
  NamedStream* const stream = StreamOf(words, unnamed);
  const HRESULT result =
      Guarded([&] { return persist->Save(stream ? &stream->faults : nullptr, clearDirty); });
  return Result(result) + (isShown ? ", " + ContentOf(unnamed->memory.Get()) : "");
}

// load OBJECT STREAM or load OBJECT BYTES: the result, and how many bytes were read of how many.
std::string Session::Load(Words& words) {
  IPersistStream* const persist = As<IPersistStream>(words.Next()).Get();
  std::optional<NamedStream> unnamed;
  NamedStream* const stream = StreamOf(words, unnamed);
  const HRESULT result = Guarded([&] { return persist->Load(stream ? &stream->faults : nullptr); });
  if (!stream) return Result(result);
  STATSTG stat{};
  // Through the stream, as rows count that, and past its faults.
  stream->faults.Stat(&stat, STATFLAG_NONAME);
  PositionOf(&stream->faults);
  stream->memory->Stat(&stat, STATFLAG_NONAME);
  const ULONGLONG position = PositionOf(stream->memory.Get());
  if (position == stat.cbSize.QuadPart) return Result(result) + ", all read";
  return Result(result) + ", " + std::to_string(position) + " of " +
         std::to_string(stat.cbSize.QuadPart) + " read";
}

// on CALL: operations, in each such call of a client's object, or on CALL N: operations, in the
// n-th from now on; on STREAM N: operations, in the n-th call of any kind. Without operations: no
// more.
std::string Session::SetHook(Words& words) {
  std::string where = words.Next();
  if (streams.contains(where)) {
    FaultStream& stream = streams[where].faults;
    std::erase_if(hooks_, [&](const auto& hook) { return hook.first.starts_with(where + ' '); });
    stream.onCall = [this, where, &stream] {
      RunHooks(where, stream.Calls(StreamCall::kEvery) + 1);
    };
  } else {
    calls_.erase(WithoutColon(where));
  }
  if (!where.ends_with(':')) where += ' ' + words.Next();
  const std::string operations = words.Rest();
  const bool isOff = operations.find_first_not_of(' ') == operations.npos;
  hooks_.erase(WithoutColon(where));
  if (!isOff) hooks_[WithoutColon(where)].operations = operations;
  return "";
}

void Session::RunHooks(const std::string& call, ULONG number) {
  for (const std::string& where : {call, call + ' ' + std::to_string(number)}) {
    const auto hook = hooks_.find(where);
    if (hook == hooks_.end() || std::exchange(hook->second.isRunning, true)) continue;
    const std::string log = std::exchange(hookLog_, "");
    const std::string calls = script_.calls;
    ComPtr<IErrorInfo> error;
    GetErrorInfo(0, error.Put());
    const std::string result = Run(hook->second.operations);
    SetErrorInfo(0, error.Get());
    hookLog_ = log + (log.empty() || result.empty() ? "" : ", ") + result;
    script_.calls = calls;
    hook->second.isRunning = false;
  }
}

// script CALL CODE, or script data BYTES: what the client's objects answer and write from now on
std::string Session::SetScript(Words& words) {
  const std::string what = words.Next();
  if (what == "data") {
    script_.data = BytesOf(words.Rest());
  } else {
    script_.results[what] = ParseCode(words.Next());
  }
  return "";
}

// STREAM CALL N, and a code or a number of bytes
template <class Fault>
std::string Session::SetFault(Words& words, FaultSetter<Fault> set, bool forGood) {
  FaultStream& stream = streams[words.Next()].faults;
  const StreamCall call = ParseCall(words.Next());
  const auto at = static_cast<ULONG>(words.Number());
  (stream.*set)(call, at, static_cast<Fault>(ParseCode(words.Next())), forGood);
  return "";
}

std::string Session::Perform(const std::string& name, Words& words) {
  const std::size_t dot = name.find('.');
  if (dot != name.npos) return CallSlot(*this, name.substr(0, dot), name.substr(dot + 1), words);
  static const Operations kOperations = {
      {"fail-each", [](Session& s, Words& w) { return s.FaultEach(w, &FaultStream::FailAt); }},
      {"short-each", [](Session& s, Words& w) { return s.FaultEach(w, &FaultStream::ShortenAt); }},
      {"cut-each", [](Session& s, Words& w) { return s.CutEach(w); }},
      {"refuse-each", [](Session& s, Words& w) { return s.RefuseEach(w, true); }},
      {"refuse-any", [](Session& s, Words& w) { return s.RefuseEach(w, false); }},
      {"times", [](Session& s, Words& w) { return s.Times(w); }},
      {"on", [](Session& s, Words& w) { return s.SetHook(w); }},
      {"elsewhere", [](Session& s, Words& w) { return s.Elsewhere(w); }},
      {"script", [](Session& s, Words& w) { return s.SetScript(w); }},
      {"save", [](Session& s, Words& w) { return s.Save(w); }},
      {"load", [](Session& s, Words& w) { return s.Load(w); }},
      {"show", [](Session& s, Words& w) { return s.Quietly([&] { return Show(s, w.Next()); }); }},
      {"number",
       [](Session& s, Words& w) { return s.Quietly([&] { return NumberPixels(s, w.Next()); }); }},
      {"error", [](Session& s, Words&) { return s.lastError_; }},
      {"pixels",
       [](Session& s, Words& w) {
         const std::string object = w.Next();
         return s.Quietly([&] { return ShowPixels(s, object, w); });
       }},
      {"drop",
       [](Session& s, Words& w) {
         while (w.HasMore()) s.Drop(w.Next());
         return std::string();
       }},
      {"lend",  // keeps the name of an object without a reference
       [](Session& s, Words& w) {
         Named& object = s.Object(w.Next());
         object.isLent = true;
         object.pointer->Release();
         return std::string();
       }},
      {"position",
       [](Session& s, Words& w) {
         return std::to_string(PositionOf(s.streams[w.Next()].memory.Get()));
       }},
      {"register", [](Session& s, Words&) { return Result(s.registered_.emplace().Result()); }},
      {"unpublish", [](Session& s, Words&) { return s.classes_.reset(), std::string(); }},
      {"resident",  // whether much more memory is used than the first time
       [](Session& s, Words&) {
         const ULONGLONG now = ResidentBytes();
         if (s.resident_ == 0) s.resident_ = now;
         return std::string(now < s.resident_ + (60u << 20) ? "no more" : "more");
       }},
      {"swift",  // and where no time goes by: a second, of the processor's where the host tells it
       [](Session& s, Words& w) {
         const std::clock_t start = std::clock();
         std::string said = s.Run(w.Rest());
         return std::clock() - start < CLOCKS_PER_SEC ? said : said + " SLOW";
       }},
      {"alive", [](Session& s, Words&) { return std::to_string(s.script_.objects); }},
      {"content", [](Session& s, Words& w) { return ContentOf(s.streams[w.Next()].memory.Get()); }},
      {"seek",
       [](Session& s, Words& w) {
         IStream* const stream = s.streams[w.Next()].memory.Get();
         SeekTo(stream, w.Number());
         return std::string();
       }},
      {"fail", [](Session& s, Words& w) { return s.SetFault(w, &FaultStream::FailAt); }},
      {"fail-from", [](Session& s, Words& w) { return s.SetFault(w, &FaultStream::FailAt, true); }},
      {"shorten", [](Session& s, Words& w) { return s.SetFault(w, &FaultStream::ShortenAt); }},
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
  for (const Operations* operations :
       {&kOperations, &ObjectOperations(), &InnerOperations(), &LateOperations()}) {
    const auto found = operations->find(name);
    if (found != operations->end()) return found->second(*this, words);
  }
  return "no such operation: " + name;
}

}  // namespace tests::objects
