// SPDX-License-Identifier: MIT
// The type information of one interface and what it tells about the members, taken from the
// registered library on first use and kept until the module goes.
#pragma once

#include <atomic>
#include <new>

#include "platform/members.h"

namespace platform {

class TypeInfoHolder {
 public:
  // Where the type information comes from.
  using Loader = HRESULT (*)(const TypeInfoHolder& holder, LCID locale, ITypeInfo** out) noexcept;

  constexpr TypeInfoHolder(const IID& interfaceId, const GUID& libraryId, WORD major, WORD minor,
                           Loader load = &LoadRegistered) noexcept
      : interfaceId_(interfaceId),
        libraryId_(libraryId),
        major_(major),
        minor_(minor),
        load_(load) {}
  TypeInfoHolder(const TypeInfoHolder&) = delete;
  TypeInfoHolder& operator=(const TypeInfoHolder&) = delete;

  // The type information, with a reference for the caller. Fails as LoadRegTypeLib and
  // ITypeLib::GetTypeInfoOfGuid do, and tries again at the next call.
  HRESULT Get(LCID locale, ITypeInfo** out) noexcept {
    const HRESULT result = Look(locale, out);
    if (SUCCEEDED(result)) (*out)->AddRef();
    return result;
  }
  // The same without a reference: it stays as long as the module.
  HRESULT Look(LCID locale, ITypeInfo** out) noexcept {
    *out = info_.load(std::memory_order_acquire);
    return *out ? S_OK : Load(locale, out);
  }

  // As ITypeInfo::GetIDsOfNames, which is asked for several names, for a name in another case and
  // for an unknown one. A single name as the type information spells it is known.
  HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, LCID locale, DISPID* ids) noexcept {
    if (Knows(members_.load(std::memory_order_acquire), names, count, ids)) return S_OK;
    ITypeInfo* info = nullptr;
    const HRESULT loaded = Look(locale, &info);
    if (FAILED(loaded)) return loaded;
    // The first call has the names only now.
    const bool isKnown = Knows(MembersOf(*info), names, count, ids);
    return isKnown ? S_OK : info->GetIDsOfNames(names, count, ids);
  }

  // The members that the information tells of; null for want of memory.
  const Members* MembersOf(ITypeInfo& info) noexcept {
    if (const Members* known = members_.load(std::memory_order_acquire)) return known;
    std::unique_ptr<Members> made(new (std::nothrow) Members(info));
    if (!made || !made->IsWhole()) return nullptr;
    Members* other = nullptr;
    return members_.compare_exchange_strong(other, made.get()) ? made.release() : other;
  }

  // Lets go of everything that was loaded; for the module's end, when nobody calls any more.
  static void ReleaseAll() noexcept {
    for (TypeInfoHolder* holder = first_.exchange(nullptr); holder; holder = holder->next_) {
      delete holder->members_.exchange(nullptr);
      if (ITypeInfo* info = holder->info_.exchange(nullptr)) info->Release();
    }
  }

 private:
  static HRESULT LoadRegistered(const TypeInfoHolder& holder, LCID locale,
                                ITypeInfo** out) noexcept {
    ITypeLib* library = nullptr;
    HRESULT result =
        LoadRegTypeLib(holder.libraryId_, holder.major_, holder.minor_, locale, &library);
    if (FAILED(result)) return result;
    result = library->GetTypeInfoOfGuid(holder.interfaceId_, out);
    library->Release();
    return result;
  }

  // *out is not counted.
  HRESULT Load(LCID locale, ITypeInfo** out) noexcept {
    ITypeInfo* info = nullptr;
    const HRESULT result = load_(*this, locale, &info);
    if (FAILED(result)) return result;
    ITypeInfo* other = nullptr;
    if (info_.compare_exchange_strong(other, info)) {
      next_ = first_.load();
      while (!first_.compare_exchange_weak(next_, this)) {
      }
      *out = info;
    } else {
      info->Release();
      *out = other;
    }
    return S_OK;
  }

  static bool Knows(const Members* known, LPOLESTR* names, UINT count, DISPID* ids) noexcept {
    if (!known || count != 1 || !names || !*names || !ids) return false;
    const DISPID member = known->Find(*names);
    if (member == DISPID_UNKNOWN) return false;
    *ids = member;
    return true;
  }

  static inline std::atomic<TypeInfoHolder*> first_{nullptr};

  const IID& interfaceId_;
  const GUID& libraryId_;
  WORD major_;
  WORD minor_;
  Loader load_;
  std::atomic<ITypeInfo*> info_{nullptr};
  std::atomic<Members*> members_{nullptr};
  TypeInfoHolder* next_ = nullptr;
};

}  // namespace platform
