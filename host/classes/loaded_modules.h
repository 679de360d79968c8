// SPDX-License-Identifier: MIT
// The modules that serve registered classes: found through the registry, loaded once, counted while
// calls into them are under way, unloaded when they say that they can be.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <unordered_map>

#include "host/base/interfaces.h"
#include "host/base/never_destroyed.h"
#include "host/base/single_thread.h"
#include "host/classes/apartments.h"
#include "host/registry/store.h"
#include "host/services/loaded_library.h"

namespace host {

// One module file, loaded or not. Never destroyed, so that threads may keep pointers to it.
class ClassModule {
 public:
  using GetClassObjectFunction = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
  using CanUnloadNowFunction = HRESULT STDAPICALLTYPE();

  // Begins a call; while it is under way the module stays. False: it is not loaded.
  bool Begin() noexcept {
    if (!BeginQuestion()) return false;
    if (apartment_.load(std::memory_order_relaxed) != OwnApartment()) {
      apartment_.store(nullptr, std::memory_order_relaxed);
    }
    return true;
  }
  void End() noexcept { Add(0 - kUnderWay); }

  // Inside a call.
  HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** factory) const {
    return getClassObject_(classId, iid, factory);
  }

 private:
  friend class ClassModules;

  // The calls that began, above those under way, above whether the module is unloaded.
  static constexpr std::uint64_t kUnloaded = 1;
  static constexpr std::uint64_t kUnderWay = 2;
  static constexpr std::uint64_t kBegan = std::uint64_t{1} << 24;

  // A call that counts as none once it is forgotten: the question whether it can be unloaded.
  bool BeginQuestion() noexcept {
    if ((Add(kBegan + kUnderWay) & kUnloaded) == 0) return true;
    Forget();
    return false;
  }
  void Forget() noexcept { Add(0 - kBegan - kUnderWay); }

  std::uint64_t Add(std::uint64_t change) noexcept {
    if (!IsSingleThreaded()) return calls_.fetch_add(change, std::memory_order_acq_rel) + change;
    const std::uint64_t sum = calls_.load(std::memory_order_relaxed) + change;
    calls_.store(sum, std::memory_order_relaxed);
    return sum;
  }

  std::atomic<std::uint64_t> calls_{kUnloaded};
  // The only apartment that has called it; null once others may have.
  std::atomic<const void*> apartment_{nullptr};

  // Written under the lock of the table, while it is unloaded.
  LoadedLibrary library_;
  GetClassObjectFunction* getClassObject_ = nullptr;
  CanUnloadNowFunction* canUnloadNow_ = nullptr;
  // When it was first seen unused, and after how many calls. Under the lock.
  std::chrono::steady_clock::time_point unusedSince_{};
  std::uint64_t unusedAfter_ = 0;
};

// A call into a module.
class ModuleCall final {
 public:
  ModuleCall() noexcept = default;
  ~ModuleCall() {
    if (module_) module_->End();
  }
  ModuleCall(const ModuleCall&) = delete;
  ModuleCall& operator=(const ModuleCall&) = delete;

  const ClassModule& module() const noexcept { return *module_; }

 private:
  friend class ClassModules;
  ClassModule* module_ = nullptr;
};

// Which module a class has, as the registry said when its generation was the given one. Finding
// takes no lock: a row that is written meanwhile is not found.
class KnownClasses final {
 public:
  ClassModule* Find(REFCLSID classId, std::uint64_t generation) const noexcept {
    const Halves key(classId);
    for (const Row& row : sets_[key.Hash() % kSets]) {
      const std::uint64_t version = row.version.load(std::memory_order_acquire);
      if (row.classId[0].load(std::memory_order_acquire) != key.of[0] ||
          row.classId[1].load(std::memory_order_acquire) != key.of[1]) {
        continue;
      }
      const bool isCurrent = row.generation.load(std::memory_order_acquire) == generation;
      ClassModule* const module = row.module.load(std::memory_order_acquire);
      const bool isWhole =
          version % 2 == 0 && row.version.load(std::memory_order_relaxed) == version;
      return isCurrent && isWhole ? module : nullptr;
    }
    return nullptr;
  }
  // One thread at a time. A row that is in its place is given up.
  void Enter(REFCLSID classId, std::uint64_t generation, ClassModule& module) noexcept;

 private:
  struct Halves {
    explicit Halves(REFGUID guid) noexcept { std::memcpy(of, &guid, sizeof(of)); }
    std::uint64_t of[2];

    std::size_t Hash() const noexcept {
      return static_cast<std::size_t>(
          (of[0] ^ (of[1] * 0x9E3779B97F4A7C15u)) * 0xD6E8FEB86659FD93u >> 32);
    }
  };
  struct Row {
    std::atomic<std::uint64_t> version{0};  // odd while the row is written
    std::array<std::atomic<std::uint64_t>, 2> classId{};
    std::atomic<std::uint64_t> generation{0};
    std::atomic<ClassModule*> module{nullptr};
  };
  static constexpr std::size_t kSets = 64;
  using Set = std::array<Row, 4>;

  std::array<Set, kSets> sets_{};
  std::size_t nextGivenUp_ = 0;
};

// The one of the process is never destroyed: modules that are still loaded when it ends stay so.
// All members may be called from any thread; modules are loaded, called and unloaded without a
// lock.
class ClassModules final {
 public:
  // Begins a call into the module of a class if that is known and loaded; takes no lock.
  bool BeginKnownCall(REFCLSID classId, ModuleCall& call) noexcept {
    ClassModule* const known = known_.Find(classId, TheOnly<RegistryStore>().generation());
    if (!known || !known->Begin()) return false;
    call.module_ = known;
    return true;
  }
  // The same for every class: REGDB_E_CLASSNOTREG, REGDB_E_READREGDB, CO_E_DLLNOTFOUND,
  // CO_E_ERRORINDLL. Throws std::bad_alloc.
  HRESULT BeginCall(REFCLSID classId, ModuleCall& call);

  // See CoFreeUnusedLibraries. Throws std::bad_alloc.
  void FreeUnused(std::chrono::steady_clock::time_point now);

 private:
  HRESULT BeginCallOfFile(const std::string& path, ModuleCall& call);
  LoadedLibrary TakeUnused(ClassModule& module, std::uint64_t calls,
                           std::chrono::steady_clock::time_point now) noexcept;

  KnownClasses known_;
  std::mutex mutex_;
  // By the path of the file.
  std::unordered_map<std::string, ClassModule> modules_;
};

}  // namespace host
