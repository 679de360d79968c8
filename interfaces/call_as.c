// SPDX-License-Identifier: MIT
/* The halves of calls that the generated proxies leave to be written: slots with a raw pointer, of
 * which one element travels, and IEnumAttributeEntryKLP::Next.
 *
 * The caller's halves, named _Proxy, call the generated remote form. The object's halves, named
 * _Stub, call the object. What they hand out is sent and then freed as task memory, so the object's
 * own memory never goes there, and memory that a caller sent is gone when the call ends. */
#include "RastelKLP.h"

/* Takes a copy of the first element in the place of the pointer to the object's own. */
static HRESULT TakeFirst(const void *own, void **copy, size_t bytes) {
  *copy = own ? CoTaskMemAlloc(bytes) : NULL;
  if (*copy) CopyMemory(*copy, own, bytes);
  return own && !*copy ? E_OUTOFMEMORY : S_OK;
}

static HRESULT TakeFirstVariant(VARIANT *own, VARIANT **copy) {
  HRESULT result;
  *copy = own ? CoTaskMemAlloc(sizeof(VARIANT)) : NULL;
  if (!*copy) return own ? E_OUTOFMEMORY : S_OK;
  VariantInit(*copy);
  result = VariantCopy(*copy, own);
  if (FAILED(result)) {
    CoTaskMemFree(*copy);
    *copy = NULL;
  }
  return result;
}

#define TAKE_FIRST(own, copy) TakeFirst(own, (void **)(copy), sizeof **(copy))

/* A failed copy wins over the result of the call that gave the pointer. */
static HRESULT Worse(HRESULT called, HRESULT taken) { return FAILED(taken) ? taken : called; }

#define GET_POINTER(I, U)                                                       \
  HRESULT CALLBACK I##_GetPointer_Proxy(I *This, U **pixels) {                  \
    return I##_RemoteGetPointer_Proxy(This, pixels);                            \
  }                                                                             \
  HRESULT __RPC_STUB I##_GetPointer_Stub(I *This, U **pixels) {                 \
    U *own = NULL;                                                              \
    const HRESULT result = This->lpVtbl->GetPointer(This, &own);                \
    return Worse(result, TAKE_FIRST(FAILED(result) ? NULL : own, pixels));      \
  }

#define GET_ACCESS(I, U, NAME)                                                                \
  HRESULT CALLBACK I##_##NAME##_Proxy(I *This, LONG *width, LONG *height, LONG *lineSkip,     \
                                      U **pixels) {                                           \
    return I##_Remote##NAME##_Proxy(This, width, height, lineSkip, pixels);                   \
  }                                                                                           \
  HRESULT __RPC_STUB I##_##NAME##_Stub(I *This, LONG *width, LONG *height, LONG *lineSkip,    \
                                       U **pixels) {                                          \
    U *own = NULL;                                                                            \
    const HRESULT result = This->lpVtbl->NAME(This, width, height, lineSkip, &own);           \
    return Worse(result, TAKE_FIRST(FAILED(result) ? NULL : own, pixels));                    \
  }

/* One pixel came, whatever the sizes say. */
#define ATTACH_IMAGE(I, U)                                                                     \
  HRESULT CALLBACK I##_AttachImage_Proxy(I *This, LONG width, LONG height, U *pixels) {        \
    return I##_RemoteAttachImage_Proxy(This, width, height, pixels);                           \
  }                                                                                            \
  HRESULT __RPC_STUB I##_AttachImage_Stub(I *This, LONG width, LONG height, U *pixels) {       \
    (void)This, (void)width, (void)height, (void)pixels;                                       \
    return E_NOTIMPL;                                                                          \
  }

#define TAKE_PLANES(I, U, NAME)                                                               \
  HRESULT CALLBACK I##_##NAME##_Proxy(I *This, LONG planes, LONG width, LONG height,          \
                                      U *pixels) {                                            \
    return I##_Remote##NAME##_Proxy(This, planes, width, height, pixels);                     \
  }                                                                                           \
  HRESULT __RPC_STUB I##_##NAME##_Stub(I *This, LONG planes, LONG width, LONG height,         \
                                       U *pixels) {                                           \
    (void)This, (void)planes, (void)width, (void)height, (void)pixels;                        \
    return E_NOTIMPL;                                                                         \
  }

#define AOI_HALVES(I, U)            \
  GET_POINTER(I, U)                 \
  GET_ACCESS(I, U, GetAccess)       \
  ATTACH_IMAGE(I, U)                \
  TAKE_PLANES(I, U, AttachPlanes)   \
  TAKE_PLANES(I, U, CreateFromData) \
  GET_ACCESS(I, U, GetAccessChecked)

AOI_HALVES(IByteAOIKLP, byte)
AOI_HALVES(ICharAOIKLP, char)
AOI_HALVES(IWordAOIKLP, short)
AOI_HALVES(IShortAOIKLP, short)
AOI_HALVES(IDWordAOIKLP, LONG)
AOI_HALVES(ILongAOIKLP, LONG)
AOI_HALVES(IFloatAOIKLP, float)
AOI_HALVES(IDoubleAOIKLP, double)

/* A vector's array and how many elements it has, of which the first travels. */
#define ARRAY_HALVES(I, T, NAME, TAKE)                                          \
  HRESULT CALLBACK I##_##NAME##_Proxy(I *This, LONG *count, T **array) {        \
    return I##_Remote##NAME##_Proxy(This, count, array);                        \
  }                                                                             \
  HRESULT __RPC_STUB I##_##NAME##_Stub(I *This, LONG *count, T **array) {       \
    T *own = NULL;                                                              \
    const HRESULT result = This->lpVtbl->NAME(This, count, &own);               \
    return Worse(result, TAKE(FAILED(result) ? NULL : own, array));             \
  }

#define TAG_HALVES(I) ARRAY_HALVES(I, VARIANT, GetTagPointer, TakeFirstVariant)
#define VECTOR_HALVES(I, T)                    \
  ARRAY_HALVES(I, T, GetPointer, TAKE_FIRST)   \
  TAG_HALVES(I)

TAG_HALVES(IVectorKLP)
VECTOR_HALVES(IByteVectorKLP, byte)
VECTOR_HALVES(ICharVectorKLP, char)
VECTOR_HALVES(IWordVectorKLP, unsigned short)
VECTOR_HALVES(IShortVectorKLP, short)
VECTOR_HALVES(IDWordVectorKLP, ULONG)
VECTOR_HALVES(ILongVectorKLP, LONG)
VECTOR_HALVES(IFloatVectorKLP, float)
VECTOR_HALVES(IDoubleVectorKLP, double)
ARRAY_HALVES(IVariantVectorKLP, VARIANT, GetPointer, TakeFirstVariant)
TAG_HALVES(IVariantVectorKLP)

static void TakeBack(IAttributeEntryKLP **entry) {
  (*entry)->lpVtbl->Release(*entry);
  *entry = NULL;
}

/* Answers bad arguments as the object itself does, and asks for one entry after the other. */
HRESULT CALLBACK IEnumAttributeEntryKLP_Next_Proxy(IEnumAttributeEntryKLP *This, ULONG count,
                                                   IAttributeEntryKLP **entries, ULONG *fetched) {
  HRESULT result = S_OK;
  ULONG received = 0;
  if (fetched) *fetched = 0;
  if (!entries || (count > 1 && !fetched)) return E_POINTER;
  while (result == S_OK && received < count) {
    entries[received] = NULL;
    result = IEnumAttributeEntryKLP_RemoteNext_Proxy(This, &entries[received]);
    if (result == S_OK) ++received;
  }
  if (FAILED(result)) {
    while (received > 0) TakeBack(&entries[--received]);
  }
  if (fetched) *fetched = received;
  return result;
}

HRESULT __RPC_STUB IEnumAttributeEntryKLP_Next_Stub(IEnumAttributeEntryKLP *This,
                                                    IAttributeEntryKLP **entry) {
  *entry = NULL;
  return This->lpVtbl->Next(This, 1, entry, NULL);
}
