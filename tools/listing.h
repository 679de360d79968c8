// SPDX-License-Identifier: MIT
// The lines of a dump: offset, width, name and value in columns, nested fields indented.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace tools {

class Listing {
 public:
  enum class Extent {
    kShort,  // long texts, blocks and lists are cut, and so is the whole
    kAll,
  };
  // Lines go to out, which is kept and must outlive the listing; null: no lines are made.
  Listing(std::ostream* out, Extent extent) : out_(out), extent_(extent) {}

  // Whether a line would appear, for callers to whom its text is work.
  bool IsShown() const { return out_ && hiders_ == 0; }
  // How many of so many things are to be listed: all, or at most the limit.
  template <class Count>
  Count Shown(Count count, Count limit) const {
    return extent_ == Extent::kAll || count < limit ? count : limit;
  }

  void Heads();
  // A field in the stream. Offset and width in bytes.
  void Field(std::uint64_t offset, std::uint64_t width, std::string_view name,
             std::string_view value);
  // What stands above indented fields and has no bytes of its own.
  void Group(std::uint64_t offset, std::string_view name, std::string_view value);
  // What was left out.
  void Remark(std::string_view text);
  // What is wrong. Shown also where lines are hidden, or beyond the last one of a short listing.
  void Problem(std::uint64_t offset, std::string_view text);

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

 private:
  void Line(std::string_view offset, std::string_view width, std::string_view name,
            std::string_view value);

  std::ostream* out_;
  Extent extent_;
  unsigned depth_ = 0;
  unsigned hiders_ = 0;
  std::uint64_t lines_ = 0;
};

}  // namespace tools
