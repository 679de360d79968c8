// SPDX-License-Identifier: MIT
#include "host/values/safe_arrays.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>

#include "host/base/interfaces.h"
#include "host/values/strings.h"
#include "host/values/variant_types.h"
#include "host/values/variants.h"

namespace host {
namespace {

// A descriptor of a client's own, on its stack or in its data: neither it nor its data is ours.
constexpr USHORT kForeign = FADF_AUTO | FADF_STATIC | FADF_EMBEDDED;
constexpr USHORT kOwners = FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT;
constexpr std::uint64_t kElementTypes =
    TypeRange(VT_I2, VT_DECIMAL) | TypeRange(VT_I1, VT_UINT) | TypeRange(VT_INT_PTR, VT_UINT_PTR);
constexpr std::size_t kMaxDataBytes = 0xFFFFFFFFu;
constexpr ULONG kMaxLocks = 0xFFFF;

// What lies in front of a descriptor: as on the platform, 16 bytes that hold the interface
// identifier or, in the last 4, the type; before them the links for walking nested arrays without
// recursion.
struct Hidden {
  SAFEARRAY* next;
  SAFEARRAY* source;
  union {
    IID interfaceId;
    struct {
      DWORD unused[3];
      DWORD type;
    };
  };
};
static_assert(sizeof(Hidden) == 32);

Hidden* HiddenOf(SAFEARRAY* array) noexcept { return reinterpret_cast<Hidden*>(array) - 1; }

bool IsForeign(const SAFEARRAY& array) noexcept { return (array.fFeatures & kForeign) != 0; }

USHORT FeaturesOf(VARTYPE type) noexcept {
  switch (type) {
    case VT_BSTR:
      return FADF_HAVEVARTYPE | FADF_BSTR;
    case VT_DISPATCH:
      return FADF_HAVEIID | FADF_DISPATCH;
    case VT_UNKNOWN:
      return FADF_HAVEIID | FADF_UNKNOWN;
    case VT_VARIANT:
      return FADF_HAVEVARTYPE | FADF_VARIANT;
    default:
      return FADF_HAVEVARTYPE;
  }
}

// Bytes of the data; everything beyond the limit is the limit and one.
std::size_t DataBytes(ULONG elementBytes, USHORT dimensions,
                      const SAFEARRAYBOUND* bounds) noexcept {
  std::size_t bytes = elementBytes;
  // The factors are at most 2^32 and below 2^32, so their product fits.
  for (; dimensions != 0; --dimensions, ++bounds) {
    bytes = std::min(bytes * bounds->cElements, kMaxDataBytes + 1);
  }
  return bytes;
}

std::size_t DataBytes(const SAFEARRAY& array) noexcept {
  const std::size_t bytes = DataBytes(array.cbElements, array.cDims, array.rgsabound);
  return bytes <= kMaxDataBytes ? bytes : 0;
}

std::size_t ElementCount(const SAFEARRAY& array) noexcept {
  return array.cbElements ? DataBytes(array) / array.cbElements : 0;
}

// A descriptor with its data, all zero but dimensions, element size and features.
SAFEARRAY* Allocate(USHORT features, ULONG elementBytes, USHORT dimensions,
                    const SAFEARRAYBOUND* boundsLastFirst) noexcept {
  const std::size_t bytes = DataBytes(elementBytes, dimensions, boundsLastFirst);
  if (bytes > kMaxDataBytes) return nullptr;
  const std::size_t boundsBytes = dimensions * sizeof(SAFEARRAYBOUND);
  auto* hidden = static_cast<Hidden*>(
      std::calloc(1, sizeof(Hidden) + offsetof(SAFEARRAY, rgsabound) + boundsBytes));
  if (!hidden) return nullptr;
  void* data = std::calloc(std::max<std::size_t>(bytes, 1), 1);
  if (!data) {
    std::free(hidden);
    return nullptr;
  }
  auto* array = reinterpret_cast<SAFEARRAY*>(hidden + 1);
  array->cDims = dimensions;
  array->fFeatures = features;
  array->cbElements = elementBytes;
  array->pvData = data;
  std::memcpy(array->rgsabound, boundsLastFirst, boundsBytes);
  return array;
}

// Notes an unlocked array for DestroyAll. The lock refuses an object that is released meanwhile and
// wants to destroy or resize the array once more.
void PushDoomed(SAFEARRAY** doomed, SAFEARRAY* array) noexcept {
  SafeArrayLock(array);
  HiddenOf(array)->next = *doomed;
  *doomed = array;
}

// Elements that own something are walked as VARIANTs: such a VARIANT owns what its element owns.
std::size_t OwnerBytes(USHORT features) noexcept {
  return features & FADF_VARIANT ? sizeof(VARIANT) : sizeof(void*);
}
VARIANT ElementOf(USHORT features, const void* element) noexcept {
  if (features & FADF_VARIANT) return *static_cast<const VARIANT*>(element);
  VARIANT value{};
  value.vt = features & FADF_BSTR ? VT_BSTR : VT_UNKNOWN;
  std::memcpy(&value.byref, element, sizeof(value.byref));
  return value;
}
void SetElement(USHORT features, void* element, const VARIANT& value) noexcept {
  if (features & FADF_VARIANT) {
    *static_cast<VARIANT*>(element) = value;
  } else {
    std::memcpy(element, &value.byref, sizeof(value.byref));
  }
}

// Gives up what `count` elements own and zeroes them first, one by one. Nested arrays are put on
// the list instead of being walked here; one that is locked is left to whoever locked it.
void ReleaseElements(USHORT features, void* data, std::size_t count, SAFEARRAY** doomed) noexcept {
  if ((features & kOwners) == 0) return;
  auto* element = static_cast<char*>(data);
  for (; count != 0; --count, element += OwnerBytes(features)) {
    const VARIANT old = ElementOf(features, element);
    if (IsPlain(old.vt) || FAILED(CheckClearable(old))) continue;
    SetElement(features, element, VARIANT{});
    const bool nested = IsArray(old.vt) && !IsByRef(old.vt) && old.parray;
    if (nested && !IsForeign(*old.parray)) {
      PushDoomed(doomed, old.parray);
    } else {
      ReleaseValue(old);
    }
  }
}

void DestroyAll(SAFEARRAY* doomed) noexcept {
  while (doomed) {
    SAFEARRAY* array = doomed;
    doomed = HiddenOf(array)->next;
    ReleaseElements(array->fFeatures, array->pvData, ElementCount(*array), &doomed);
    std::free(array->pvData);
    std::free(HiddenOf(array));
  }
}

HRESULT ElementAddress(const SAFEARRAY& array, const LONG* indices, void** element) noexcept {
  std::size_t cell = 0;
  std::size_t stride = 1;
  for (USHORT d = array.cDims; d != 0; --d, ++indices) {
    const SAFEARRAYBOUND& bound = array.rgsabound[d - 1];
    const std::int64_t offset = std::int64_t{*indices} - bound.lLbound;
    if (offset < 0 || offset >= std::int64_t{bound.cElements}) return DISP_E_BADINDEX;
    cell += static_cast<std::size_t>(offset) * stride;
    stride *= bound.cElements;
  }
  *element = static_cast<char*>(array.pvData) + cell * array.cbElements;
  return S_OK;
}

// An unlocked array of the same shape and type with zero elements.
SAFEARRAY* AllocateLike(SAFEARRAY* source) noexcept {
  const auto features = static_cast<USHORT>(source->fFeatures & ~(kForeign | FADF_FIXEDSIZE));
  SAFEARRAY* copy = Allocate(features, source->cbElements, source->cDims, source->rgsabound);
  if (!copy) return nullptr;
  if (features & FADF_HAVEIID) HiddenOf(copy)->interfaceId = HiddenOf(source)->interfaceId;
  if (features & FADF_HAVEVARTYPE) HiddenOf(copy)->type = HiddenOf(source)->type;
  return copy;
}

// Copies that still have to be filled, each with its source locked.
class PendingCopies {
 public:
  PendingCopies() = default;
  PendingCopies(const PendingCopies&) = delete;
  PendingCopies& operator=(const PendingCopies&) = delete;
  ~PendingCopies() {
    while (SAFEARRAY* copy = Pop()) SafeArrayUnlock(HiddenOf(copy)->source);
  }

  // Makes the empty copy of an array and notes it.
  HRESULT Add(SAFEARRAY* source, SAFEARRAY** copy) noexcept {
    *copy = nullptr;
    const HRESULT hr = SafeArrayLock(source);
    if (FAILED(hr)) return hr;
    *copy = AllocateLike(source);
    if (!*copy) {
      SafeArrayUnlock(source);
      return E_OUTOFMEMORY;
    }
    HiddenOf(*copy)->source = source;
    HiddenOf(*copy)->next = first_;
    first_ = *copy;
    return S_OK;
  }

  SAFEARRAY* Pop() noexcept {
    SAFEARRAY* copy = first_;
    if (copy) first_ = HiddenOf(copy)->next;
    return copy;
  }

 private:
  SAFEARRAY* first_ = nullptr;
};

HRESULT Fill(const SAFEARRAY& source, SAFEARRAY* copy, PendingCopies* pending) noexcept {
  const USHORT features = source.fFeatures;
  std::size_t left = ElementCount(source);
  if ((features & kOwners) == 0) {
    if (left != 0) std::memcpy(copy->pvData, source.pvData, left * source.cbElements);
    return S_OK;
  }
  const auto* from = static_cast<const char*>(source.pvData);
  auto* to = static_cast<char*>(copy->pvData);
  const std::size_t bytes = OwnerBytes(features);
  for (; left != 0; --left, from += bytes, to += bytes) {
    const VARIANT value = ElementOf(features, from);
    if ((features & FADF_VARIANT) == 0 && !value.byref) continue;
    if (!IsValidType(value.vt)) return DISP_E_BADVARTYPE;
    VARIANT duplicate{};
    HRESULT hr;
    if (IsArray(value.vt) && !IsByRef(value.vt) && value.parray) {
      hr = pending->Add(value.parray, &duplicate.parray);
      if (SUCCEEDED(hr)) duplicate.vt = value.vt;
    } else {
      hr = DuplicateValue(value, &duplicate);
    }
    if (FAILED(hr)) return hr;
    SetElement(features, to, duplicate);
  }
  return S_OK;
}

// Puts a copy of *value into the element of an array that the caller has locked; what the element
// held is handed out to be released when the lock is gone.
HRESULT Store(const SAFEARRAY& array, void* element, void* value, VARIANT* displaced) noexcept {
  const USHORT features = array.fFeatures;
  if ((features & kOwners) == 0) {
    std::memmove(element, value, array.cbElements);
    return S_OK;
  }
  if (element == value) return S_OK;
  // Strings and interfaces are the argument itself.
  const VARIANT source = ElementOf(features, features & FADF_VARIANT ? value : &value);
  if (!IsValidType(source.vt)) return DISP_E_BADVARTYPE;
  HRESULT hr = CheckClearable(ElementOf(features, element));
  if (FAILED(hr)) return hr;
  VARIANT copy;
  hr = DuplicateValue(source, &copy);
  if (FAILED(hr)) return hr;
  *displaced = ElementOf(features, element);
  SetElement(features, element, copy);
  return S_OK;
}

HRESULT Fetch(const SAFEARRAY& array, const void* element, void* value) noexcept {
  const USHORT features = array.fFeatures;
  if ((features & kOwners) == 0) {
    std::memcpy(value, element, array.cbElements);
    return S_OK;
  }
  const VARIANT source = ElementOf(features, element);
  VARIANT copy{};
  HRESULT hr = IsValidType(source.vt) ? S_OK : DISP_E_BADVARTYPE;
  const bool isNull = (features & FADF_VARIANT) == 0 && !source.byref;
  if (SUCCEEDED(hr) && !isNull) hr = DuplicateValue(source, &copy);
  SetElement(features, value, copy);
  return hr;
}

}  // namespace

bool IsLocked(const SAFEARRAY& array) noexcept {
  return std::atomic_ref(const_cast<ULONG&>(array.cLocks)).load() != 0;
}

}  // namespace host

SAFEARRAY* STDAPICALLTYPE SafeArrayCreate(VARTYPE type, UINT dimensions,
                                          SAFEARRAYBOUND* bounds) noexcept {
  if (!host::IsOneOf(type, host::kElementTypes)) return nullptr;
  if (dimensions == 0 || dimensions > 0xFFFF || !bounds) return nullptr;
  const USHORT features = host::FeaturesOf(type);
  const auto count = static_cast<USHORT>(dimensions);
  SAFEARRAY* array = host::Allocate(features, host::ValueBytes(type), count, bounds);
  if (!array) return nullptr;
  // The bounds are given first dimension first and stored the other way round.
  std::reverse(array->rgsabound, array->rgsabound + count);
  if (features & FADF_HAVEIID) {
    host::HiddenOf(array)->interfaceId = type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown;
  } else {
    host::HiddenOf(array)->type = type;
  }
  return array;
}

SAFEARRAY* STDAPICALLTYPE SafeArrayCreateVector(VARTYPE type, LONG lowerBound,
                                                ULONG elements) noexcept {
  SAFEARRAYBOUND bound{elements, lowerBound};
  return SafeArrayCreate(type, 1, &bound);
}

HRESULT STDAPICALLTYPE SafeArrayDestroy(SAFEARRAY* array) noexcept {
  if (!array) return S_OK;
  if (host::IsLocked(*array)) return DISP_E_ARRAYISLOCKED;
  SAFEARRAY* doomed = nullptr;
  if (host::IsForeign(*array)) {
    host::ReleaseElements(array->fFeatures, array->pvData, host::ElementCount(*array), &doomed);
  } else {
    host::PushDoomed(&doomed, array);
  }
  host::DestroyAll(doomed);
  return S_OK;
}

HRESULT STDAPICALLTYPE SafeArrayRedim(SAFEARRAY* array, SAFEARRAYBOUND* bound) noexcept {
  if (!array || !bound || array->cDims == 0) return E_INVALIDARG;
  if (array->fFeatures & (host::kForeign | FADF_FIXEDSIZE)) return E_INVALIDARG;
  if (host::IsLocked(*array)) return DISP_E_ARRAYISLOCKED;
  const std::size_t oldBytes = host::DataBytes(*array);
  const SAFEARRAYBOUND oldBound = std::exchange(array->rgsabound[0], *bound);
  const std::size_t bytes = host::DataBytes(array->cbElements, array->cDims, array->rgsabound);
  const bool dropsOwners = bytes < oldBytes && (array->fFeatures & host::kOwners) != 0;
  const std::size_t blockBytes = std::max<std::size_t>(bytes, 1);
  void* data = nullptr;
  // Dropped elements that own something stay behind in the old block until the array is whole
  // again.
  if (bytes <= host::kMaxDataBytes) {
    data = dropsOwners ? std::malloc(blockBytes) : std::realloc(array->pvData, blockBytes);
  }
  if (!data) {
    array->rgsabound[0] = oldBound;
    return E_OUTOFMEMORY;
  }
  void* oldData = std::exchange(array->pvData, data);
  if (bytes > oldBytes) std::memset(static_cast<char*>(data) + oldBytes, 0, bytes - oldBytes);
  if (!dropsOwners) return S_OK;
  const USHORT features = array->fFeatures;
  const std::size_t dropped = (oldBytes - bytes) / array->cbElements;
  std::memcpy(data, oldData, bytes);
  SAFEARRAY* doomed = nullptr;
  host::ReleaseElements(features, static_cast<char*>(oldData) + bytes, dropped, &doomed);
  std::free(oldData);
  host::DestroyAll(doomed);
  return S_OK;
}

UINT STDAPICALLTYPE SafeArrayGetDim(SAFEARRAY* array) noexcept { return array ? array->cDims : 0; }

UINT STDAPICALLTYPE SafeArrayGetElemsize(SAFEARRAY* array) noexcept {
  return array ? array->cbElements : 0;
}

HRESULT STDAPICALLTYPE SafeArrayGetLBound(SAFEARRAY* array, UINT dimension,
                                          LONG* lowerBound) noexcept {
  if (!array || !lowerBound) return E_INVALIDARG;
  if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
  *lowerBound = array->rgsabound[array->cDims - dimension].lLbound;
  return S_OK;
}

HRESULT STDAPICALLTYPE SafeArrayGetUBound(SAFEARRAY* array, UINT dimension,
                                          LONG* upperBound) noexcept {
  if (!array || !upperBound) return E_INVALIDARG;
  if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
  const SAFEARRAYBOUND& bound = array->rgsabound[array->cDims - dimension];
  *upperBound = static_cast<LONG>(static_cast<ULONG>(bound.lLbound) + bound.cElements - 1);
  return S_OK;
}

HRESULT STDAPICALLTYPE SafeArrayGetVartype(SAFEARRAY* array, VARTYPE* type) noexcept {
  if (!array || !type) return E_INVALIDARG;
  if (array->fFeatures & FADF_HAVEIID) {
    *type = array->fFeatures & FADF_DISPATCH ? VT_DISPATCH : VT_UNKNOWN;
    return S_OK;
  }
  if (!(array->fFeatures & FADF_HAVEVARTYPE)) return E_INVALIDARG;
  *type = static_cast<VARTYPE>(host::HiddenOf(array)->type);
  return S_OK;
}

HRESULT STDAPICALLTYPE SafeArrayLock(SAFEARRAY* array) noexcept {
  if (!array) return E_INVALIDARG;
  std::atomic_ref locks(array->cLocks);
  ULONG count = locks.load();
  do {
    if (count >= host::kMaxLocks) return E_UNEXPECTED;
  } while (!locks.compare_exchange_weak(count, count + 1));
  return S_OK;
}

HRESULT STDAPICALLTYPE SafeArrayUnlock(SAFEARRAY* array) noexcept {
  if (!array) return E_INVALIDARG;
  std::atomic_ref locks(array->cLocks);
  ULONG count = locks.load();
  do {
    if (count == 0) return E_UNEXPECTED;
  } while (!locks.compare_exchange_weak(count, count - 1));
  return S_OK;
}

HRESULT STDAPICALLTYPE SafeArrayAccessData(SAFEARRAY* array, void** data) noexcept {
  if (!array || !data) return E_INVALIDARG;
  const HRESULT hr = SafeArrayLock(array);
  *data = SUCCEEDED(hr) ? array->pvData : nullptr;
  return hr;
}

HRESULT STDAPICALLTYPE SafeArrayUnaccessData(SAFEARRAY* array) noexcept {
  return SafeArrayUnlock(array);
}

HRESULT STDAPICALLTYPE SafeArrayPtrOfIndex(SAFEARRAY* array, LONG* indices,
                                           void** element) noexcept {
  if (!array || !indices || !element) return E_INVALIDARG;
  return host::ElementAddress(*array, indices, element);
}

HRESULT STDAPICALLTYPE SafeArrayGetElement(SAFEARRAY* array, LONG* indices, void* value) noexcept {
  if (!array || !indices || !value) return E_INVALIDARG;
  HRESULT hr = SafeArrayLock(array);
  if (FAILED(hr)) return hr;
  void* element;
  hr = host::ElementAddress(*array, indices, &element);
  if (SUCCEEDED(hr)) hr = host::Fetch(*array, element, value);
  SafeArrayUnlock(array);
  return hr;
}

HRESULT STDAPICALLTYPE SafeArrayPutElement(SAFEARRAY* array, LONG* indices, void* value) noexcept {
  if (!array || !indices) return E_INVALIDARG;
  const bool valueIsElement = (array->fFeatures & host::kOwners & ~FADF_VARIANT) != 0;
  if (!value && !valueIsElement) return E_INVALIDARG;
  HRESULT hr = SafeArrayLock(array);
  if (FAILED(hr)) return hr;
  void* element;
  VARIANT displaced{};
  hr = host::ElementAddress(*array, indices, &element);
  if (SUCCEEDED(hr)) hr = host::Store(*array, element, value, &displaced);
  SafeArrayUnlock(array);
  host::ReleaseValue(displaced);
  return hr;
}

HRESULT STDAPICALLTYPE SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy) noexcept {
  if (!copy) return E_INVALIDARG;
  *copy = nullptr;
  if (!array) return S_OK;
  if (array->cbElements == 0 || array->cDims == 0) return E_INVALIDARG;
  SAFEARRAY* root = nullptr;
  HRESULT hr;
  {
    host::PendingCopies pending;
    hr = pending.Add(array, &root);
    while (SUCCEEDED(hr)) {
      SAFEARRAY* next = pending.Pop();
      if (!next) break;
      SAFEARRAY* source = host::HiddenOf(next)->source;
      hr = host::Fill(*source, next, &pending);
      SafeArrayUnlock(source);
    }
  }
  if (FAILED(hr)) {
    SafeArrayDestroy(root);
    return hr;
  }
  *copy = root;
  return S_OK;
}
