/* The halves of IEnumAttributeEntryKLP::Next that the generated proxies leave to be written. */
#include "RastelKLP.h"

/* The caller's side. Answers bad arguments as the object itself does, and keeps the number of
 * entries, which must travel, where the caller does not want it. */
HRESULT CALLBACK IEnumAttributeEntryKLP_Next_Proxy(IEnumAttributeEntryKLP *This, ULONG count,
                                                   IAttributeEntryKLP **entries, ULONG *fetched) {
  ULONG received = 0;
  HRESULT result;
  if (fetched) *fetched = 0;
  if (!entries || (count > 1 && !fetched)) return E_POINTER;
  result = IEnumAttributeEntryKLP_RemoteNext_Proxy(This, count, entries, &received);
  if (fetched) *fetched = received;
  return result;
}

/* The object's side. What a failing call leaves is not sent. */
HRESULT __RPC_STUB IEnumAttributeEntryKLP_Next_Stub(IEnumAttributeEntryKLP *This, ULONG count,
                                                    IAttributeEntryKLP **entries, ULONG *fetched) {
  *fetched = 0;
  return This->lpVtbl->Next(This, count, entries, fetched);
}
