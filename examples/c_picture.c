// SPDX-License-Identifier: MIT
/* A client in C: makes an object by its class, draws rings into its pixels, fills the margin and
 * writes the stored plane as a PGM file.
 *
 *     c_picture OUT.pgm
 */
#include <stdio.h>

#include "rastelklp.h"

static int Fail(const char* what, HRESULT result) {
  fprintf(stderr, "%s: 0x%08X\n", what, (unsigned)result);
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "Usage: c_picture OUT.pgm\n");
    return 2;
  }
  CoInitializeEx(NULL, COINIT_MULTITHREADED);
  IByteAOIKLP* aoi = NULL;
  HRESULT result = CoCreateInstance(&CLSID_ByteAOIKLP, NULL, CLSCTX_INPROC_SERVER,
                                    &IID_IByteAOIKLP, (void**)&aoi);
  if (FAILED(result)) return Fail("the class cannot be made (rastel register)", result);

  aoi->lpVtbl->put_BufferMargin(aoi, 20);
  aoi->lpVtbl->put_MarginMode(aoi, MarginMirror);
  aoi->lpVtbl->CreateImage(aoi, 200, 160);
  LONG width, height, lineSkip;
  uint8_t* pixel;
  result = aoi->lpVtbl->GetAccess(aoi, &width, &height, &lineSkip, &pixel);
  if (FAILED(result)) return Fail("no pixels", result);
  for (LONG y = 0; y < height; ++y, pixel += lineSkip) {
    for (LONG x = 0; x < width; ++x) {
      const LONG dx = x - 60, dy = y - 50;
      *pixel++ = (uint8_t)((dx * dx + dy * dy) / 16);
    }
  }
  aoi->lpVtbl->FillMargins(aoi);

  /* The whole stored plane, with the margin around the picture. */
  FILE* file = fopen(argv[1], "wb");
  if (!file) return Fail(argv[1], E_FAIL);
  fprintf(file, "P5\n%d %d\n255\n", (int)width + 40, (int)height + 40);
  for (LONG y = -20; y < height + 20; ++y) {
    for (LONG x = -20; x < width + 20; ++x) {
      double value = 0;
      aoi->lpVtbl->GetPixel(aoi, x, y, &value);
      fputc((int)value, file);
    }
  }
  const int isWritten = fclose(file) == 0;
  aoi->lpVtbl->Release(aoi);
  CoUninitialize();
  return isWritten ? 0 : Fail(argv[1], E_FAIL);
}
