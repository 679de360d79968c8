// The walk over streams, whole and broken, without a program around it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/tools/sample_streams.h"
#include "tools/object_format.h"

namespace tests {
namespace {

using testing::HasSubstr;
using tools::Listing;

struct Walked {
  tools::FileFindings found;
  std::string listing;
};

Walked Walk(const std::vector<BYTE>& bytes, const std::string& bareClass,
            Listing::Extent extent = Listing::Extent::kShort) {
  std::ostringstream text;
  Listing lines(&text, extent);
  Walked walked;
  walked.found =
      tools::WalkFile(bytes, bareClass.empty() ? nullptr : tools::FindClass(bareClass), lines);
  walked.listing = text.str();
  return walked;
}

std::string FirstProblem(const Walked& walked) {
  return walked.found.IsWhole() ? "" : walked.found.problems.front().text;
}

TEST(StreamWalk, CutAtEveryByte_IsBroken) {
  for (const SampleStream& sample : kSamples) {
    const std::vector<BYTE> whole = BytesOf(sample.hex);
    ASSERT_TRUE(Walk(whole, sample.bareClass).found.IsWhole()) << sample.name;
    for (std::size_t length = 0; length < whole.size(); ++length) {
      SCOPED_TRACE(sample.name + (" cut to " + std::to_string(length)));
      const Walked walked =
          Walk({whole.begin(), whole.begin() + static_cast<int>(length)}, sample.bareClass);
      ASSERT_FALSE(walked.found.IsWhole());
      EXPECT_LE(walked.found.problems.front().offset, length);
    }
  }
}

TEST(StreamWalk, MutatedAtEveryByte_EndsWithinBounds) {
  for (const SampleStream& sample : kSamples) {
    for (const char* pattern :
         {"FF FF FF FF", "FF FF FF 7F", "00 00 00 80", "0D 00", "08 40", "00"}) {
      const std::vector<BYTE> change = BytesOf(pattern);
      std::vector<BYTE> bytes = BytesOf(sample.hex);
      for (std::size_t at = 0; at + change.size() <= bytes.size(); ++at) {
        SCOPED_TRACE(std::string(sample.name) + ": " + pattern + " at " + std::to_string(at));
        std::vector<BYTE> mutated = bytes;
        std::copy(change.begin(), change.end(), mutated.begin() + static_cast<int>(at));
        const Walked walked = Walk(mutated, sample.bareClass, Listing::Extent::kAll);
        EXPECT_LT(walked.listing.size(), 10000u);
        for (const tools::Problem& problem : walked.found.problems) {
          EXPECT_LE(problem.offset, mutated.size());
        }
      }
    }
  }
}

TEST(StreamWalk, Broken_SaysWhatIsWrong) {
  const std::string object = "03 01 01 00 00 00 00 00  0D 00" + kLongVector;
  const struct {
    const char* bareClass;
    std::string hex;
    std::size_t offset;
    const char* problem;
  } kRows[] = {
      {"", "", 0, "ends inside the class identifier: 16 bytes stated, 0 there"},
      {"", "03 01 00 00 00 00 00 00  00 00 00 00 00 00 00 00", 16, "try --class NAME"},
      {"", kByteAoi + "02 02", 18, "ends inside the total width: 4 bytes stated, 0 there"},
      {"", kByteAoi + "03 02", 16, "no AOI has the version 515"},
      {"ByteAOIKLP", "00 01 02 00 FF FF", 4, "the image height is negative"},
      {"", kBstrMap + "02 00 00 00", 16, "no map has the version 2"},
      {"", kBstrMap + "01 00 00 00 01 01 00 00 00 FF FF FF FF", 29,
       "ends inside a key: 8589934590"},
      {"AttributeBstrMapKLP",
       "01 00 00 00 00 01 00 00 00  02 00 00 00 61 00 00 00  02 00 02 00 01 00", 9,
       "readers cut the key \"a\\u0000\" at its first null"},
      {"AttributeDoubleMapKLP",
       "01 00 00 00 00 02 00 00 00  00 00 00 00 00 00 00 00  02 00 02 00 01 00"
       "00 00 00 00 00 00 00 80  02 00 02 00 01 00",
       23, "the key 0 is there twice: readers keep the first"},
      {"", kNobodysClass, 16, "the class {1F0A7C51-3C11-4B1E-9A01-527D10446E01} is not known"},
      {"ByteVectorKLP", kByteVector, 0, "class identifier of ByteVectorKLP: try without --class"},
      {"ByteVectorKLP", "04 01 00 00 00 00 00 00", 0, "no vector has the version 0x0104"},
      {"ByteVectorKLP", "03 01 FF FF FF FF 00 00", 2, "the element count is negative"},
      {"LongVectorKLP", "03 01 FF FF FF 7F 00 00 01 02 03 04 05", 12,
       "ends inside the elements: 8589934588 bytes stated, 5 there"},
      {"ByteVectorKLP", "03 01 00 00 00 00 FF FF 00 00 00 80", 8, "the tag count is negative"},
      {"ByteVectorKLP", "03 01 00 00 00 00 00 00 AA BB", 8, "2 bytes behind the object"},
      {"VariantVectorKLP", object + "09 00 00 00 00 00 00 00  03 01 00 00 00 00 00 00 EE", 42,
       "1 byte of the object's 9 left over"},
      {"VariantVectorKLP", object + "07 00 00 00 00 00 00 00  03 01 00 00 00 00 00", 40,
       "ends inside the tag flag: 2 bytes stated, 1 there"},
      {"VariantVectorKLP", object + "FF FF FF FF FF FF FF FF  03 01 00 00 00 00 00 00", 42,
       "ends inside the rest of the object"},
      {"VariantVectorKLP", "00 01 01 00 00 00 0D 00" + kNobodysClass + "01 02", 24,
       "its data has no byte count: what follows is lost"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.problem);
    const Walked walked = Walk(BytesOf(row.hex), row.bareClass);
    EXPECT_THAT(FirstProblem(walked), HasSubstr(row.problem));
    if (walked.found.IsWhole()) continue;
    EXPECT_EQ(walked.found.problems.front().offset, row.offset);
  }
}

TEST(StreamWalk, TaggedRecord_IsListedByItsType) {
  // The line of the record, and the problem where there is one.
  const struct {
    const char* record;
    const char* line;
    const char* problem;
  } kRows[] = {
      {"02 00 02 00 FE FF", "VT_I2  -2", ""},
      {"04 00 04 00 00 00 20 41", "VT_R4  10", ""},
      {"05 00 05 00 9A 99 99 99 99 99 B9 3F", "VT_R8  0.1", ""},
      {"06 00 06 00 FF FF FF FF FF FF FF FF", "VT_CY  -0.0001", ""},
      {"06 00 06 00 00 00 00 00 00 00 00 80", "VT_CY  -922337203685477.5808", ""},
      {"07 00 07 00 00 00 00 00 00 00 F4 BF", "VT_DATE  -1.25 (1899-12-29 06:00:00)", ""},
      {"07 00 07 00 00 00 00 00 00 00 F0 7F", "VT_DATE  inf\n", ""},
      {"0A 00 0A 00 05 40 00 80", "VT_ERROR  0x80004005", ""},
      {"0B 00 0B 00 02 00", "VT_BOOL  2 (true)", ""},
      {"10 00 10 00 80", "VT_I1  -128", ""},
      {"15 00 15 00 FF FF FF FF FF FF FF FF", "VT_UI8  18446744073709551615", ""},
      {"03 00 02 00 05 00", "VT_I2  5  (the type in front is VT_I4)", ""},
      {"08 00 08 00 00 00 00 00", "VT_BSTR  null", ""},
      {"08 00 08 00 02 00 00 00 00 00", "VT_BSTR  \"\"", ""},
      {"08 00 08 00 08 00 00 00 3D D8 00 DE 00 D8 00 00", "VT_BSTR  \"\xF0\x9F\x98\x80\\uD800\"",
       ""},
      {"08 00 08 00 08 00 00 00 1B 00 22 00 2E 20 00 00", "VT_BSTR  \"\\u001B\\\"\\u202E\"", ""},
      {"08 00 08 00 03 00 00 00 41 00 00", "VT_BSTR  \"\", and the byte 41", ""},
      {"0E 00 0E 00 08 00 00 00 31 00 2E 00 35 00 00 00", "VT_DECIMAL  \"1.5\"", ""},
      {"0D 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", "VT_UNKNOWN", ""},
      {"08 00 08 00 01 00 00 00 00", "", "has no room for its terminator"},
      {"08 00 08 00 02 00 10 00", "", "readers refuse more than 1048576"},
      {"08 00 08 00 FF FF 0F 00 41", "", "ends inside a text: 1048573 bytes stated, 1 there"},
      {"08 00 08 00 04 00 00 00 41 00 42 00", "", "a text without terminator"},
      {"0E 00 0E 00 04 00 00 00 41 00 00 00", "", "\"A\" cannot be read as VT_DECIMAL"},
      {"03 20 03 20 02 00 00 00 00 00", "", "cannot be read as type 0x2003"},
      {"03 40 03 40 02 00 00 00 00 00", "", "cannot be read as type 0x4003"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.record);
    const Walked walked =
        Walk(BytesOf(std::string("03 01 01 00 00 00 00 00") + row.record), "VariantVectorKLP");
    EXPECT_EQ(walked.found.IsWhole(), *row.problem == 0);
    EXPECT_THAT(FirstProblem(walked), HasSubstr(row.problem));
    if (*row.line == 0) continue;
    EXPECT_THAT(walked.listing, HasSubstr("    [0]                     " + std::string(row.line)));
  }
}

TEST(StreamWalk, NestedBelowTheDeepestLevel_IsBroken) {
  const Walked deepest = Walk(NestedVectors(256), "");
  EXPECT_TRUE(deepest.found.IsWhole());
  EXPECT_EQ(deepest.found.deepestLevel, 256u);
  const Walked deeper = Walk(NestedVectors(257), "");
  EXPECT_EQ(FirstProblem(deeper), "objects are nested deeper than 256 levels");
  EXPECT_EQ(deeper.found.problemCount, 1u);
}

TEST(StreamWalk, ShortListing_LeavesOutWhatAllShows) {
  // 3000 records of 5 bytes, one text of 100 characters, one block of 100 bytes.
  std::vector<BYTE> many = BytesOf("03 01 B8 0B 00 00 00 00");
  for (int i = 0; i < 3000; ++i) many.insert(many.end(), {0x11, 0, 0x11, 0, 7});
  std::vector<BYTE> text = BytesOf("03 01 01 00 00 00 00 00  08 00 08 00 CA 00 00 00");
  for (int i = 0; i < 100; ++i) text.insert(text.end(), {'x', 0});
  text.insert(text.end(), {0, 0});
  std::vector<BYTE> block =
      BytesOf("03 01 01 00 00 00 00 00  0D 00" + kNobodysClass + "64 00 00 00 00 00 00 00");
  block.resize(block.size() + 100, 0xAB);
  const struct {
    const std::vector<BYTE>& stream;
    int shortLines, allLines;
    std::string onlyInShort;
  } kRows[] = {
      {many, 39, 3006, "                    ... 2968 more\n"},
      {text, 7, 7, "\"" + std::string(60, 'x') + "\"... 100 characters\n"},
      {block, 14, 16, "                    ... 36 more bytes\n"},
  };
  for (const auto& row : kRows) {
    const std::string cut = Walk(row.stream, "VariantVectorKLP").listing;
    const Walked all = Walk(row.stream, "VariantVectorKLP", Listing::Extent::kAll);
    EXPECT_TRUE(all.found.IsWhole());
    EXPECT_EQ(std::count(cut.begin(), cut.end(), '\n'), row.shortLines) << cut;
    EXPECT_EQ(std::count(all.listing.begin(), all.listing.end(), '\n'), row.allLines);
    EXPECT_THAT(cut, HasSubstr(row.onlyInShort));
    EXPECT_THAT(all.listing, testing::Not(HasSubstr("...")));
  }
}

}  // namespace
}  // namespace tests
