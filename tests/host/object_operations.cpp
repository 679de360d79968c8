// SPDX-License-Identifier: MIT
// Objects and their classes: error objects, look-up, persistence, marshalling.
#include <gtest/gtest.h>

#include <deque>
#include <thread>

#include "tests/host/host_operations.h"
#include "tests/support/debug_capture.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/test_object.h"
#include "tests/threads/many_threads.h"

namespace tests::facts {
namespace {

Script script;
std::deque<FaultStream> faultStreams;

void EndScript() {
  script.results.clear();
  script.data = BytesOf("A1 A2 A3 A4 A5 A6");
  script.calls.clear();
}

// `Script call=result ...`: for all objects of the row.
std::string SetScript(Words& words) {
  EndScript();
  while (words.HasMore()) {
    const std::string word = words.Next();
    const std::size_t equal = word.find('=');
    const auto result = std::strtoul(word.c_str() + equal + 1, nullptr, 0);
    script.results[word.substr(0, equal)] = static_cast<HRESULT>(result);
  }
  return "set";
}

// Class, factory, context and a name for the cookie.
std::string RegisterClass(Words& words) {
  const GUID classId = words.Guid();
  const platform::ComPtr<IUnknown> factory = words.Object();
  const auto context = static_cast<DWORD>(words.Number());
  const std::string name = words.Next();
  DWORD cookie = 0;
  const HRESULT result = CoRegisterClassObject(classId, factory.Get(), context, REGCLS_MULTIPLEUSE,
                                               name == "null" ? nullptr : &cookie);
  if (cookie) words.row.cookies[name] = cookie;
  return Shown(result, words) + (cookie ? ", a cookie" : ", none");
}

// A stream over another one, the call (0 Read, 1 Write, 2 Seek, 3 any) that goes wrong and how:
// `fails` with a code or `moves` so many bytes.
std::string MakeFaultStream(Words& words) {
  platform::ComPtr<IStream>& made = words.Stream();
  FaultStream& stream = faultStreams.emplace_back(words.Stream().Get());
  made = &stream;
  const auto call = static_cast<StreamCall>(words.Number());
  const auto number = static_cast<ULONG>(words.Number());
  if (words.Take("fails")) {
    stream.FailAt(call, number, static_cast<HRESULT>(words.Number()));
  } else if (words.Take("moves")) {
    stream.ShortenAt(call, number, static_cast<ULONG>(words.Number()));
  }
  return "made";
}

// Turns bits of a byte around.
std::string Flip(Words& words) {
  IStream* stream = words.Stream().Get();
  const LONGLONG offset = words.Number();
  BYTE byte = 0;
  SeekTo(stream, offset);
  stream->Read(&byte, 1, nullptr);
  byte = static_cast<BYTE>(byte ^ words.Number());
  SeekTo(stream, offset);
  stream->Write(&byte, 1, nullptr);
  SeekTo(stream, 0);
  return "flipped";
}

// Operations with | between them.
std::string RunAll(Words& words) {
  std::string results = Run(words);
  while (words.Take("|")) results += " | " + Run(words);
  return results;
}

// On a thread that then ends.
std::string OnThread(Words& words) {
  std::string results;
  std::thread([&] { results = RunAll(words); }).join();
  return results;
}

// `OnThreads milliseconds operations`: on many threads at once, again and again until the time is
// over, with the objects and streams that the row has made; %t is the thread's digit. Shows each
// result once, for one time how often it came; for `any` operations none.
std::string OnThreads(Words& words) {
  const auto time = std::chrono::milliseconds(words.Number());
  const bool isAny = words.Take("any");
  const std::string operations = words.Rest();
  std::mutex mutex;
  std::map<std::string, int> results;
  OnManyThreads(
      [&](int thread, int) {
        std::string own = operations;
        for (std::size_t at; (at = own.find("%t")) != own.npos;) {
          own.replace(at, 2, std::to_string(thread));
        }
        State state;
        state.objects = words.row.objects;
        state.streams = words.row.streams;
        Words ownWords(own, state);
        const std::string result = RunAll(ownWords);
        const std::lock_guard lock(mutex);
        ++results[isAny ? "done" : result];
      },
      time);
  std::string shown;
  for (const auto& [result, count] : results) {
    if (!shown.empty()) shown += " or ";
    if (time.count() == 0) shown += std::to_string(count) + " x ";
    shown += result;
  }
  return shown;
}

// When the row's CountedObject is released, the operations run and their results are kept for
// `Released`.
std::string released;
std::string OnRelease(Words& words) {
  released.clear();
  words.row.object.onRelease = [&row = words.row, operations = words.Rest()] {
    Words own(operations, row);
    if (!released.empty()) released += ", ";
    released += RunAll(own);
  };
  return "set";
}

Operation TextOf(HRESULT (STDMETHODCALLTYPE IErrorInfo::*get)(BSTR*)) {
  return [=](Words& words) {
    Value text(Typed(VT_BSTR));
    const HRESULT result = (words.Object().As<IErrorInfo>().Get()->*get)(&text->bstrVal);
    return Shown(result, words) + ", " + Print(*text);
  };
}

Operation SetText(HRESULT (STDMETHODCALLTYPE ICreateErrorInfo::*set)(LPOLESTR)) {
  return Of(std::function([=](ICreateErrorInfo* error, const OLECHAR* text) {
    return (error->*set)(const_cast<LPOLESTR>(text));
  }));
}

int countedInside = 0;
std::atomic<int> counted{0};
CRITICAL_SECTION* Section() {
  static CRITICAL_SECTION section;
  static const BOOL isMade = InitializeCriticalSectionAndSpinCount(&section, 0);
  return isMade ? &section : nullptr;
}

const MoreOperations kOperations(Operations{
    {"OnThread", OnThread},
    {"OnThreads", OnThreads},
    {"OnRelease", OnRelease},
    {"Released",
     [](Words& words) {
       words.row.object.onRelease = nullptr;
       return released;
     }},
    {"Script", SetScript},
    {"Calls", [](Words&) { return std::exchange(script.calls, ""); }},
    {"Object",
     [](Words& words) {
       words.row.objects[words.Next()].Attach(TestObject::New(script).Detach());
       return std::string("made");
     }},
    {"Agile",
     Of(+[](IPersistStream* object) { return static_cast<TestObject*>(object)->BecomeAgile(); })},
    {"NotAgile", Of(+[](IPersistStream* object) {
       return static_cast<TestObject*>(object)->StopBeingAgile();
     })},
    {"References",
     [](Words& words) {  // But for the row's own one.
       IUnknown* object = words.row.objects[words.Next()].Get();
       object->AddRef();
       return std::to_string(object->Release() - 1);
     }},
    {"AskFor", Of(+[](IUnknown* object, REFIID iid, void** out) {
       return object->QueryInterface(iid, out);
     })},
    {"FaultStream", MakeFaultStream},
    {"StreamCalls",
     [](Words&) { return std::to_string(faultStreams.back().Calls(StreamCall::kEvery)); }},
    {"Flip", Flip},

    {"CreateErrorInfo", Of(CreateErrorInfo)},
    {"SetErrorInfo", Of(SetErrorInfo)},
    {"GetErrorInfo", Of(GetErrorInfo)},
    {"SetGUID", Of(&ICreateErrorInfo::SetGUID)},
    {"SetSource", SetText(&ICreateErrorInfo::SetSource)},
    {"SetDescription", SetText(&ICreateErrorInfo::SetDescription)},
    {"SetHelpFile", SetText(&ICreateErrorInfo::SetHelpFile)},
    {"SetHelpContext", Of(&ICreateErrorInfo::SetHelpContext)},
    {"GetGUID", Of(&IErrorInfo::GetGUID)},
    {"GetSource", TextOf(&IErrorInfo::GetSource)},
    {"GetDescription", TextOf(&IErrorInfo::GetDescription)},
    {"GetHelpFile", TextOf(&IErrorInfo::GetHelpFile)},
    {"GetHelpContext", Of(&IErrorInfo::GetHelpContext)},

    {"CoInitialize", Of(+[] { return CoInitialize(nullptr); })},
    {"CoInitializeEx", Of(+[](DWORD flags) { return CoInitializeEx(nullptr, flags); })},
    {"CoUninitialize", Of(+[] { return CoUninitialize(), 0; })},
    {"CoCreateInstance", Of(CoCreateInstance)},
    {"CoGetClassObject", Of(CoGetClassObject)},
    {"CreateInstance", Of(&IClassFactory::CreateInstance)},
    {"CoRegisterClassObject", RegisterClass},
    {"CoRevokeClassObject",
     [](Words& words) {
       const auto known = words.row.cookies.extract(words.Next());
       return Shown(CoRevokeClassObject(known ? known.mapped() : 0x7FFFFFF1), words);
     }},
    {"CoFreeUnusedLibraries", Of(+[] { return CoFreeUnusedLibraries(), 0; })},
    {"RegisterModule", Of(+[](const OLECHAR* classId, Path module) {
       const OleText key = OleText(OLESTR("CLSID\\")) + classId, server = OLESTR("InprocServer32");
       EnterText(key, server, nullptr, module.text);
       EnterText(key, server, OLESTR("ThreadingModel"), OLESTR("Both"));
       return 0;
     })},
    {"EnterText", Of(+[](const OLECHAR* key, const OLECHAR* below, const OLECHAR* text) {
       EnterText(key, below, nullptr, text);
       return 0;
     })},
    {"GetClassID", Of(&IPersist::GetClassID)},

    {"WriteClassStm", Of(WriteClassStm)},
    {"ReadClassStm", Of(ReadClassStm)},
    {"OleSaveToStream", Of(OleSaveToStream)},
    {"OleLoadFromStream", Of(OleLoadFromStream)},
    {"CoMarshalInterface", Of(CoMarshalInterface)},
    {"CoGetMarshalSizeMax", Of(CoGetMarshalSizeMax)},
    {"CoUnmarshalInterface", Of(CoUnmarshalInterface)},
    {"CoReleaseMarshalData", Of(CoReleaseMarshalData)},
    {"CoCreateFreeThreadedMarshaler", Of(CoCreateFreeThreadedMarshaler)},
    {"GetUnmarshalClass", Of(&IMarshal::GetUnmarshalClass)},
    {"GetMarshalSizeMax", Of(&IMarshal::GetMarshalSizeMax)},
    {"MarshalInterface", Of(+[](IMarshal* marshaler, IStream* stream, REFIID iid, IUnknown* object,
                                DWORD context, DWORD flags) {
       return marshaler->MarshalInterface(stream, iid, object, context, nullptr, flags);
     })},
    {"UnmarshalInterface", Of(&IMarshal::UnmarshalInterface)},
    {"ReleaseMarshalData", Of(&IMarshal::ReleaseMarshalData)},
    {"DisconnectObject", Of(&IMarshal::DisconnectObject)},

    {"EnterCriticalSection", Of(+[] { return EnterCriticalSection(Section()), 0; })},
    {"TryEnterCriticalSection", Of(+[] { return TryEnterCriticalSection(Section()); })},
    {"LeaveCriticalSection", Of(+[] { return LeaveCriticalSection(Section()), 0; })},
    // Once inside a lock and once by itself; the same if the lock keeps the others out.
    {"Count", Of(+[] { return ++countedInside, ++counted, 0; })},
    {"Counted", Of(+[] { return int{countedInside == counted}; })},
    {"OutputDebugStringA",
     [](Words& words) {
       const DebugCapture capture;
       OutputDebugStringA(words.Bytes());
       std::string shown;
       for (const std::string& text : capture.Texts()) shown += Quoted(text);
       return shown;
     }},
    {"CoTaskMemRealloc", Of(+[](int bytes, int more) {
       void* block = CoTaskMemAlloc(static_cast<SIZE_T>(bytes));
       void* moved = CoTaskMemRealloc(block, static_cast<SIZE_T>(more));
       CoTaskMemFree(moved);
       return 2 * (block != nullptr) + (moved != nullptr);
     })},
});

}  // namespace

void EndObjects() {
  faultStreams.clear();
  // Others of the platform keep an object that fails.
  EXPECT_TRUE(script.objects == 0 || !kEmbeddedHost);
  script.objects = 0;
  EndScript();
}

}  // namespace tests::facts
