// SPDX-License-Identifier: MIT
/* One picture, parts from different makers: a C program that loads a picture, applies filters of
 * other makers to it, first by class identifier and then by names alone, and saves it both times.
 *
 *     parts IN.aoi OUT.aoi MODULE...
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "filter.h"

#define CHECK(call)                                                     \
  do {                                                                  \
    const HRESULT checked = (call);                                     \
    if (FAILED(checked)) {                                              \
      fprintf(stderr, "parts: %s: 0x%08X\n", #call, (unsigned)checked); \
      exit(1);                                                          \
    }                                                                   \
  } while (0)

static const IID kReserved;

static double Now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (double)time.tv_sec * 1e9 + (double)time.tv_nsec;
}

/* A memory stream with the content of a file. */
static IStream* StreamOf(const char* path) {
  IStream* stream = NULL;
  char chunk[65536];
  size_t bytes;
  FILE* file = fopen(path, "rb");
  if (!file) {
    perror(path);
    exit(1);
  }
  CHECK(CreateStreamOnHGlobal(NULL, TRUE, &stream));
  while ((bytes = fread(chunk, 1, sizeof chunk, file)) > 0) {
    CHECK(stream->lpVtbl->Write(stream, chunk, (ULONG)bytes, NULL));
  }
  fclose(file);
  const LARGE_INTEGER start = {.QuadPart = 0};
  CHECK(stream->lpVtbl->Seek(stream, start, STREAM_SEEK_SET, NULL));
  return stream;
}

static IDispatch* Load(const char* path) {
  IDispatch* picture = NULL;
  IStream* stream = StreamOf(path);
  CHECK(OleLoadFromStream(stream, &IID_IDispatch, (void**)&picture));
  stream->lpVtbl->Release(stream);
  return picture;
}

/* What the object saves, of which the caller frees the bytes. */
static char* Saved(IDispatch* picture, ULONG* bytes) {
  IPersistStream* persist = NULL;
  IStream* stream = NULL;
  ULARGE_INTEGER size;
  const LARGE_INTEGER start = {.QuadPart = 0};
  CHECK(picture->lpVtbl->QueryInterface(picture, &IID_IPersistStream, (void**)&persist));
  CHECK(CreateStreamOnHGlobal(NULL, TRUE, &stream));
  CHECK(OleSaveToStream(persist, stream));
  CHECK(stream->lpVtbl->Seek(stream, start, STREAM_SEEK_CUR, &size));
  CHECK(stream->lpVtbl->Seek(stream, start, STREAM_SEEK_SET, NULL));
  char* content = malloc(size.QuadPart);
  CHECK(stream->lpVtbl->Read(stream, content, (ULONG)size.QuadPart, bytes));
  stream->lpVtbl->Release(stream);
  persist->lpVtbl->Release(persist);
  return content;
}

static void ByIdentifier(IDispatch* picture, const CLSID* classId) {
  IPictureFilter* filter = NULL;
  CHECK(
      CoCreateInstance(classId, NULL, CLSCTX_INPROC_SERVER, &IID_IPictureFilter, (void**)&filter));
  CHECK(filter->lpVtbl->Apply(filter, picture));
  filter->lpVtbl->Release(filter);
}

/* Nothing of filter.h is used from here on. */
static IDispatch* ByProgId(LPCOLESTR progId) {
  CLSID classId;
  IDispatch* object = NULL;
  CHECK(CLSIDFromProgID(progId, &classId));
  CHECK(CoCreateInstance(&classId, NULL, CLSCTX_INPROC_SERVER, &IID_IDispatch, (void**)&object));
  return object;
}

static void Call(IDispatch* object, LPCOLESTR member, WORD kind, VARIANT* argument,
                 VARIANT* result) {
  DISPID id;
  LPOLESTR name = (LPOLESTR)member;
  DISPPARAMS parameters = {argument, NULL, argument ? 1u : 0u, 0};
  CHECK(object->lpVtbl->GetIDsOfNames(object, &kReserved, &name, 1, 0, &id));
  CHECK(object->lpVtbl->Invoke(object, id, &kReserved, 0, kind, &parameters, result, NULL, NULL));
}

static void ByName(IDispatch* picture, LPCOLESTR progId) {
  IDispatch* filter = ByProgId(progId);
  VARIANT argument = {.vt = VT_DISPATCH, .pdispVal = picture};
  Call(filter, u"Apply", DISPATCH_METHOD, &argument, NULL);
  filter->lpVtbl->Release(filter);
}

/* What standard libraries this process has loaded. */
static void SayLibraries(void) {
  static const char* const names[] = {"libstdc++.so", "libc++.so", "libRastelKLP.so"};
  char line[4096];
  int seen[3] = {0};
  FILE* maps = fopen("/proc/self/maps", "r");
  while (maps && fgets(line, sizeof line, maps)) {
    for (int i = 0; i < 3; ++i) seen[i] |= strstr(line, names[i]) != NULL;
  }
  if (maps) fclose(maps);
  printf("in this process       ");
  for (int i = 0; i < 3; ++i) printf(" %s%s", seen[i] ? "" : "no ", names[i]);
  printf("\n");
}

int main(int argc, char** argv) {
  if (argc < 4) {
    fprintf(stderr, "usage: parts IN.aoi OUT.aoi MODULE...\n");
    return 2;
  }
  CHECK(CoInitializeEx(NULL, COINIT_MULTITHREADED));
  for (int i = 3; i < argc; ++i) CHECK(HostAddModule(argv[i]));

  IDispatch* picture = Load(argv[1]);
  double start = Now();
  ByIdentifier(picture, &CLSID_Soften);
  const double softened = Now();
  ByIdentifier(picture, &CLSID_Stretch);
  printf("by class identifier    soften %.2f ms, stretch %.2f ms\n", (softened - start) / 1e6,
         (Now() - softened) / 1e6);
  SayLibraries();
  ULONG bytes = 0, bytesByName = 0;
  char* content = Saved(picture, &bytes);
  picture->lpVtbl->Release(picture);

  picture = Load(argv[1]);
  ByName(picture, u"Parts.Soften");
  ByName(picture, u"Parts.Stretch");
  char* byName = Saved(picture, &bytesByName);
  const int isSame = bytes == bytesByName && memcmp(content, byName, bytes) == 0;
  VARIANT name = {.vt = VT_EMPTY};
  Call(picture, u"Width", DISPATCH_PROPERTYGET, NULL, &name);
  printf("by ProgID and names    %d pixels wide, %s\n", (int)name.lVal,
         isSame ? "the same picture" : "ANOTHER PICTURE");
  picture->lpVtbl->Release(picture);

  /* What a call costs: asking for the width. */
  IDispatch* small = ByProgId(u"AOIKLP.ByteKLP");
  IByteAOIKLP* aoi = NULL;
  CHECK(small->lpVtbl->QueryInterface(small, &IID_IByteAOIKLP, (void**)&aoi));
  CHECK(aoi->lpVtbl->CreateImage(aoi, 1, 1));
  enum { kCalls = 100000 };
  LONG width;
  start = Now();
  for (int i = 0; i < kCalls; ++i) CHECK(aoi->lpVtbl->get_Width(aoi, &width));
  const double bySlot = Now();
  for (int i = 0; i < kCalls; ++i) Call(small, u"Width", DISPATCH_PROPERTYGET, NULL, &name);
  printf("one call               %.1f ns by slot, %.0f ns by name\n", (bySlot - start) / kCalls,
         (Now() - bySlot) / kCalls);
  aoi->lpVtbl->Release(aoi);
  small->lpVtbl->Release(small);

  FILE* out = fopen(argv[2], "wb");
  const int isWritten = out && fwrite(content, 1, bytes, out) == bytes && fclose(out) == 0;
  if (!isWritten) perror(argv[2]);
  free(content);
  free(byName);
  CoUninitialize();
  return isWritten && isSame ? 0 : 1;
}
