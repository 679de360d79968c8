// SPDX-License-Identifier: MIT
// Loads damaged streams into every class that reads its kind:
//   stream_fuzz ROUNDS SEED FOLDER...
// The folders hold sample streams, whose ending tells the kind (.aoi, .vec, .map). Each round
// damages one sample (bytes, 32-bit fields, lengths, pieces of another sample), loads it, and lets
// the object count, save and duplicate what it took. A fault is what the sanitizers, or the
// operating system, say. The same seed gives the same rounds.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "examples/object_reference.h"
#include "interfaces/aoi.h"
#include "interfaces/attribute.h"
#include "interfaces/vector.h"
#include "tests/support/class_table.h"
#include "tests/support/module_client.h"

namespace {

using rastelklp::check_hresult;
using rastelklp::com_ptr;
using tests::kClasses;
using Bytes = std::string;

// The ending of a sample's file, and of the names of the classes that read it.
struct Kind {
  const char* ending;
  const char* classes;
};
constexpr Kind kKinds[] = {{".aoi", "AOIKLP"}, {".vec", "VectorKLP"}, {".map", "MapKLP"}};

struct Sample {
  const Kind* kind;
  Bytes bytes;
};

com_ptr<IStream> StreamOf(const Bytes& bytes) {
  return examples::MemoryStream(std::as_bytes(std::span(bytes)));
}

class Fuzz {
 public:
  explicit Fuzz(std::uint64_t seed) : dice_(seed) {}

  void AddFolder(const std::string& folder) {
    // Sorted, so that the same seed draws the same ones.
    const std::set<std::filesystem::path> paths(std::filesystem::directory_iterator(folder), {});
    for (const auto& path : paths) {
      for (const Kind& kind : kKinds) {
        if (path.extension() != kind.ending) continue;
        std::ifstream file(path, std::ios::binary);
        samples_.push_back({&kind, Bytes(std::istreambuf_iterator<char>(file), {})});
      }
    }
  }

  std::size_t samples() const { return samples_.size(); }

  // Gives how many of the damaged streams were loaded all the same.
  int Run(int rounds) {
    int taken = 0;
    for (int round = 0; round < rounds; ++round) {
      const Sample& sample = samples_[Below(samples_.size())];
      const Bytes damaged = Damage(sample.bytes);
      std::size_t skip = Below(3);
      for (const auto& row : kClasses) {
        // One class of three, so that rounds are cheap and still meet all.
        if (!std::string_view(row.name).ends_with(sample.kind->classes) || skip++ % 3 != 0)
          continue;
        if (Load(row.classId, damaged)) ++taken;
      }
    }
    return taken;
  }

 private:
  std::size_t Below(std::size_t end) { return end == 0 ? 0 : dice_() % end; }

  Bytes Damage(Bytes bytes) {
    static constexpr std::uint32_t kFields[] = {
        0, 1, 2, 3, 7, 100, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x40000000};
    for (std::size_t times = 1 + Below(4); times > 0 && !bytes.empty(); --times) {
      const std::size_t at = Below(bytes.size());
      const std::size_t rest = bytes.size() - at;
      const std::size_t way = Below(5);
      if (way == 0) {
        bytes[at] = static_cast<char>(dice_());
      } else if (way == 1) {
        const std::uint32_t field = kFields[Below(std::size(kFields))];
        std::memcpy(bytes.data() + at, &field, std::min(rest, sizeof field));
      } else if (way == 2) {
        bytes.resize(at);
      } else if (way == 3) {
        bytes.erase(at, Below(rest));
      } else {
        const Bytes& other = samples_[Below(samples_.size())].bytes;
        bytes.insert(at, other, Below(other.size()));
      }
    }
    return bytes;
  }

  bool Load(REFCLSID classId, const Bytes& bytes) {
    const auto object = rastelklp::create<IPersistStream>(classId);
    const HRESULT loaded = object->Load(StreamOf(bytes).get());
    // Also what a failed load left must hold together.
    object->IsDirty();
    if (Elements(object) <= kMostElements) {
      ULARGE_INTEGER size{};
      object->GetSizeMax(&size);
      object->Save(StreamOf({}).get(), TRUE);
      Duplicate(object);
    }
    return SUCCEEDED(loaded);
  }

  // How many pixels, or elements and tags, an object holds; 0 for a map.
  static double Elements(const com_ptr<IPersistStream>& self) {
    LONG first = 0, second = 0, third = 1;
    if (const auto aoi = self.try_as<IAoiKLP>()) {
      aoi->get_BufferWidth(&first);
      aoi->get_BufferHeight(&second);
      aoi->get_PlaneCount(&third);
      return std::abs(double{1} * first * second * third);
    }
    VARIANT* tags = nullptr;
    const auto vector = self.try_as<IVectorKLP>();
    if (vector) vector->get_Count(&first);
    if (vector) vector->GetTagPointer(&second, &tags);
    return double{1} * first + second;
  }

  static void Duplicate(const com_ptr<IPersistStream>& self) {
    if (const auto aoi = self.try_as<IAoiKLP>()) {
      com_ptr<IAoiKLP> copy;
      aoi->FillMargins();
      aoi->Duplicate(copy.put());
    } else if (const auto vector = self.try_as<IVectorKLP>()) {
      com_ptr<IVectorKLP> copy;
      vector->DeepCopy(copy.put());
    } else if (const auto map = self.try_as<IAttributeMapKLP>()) {
      com_ptr<IAttributeMapKLP> copy;
      map->Clone(copy.put());
    }
  }

  // Larger objects are not counted, written or copied: their streams state what they do not have.
  static constexpr double kMostElements = 1 << 20;

  const tests::PublishedClasses classes_;  // objects inside streams are made by class identifier
  std::vector<Sample> samples_;
  std::mt19937_64 dice_;  // the same numbers on every host
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: stream_fuzz ROUNDS SEED FOLDER...\n");
    return 2;
  }
  int status = 0;
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  try {
    const int rounds = std::atoi(argv[1]);
    Fuzz fuzz(std::strtoull(argv[2], nullptr, 10));
    for (int i = 3; i < argc; ++i) fuzz.AddFolder(argv[i]);
    const int taken = fuzz.Run(rounds);
    std::printf("%zu samples, %d rounds, %d damaged streams loaded\n", fuzz.samples(), rounds,
                taken);
    // With no stream loaded at all, the rounds would have tried nothing.
    status = taken > 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "stream_fuzz: %s\n", error.what());
    status = 1;
  }
  CoUninitialize();
  return status;
}
