// AOIs against a model of them: the same steps on both, everything compared behind each.
#include <random>

#include "tests/image/aoi_model.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

constexpr int kWorlds = 100, kSteps = 100;
constexpr LONG kNoNumber = -99;

template <class Type>
class World {
 public:
  using T = typename Type::T;
  using U = typename Type::U;
  using I = typename Type::I;
  using AoiModel = Model<Type>;

  // Pictures of up to `most` pixels in each direction.
  World(unsigned seed, LONG most) : random_(seed), most_(most) {
    AoiModel::client.assign(static_cast<std::size_t>(3 * most * most + 16), T{77});
    AoiModel::clientCells = AoiModel::client;
    for (Pair& pair : pairs_) pair.aoi = NewAoi<Type>();
  }

  // False when model and module differ; the steps up to there are shown.
  bool Run() {
    for (int step = 0; step < kSteps && error_.empty(); ++step) {
      self_ = &pairs_[Below(pairs_.size())];
      other_ = &pairs_[Below(pairs_.size())];
      isGeneric_ = Below(2) == 0;
      Step();
      if (error_.empty()) Compare();
    }
    EXPECT_EQ(error_, "") << steps_;
    return error_.empty();
  }

 private:
  struct Pair {
    ComPtr<I> aoi;
    AoiModel model;
  };

  std::size_t Below(std::size_t end) { return random_() % end; }
  LONG Between(LONG low, LONG high) {
    return low + static_cast<LONG>(Below(static_cast<std::size_t>(high - low + 1)));
  }
  // Mostly in or beside the picture.
  LONG Coordinate() {
    constexpr LONG kExtremes[] = {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX};
    return Below(40) == 0 ? kExtremes[Below(4)] : Between(-2, most_ + 3);
  }
  // Of all sizes, whole and broken.
  double Value() {
    return (static_cast<double>(random_()) - 0x80000000u) / static_cast<double>(1 << Below(31));
  }

  void Note(const char* name, std::initializer_list<LONG> arguments = {}) {
    const auto numberOf = [this](const Pair* pair) { return std::to_string(pair - &pairs_[0]); };
    steps_ += numberOf(self_) + (isGeneric_ ? " generic " : " ") + name;
    for (const LONG argument : arguments) steps_ += " " + std::to_string(argument);
    steps_ += " (" + numberOf(other_) + ")\n";
  }
  template <class Value>
  void Expect(const Value& got, const Value& wanted, const char* what) {
    if (got == wanted || !error_.empty()) return;
    error_ = std::string(what) + ": " + testing::PrintToString(got) + " instead of " +
             testing::PrintToString(wanted);
  }

  // Calls the slot on model and object. An operation of two sorts of AOI: itself and another.
  template <class Operation>
  void Call(const Operation& operation) {
    const auto wanted = operation(self_->model, other_->model);
    if (isGeneric_) {
      Expect(operation(*self_->aoi.template As<IAoiKLP>(), *other_->aoi.template As<IAoiKLP>()),
             wanted, "result");
    } else {
      CallTyped(operation, wanted);
    }
  }
  template <class Operation, class Result>
  void CallTyped(const Operation& operation, const Result& wanted) {
    Expect(operation(*self_->aoi, *other_->aoi), wanted, "result");
  }
  template <class Operation>
  void Bind(const Operation& operation) {
    isGeneric_ = false;
    CallTyped(operation, operation(self_->model, other_->model));
    LearnPixels(*self_);
  }
  // The same for slots that give AOIs, which replace others.
  template <class Operation>
  void Make(const Operation& operation) {
    typename AoiModel::Models models;
    const HRESULT wanted = operation(self_->model, &models);
    I* typed[9] = {};
    IAoiKLP* generic[9] = {};
    Expect(isGeneric_ ? operation(*self_->aoi.template As<IAoiKLP>(), generic)
                      : operation(*self_->aoi, typed),
           wanted, "result");
    if (isGeneric_ && FAILED(wanted)) models.clear();
    for (std::size_t i = 0; i < models.size() && error_.empty(); ++i) {
      Pair made{{}, models[i]};
      ComPtr<IAoiKLP> owner;
      owner.Attach(generic[i]);
      made.aoi.Attach(typed[i]);
      if (isGeneric_) made.aoi = owner.template As<I>();
      Expect(static_cast<bool>(made.aoi), true, "an AOI");
      if (made.aoi) LearnPixels(made);
      pairs_[Below(pairs_.size())] = made;
    }
  }

  // Finds out where a new buffer is, by an AOI at its first cell that can be reached, and gives a
  // content to a fresh one.
  void LearnPixels(Pair& pair) {
    if (!pair.model.HasCells() || !error_.empty()) return;
    auto& buffer = *pair.model.buffer;
    const LONG corner = std::max(LONG{0}, -buffer.margin), inset = corner + buffer.margin;
    ComPtr<I> probe;
    U* pixels = nullptr;
    const bool isFound = buffer.pixels == nullptr && pair.aoi->Clone(probe.Put()) == S_OK &&
                         probe->SetRect(corner, corner, corner, corner) == S_OK &&
                         probe->put_ActivePlane(0) == S_OK && probe->GetPointer(&pixels) == S_OK;
    if (isFound) buffer.pixels = reinterpret_cast<T*>(pixels) - inset * (buffer.stored[0] + 1);
    if (buffer.isDefined) return;
    Expect(buffer.pixels != nullptr, true, "a pointer");
    for (LONG i = 0; buffer.pixels && i < buffer.block; ++i) {
      const_cast<T*>(buffer.pixels)[i] = buffer.cells[i] =
          static_cast<T>(static_cast<double>(random_() >> (1 + 8 * (sizeof(T) < 4))) /
                         (sizeof(T) < 2 ? 131072 : 256));
    }
    buffer.isDefined = true;
  }

  void Step();
  void BindSomething();
  void SaveAndLoad();

  // What an AOI tells of itself.
  static std::vector<LONG> Told(I& aoi, const AoiModel& model) {
    std::vector<LONG> told = GeometryOf(aoi);
    told.push_back(Get(aoi, &I::get_MarginMode));
    told.push_back(Get(aoi, &I::get_MarshalFlags));
    told.push_back(Get(aoi, &I::get_IsBound));
    for (LONG plane = 0; plane < std::min(LONG{70}, model.planes); ++plane) {
      told.push_back(IsSelected(aoi, plane));
    }
    LONG width = 0, height = 0, skip = 0, unbound = 0;
    U* pixels = nullptr;
    aoi.GetAccessChecked(&width, &height, &skip, &pixels);
    const bool isKnown = pixels && model.buffer && model.buffer->pixels;
    const auto index = isKnown ? reinterpret_cast<T*>(pixels) - model.buffer->pixels : kNoNumber;
    for (const auto number : {width, height, skip, static_cast<LONG>(index)}) {
      told.push_back(number);
    }
    if (SUCCEEDED(aoi.get_LineSkip(&unbound))) told.push_back(unbound);
    return told;
  }
  static std::vector<LONG> Told(const AoiModel& model) {
    const auto& [x, y] = model.axes;
    std::vector<LONG> told(8, kNoNumber);
    if (model.buffer) {
      told = {x.start, y.start, x.length, y.length, x.margin, y.margin, x.stored, y.stored};
    }
    std::int64_t index = 0;
    const bool isBound = SUCCEEDED(model.FindFirst(&index));
    for (const LONG number :
         {model.planes, model.active, model.nextMargin, static_cast<LONG>(model.mode),
          static_cast<LONG>(model.flags), LONG{isBound && x.length != 0 && y.length != 0}}) {
      told.push_back(number);
    }
    for (LONG plane = 0; plane < std::min(LONG{70}, model.planes); ++plane) {
      told.push_back(model.deselected.count(plane) > 0 ? 0 : 1);
    }
    const LONG skip = x.stored - x.length;
    if (!isBound) {
      told.insert(told.end(), {0, 0, 0, kNoNumber});
    } else {
      const bool isKnown = model.buffer->pixels != nullptr;
      told.insert(told.end(),
                  {x.length, y.length, skip, isKnown ? static_cast<LONG>(index) : kNoNumber});
    }
    if (model.buffer) told.push_back(skip);
    return told;
  }
  void Compare() {
    for (Pair& pair : pairs_) {
      Expect(Told(*pair.aoi, pair.model), Told(pair.model), "AOI");
      if (!pair.model.HasCells() || !pair.model.buffer->pixels) continue;
      const auto& buffer = *pair.model.buffer;
      for (LONG i = 0; i < buffer.reach; ++i) {
        if (std::memcmp(buffer.pixels + i, buffer.cells + i, sizeof(T)) == 0) continue;
        Expect(+buffer.pixels[i], +buffer.cells[i], ("cell " + std::to_string(i)).c_str());
      }
    }
    Expect(AoiModel::client == AoiModel::clientCells, true, "the client's memory");
  }

  std::mt19937 random_;
  const LONG most_;
  std::array<Pair, 6> pairs_;
  Pair *self_ = nullptr, *other_ = nullptr;
  bool isGeneric_ = false;
  std::vector<T> source_;
  std::vector<BYTE> saved_;
  std::string steps_, error_;
};

// How many planes of an odd number of cells make a block of so many in 32 bits, so that a block may
// end anywhere in a plane. 0 where none do.
LONG PlanesThatWrapTo(LONG block, LONG plane) {
  if (plane % 2 == 0) return 0;
  ULONG inverse = 1;
  for (int bits = 1; bits < 32; bits *= 2) inverse *= 2 - static_cast<ULONG>(plane) * inverse;
  return std::max(LONG{0}, static_cast<LONG>(static_cast<ULONG>(block) * inverse));
}

template <class Type>
void World<Type>::BindSomething() {
  const auto size = [&] { return Below(12) == 0 ? Between(-1, 0) : Between(1, most_); };
  const LONG width = size(), height = size(), smaller = std::min(width, height);
  const LONG margin = Between(smaller > 3 ? -1 : 0, std::max(LONG{0}, smaller) + (Below(8) == 0));
  const LONG stride = width + 2 * margin, plane = stride * (height + 2 * margin);
  LONG planes = Below(20) == 0 ? 0 : Below(10) == 0 ? 40 : Between(1, 3);
  const LONG first = margin * stride + margin;
  if (Below(3) == 0 && smaller > 0 && plane > 0) {
    planes = PlanesThatWrapTo(Between(std::max(first, LONG{0}) + 1, 3 * plane), plane);
  }
  const bool isCut = planes > 40;
  U* pixels = reinterpret_cast<U*>(AoiModel::client.data() + Below(16));
  if (Below(12) == 0) pixels = nullptr;
  const auto kind = Below(6);
  Note("Bind", {static_cast<LONG>(kind), planes, width, height, margin});
  if (kind < 4) Call([=](auto& self, auto&) { return self.put_BufferMargin(margin); });
  if (kind == 0) return Bind([=](auto& self, auto&) { return self.CreateImage(width, height); });
  if (kind == 1) {
    return Bind([=](auto& self, auto&) { return self.CreatePlanes(planes, width, height); });
  }
  if (kind < 4) {
    const auto needed =
        static_cast<std::size_t>(std::max(0, width * height * std::min(planes, 64)));
    source_.assign(needed, T{});
    for (T& value : source_) value = static_cast<T>(Between(-100, 100));
    if (pixels) pixels = reinterpret_cast<U*>(source_.data());
    // The AOI's own pixels, where there are enough of them.
    const auto* own = self_->model.buffer.get();
    if (own && own->pixels && !isCut && static_cast<LONG>(needed) < own->reach) {
      pixels = reinterpret_cast<U*>(const_cast<T*>(own->pixels)) + own->reach -
               static_cast<LONG>(needed);
    }
    return Bind(
        [=](auto& self, auto&) { return self.CreateFromData(planes, width, height, pixels); });
  }
  if (kind == 4) {
    return Bind([=](auto& self, auto&) { return self.AttachImage(width, height, pixels); });
  }
  const LONG few = std::min(planes, LONG{3});
  Bind([=](auto& self, auto&) { return self.AttachPlanes(few, width, height, pixels); });
}

template <class Type>
void World<Type>::SaveAndLoad() {
  ComPtr<IStream> stream = NewStream();
  const auto persist = self_->aoi.template As<IPersistStream>();
  // Not a stream that would have to be read plane by plane, or was not written yet.
  LONG planes = 99;
  if (!saved_.empty()) std::memcpy(&planes, saved_.data() + 34, sizeof(planes));
  if (planes < 99 && Below(2) == 0) {
    Note("Load");
    stream->Write(saved_.data(), static_cast<ULONG>(saved_.size()), nullptr);
    SeekTo(stream.Get(), 0);
    Expect(persist->Load(stream.Get()), self_->model.Load(saved_), "result");
    return LearnPixels(*self_);
  }
  Note("Save");
  saved_ = self_->model.Saved();
  ULARGE_INTEGER estimate{};
  Expect(persist->Save(stream.Get(), TRUE), S_OK, "result");
  Expect(persist->GetSizeMax(&estimate), S_OK, "result");
  Expect<ULONGLONG>(estimate.QuadPart, self_->model.Estimate(), "estimate");
  std::vector<BYTE> bytes(saved_.size() + 1);
  ULONG count = 0;
  SeekTo(stream.Get(), 0);
  stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &count);
  bytes.resize(count);
  Expect(bytes, saved_, "stream");
}

template <class Type>
void World<Type>::Step() {
  const LONG a = Coordinate(), b = Coordinate(), c = Coordinate(), d = Coordinate();
  const double value = Value();
  const auto number = static_cast<LONG>(Below(50));
  Note("step", {number, a, b, c, d});
  switch (number) {
    case 0:
      return Call([=](auto& self, auto&) { return self.put_X(a); });
    case 1:
      return Call([=](auto& self, auto&) { return self.put_Y(a); });
    case 2:
      return Call([=](auto& self, auto&) { return self.put_Width(a); });
    case 3:
      return Call([=](auto& self, auto&) { return self.put_Height(a); });
    case 4:
    case 5:
    case 6:
      return Call([=](auto& self, auto&) { return self.SetRect(a, b, c, d); });
    case 7:
      return Call([=](auto& self, auto&) { return self.MoveTo(a, b); });
    case 8:
      return Call([=](auto& self, auto&) { return self.MoveBy(a, b); });
    case 9:
      return Call([=](auto& self, auto&) { return self.ResizeTo(a, b); });
    case 10:
      return Call([=](auto& self, auto&) { return self.ResizeBy(a, b); });
    case 11:
    case 12:
      return Call([=](auto& self, auto&) { return self.SelectAll(); });
    case 13:
      return Call([=](auto& self, auto& other) { return self.Unite(&other); });
    case 14:
      return Call([=](auto& self, auto& other) { return self.CopyRect(&other); });
    case 15:
    case 16:
      return Call([=](auto& self, auto&) { return self.SetMargins(a / 2, b / 2); });
    case 17:
      return Call([=](auto& self, auto&) { return self.put_MarginX(a); });
    case 18:
      return Call([=](auto& self, auto&) { return self.put_MarginY(a); });
    case 19:
    case 20:
    case 21: {
      const auto mode = static_cast<MarginModeKLP>(Below(6));
      Note("mode", {static_cast<LONG>(mode)});
      Call([=](auto& self, auto&) { return self.put_MarginMode(mode); });
      return Call([=](auto& self, auto&) { return self.FillMargins(); });
    }
    case 22:
      return Call([=](auto& self, auto&) { return self.put_ActivePlane(a % 4); });
    case 23:
      if (self_->model.planes > 99) return;
      return Call([=](auto& self, auto&) { return self.put_PlaneSelected(a, b & 1); });
    case 24:
      return Call([=](auto& self, auto&) { return self.put_MarshalFlags(MarshalFlagsKLP(a & 3)); });
    case 25:
      return Call([=](auto& self, auto& other) {
        LONG same = 7;
        const HRESULT result = self.IsSameSize(&other, &same);
        return std::pair(result, same);
      });
    case 26:
    case 27:
      return Call([=](auto& self, auto&) {
        double pixel = kNoNumber;
        const HRESULT result = self.GetPixel(a, b, &pixel);
        return std::pair(result, pixel);
      });
    case 28:
    case 29:
      return Call([=](auto& self, auto&) { return self.PutPixel(a, b, value); });
    case 30:
    case 31:
      return Call([=](auto& self, auto&) { return self.Fill(value); });
    case 32:
      return Call([=](auto& self, auto&) { return self.Clear(); });
    case 33:
    case 34:
    case 35:
      return Call([=](auto& self, auto& other) { return self.CopyTo(&other); });
    case 36:
    case 37:
      return Make([=](auto& self, auto out) { return self.Clone(out); });
    case 38:
      return Make([=](auto& self, auto out) { return self.SplitHeight(out); });
    case 39:
      return Make([=](auto& self, auto out) { return self.SplitWidth(out); });
    case 40:
      return Make([=](auto& self, auto out) { return self.SplitTiles(a % 4, b % 4, out); });
    case 41:
    case 42:
      return Make([=](auto& self, auto out) { return self.Duplicate(out); });
    case 43:
    case 44:
      return SaveAndLoad();
    default:
      return BindSomething();
  }
}

TEST_F(AoiTest, RandomSteps_LeadWhereTheModelGoes) {
  ForAllAoiTypes([](auto type) {
    for (unsigned world = 0; world < kWorlds; ++world) {
      // Now and then with margins that take more than the widest moves.
      if (!World<decltype(type)>(world, world % 20 == 19 ? 70 : 6).Run()) break;
    }
  });
}

}  // namespace
}  // namespace tests
