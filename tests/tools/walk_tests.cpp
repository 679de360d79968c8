// SPDX-License-Identifier: MIT
// The walk over streams that are cut, and changed, at every byte, without a program around it.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/support/streams.h"
#include "tests/tools/shell.h"
#include "tools/json.h"
#include "tools/json_listing.h"
#include "tools/object_format.h"

namespace tests {
namespace {

struct Sample {
  std::string name;
  const tools::KnownClass* known;
  std::vector<BYTE> bytes;
};

tools::FileFindings Walk(const Sample& sample, std::string* listing = nullptr) {
  std::ostringstream text;
  if (!listing) {
    tools::SilentListing silent;
    return tools::WalkFile(sample.bytes, sample.known, silent);
  }
  tools::TextListing lines(text, tools::kAll);
  tools::FileFindings found = tools::WalkFile(sample.bytes, sample.known, lines);
  *listing = text.str();
  return found;
}

std::string JsonOf(const Sample& sample) {
  std::ostringstream text;
  tools::JsonListing lines(text, tools::kShort);
  tools::WalkFile(sample.bytes, sample.known, lines);
  lines.End();
  return text.str();
}

// The class whose name begins, and ends, like that of a file: byte_514_rect.aoi, long_order.map.
const tools::KnownClass* ClassOf(const std::filesystem::path& path) {
  const std::string stem = path.stem().string();
  const std::string kind = stem.substr(0, stem.find('_'));
  const std::string name = path.extension() == ".aoi"   ? kind + "aoiklp"
                           : path.extension() == ".vec" ? kind + "vectorklp"
                                                        : "attribute" + kind + "mapklp";
  for (const tools::KnownClass& known : tools::KnownClasses()) {
    const std::string_view its = known.name;
    const auto isSame = [](char a, char b) { return a == b || (a | 0x20) == b; };
    if (std::equal(its.begin(), its.end(), name.begin(), name.end(), isSame)) return &known;
  }
  return nullptr;
}

// Of every class and version, those that are whole.
std::vector<Sample> WholeSamples() {
  std::vector<Sample> samples;
  for (const auto& file : std::filesystem::recursive_directory_iterator(RASTEL_DATA)) {
    const std::string name = file.path().filename().string();
    if (!name.ends_with(".aoi") && !name.ends_with(".vec") && !name.ends_with(".map")) continue;
    const std::string content = FileContent(file.path());
    Sample sample{name, ClassOf(file.path()), {content.begin(), content.end()}};
    EXPECT_TRUE(sample.known) << name;
    if (Walk(sample).IsWhole()) samples.push_back(std::move(sample));
  }
  EXPECT_GT(samples.size(), 120u);
  return samples;
}

TEST(StreamWalk, CutAtEveryByte_IsBroken) {
  for (const Sample& whole : WholeSamples()) {
    SCOPED_TRACE(whole.name);
    Sample sample = whole;
    while (!sample.bytes.empty()) {
      sample.bytes.pop_back();
      const tools::FileFindings found = Walk(sample);
      ASSERT_FALSE(found.IsWhole()) << sample.bytes.size();
      // Reading it takes long.
      if (sample.bytes.size() % 16 != 7) continue;
      EXPECT_TRUE(tools::Json::accept(JsonOf(sample))) << sample.bytes.size();
      EXPECT_LE(found.problems.front().offset, sample.bytes.size());
    }
  }
}

TEST(StreamWalk, ChangedAtEveryByte_EndsWithinBounds) {
  for (const Sample& whole : WholeSamples()) {
    // Elements and pixels of other types are walked like bytes.
    const bool isOfAKind = whole.name.starts_with("byte") || whole.name.starts_with("variant") ||
                           whole.name.ends_with(".map");
    if (!isOfAKind) continue;
    for (const char* pattern :
         {"FF FF FF FF", "FF FF FF 7F", "00 00 00 80", "0D 00", "08 40", "00"}) {
      SCOPED_TRACE(whole.name + ": " + pattern);
      const std::vector<BYTE> change = BytesOf(pattern);
      for (std::size_t at = 0; at + change.size() <= whole.bytes.size(); ++at) {
        Sample sample = whole;
        std::copy(change.begin(), change.end(), sample.bytes.begin() + static_cast<int>(at));
        std::string listing;
        for (const tools::Problem& problem : Walk(sample, &listing).problems) {
          EXPECT_LE(problem.offset, sample.bytes.size()) << at;
        }
        EXPECT_LT(listing.size(), 20000u) << at;
      }
    }
  }
}

}  // namespace
}  // namespace tests
