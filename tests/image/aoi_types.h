// What the tests of the AOI classes share: one body over all eight classes, the states that an AOI
// can be in, the map that tests give to them, and what a call says, by its result and by the
// thread's error object.
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "tests/support/doubles.h"
#include "tests/support/module_client.h"
#include "tests/support/thread_error.h"

namespace tests {

using platform::ComPtr;

// T: the pixels; U: what pointer parameters call them.
template <class Pixel, class Pointer, class Interface, const CLSID& Class, ElementTypeKLP Code>
struct AoiType {
  using T = Pixel;
  using U = Pointer;
  using I = Interface;
  static constexpr const CLSID& kClass = Class;
  static constexpr ElementTypeKLP kCode = Code;
};

using ByteAoi = AoiType<std::uint8_t, std::uint8_t, IByteAOIKLP, CLSID_ByteAOIKLP, ElementByte>;
using CharAoi = AoiType<std::int8_t, std::uint8_t, ICharAOIKLP, CLSID_CharAOIKLP, ElementChar>;
using WordAoi = AoiType<std::uint16_t, std::uint16_t, IWordAOIKLP, CLSID_WordAOIKLP, ElementWord>;
using ShortAoi = AoiType<std::int16_t, std::int16_t, IShortAOIKLP, CLSID_ShortAOIKLP, ElementShort>;
using DWordAoi =
    AoiType<std::uint32_t, std::uint32_t, IDWordAOIKLP, CLSID_DWordAOIKLP, ElementDWord>;
using LongAoi = AoiType<std::int32_t, std::int32_t, ILongAOIKLP, CLSID_LongAOIKLP, ElementLong>;
using FloatAoi = AoiType<float, float, IFloatAOIKLP, CLSID_FloatAOIKLP, ElementFloat>;
using DoubleAoi = AoiType<double, double, IDoubleAOIKLP, CLSID_DoubleAOIKLP, ElementDouble>;

// Calls test(type) for each of the eight; a failure names it.
template <class Test>
void ForAllAoiTypes(const Test& test) {
  const auto run = [&](const char* name, auto type) {
    SCOPED_TRACE(name);
    test(type);
  };
  run("Byte", ByteAoi{});
  run("Char", CharAoi{});
  run("Word", WordAoi{});
  run("Short", ShortAoi{});
  run("DWord", DWordAoi{});
  run("Long", LongAoi{});
  run("Float", FloatAoi{});
  run("Double", DoubleAoi{});
}

template <class Type>
ComPtr<typename Type::I> NewAoi() {
  return ModuleClient::Get().Create<typename Type::I>(Type::kClass);
}

// What a call said. `words` is the description of the thread's error object behind the call; a call
// that makes none leaves the one from before.
struct Said {
  HRESULT result;
  std::string words;

  bool operator==(const Said&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Said& said) {
    return out << std::hex << "0x" << static_cast<std::uint32_t>(said.result) << " \"" << said.words
               << '"';
  }
};

inline constexpr char kBefore[] = "from before the call";
inline Said Plain(HRESULT result) { return {result, kBefore}; }

inline const std::map<int, const char*> kWords = {
    {1106, "Rasteldata: Margins muessen groesser oder gleich null sein"},
    {1113, "Rasteldata: Die uebergebenen Koordinaten sind kleiner null."},
    {1114, "Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet."},
    {1115, "Rasteldata: AOI kann nicht erzeugt werden."},
    {1117, "Rasteldata: Clone kann nicht erzeugt werden."},
    {1118, "Rasteldata: SplitTiles nicht moeglich"},
    {1119, "Rasteldata: AOI-Flaeche ist null."},
    {1129, "Rasteldata: Plane liegt ausserhalb des Bildpuffers"},
};
inline Said Reported(int number) {
  return {platform::ResultCode(0x80040000u | static_cast<std::uint32_t>(number)),
          kWords.at(number)};
}
// Reported on the way, but not by the result.
inline Said Swallowed(int number) { return {S_OK, kWords.at(number)}; }

template <class Call>
Said Ask(const Call& call) {
  PutErrorText(OLESTR("from before the call"));
  const HRESULT result = call();
  const auto text = TakeErrorText().value_or(OLESTR("no error text"));
  return {result, std::string(text.begin(), text.end())};
}

// The value of a getter that succeeds. It starts as -99, which none of the tests expects.
template <class I, class Slots, class Value>
Value Get(I& aoi, HRESULT (STDMETHODCALLTYPE Slots::*getter)(Value*)) {
  auto value = static_cast<Value>(-99);
  EXPECT_EQ((aoi.*getter)(&value), S_OK);
  return value;
}

template <class I>
LONG IsSelected(I& aoi, LONG plane) {
  LONG selected = -99;
  EXPECT_EQ(aoi.get_PlaneSelected(plane, &selected), S_OK);
  return selected;
}

using Text = std::basic_string<OLECHAR>;

template <class I>
Text NameOf(I& aoi) {
  BSTR name = nullptr;
  EXPECT_EQ(aoi.get_Name(&name), S_OK);
  const Text text = name ? Text(name, SysStringLen(name)) : Text(OLESTR("a null text"));
  SysFreeString(name);
  return text;
}

template <class I>
void PutName(I& aoi, const OLECHAR* text) {
  const BSTR name = SysAllocString(text);
  EXPECT_EQ(aoi.put_Name(name), S_OK);
  SysFreeString(name);
}

inline VARIANT Int4(LONG number) {
  VARIANT value{};
  value.vt = VT_I4;
  value.lVal = number;
  return value;
}

// Everything that an AOI tells of its geometry, from any of its interfaces: the rectangle (x, y,
// width, height), margin requests x and y, buffer width and height, planes, active plane, buffer
// margin. The first eight are -99 without a buffer.
template <class I>
std::vector<LONG> GeometryOf(I& aoi) {
  std::vector<LONG> g(11, -99);
  aoi.GetRect(&g[0], &g[1], &g[2], &g[3]);
  aoi.get_MarginX(&g[4]);
  aoi.get_MarginY(&g[5]);
  aoi.get_BufferWidth(&g[6]);
  aoi.get_BufferHeight(&g[7]);
  aoi.get_PlaneCount(&g[8]);
  aoi.get_ActivePlane(&g[9]);
  aoi.get_BufferMargin(&g[10]);
  return g;
}

// Unbound: no buffer. Empty: a buffer without pixels and fresh geometry. Stale: the same under the
// geometry of Bound, which is two planes of 10 by 8 pixels with a margin of 2, the second active.
enum class State { kUnbound, kEmpty, kStale, kBound };
inline constexpr State kStates[] = {State::kUnbound, State::kEmpty, State::kStale, State::kBound};
inline constexpr const char* kStateNames[] = {"unbound", "empty", "stale", "bound"};

template <class Type>
ComPtr<typename Type::I> NewAoiIn(State state) {
  auto aoi = NewAoi<Type>();
  if (state == State::kStale || state == State::kBound) {
    aoi->put_BufferMargin(2);
    EXPECT_EQ(aoi->CreatePlanes(2, 10, 8), S_OK);
    aoi->put_ActivePlane(1);
  }
  // Refused behind the change to a new buffer.
  if (state == State::kStale || state == State::kEmpty) aoi->CreatePlanes(1, 0, 0);
  return aoi;
}

template <class I>
double PixelOf(I& aoi, LONG x, LONG y) {
  double value = -99;
  EXPECT_EQ(aoi.GetPixel(x, y, &value), S_OK) << "at " << x << ", " << y;
  return value;
}

// Row by row, the pixels from (left, top) on in rectangle coordinates.
template <class I>
std::vector<double> PixelsOf(I& aoi, LONG left, LONG top, LONG width, LONG height) {
  std::vector<double> pixels;
  for (LONG i = 0; i < width * height; ++i) {
    pixels.push_back(PixelOf(aoi, left + i % width, top + i / width));
  }
  return pixels;
}

// An outer object around an AOI.
struct AoiOuter final : Double<IUnknown> {
  AoiOuter() { references = 1; }
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const bool isOwn = IsEqualIID(iid, IID_IUnknown);
    return isOwn ? Double::QueryInterface(iid, out) : inner->QueryInterface(iid, out);
  }
  ComPtr<IUnknown> inner;
};

// A map in name only, which counts its references and can be told what to do when it goes or is
// asked for its dispatch interface, its persistence or a clone.
class MapDouble final : public WithoutMembers<Double<IAttributeMapKLP>> {
 public:
  HRESULT dispatchResult = S_OK, persistResult = E_NOINTERFACE;
  int queries = 0;
  std::function<void()> onRelease;
  std::function<void()> onClone;
  IAttributeMapKLP* clone = nullptr;

  MapDouble() { references = 1; }
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    ++queries;
    if (IsEqualIID(iid, IID_IPersistStream)) return *out = nullptr, persistResult;
    const bool isDispatch = IsEqualIID(iid, IID_IDispatch);
    if (isDispatch && FAILED(dispatchResult)) return *out = nullptr, dispatchResult;
    return Double::QueryInterface(isDispatch ? IID_IUnknown : iid, out);
  }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = Double::Release();
    if (onRelease) onRelease();
    return left;
  }
  STDMETHODIMP get_Keys(SAFEARRAY**) override { return E_NOTIMPL; }
  STDMETHODIMP put_Value(VARIANT, VARIANT) override { return E_NOTIMPL; }
  STDMETHODIMP get_Value(VARIANT, VARIANT*) override { return E_NOTIMPL; }
  STDMETHODIMP Remove(VARIANT) override { return E_NOTIMPL; }
  STDMETHODIMP Exists(VARIANT, VARIANT_BOOL*) override { return E_NOTIMPL; }
  STDMETHODIMP Clear() override { return E_NOTIMPL; }
  STDMETHODIMP put_OverrideMode(VARIANT_BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP get_OverrideMode(VARIANT_BOOL*) override { return E_NOTIMPL; }
  STDMETHODIMP get_KeyKind(KeyKindKLP*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Count(LONG*) override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IAttributeMapKLP** out) override {
    if (onClone) onClone();
    if (!clone) return E_NOTIMPL;
    *out = clone;
    clone->AddRef();
    return S_OK;
  }
  STDMETHODIMP GetEnumerator(IEnumAttributeEntryKLP**) override { return E_NOTIMPL; }
};

// No object of the module outlives a test.
class AoiTest : public testing::Test {
 protected:
  void TearDown() override {
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "objects of the module are left";
  }
};

}  // namespace tests
