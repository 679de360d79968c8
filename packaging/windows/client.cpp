// SPDX-License-Identifier: MIT
// A client of the headers that are made from the interface definitions, in C++ and, without the
// classes, in C: what an installation must serve. Prints 255.
#define COBJMACROS
#include <windows.h>

#include <RastelKLP.h>
#include <stdio.h>

int main(void) {
  double pixel = 0;
  CoInitializeEx(NULL, COINIT_MULTITHREADED);
#ifdef __cplusplus
  IByteAOIKLP* picture = nullptr;
  if (SUCCEEDED(CoCreateInstance(__uuidof(ByteAOIKLP), nullptr, CLSCTX_INPROC_SERVER,
                                 __uuidof(IByteAOIKLP), reinterpret_cast<void**>(&picture)))) {
    picture->CreateImage(4, 3);
    picture->Fill(300);
    picture->GetPixel(3, 2, &pixel);
    picture->Release();
  }
#else
  IByteAOIKLP* picture = NULL;
  if (SUCCEEDED(CoCreateInstance(&CLSID_ByteAOIKLP, NULL, CLSCTX_INPROC_SERVER, &IID_IByteAOIKLP,
                                 (void**)&picture))) {
    IByteAOIKLP_CreateImage(picture, 4, 3);
    IByteAOIKLP_Fill(picture, 300);
    IByteAOIKLP_GetPixel(picture, 3, 2, &pixel);
    IByteAOIKLP_Release(picture);
  }
#endif
  CoUninitialize();
  printf("%d\n", (int)pixel);
  return 0;
}
