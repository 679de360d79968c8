// SPDX-License-Identifier: MIT
#include "pictures/exif_directories.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace pictures {
namespace {

constexpr std::uint16_t kExif = 0x8769, kGps = 0x8825, kInteroperability = 0xA005;
constexpr std::uint16_t kText = 2, kPlace = 4, kBigPlace = 16;
constexpr std::uint64_t kMostEntries = 4096;
// Cameras write some ten thousands, with a small picture in them.
constexpr std::uint64_t kMostBytes = 16 << 20;

// Bytes of a value, and of each number in it, by type; 0 for an unknown type.
struct Width {
  std::uint8_t value, number;
};
constexpr Width kWidths[] = {{0, 0}, {1, 1}, {1, 1}, {2, 2}, {4, 4}, {8, 4}, {1, 1},
                             {1, 1}, {2, 2}, {4, 4}, {8, 4}, {4, 4}, {8, 8}, {4, 4},
                             {0, 0}, {0, 0}, {8, 8}, {8, 8}, {8, 8}};

struct Field {
  std::uint16_t tag, type;
  std::uint64_t count;
  Block bytes;  // little end first
};
using Directory = std::vector<Field>;

std::uint64_t Number(const Block& bytes) {
  std::uint64_t number = 0;
  for (std::size_t i = std::min<std::size_t>(bytes.size(), 8); i > 0; --i) {
    number = number << 8 | bytes[i - 1];
  }
  return number;
}

void Append(Block& out, std::uint64_t number, std::size_t bytes) {
  for (; bytes > 0; --bytes, number >>= 8) out.push_back(static_cast<std::uint8_t>(number));
}

// A TIFF structure. What is not whole raises std::out_of_range.
class Structure {
 public:
  explicit Structure(ByteSource& source) : source_(&source), size_(source.size()) { TakeOrder(); }
  explicit Structure(const Block& block) : block_(&block), size_(block.size()) { TakeOrder(); }

  std::uint64_t First() { return Place(isBig_ ? 8 : 4); }
  Directory DirectoryAt(std::uint64_t at) {
    const std::uint64_t count = Number(Take(at, isBig_ ? 8 : 2));
    if (count > kMostEntries) throw std::out_of_range("entries");
    Directory directory;
    at += isBig_ ? 8 : 2;
    for (std::uint64_t i = 0; i < count; ++i, at += isBig_ ? 20 : 12) {
      Field field{static_cast<std::uint16_t>(Number(Take(at, 2))),
                  static_cast<std::uint16_t>(Number(Take(at + 2, 2))),
                  Number(Take(at + 4, isBig_ ? 8 : 4)),
                  {}};
      const Width width = field.type < std::size(kWidths) ? kWidths[field.type] : Width{};
      if (width.value == 0 || field.count > size_) continue;
      const std::uint64_t bytes = field.count * width.value;
      const std::uint64_t inside = at + (isBig_ ? 12 : 8);
      field.bytes = Bytes(bytes > (isBig_ ? 8 : 4) ? Place(inside) : inside, bytes);
      Turn(field.bytes, width.number);
      directory.push_back(std::move(field));
    }
    return directory;
  }

 private:
  void TakeOrder() {
    const Block order = Bytes(0, 4);
    isTurned_ = order[0] == 'M';
    isBig_ = order[isTurned_ ? 3 : 2] == 43;
  }
  std::uint64_t Place(std::uint64_t at) { return Number(Take(at, isBig_ ? 8 : 4)); }
  // One number.
  Block Take(std::uint64_t at, std::size_t bytes) {
    Block number = Bytes(at, bytes);
    Turn(number, bytes);
    return number;
  }
  Block Bytes(std::uint64_t at, std::uint64_t bytes) {
    // Entries may lead to the same bytes, again and again.
    if (at > size_ || bytes > size_ - at || (taken_ += bytes) > kMostBytes) {
      throw std::out_of_range("bytes");
    }
    Block taken(static_cast<std::size_t>(bytes));
    if (block_) {
      std::copy_n(block_->begin() + static_cast<std::ptrdiff_t>(at), taken.size(), taken.begin());
    } else {
      source_->Seek(at);
      source_->Read(taken.data(), taken.size());
    }
    return taken;
  }
  void Turn(Block& bytes, std::size_t number) const {
    if (!isTurned_ || number < 2) return;
    for (auto i = bytes.begin(); i != bytes.end(); i += static_cast<std::ptrdiff_t>(number)) {
      std::reverse(i, i + static_cast<std::ptrdiff_t>(number));
    }
  }

  ByteSource* source_ = nullptr;
  const Block* block_ = nullptr;
  std::uint64_t size_ = 0, taken_ = 0;
  bool isTurned_ = false, isBig_ = false;
};

// Directories as they are written.
struct Target {
  bool isBig;
  std::uint64_t base;
  Block& out;

  std::uint64_t End() const {
    if (out.size() % 2 != 0) out.push_back(0);
    return base + out.size();
  }
  Field PlaceField(std::uint16_t tag, std::uint64_t place) const {
    Field field{tag, isBig ? kBigPlace : kPlace, 1, {}};
    Append(field.bytes, place, isBig ? 8 : 4);
    return field;
  }
  // Gives the directory's place.
  std::uint64_t Put(const Directory& directory) const {
    const std::size_t word = isBig ? 8 : 4;
    Block entries;
    Append(entries, directory.size(), isBig ? 8 : 2);
    for (const Field& field : directory) {
      Append(entries, field.tag, 2);
      Append(entries, field.type, 2);
      Append(entries, field.count, word);
      if (field.bytes.size() > word) {
        Append(entries, End(), word);
        out.insert(out.end(), field.bytes.begin(), field.bytes.end());
      } else {
        entries.insert(entries.end(), field.bytes.begin(), field.bytes.end());
        entries.resize(entries.size() + word - field.bytes.size());
      }
    }
    Append(entries, 0, word);
    const std::uint64_t place = End();
    out.insert(out.end(), entries.begin(), entries.end());
    return place;
  }
};

const Field* Find(const Directory& directory, std::uint16_t tag) {
  for (const Field& field : directory) {
    if (field.tag == tag) return &field;
  }
  return nullptr;
}

// A directory with the one below it.
std::uint64_t Copy(Structure& from, std::uint64_t place, const Target& to) {
  if (place == 0) return 0;
  Directory directory = from.DirectoryAt(place);
  for (Field& field : directory) {
    if (field.tag != kInteroperability || field.bytes.empty()) continue;
    field = to.PlaceField(field.tag, to.Put(from.DirectoryAt(Number(field.bytes))));
  }
  return to.Put(directory);
}

}  // namespace

Block GatherExif(ByteSource& tiff, const ExifPlaces& places) {
  if (places.exif == 0 && places.gps == 0) return {};
  const std::uint64_t before = tiff.position();
  Block block{'I', 'I', 42, 0, 0, 0, 0, 0};
  try {
    Structure from(tiff);
    const Target to{false, 0, block};
    Directory first;
    if (const auto exif = Copy(from, places.exif, to)) first.push_back(to.PlaceField(kExif, exif));
    if (const auto gps = Copy(from, places.gps, to)) first.push_back(to.PlaceField(kGps, gps));
    Block place;
    Append(place, to.Put(first), 4);
    std::copy(place.begin(), place.end(), block.begin() + 4);
  } catch (const std::out_of_range&) {
    block.clear();
  }
  tiff.Seek(before);
  return block;
}

ExifPlaces PlaceExif(const Block& exif, bool isBig, std::uint64_t base, Block& out) {
  const std::size_t before = out.size();
  try {
    Structure from(exif);
    const Directory first = from.DirectoryAt(from.First());
    const Target to{isBig, base, out};
    const Field* const exifPlace = Find(first, kExif);
    const Field* const gpsPlace = Find(first, kGps);
    ExifPlaces places;
    places.exif = exifPlace ? Copy(from, Number(exifPlace->bytes), to) : 0;
    places.gps = gpsPlace ? Copy(from, Number(gpsPlace->bytes), to) : 0;
    return places;
  } catch (const std::out_of_range&) {
    out.resize(before);
    return {};
  }
}

std::string ExifText(const Block& exif, std::uint16_t tag) {
  try {
    Structure from(exif);
    const Directory first = from.DirectoryAt(from.First());
    const Field* const field = Find(first, tag);
    if (!field || field->type != kText) return {};
    return {field->bytes.begin(), std::find(field->bytes.begin(), field->bytes.end(), 0)};
  } catch (const std::out_of_range&) {
    return {};
  }
}

}  // namespace pictures
