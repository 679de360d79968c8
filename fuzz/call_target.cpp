// SPDX-License-Identifier: MIT
// Callers: the bytes choose calls on up to eight objects of all classes, and on objects of the
// caller's, which call again from inside. Objects hold each other as it comes, themselves too.
#include <memory>
#include <set>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/module_inside.h"
#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "tests/support/class_table.h"
#include "tests/support/doubles.h"

namespace fuzz {
namespace {

using platform::ComPtr;

constexpr int kMostInside = 3;  // calls from inside calls
constexpr LONG kMostTiles = 100;

class Value : public VARIANT {
 public:
  Value() : VARIANT{} {}
  ~Value() { VariantClear(this); }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
};

class Caller;

// Runs calls of its caller in the middle of each of its own.
class CallingObject final : public tests::WithoutMembers<tests::Double<IDispatch, IPersistStream>> {
 public:
  explicit CallingObject(Caller& caller) : caller_(caller) {}
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = CLSID_ByteVectorKLP;  // whose streams it does not write
    return Inside();
  }
  STDMETHODIMP IsDirty() override { return Inside(); }
  STDMETHODIMP Load(IStream*) override { return Inside(); }
  STDMETHODIMP Save(IStream* stream, BOOL) override {
    stream->Write("\0\0\1\0", 4, nullptr);
    return Inside();
  }
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override {
    size->QuadPart = 4;
    return Inside();
  }

 private:
  HRESULT Inside();
  Caller& caller_;
};

class Caller {
 public:
  explicit Caller(Bytes input) : in_(input) {}
  ~Caller() {
    // What holds itself would stay.
    for (const ComPtr<IUnknown>& object : made_) Empty(object);
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  void Run() {
    while (!in_.IsEmpty()) Call();
  }
  void RunInside() {
    if (inside_ >= kMostInside) return;
    ++inside_;
    for (unsigned calls = in_.Below(3); calls > 0 && !in_.IsEmpty(); --calls) Call();
    --inside_;
  }
  HRESULT ChosenResult() {
    static constexpr HRESULT kResults[] = {S_OK, S_OK, S_OK, S_FALSE, E_FAIL, E_OUTOFMEMORY};
    return kResults[in_.Below(std::size(kResults))];
  }

 private:
  ComPtr<IUnknown>& Slot() { return slots_[in_.Below(std::size(slots_))]; }
  // A count of its own, as a call inside may empty the slot.
  template <class I>
  ComPtr<I> Object() {
    const ComPtr<IUnknown> held = Slot();
    return held ? held.As<I>() : ComPtr<I>();
  }
  template <class I>
  void Keep(const ComPtr<I>& object) {
    if (!object) return;
    made_.emplace_back(object.Get());
    Slot() = ComPtr<IUnknown>(object.Get());
  }

  static void Empty(const ComPtr<IUnknown>& object) {
    if (const auto aoi = object.As<IAoiKLP>()) {
      aoi->put_Tag(VARIANT{});
      aoi->put_AttributeMap(nullptr);
    }
    if (const auto vector = object.As<IVectorKLP>()) vector->ResizeAll(0);
    if (const auto map = object.As<IAttributeMapKLP>()) map->Clear();
  }

  void Fill(VARIANT& value) {
    static constexpr VARTYPE kTypes[] = {
        VT_EMPTY, VT_NULL, VT_I4,       VT_INT,     VT_R8,    VT_R4,  VT_BOOL, VT_BSTR,
        VT_DATE,  VT_CY,   VT_DISPATCH, VT_UNKNOWN, VT_ERROR, VT_UI1, VT_I8,   VT_BSTR};
    value.vt = kTypes[in_.Below(std::size(kTypes))];
    if (value.vt == VT_BSTR) {
      value.bstrVal = SysAllocStringLen(nullptr, in_.Below(8));
      for (UINT i = 0; i < SysStringLen(value.bstrVal); ++i) {
        value.bstrVal[i] = static_cast<OLECHAR>(in_.Byte());
      }
    } else if (value.vt == VT_DISPATCH) {
      value.pdispVal = Object<IDispatch>().Detach();
    } else if (value.vt == VT_UNKNOWN) {
      value.punkVal = Object<IUnknown>().Detach();
    } else if (value.vt == VT_R8 || value.vt == VT_DATE) {
      value.dblVal = in_.Real();
    } else if (value.vt == VT_R4) {
      value.fltVal = static_cast<FLOAT>(in_.Number());
    } else {
      value.llVal = in_.Number();
    }
  }

  void Call() {
    switch (in_.Below(6)) {
      case 0:
        return CallAnObject();
      case 1:
        return CallAoi();
      case 2:
        return CallPlaces();
      case 3:
        return CallVector();
      case 4:
        return CallMap();
      default:
        return CallStream();
    }
  }

  void CallAnObject() {
    switch (in_.Below(4)) {
      case 0:
      case 1:
        return Keep(
            Create<IUnknown>(tests::kClasses[in_.Below(std::size(tests::kClasses))].classId));
      case 2:
        return Keep(ComPtr<IDispatch>(new CallingObject(*this)));
      default:
        Slot() = ComPtr<IUnknown>();
    }
  }

  void CallStream() {
    const auto object = Object<IPersistStream>();
    if (!object) return;
    ULARGE_INTEGER size{};
    switch (in_.Below(5)) {
      case 0:
        object->IsDirty();
        return;
      case 1:
        object->GetSizeMax(&size);
        return;
      case 2:
        stream_ = StreamOf({});
        object->Save(stream_.Get(), in_.Below(2) != 0);
        return;
      case 3:
        stream_->Seek({}, STREAM_SEEK_SET, nullptr);
        object->Load(stream_.Get());
        return;
      default:
        object->Load(StreamOf(in_.Rest()).Get());
    }
  }

  // What binds pixels, fills, reads and copies them.
  void CallAoi() {
    const auto aoi = Object<IAoiKLP>();
    if (!aoi) return;
    ComPtr<IAoiKLP> made;
    LONG number = 0;
    DOUBLE pixel = 0;
    const LONG first = in_.Number(), second = in_.Number();
    switch (in_.Below(18)) {
      case 0:
        aoi->CreateImage(first, second);
        return;
      case 1:
        aoi->CreatePlanes(first, second, in_.Number());
        return;
      case 2:
        aoi->put_BufferMargin(first);
        return;
      case 3:
        aoi->put_MarginMode(static_cast<MarginModeKLP>(first));
        return;
      case 4:
        aoi->FillMargins();
        return;
      case 5:
        aoi->GetPixel(first, second, &pixel);
        return;
      case 6:
        aoi->PutPixel(first, second, in_.Real());
        return;
      case 7:
        aoi->Fill(in_.Real());
        return;
      case 8:
        aoi->Clear();
        return;
      case 9:
        aoi->put_MarshalFlags(static_cast<MarshalFlagsKLP>(first));
        return;
      case 10:
        aoi->Duplicate(made.Put());
        return Keep(made);
      case 11:
        aoi->Clone(made.Put());
        return Keep(made);
      case 12:
        aoi->CopyTo(Object<IAoiKLP>().Get());
        return;
      case 13:
        aoi->IsSameSize(Object<IAoiKLP>().Get(), &number);
        return;
      case 14:
        aoi->put_ActivePlane(first);
        return;
      case 15:
        aoi->put_PlaneSelected(first, second);
        return;
      case 16:
        return AttachBytes(first, second);
      default:
        return ReadPixels();
    }
  }

  void AttachBytes(LONG width, LONG height) {
    const auto aoi = Object<IByteAOIKLP>();
    if (!aoi) return;
    const LONG planes = in_.Number() & 3;
    // Memory for exactly what is stated, where it is little.
    const LONGLONG bytes = LONGLONG{planes} * width * height;
    if (width < 0 || height < 0 || bytes > 4096) return;
    memory_.push_back(std::make_unique<BYTE[]>(static_cast<std::size_t>(bytes)));
    BYTE* const pixels = memory_.back().get();
    if (in_.Below(2) != 0) {
      aoi->AttachPlanes(planes, width, height, pixels);
    } else {
      aoi->CreateFromData(planes, width, height, pixels);
    }
  }

  // All that a client may touch: the rows of the rectangle.
  void ReadPixels() {
    const auto aoi = Object<IByteAOIKLP>();
    if (!aoi) return;
    LONG width = 0, height = 0, skip = 0, isBound = 0;
    BYTE* pixel = nullptr;
    aoi->get_IsBound(&isBound);
    if (aoi->GetAccessChecked(&width, &height, &skip, &pixel) != S_OK || !pixel) return;
    if (LONGLONG{width} * height > 1 << 20) return;
    for (LONG y = 0; y < height; ++y, pixel += skip) {
      for (LONG x = 0; x < width; ++x) ++*pixel++;
    }
  }

  // The rectangle, its margins, what hangs on an AOI.
  void CallPlaces() {
    const auto aoi = Object<IAoiKLP>();
    if (!aoi) return;
    ComPtr<IAoiKLP> made;
    ComPtr<IAttributeMapKLP> map;
    Value value;
    const LONG first = in_.Number(), second = in_.Number();
    switch (in_.Below(18)) {
      case 0:
        aoi->SetRect(first, second, in_.Number(), in_.Number());
        return;
      case 1:
        aoi->SelectAll();
        return;
      case 2:
        aoi->MoveTo(first, second);
        return;
      case 3:
        aoi->MoveBy(first, second);
        return;
      case 4:
        aoi->ResizeTo(first, second);
        return;
      case 5:
        aoi->ResizeBy(first, second);
        return;
      case 6:
        aoi->SetMargins(first, second);
        return;
      case 7:
        aoi->put_X(first);
        aoi->put_Y(second);
        return;
      case 8:
        aoi->put_Width(first);
        aoi->put_Height(second);
        return;
      case 9:
        aoi->SplitHeight(made.Put());
        return Keep(made);
      case 10:
        aoi->SplitWidth(made.Put());
        return Keep(made);
      case 11:
        return Split(aoi, first, second);
      case 12:
        aoi->Unite(Object<IAoiKLP>().Get());
        return;
      case 13:
        aoi->CopyRect(Object<IAoiKLP>().Get());
        return;
      case 14:
        Fill(value);
        aoi->put_Tag(value);
        return;
      case 15:
        aoi->get_Tag(&value);
        return KeepObject(value);
      case 16:
        aoi->put_AttributeMap(Object<IAttributeMapKLP>().Get());
        return;
      default:
        aoi->get_AttributeMap(map.Put());
        return Keep(map);
    }
  }

  void Split(const ComPtr<IAoiKLP>& aoi, LONG across, LONG down) {
    IAoiKLP* tiles[kMostTiles] = {};
    if (aoi->SplitTiles(across, down, tiles) != S_OK) return;
    for (IAoiKLP* tile : tiles) {
      ComPtr<IAoiKLP> kept;
      kept.Attach(tile);
      Keep(kept);
    }
  }

  void KeepObject(const VARIANT& value) {
    if ((value.vt == VT_UNKNOWN || value.vt == VT_DISPATCH) && value.punkVal) {
      Slot() = ComPtr<IUnknown>(value.punkVal);
    }
  }

  void CallVector() {
    const auto vector = Object<IVectorKLP>();
    if (!vector) return;
    const auto variants = ComPtr<IUnknown>(vector.Get()).As<IVariantVectorKLP>();
    ComPtr<IVectorKLP> made;
    DOUBLE number = 0;
    Value value;
    const LONG index = in_.Number();
    switch (in_.Below(12)) {
      case 0:
        vector->put_Count(index);
        return;
      case 1:
        vector->ResizeAll(index);
        return;
      case 2:
        vector->put_HasElementTags(static_cast<VARIANT_BOOL>(index));
        return;
      case 3:
        vector->put_Value(index, in_.Real());
        return;
      case 4:
        vector->get_Value(index, &number);
        return;
      case 5:
        Fill(value);
        vector->put_ElementTag(index, value);
        return;
      case 6:
        vector->get_ElementTag(index, &value);
        return KeepObject(value);
      case 7:
        vector->Fill(in_.Real());
        return;
      case 8:
        vector->Clear();
        return;
      case 9:
        vector->Clone(made.Put());
        return Keep(made);
      case 10:
        vector->DeepCopy(made.Put());
        return Keep(made);
      default:
        if (!variants) return;
        Fill(value);
        variants->put_Value(index, value);
    }
  }

  void CallMap() {
    const auto map = Object<IAttributeMapKLP>();
    if (!map) return;
    ComPtr<IAttributeMapKLP> made;
    SAFEARRAY* keys = nullptr;
    VARIANT_BOOL is = 0;
    Value key, value;
    Fill(key);
    switch (in_.Below(10)) {
      case 0:
      case 1:
      case 2:
        Fill(value);
        map->put_Value(key, value);
        return;
      case 3:
        map->get_Value(key, &value);
        return KeepObject(value);
      case 4:
        map->Remove(key);
        return;
      case 5:
        map->Exists(key, &is);
        return;
      case 6:
        map->get_Keys(&keys);
        SafeArrayDestroy(keys);
        return;
      case 7:
        map->put_OverrideMode(static_cast<VARIANT_BOOL>(in_.Byte()));
        return;
      case 8:
        map->Clone(made.Put());
        return Keep(made);
      default:
        return Walk(map);
    }
  }

  void Walk(const ComPtr<IAttributeMapKLP>& map) {
    ComPtr<IEnumAttributeEntryKLP> entries;
    if (map->GetEnumerator(entries.Put()) != S_OK) return;
    IAttributeEntryKLP* found[4] = {};
    ULONG fetched = 0;
    entries->Skip(in_.Below(3));
    entries->Next(in_.Below(5), found, &fetched);
    for (ULONG i = 0; i < fetched; ++i) {
      ComPtr<IAttributeEntryKLP> entry;
      entry.Attach(found[i]);
      Value value;
      Fill(value);
      entry->put_Value(value);
    }
  }

  Input in_;
  int inside_ = 0;
  std::vector<std::unique_ptr<BYTE[]>> memory_;  // outlives the objects that look at it
  std::vector<ComPtr<IUnknown>> made_;
  ComPtr<IUnknown> slots_[8];
  ComPtr<IStream> stream_ = StreamOf({});
};

HRESULT CallingObject::Inside() {
  caller_.RunInside();
  return caller_.ChosenResult();
}

}  // namespace

void RunCalls(Bytes input) { Caller(input).Run(); }

}  // namespace fuzz
