// SPDX-License-Identifier: MIT
// The lines that a walk over a stream makes: offset, width, name and value of each field, those
// inside others one step deeper.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tools {

// A number as it is written, so that all its digits stay.
struct Number {
  std::string digits;
};

// What a line tells.
struct Value {
  Value(std::string forPeople) : text(std::move(forPeople)) {}
  Value(const char* forPeople) : text(forPeople) {}
  template <class Plain>
  Value(std::string forPeople, Plain forPrograms)
      : text(std::move(forPeople)), plain(std::move(forPrograms)) {}

  std::string text;
  // The same for programs; without one the text.
  std::variant<std::monostate, std::nullptr_t, bool, Number, std::string, std::vector<Number>>
      plain;
  // Of a VARIANT, "VT_I4" for instance.
  std::string type;
};

struct Line {
  // Without one what is no field.
  std::optional<std::uint64_t> offset;
  std::optional<std::uint64_t> bytes;
  unsigned depth;
  std::string_view name;
  const Value& value;
};

// How much of a stream is listed.
struct Extent {
  std::uint64_t lines;
  // Of a list.
  std::uint64_t records;
  // Of a block of numbers or bytes.
  std::uint64_t rows;
  // UTF-16 units of a text.
  std::size_t units;
};
inline constexpr Extent kShort{2000, 32, 4, 60};
// Never reached; rows can be multiplied with what stands in one.
inline constexpr Extent kAll{UINT64_MAX, UINT64_MAX, UINT64_MAX >> 8, SIZE_MAX};

// Whoever wants the lines derives from it.
class Listing {
 public:
  explicit Listing(const Extent& extent) : extent_(extent) {}
  virtual ~Listing() = default;
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  // Whether a line would appear, for callers to whom its text is work.
  bool IsShown() const { return hiders_ == 0; }
  const Extent& extent() const { return extent_; }

  // A field in the stream. Offset and width in bytes.
  void Field(std::uint64_t offset, std::uint64_t width, std::string_view name, const Value& value) {
    Put({offset, width, depth_, name, value});
  }
  // What stands above indented fields and has no bytes of its own.
  void Group(std::uint64_t offset, std::string_view name, const Value& value) {
    Put({offset, std::nullopt, depth_, name, value});
  }
  // What was left out.
  void Remark(std::string_view text) { Put({std::nullopt, std::nullopt, depth_, text, ""}); }
  // What is wrong. Told also where lines are hidden, or beyond the last one of a short listing.
  virtual void Problem(std::uint64_t offset, std::string_view text) = 0;

  // The lines that are made while one of these lives are indented by one step.
  class Indent {
   public:
    explicit Indent(Listing& listing) : listing_(listing) { ++listing_.depth_; }
    ~Indent() { --listing_.depth_; }
    Indent(const Indent&) = delete;
    Indent& operator=(const Indent&) = delete;

   private:
    Listing& listing_;
  };
  // The same for lines that are not to appear, if so.
  class Hidden {
   public:
    Hidden(Listing& listing, bool isHidden) : listing_(listing), isHidden_(isHidden) {
      if (isHidden_) ++listing_.hiders_;
    }
    ~Hidden() {
      if (isHidden_) --listing_.hiders_;
    }
    Hidden(const Hidden&) = delete;
    Hidden& operator=(const Hidden&) = delete;

   private:
    Listing& listing_;
    bool isHidden_;
  };

 protected:
  virtual void Take(const Line& line) = 0;
  // A short listing ends here.
  virtual void TakeEnd() = 0;

 private:
  void Put(const Line& line);

  const Extent extent_;
  unsigned depth_ = 0;
  unsigned hiders_ = 0;
  std::uint64_t lines_ = 0;
};

// For walks of which nobody wants the lines.
class SilentListing final : public Listing {
 public:
  SilentListing() : Listing(kShort) {}
  void Problem(std::uint64_t, std::string_view) override {}

 private:
  void Take(const Line&) override {}
  void TakeEnd() override {}

  const Hidden hidden_{*this, true};
};

// What was to be said cannot be: whoever reads has gone, or the disk is full.
class OutputFailure : public std::exception {};

// Lines in columns. The stream must outlive the listing.
class TextListing final : public Listing {
 public:
  TextListing(std::ostream& out, const Extent& extent);
  void Problem(std::uint64_t offset, std::string_view text) override;

 private:
  void Take(const Line& line) override;
  void TakeEnd() override;

  std::ostream& out_;
};

}  // namespace tools
