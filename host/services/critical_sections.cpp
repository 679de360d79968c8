// SPDX-License-Identifier: MIT
#include "host/services/critical_sections.h"

#include <pthread.h>

#include <new>

#include "host/base/constants.h"

namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION) &&
              alignof(pthread_mutex_t) <= alignof(CRITICAL_SECTION));

pthread_mutex_t* MutexOf(LPCRITICAL_SECTION section) noexcept {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(section->opaque));
}

}  // namespace

BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD) noexcept {
  new (section->opaque) pthread_mutex_t(PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP);
  return TRUE;
}

void EnterCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutex_lock(MutexOf(section));
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) noexcept {
  return pthread_mutex_trylock(MutexOf(section)) == 0 ? TRUE : FALSE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutex_unlock(MutexOf(section));
}

void DeleteCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutex_destroy(MutexOf(section));
}
