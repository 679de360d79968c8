// The type information of one interface, taken from its registered library on first use and kept
// until the module goes.
#pragma once

#include <atomic>

#include "platform/platform.h"

namespace platform {

class TypeInfoHolder {
 public:
  constexpr TypeInfoHolder(const IID& interfaceId, const GUID& libraryId, WORD major,
                           WORD minor) noexcept
      : interfaceId_(interfaceId), libraryId_(libraryId), major_(major), minor_(minor) {}
  TypeInfoHolder(const TypeInfoHolder&) = delete;
  TypeInfoHolder& operator=(const TypeInfoHolder&) = delete;

  // The type information, with a reference for the caller. Fails as LoadRegTypeLib and
  // ITypeLib::GetTypeInfoOfGuid do, and tries again at the next call.
  HRESULT Get(LCID locale, ITypeInfo** out) noexcept {
    *out = nullptr;
    ITypeInfo* info = info_.load(std::memory_order_acquire);
    if (!info) {
      const HRESULT result = LoadInfo(locale, &info);
      if (FAILED(result)) return result;
    }
    info->AddRef();
    *out = info;
    return S_OK;
  }

  // Lets go of everything that was loaded; for the module's end, when nobody calls any more.
  static void ReleaseAll() noexcept {
    for (TypeInfoHolder* holder = first_.exchange(nullptr); holder; holder = holder->next_) {
      if (ITypeInfo* info = holder->info_.exchange(nullptr)) info->Release();
    }
  }

 private:
  HRESULT LoadInfo(LCID locale, ITypeInfo** out) noexcept {
    ITypeLib* library = nullptr;
    HRESULT result = LoadRegTypeLib(libraryId_, major_, minor_, locale, &library);
    if (FAILED(result)) return result;
    ITypeInfo* info = nullptr;
    result = library->GetTypeInfoOfGuid(interfaceId_, &info);
    library->Release();
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

  static inline std::atomic<TypeInfoHolder*> first_{nullptr};

  const IID& interfaceId_;
  const GUID& libraryId_;
  WORD major_;
  WORD minor_;
  std::atomic<ITypeInfo*> info_{nullptr};
  TypeInfoHolder* next_ = nullptr;
};

}  // namespace platform
