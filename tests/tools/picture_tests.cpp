// rastel import and export.
#include <gmock/gmock.h>

#include "interfaces/identifiers.h"
#include "pictures/picture_file.h"
#include "tests/tools/rastel_program.h"
#include "tests/tools/sample_streams.h"

namespace tests {
namespace {

using testing::HasSubstr;
using RastelPictures = RastelWithModule;

const std::string kPng = "89 50 4E 47 0D 0A 1A 0A 00 00 00 0D 49 48 44 52 ";
const std::string kPngEnd = "00 00 00 00 49 45 4E 44 AE 42 60 82";
// 1, 2, 3 beside 4, 5, 6.
const std::string kColour =
    kPng +
    "00 00 00 02 00 00 00 01 08 02 00 00 00 7B 40 E8 DD 00 00 00 12 49 44 41 54 78 01 01 07"
    "00 F8 FF 00 01 02 03 04 05 06 00 3F 00 16 68 41 5F 8D" +
    kPngEnd;
// 0x1234 beside 0xFF00, in 16 bits.
const std::string kDeepGrey =
    kPng +
    "00 00 00 02 00 00 00 01 10 00 00 00 00 81 D9 FC 15 00 00 00 10 49 44 41 54 78 01 01 05"
    "00 FA FF 00 12 34 FF 00 02 E7 01 46 13 C2 A0 D4" +
    kPngEnd;
// 1, 2 over 3, 4.
const std::string kGrey =
    kPng +
    "00 00 00 02 00 00 00 02 08 00 00 00 00 57 DD 52 F8 00 00 00 11 49 44 41 54 78 01 01 06"
    "00 F9 FF 00 01 02 00 03 04 00 1D 00 0B 7A 38 37 25" +
    kPngEnd;

// A rectangle of all pixels, without margins, name "None", an empty tag, no map.
std::string AoiStream(const std::string& width, const std::string& height,
                      const std::string& planes, const std::string& flags, const std::string& type,
                      const std::string& pixels) {
  const std::string size = width + " 00 00 00 " + height + " 00 00 00 ";
  return "02 02 " + size + "00 00 00 00 00 00 00 00 " + size + "00 00 00 00 00 00 00 00 " + planes +
         " 00 00 00 " + flags + " 00 " + type +
         " 00 00 00 04 00 00 00 04 00 00 00 4E 00 6F 00 6E 00 65 00 00 00 00 00 02 00 00 00 00 00 "
         "00 " +
         pixels;
}
// kGrey with a margin of 1 in zeros: the rows of 4 begin with the first pixel of the picture.
const std::string kWithMargin = AoiStream("02", "02", "01", "01", "00",
                                          "01 00 00 00 04 00 00 00 04 00 00 00"
                                          "01 02 00 00 03 04 00 00 00 00 00 00 00 00 00 00");

TEST_F(RastelPictures, Import_PutsEachChannelIntoAPlane) {
  const std::string kWordAoi = HexOf(&CLSID_WordAOIKLP, sizeof(CLSID)) + " ";
  const std::string noMargin = AoiStream("02", "02", "01", "00", "00", "01 02 03 04");
  const struct {
    std::string png;
    std::vector<std::string> options;
    std::string stream;
    const char* words;
  } kRows[] = {
      {kColour,
       {},
       kByteAoi + AoiStream("02", "01", "03", "00", "00", "01 04 02 05 03 06"),
       "ByteAOIKLP, 3 planes of 2 x 1, 93 bytes\n"},
      {kDeepGrey,
       {},
       kWordAoi + AoiStream("02", "01", "01", "00", "02", "34 12 00 FF"),
       "WordAOIKLP, 1 plane of 2 x 1, 91 bytes\n"},
      {kGrey, {"--margin", "1"}, kByteAoi + noMargin, "--buffer saves it\n"},
      {kGrey, {"--margin", "1", "--margin-mode", "zero", "--buffer"}, kByteAoi + kWithMargin, ""},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.words);
    in_.Write(Content(row.png));
    const TempFile out("out");
    std::vector<std::string> arguments = {"import", in_.path(), out.path()};
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    const ChildResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr(row.words));
    EXPECT_EQ(out.Content(), Content(row.stream));
  }
}

TEST_F(RastelPictures, Export_ClampsOrScalesTheValuesOfAnyType) {
  using testing::ElementsAre;
  const std::string shorts = AoiStream("03", "01", "01", "00", "03", "FB FF 07 00 2C 01");
  const std::string floats = AoiStream("01", "01", "02", "00", "06", "CD CC CC 3F 00 00 C0 7F");
  const struct {
    const char* className;
    std::string stream, option;
    int channels;
    testing::Matcher<const std::vector<std::uint8_t>&> samples;
    const char* words;
  } kRows[] = {
      {"ShortAOIKLP", shorts, "", 1, ElementsAre(0, 7, 255), "  2 values outside 0 .. 255"},
      {"ShortAOIKLP", shorts, "--scale", 1, ElementsAre(0, 10, 255), "  -5 .. 300 became"},
      {"FloatAOIKLP", floats, "", 2, ElementsAre(2, 0), "2 planes of 1 x 1\n  1 value outside"},
      {"ByteAOIKLP", kWithMargin, "", 1, ElementsAre(1, 2, 3, 4), "1 plane of 2 x 2\n"},
      {"ByteAOIKLP", kWithMargin, "--buffer", 1,
       ElementsAre(1, 2, 0, 0, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), "1 plane of 4 x 4\n"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.words);
    in_.Write(Content(row.stream));
    const TempFile out("out.png");
    std::vector<std::string> arguments = {"export", in_.path(), out.path()};
    if (!row.option.empty()) arguments.push_back(row.option);
    const ChildResult result = Run(arguments, row.className);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.output, HasSubstr(row.words));
    const auto picture = pictures::ReadPicture<std::uint8_t>(out.path());
    EXPECT_EQ(picture.channels, row.channels);
    EXPECT_THAT(picture.samples, row.samples);
  }
}

TEST_F(RastelPictures, WhatCannotBeDone_IsSaidInWords) {
  const struct {
    std::string content;
    std::vector<std::string> command;
    const char* words;
  } kRows[] = {
      {kGrey.substr(0, 200), {"import"}, "not a whole picture"},
      {kGrey, {"import", "--margin", "3"}, "the margin is larger than the picture"},
      {kGrey, {"export"}, "not an AOI but {474E5089-"},
      {kByteVector + "03 01 00 00 00 00 00 00", {"export"}, "not an AOI but ByteVectorKLP"},
      {kByteAoi + "03 02", {"export"}, "no AOI has the version 515"},
      {kByteAoi + AoiStream("01", "01", "05", "00", "00", "00 00 00 00 00"),
       {"export"},
       "5 planes; a picture has 1 (grey)"},
      {kByteAoi + AoiStream("02", "01", "03", "00", "00", "01 04 02"),
       {"export"},
       "not exported: "},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.words);
    in_.Write(Content(row.content));
    std::vector<std::string> arguments = row.command;
    arguments.insert(arguments.begin() + 1, {in_.path(), out_});
    const ChildResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, HasSubstr(row.words));
    EXPECT_FALSE(std::filesystem::exists(out_));
  }
  EXPECT_EQ(Run({"import", in_.path(), out_, "--margin", "-1"}).exitCode, 2);
  EXPECT_EQ(Run({"import", in_.path(), out_, "--margin-mode", "none"}).exitCode, 2);
}

}  // namespace
}  // namespace tests
