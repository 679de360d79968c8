// SPDX-License-Identifier: MIT
// Streams of objects: each is loaded, and what came of it, whole or not, is asked, counted, saved,
// copied and emptied. What is saved can be loaded, and is then saved as the same bytes.
#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "fuzz/module_inside.h"
#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "tests/support/class_table.h"
#include "tests/support/fault_stream.h"
#include "tests/support/streams.h"

namespace fuzz {
namespace {

using platform::ComPtr;
using Content = std::vector<std::uint8_t>;

// Larger objects are not counted, written or copied: their streams state what they do not have, and
// a rectangle is saved as tall as it is stated.
constexpr double kMostElements = 1 << 18;

// How many pixels, or elements and tags, an object holds or writes; 0 for a map.
double Elements(const ComPtr<IPersistStream>& self) {
  LONG first = 0, second = 0, third = 1;
  if (const auto aoi = self.As<IAoiKLP>()) {
    LONG x = 0, y = 0, width = 0, height = 0, marginX = 0, marginY = 0;
    aoi->get_BufferWidth(&first);
    aoi->get_BufferHeight(&second);
    aoi->get_PlaneCount(&third);
    aoi->GetRect(&x, &y, &width, &height);
    aoi->get_MarginX(&marginX);
    aoi->get_MarginY(&marginY);
    const double stored = std::abs(double{1} * first * second);
    const double rows = std::abs(double{1} * height) + 2 * std::abs(double{1} * marginY);
    const double columns = std::abs(double{1} * width) + 2 * std::abs(double{1} * marginX);
    return std::abs(double{1} * third) * (std::max)(stored, rows * (columns + 1));
  }
  VARIANT* tags = nullptr;
  const auto vector = self.As<IVectorKLP>();
  if (vector) vector->get_Count(&first);
  if (vector) vector->GetTagPointer(&second, &tags);
  return double{1} * first + second;
}

void Change(const ComPtr<IPersistStream>& self) {
  if (const auto aoi = self.As<IAoiKLP>()) {
    ComPtr<IAoiKLP> copy;
    aoi->FillMargins();
    aoi->Duplicate(copy.Put());
    aoi->Clear();
  } else if (const auto vector = self.As<IVectorKLP>()) {
    ComPtr<IVectorKLP> copy;
    vector->DeepCopy(copy.Put());
    vector->ResizeAll(3);
    vector->Clear();
  } else if (const auto map = self.As<IAttributeMapKLP>()) {
    ComPtr<IAttributeMapKLP> copy;
    ComPtr<IEnumAttributeEntryKLP> entries;
    IAttributeEntryKLP* entry[2] = {};
    ULONG fetched = 0;
    map->Clone(copy.Put());
    map->GetEnumerator(entries.Put());
    map->Clear();
    if (entries) entries->Next(2, entry, &fetched);
    for (ULONG i = 0; i < fetched; ++i) {
      VARIANT value{};
      entry[i]->get_Value(&value);
      VariantClear(&value);
      entry[i]->Release();
    }
  }
}

// The bytes of a Save that succeeds; else none.
Content Saved(const ComPtr<IPersistStream>& object) {
  const auto stream = StreamOf({});
  if (object->Save(stream.Get(), TRUE) != S_OK) return {};
  ULARGE_INTEGER size{};
  stream->Seek({}, STREAM_SEEK_CUR, &size);
  stream->Seek({}, STREAM_SEEK_SET, nullptr);
  Content bytes(static_cast<std::size_t>(size.QuadPart));
  stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  return bytes;
}

// What an object saves that has loaded these bytes whole; else the bytes.
Content Reloaded(REFCLSID classId, const Content& saved) {
  const auto object = Create<IPersistStream>(classId);
  if (saved.empty() || object->Load(StreamOf(saved).Get()) != S_OK) return saved;
  return Saved(object);
}

// A value that has no text, as those of other types are saved, breaks its record off. A vector and
// an AOI save what follows all the same, and what is read there is out of step.
bool MayBreakOff(const ComPtr<IPersistStream>& object) {
  if (const auto aoi = object.As<IAoiKLP>()) {
    ComPtr<IAttributeMapKLP> map;
    VARIANT tag{};
    aoi->get_AttributeMap(map.Put());
    aoi->get_Tag(&tag);
    const VARTYPE type = tag.vt;
    VariantClear(&tag);
    return map || type == VT_NULL || type == VT_DISPATCH || type > VT_BOOL;
  }
  const auto vector = object.As<IVectorKLP>();
  VARIANT_BOOL hasTags = VARIANT_FALSE;
  ElementTypeKLP type{};
  if (!vector) return false;
  vector->get_HasElementTags(&hasTags);
  vector->get_ElementType(&type);
  return hasTags != VARIANT_FALSE || type == ElementVariant;
}

void LoadAndUse(REFCLSID classId, Bytes input) {
  const auto object = Create<IPersistStream>(classId);
  const auto stream = StreamOf(input);
  const HRESULT result = object->Load(stream.Get());
  object->IsDirty();
  if (Elements(object) > kMostElements) return;
  ULARGE_INTEGER size{};
  object->GetSizeMax(&size);
  if (size.QuadPart > kMostSavedBytes) return;
  const Content saved = Saved(object);
  // A stream that shows no memory.
  const auto other = Create<IPersistStream>(classId);
  const auto memory = StreamOf(input);
  tests::FaultStream calls(memory.Get());
  Require(other->Load(&calls) == result, "a load by calls ends as one from memory");
  Require(tests::PositionOf(memory.Get()) == tests::PositionOf(stream.Get()), "where it does");
  Require(Saved(other) == saved, "with the same object");
  if (!MayBreakOff(object)) {
    // Odd things become plain: null objects VT_EMPTY, old values new ones. An AOI in a map that did
    // not get the memory it stated may then get some for less.
    const Content plain = Reloaded(classId, Reloaded(classId, saved));
    if (plain.size() <= kMostSavedBytes) {
      Require(Reloaded(classId, plain) == plain, "what is loaded is saved as it was");
    }
  }
  Change(object);
}

void LoadOneOf(std::string_view ending, Bytes input) {
  if (input.empty()) return;
  unsigned wanted = input[0];
  for (;;) {
    for (const tests::ClassRow& row : tests::kClasses) {
      if (std::string_view(row.name).ends_with(ending) && wanted-- == 0) {
        return LoadAndUse(row.classId, input.subspan(1));
      }
    }
  }
}

}  // namespace

void RunVector(Bytes input) { LoadOneOf("VectorKLP", input); }
void RunMap(Bytes input) { LoadOneOf("MapKLP", input); }
void RunAoi(Bytes input) { LoadOneOf("AOIKLP", input); }

void RunObjectReference(Bytes input) {
  ComPtr<IUnknown> object;
  CoUnmarshalInterface(StreamOf(input).Get(), IID_IUnknown, object.PutVoid());
  CoReleaseMarshalData(StreamOf(input).Get());
}

}  // namespace fuzz
