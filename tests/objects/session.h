// SPDX-License-Identifier: MIT
// What the rows of one case act on: objects of the module, streams, blocks of memory and a client's
// own objects, each by the name that a row has given it. The rows are described in docs/tests.md.
#pragma once

#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/rows/rows.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/debug_capture.h"
#include "tests/support/fault_stream.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"
#include "tests/support/streams.h"
#include "tests/support/test_object.h"
#include "types/type_library.h"

namespace tests::objects {

// An object by one of its interfaces. The pointer is that interface's, whatever its C++ type here.
struct Named {
  platform::ComPtr<IUnknown> pointer;
  const HostType* type = nullptr;  // Null for an object of the client.
  bool isLent = false;             // without a reference of its own
};

// A client's object around one of the module; a client of it reaches both.
struct Outer final : Double<IPersist> {
  Outer() : Double(1) {}  // the session's own
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const HRESULT own = Double::QueryInterface(iid, out);
    const bool isHidden = !inner || (hidden && IsEqualIID(iid, *hidden));
    return own == S_OK || isHidden ? own : inner->QueryInterface(iid, out);
  }
  STDMETHODIMP GetClassID(CLSID*) override { return S_OK; }

  IUnknown* inner = nullptr;  // not counted
  const IID* hidden = nullptr;
};

struct NamedStream {
  explicit NamedStream(std::string_view hex = "") : memory(NewStream(hex)) {
    if (windowBytes > 0) faults.ShowMemory(windowBytes);
  }
  static inline ULONG windowBytes = 0;  // of all streams; 0: they show no memory
  platform::ComPtr<IStream> memory;
  FaultStream faults{memory.Get()};
};

// Elements that a client owns, or that an object has lent it.
struct Elements {
  VARTYPE type = VT_UI1;
  void* first = nullptr;
  std::unique_ptr<BYTE[]> owned;
};

// A row of the type library by its name, with or without "KLP"; null if there is none.
const HostType* FindType(std::string_view name);
// Of an interface of the module or of the platform, by its name; null if there is none.
const IID* IdOf(const std::string& name);

// The words of the thread's error object before each call.
inline constexpr LPCOLESTR kBefore = OLESTR("from before the call");

// A failure by its name, else a number.
std::string Result(HRESULT result);
// How long a long text is, and a hash of it.
std::string Summary(const std::string& text);

// The width of an element in an array, and elements as numbers or VARIANTs.
std::size_t WidthOf(VARTYPE type);
std::string ShowElements(const Elements& elements, std::size_t first, std::size_t count);

class Session {
 public:
  Session();
  // Ends the program's interest in everything that the rows have made.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Runs the operations of a row, which ";" parts. What they say, parted the same way; empty for
  // one that says nothing.
  std::string Run(std::string_view row);
  // Whether all that was made has gone; else what has not.
  std::string Leftovers();

  // For the operations and the slots.
  Named& Object(const std::string& name);
  template <class Interface>
  platform::ComPtr<Interface> As(const std::string& name) {
    auto asked = Object(name).pointer.As<Interface>();
    if (!asked) throw std::runtime_error("not answered");
    return asked;
  }
  // Makes the call, with one of its allocations refused where a row asks for that.
  template <class Call>
  auto Guarded(Call call) {
    const long long granted = std::exchange(granted_, AllocationFaults::kNone);
    if (granted == AllocationFaults::kNone) return call();
    AllocationFaults faults(granted, refusesForGood_);
    const auto result = call();
    wasRefused_ = faults.Stop() > granted;
    return result;
  }
  std::string Print(const VARIANT& value);

  std::map<std::string, Named> objects;
  std::map<std::string, NamedStream> streams;
  std::map<std::string, Elements> elements;

 private:
  using Words = facts::Words;

  std::string RunOne(std::string_view operation);
  std::string Perform(const std::string& name, Words& words);
  std::string Assign(const std::string& name, Words& words);
  std::string Make(const std::string& what, const std::string& name, Words& words);
  template <class Look>
  std::string Quietly(Look look);
  // What a call said beside its result: the words of a report, debug texts, calls of the client's
  // objects, what hooks did.
  std::string Aside();
  // Runs something as long as it asks for that and tells what was said each time, equal texts
  // together.
  std::string Repeat(const std::function<bool(int number, std::string* said)>& run,
                     bool isNumbered = true);
  // The same with a fault that happens once and one that stays, told where it makes a difference.
  std::string RepeatBoth(
      const std::function<bool(int number, bool forGood, std::string* said)>& run,
      bool isNumbered = true);
  template <class Fault>
  using FaultSetter = void (FaultStream::*)(StreamCall, ULONG, Fault, bool);
  template <class Fault>
  std::string FaultEach(Words& words, FaultSetter<Fault> set);
  template <class Fault>
  std::string SetFault(Words& words, FaultSetter<Fault> set, bool forGood = false);
  std::string CutEach(Words& words);
  std::string RefuseEach(Words& words, bool isNumbered);
  std::string Times(Words& words);
  std::string Elsewhere(Words& words);
  NamedStream& Renew(const std::string& name, std::string_view hex);
  NamedStream* StreamOf(Words& words, std::optional<NamedStream>& unnamed);
  std::string Save(Words& words);
  std::string Load(Words& words);
  std::string SetHook(Words& words);
  // In the n-th call of the kind, of client's objects or of the stream with that name.
  void RunHooks(const std::string& call, ULONG number);
  std::string SetScript(Words& words);
  void Drop(const std::string& name);
  // Its operations run in a call, but for those that they make themselves.
  struct Hook {
    std::string operations;
    bool isRunning = false;
  };

  Script script_;
  RegisteredTestClass class_{script_};
  // Objects inside streams are made by the host, which finds their classes here.
  std::optional<PublishedClasses> classes_{std::in_place};
  std::map<std::string, Hook> hooks_;  // by call or stream, and the number of the call if it counts
  std::map<std::string, ULONG> calls_;
  std::vector<std::future<std::string>> elsewhere_;
  std::deque<Outer> outers_;
  ULONGLONG resident_ = 0;
  std::optional<RegisteredModule> registered_;
  DebugCapture debug_;
  std::string hookLog_, lastError_;
  long long granted_ = AllocationFaults::kNone;
  bool refusesForGood_ = false;
  bool wasRefused_ = false;
};

using Operations = std::map<std::string, std::function<std::string(Session&, facts::Words&)>>;
const Operations& ObjectOperations();
// On the module's code in this program, for what no client brings about.
const Operations& InnerOperations();

const Operations& LateOperations();

// Calls a slot of the object with a word for each parameter; what it says and what it gives.
std::string CallSlot(Session& session, const std::string& object, std::string_view member,
                     facts::Words& words);
// The same by the slot's number, without tables.
std::string CallUnnamedSlot(Session& session, facts::Words& words);
// What an image, a vector or a map holds.
std::string Show(Session& session, const std::string& name);
// The pixels of a rectangle of the active plane; without one, all that the planes store.
std::string ShowPixels(Session& session, const std::string& name, facts::Words& words);
// Gives every pixel that the planes store its number, from 1 on.
std::string NumberPixels(Session& session, const std::string& name);

}  // namespace tests::objects
