// SPDX-License-Identifier: MIT
// AOIs against a model of them: the same random steps on both, everything compared behind each.
#include "interfaces/aoi.h"
#include "tests/image/aoi_model.h"
#include "tests/support/module_client.h"
#include "tests/support/random_model.h"

namespace tests {
namespace {

using platform::ComPtr;

constexpr int kWorlds = 100, kSteps = 100;

// How many planes of an odd number of cells make a block of so many in 32 bits, so that a block may
// end anywhere in a plane. Below 1 where none do.
LONG PlanesThatWrapTo(LONG block, LONG plane) {
  ULONG inverse = 1;
  for (int bits = 1; bits < 32; bits *= 2) inverse *= 2 - static_cast<ULONG>(plane) * inverse;
  return static_cast<LONG>(static_cast<ULONG>(block) * inverse);
}

// Some AOIs that share buffers, and their models.
template <class T, class U, class I, const CLSID& kClass>
class World : public RandomModel {
 public:
  using AoiModel = Model<T, U>;

  // Pictures are up to `most` pixels wide and high.
  World(unsigned seed, LONG most) : RandomModel(seed), most_(most) {
    AoiModel::client.assign(static_cast<std::size_t>(3 * most * most + 16), T{77});
    AoiModel::clientCells = AoiModel::client;
    for (Pair& pair : pairs_) pair.aoi = ModuleClient::Get().Create<I>(kClass);
  }

  void Step() {
    const LONG self = Below(6), other = Below(6);
    self_ = &pairs_[static_cast<std::size_t>(self)];
    other_ = &pairs_[static_cast<std::size_t>(other)];
    Note(self, other);
    Act();
    steps_ += '\n';
  }
  void Compare() {
    for (Pair& pair : pairs_) Compare(*pair.aoi, pair.model);
    EXPECT_TRUE(AoiModel::client == AoiModel::clientCells) << "the client's memory";
  }

 private:
  struct Pair {
    ComPtr<I> aoi;
    AoiModel model;
  };

  // Mostly in or beside the picture.
  LONG Coordinate() {
    constexpr LONG kExtremes[] = {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX};
    return Below(40) == 0 ? kExtremes[Below(4)] : Between(-2, most_ + 3);
  }
  // Of all sizes, whole and broken.
  double Value() {
    return (static_cast<double>(random_()) - 0x80000000u) / static_cast<double>(1 << Below(31));
  }

  // Calls operation(AOI, another) on the models, then on the objects.
  template <class Operation>
  void Call(const Operation& operation) {
    const auto wanted = operation(self_->model, other_->model);
    EXPECT_EQ(operation(*self_->aoi, *other_->aoi), wanted);
    Learn(*self_);
  }
  // Calls one of the operations.
  template <class Caller, class... Operations>
  void OneOf(const Caller& call, const Operations&... operations) {
    LONG number = Below(sizeof...(operations));
    Note(number);
    ((number-- == 0 ? call(operations) : void()), ...);
  }

  // Finds out where a new buffer has its pixels, by an AOI at the first one that can be reached,
  // and fills a fresh one.
  void Learn(Pair& pair) {
    if (!pair.model.HasCells() || pair.model.buffer->pixels) return;
    auto& buffer = *pair.model.buffer;
    const LONG corner = std::max(LONG{0}, -buffer.margin);
    ComPtr<I> probe;
    U* pixel = nullptr;
    pair.aoi->Clone(probe.Put());
    if (FAILED(probe->SetRect(corner, corner, corner, corner))) return;
    if (FAILED(probe->GetPointer(&pixel))) return;
    buffer.pixels = reinterpret_cast<T*>(pixel) - (corner + buffer.margin) * (buffer.stored[0] + 1);
    for (LONG i = 0; !buffer.isDefined && i < buffer.block; ++i) {
      buffer.pixels[i] = buffer.cells[i] = AoiModel::Converted(Value());
    }
    buffer.isDefined = true;
  }

  void Bind() {
    const auto size = [&] { return Below(12) == 0 ? Between(-1, 0) : Between(1, most_); };
    const bool isCut = Below(4) == 0;
    const LONG width = size() | LONG{isCut}, height = size() | LONG{isCut};
    const LONG smaller = std::max(LONG{0}, std::min(width, height));
    const LONG margin = Below(3) == 0 ? smaller : Between(smaller > 3 ? -1 : 0, smaller + 1);
    const LONG stride = width + 2 * margin, plane = stride * (height + 2 * margin);
    const LONG first = std::max(LONG{0}, margin * (stride + 1)), few = Between(0, 3);
    const LONG planes =
        isCut && smaller > 0 ? PlanesThatWrapTo(Between(first + 1, first + 2 * plane), plane) : few;
    Note(width, height, margin, planes, few);
    if (planes < 0) return;
    U* memory = reinterpret_cast<U*>(AoiModel::client.data() + Below(16));
    if (Below(12) == 0) memory = nullptr;
    Call([=](auto& self, auto&) { return self.put_BufferMargin(margin); });
    OneOf([&](const auto& bind) { Call(bind); },
          [=](auto& self, auto&) { return self.CreateImage(width, height); },
          [=](auto& self, auto&) { return self.CreatePlanes(planes, width, height); },
          [=](auto& self, auto&) { return self.AttachImage(width, height, memory); },
          [=](auto& self, auto&) { return self.AttachPlanes(few, width, height, memory); });
  }

  void Act() {
    const LONG a = Coordinate(), b = Coordinate(), c = Coordinate(), d = Coordinate();
    const double value = Value();
    const LONG kind = Below(10);
    Note(kind, a, b, c, d);
    if (kind == 0 || (kind < 4 && !self_->model.buffer)) return Bind();
    if (kind == 1) {  // An AOI that shares the buffer takes the other's place.
      ComPtr<I> clone;
      self_->aoi->Clone(clone.Put());
      *other_ = {clone, self_->model};
      return;
    }
    const auto call = [&](const auto& operation) { Call(operation); };
    if (kind < 6) {
      self_->model.mode = static_cast<MarginModeKLP>(Below(6));
      self_->aoi->put_MarginMode(self_->model.mode);
      Note(self_->model.mode);
      return OneOf(
          call, [](auto& self, auto&) { return self.FillMargins(); },
          [=](auto& self, auto&) { return self.PutPixel(a, b, value); },
          [=](auto& self, auto&) { return self.Fill(b < 0 ? 0 : value); },
          [](auto& self, auto& other) { return self.CopyTo(&other); });
    }
    OneOf(
        call, [=](auto& self, auto&) { return self.put_X(a); },
        [=](auto& self, auto&) { return self.put_Y(a); },
        [=](auto& self, auto&) { return self.put_Width(a); },
        [=](auto& self, auto&) { return self.put_Height(a); },
        [=](auto& self, auto&) { return self.SetRect(a, b, c, d); },
        [=](auto& self, auto&) { return self.MoveBy(a, b); },
        [=](auto& self, auto&) { return self.ResizeBy(a, b); },
        [](auto& self, auto&) { return self.SelectAll(); },
        [=](auto& self, auto&) { return self.SetMargins(a / 2, b / 2); },
        [=](auto& self, auto&) { return self.put_ActivePlane(a % 4); });
  }

  void Compare(I& aoi, const AoiModel& model) {
    const auto& [x, y] = model.axes;
    std::array<LONG, 11> got{},
        wanted = {x.start,  y.start,  x.length,     y.length,     x.margin,        y.margin,
                  x.stored, y.stored, model.planes, model.active, model.nextMargin};
    if (SUCCEEDED(aoi.GetRect(&got[0], &got[1], &got[2], &got[3]))) {
      aoi.get_MarginX(&got[4]);
      aoi.get_MarginY(&got[5]);
      aoi.get_BufferWidth(&got[6]);
      aoi.get_BufferHeight(&got[7]);
    }
    aoi.get_PlaneCount(&got[8]);
    aoi.get_ActivePlane(&got[9]);
    aoi.get_BufferMargin(&got[10]);
    if (!model.buffer) std::fill_n(wanted.begin(), 8, 0);
    EXPECT_EQ(got, wanted) << "geometry";
    if (!model.HasCells() || !model.buffer->pixels) return;
    const auto& [pixels, cells] = std::pair(model.buffer->pixels, model.buffer->cells);
    const auto reach = static_cast<std::size_t>(model.buffer->reach);
    if (std::memcmp(pixels, cells, reach * sizeof(T)) == 0) return;
    EXPECT_EQ(std::vector<T>(pixels, pixels + reach), std::vector<T>(cells, cells + reach));
  }

  const LONG most_;
  std::array<Pair, 6> pairs_;
  Pair *self_ = nullptr, *other_ = nullptr;
};

template <class World>
class AoiModels : public testing::Test {};

// Char: the pixels are signed, pointers to them are not.
using Worlds = testing::Types<World<std::uint8_t, std::uint8_t, IByteAOIKLP, CLSID_ByteAOIKLP>,
                              World<std::int8_t, std::uint8_t, ICharAOIKLP, CLSID_CharAOIKLP>,
                              World<std::uint16_t, std::uint16_t, IWordAOIKLP, CLSID_WordAOIKLP>,
                              World<std::int16_t, std::int16_t, IShortAOIKLP, CLSID_ShortAOIKLP>,
                              World<std::uint32_t, std::uint32_t, IDWordAOIKLP, CLSID_DWordAOIKLP>,
                              World<std::int32_t, std::int32_t, ILongAOIKLP, CLSID_LongAOIKLP>,
                              World<float, float, IFloatAOIKLP, CLSID_FloatAOIKLP>,
                              World<double, double, IDoubleAOIKLP, CLSID_DoubleAOIKLP>>;
TYPED_TEST_SUITE(AoiModels, Worlds);

TYPED_TEST(AoiModels, RandomSteps_LeadWhereTheModelGoes) {
  for (unsigned world = 0; world < kWorlds && !testing::Test::HasFailure(); ++world) {
    // Now and then margins take more than the widest moves.
    RandomModel::Play(TypeParam(world, world % 10 == 9 ? 70 : 9), kSteps);
  }
  EXPECT_EQ(ModuleClient::Get().CanUnloadNow(), S_OK) << "objects of the module are left";
}

}  // namespace
}  // namespace tests
