// The program rastel as its users run it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/rastel_program.h"
#include "tests/tools/sample_streams.h"

namespace tests {
namespace {

using testing::HasSubstr;

TEST_F(Rastel, Dump_ListsEveryVersionWithoutTheModule) {
  for (const SampleStream& sample : kSamples) {
    SCOPED_TRACE(sample.name);
    in_.Write(Content(sample.hex));
    const ChildResult result = Run({"dump", in_.path()}, sample.bareClass);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, sample.listing);
  }
}

TEST_F(Rastel, WrongUsage_GivesTwo) {
  const std::vector<std::string> kRows[] = {{},
                                            {"show"},
                                            {"dump"},
                                            {"dump", in_.path(), "--class", "ByteVector"},
                                            {"info", in_.path(), "--all"},
                                            {"upgrade", in_.path()},
                                            {"dump", in_.path(), out_}};
  for (const auto& row : kRows) EXPECT_EQ(Run(row).exitCode, 2) << testing::PrintToString(row);
  EXPECT_EQ(Run({"--help"}).exitCode, 0);
}

TEST_F(Rastel, WithoutTheModule_SaysWhatRegistersIt) {
  in_.Write(Content(kSamples[0].hex));
  for (const auto& row : {std::vector{std::string("info"), in_.path()},
                          std::vector{std::string("upgrade"), in_.path(), out_}}) {
    const ChildResult result = Run(row);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, HasSubstr("rastel register PATH/"));
    EXPECT_THAT(result.output, HasSubstr("0x80040154"));
  }
  EXPECT_FALSE(std::filesystem::exists(out_));
}

// The tests of the walk show the reasons.
TEST_F(Rastel, Broken_GivesOneAndAReason) {
  in_.Write(Content(kByteAoi + "02 02"));
  for (const char* command : {"dump", "info"}) {
    const ChildResult result = Run({command, in_.path()});
    EXPECT_EQ(result.exitCode, 1) << command;
    EXPECT_THAT(result.output, HasSubstr("ends inside the total width")) << command;
  }
  for (const char* path : {"", "/missing"}) {
    EXPECT_EQ(Run({"dump", in_.folder() + path}).exitCode, 1);
  }
}

TEST_F(RastelWithModule, Info_TellsWhatTheObjectHolds) {
  in_.Write(Content(kSamples[4].hex));
  ChildResult result = Run({"info", in_.path()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.output, in_.path() + R"(
  class            VariantVectorKLP {F13F0B8E-F159-43F5-9222-92D759E840C2}
  file             119 bytes, class identifier in front
  version          0x0103, the newest
  element type     Variant, VARIANT
  elements         3
  tags             on, 1
  nested objects   2, down to level 2
                   1 x LongVectorKLP {5B745AAB-6C4D-4204-B864-75797054488A}
                   1 x {1F0A7C51-3C11-4B1E-9A01-527D10446E01}, not looked into
  saved anew       101 bytes without class identifier
  state            whole
)");
  in_.Write(Content(kMapInMap));
  result = Run({"info", in_.path()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, HasSubstr(R"(
  version          1, the newest
  keys             texts
  attributes       3
  override mode    on
  nested objects   1, down to level 2
                   1 x AttributeLongMapKLP {4E996978-B7D4-417A-BD5B-2660FB96BF6C}
  saved anew       94 bytes without class identifier
  state            whole
)"));
  in_.Write(Content(kSamples[1].hex));
  result = Run({"info", in_.path()}, "LongVectorKLP");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, HasSubstr("version          0x0100, old\n"));
  EXPECT_THAT(result.output, HasSubstr("old tags         2, there once tags are switched on\n"));
}

TEST_F(RastelWithModule, Info_BrokenStream_GivesTheObjectsOwnWords) {
  const struct {
    std::string hex;
    const char* words;
  } kRows[] = {
      {kByteVector + "03 01 03 00 00 00 00 00 01", "Load: 0x80020009, insufficient file size"},
      {kByteVector + "01 01 03 00 00 00 00 00 01", "Load: 0x80020009, Insufficient file size"},
      {kByteVector + "04 01",
       "Load: 0x80040463, Rasteldata: Ung\xC3\xBCltige Stream-Versionsnummer"},
      {kByteVector + "00 01 00 00 00 00 01 00 00 00 08 00 01", "Load: 0x80004005, unspecified"},
      {kByteVector + "03 01 FF FF FF FF 00 00", "Load: 0x8007000E, out of memory"},
      {kVariantVector + "03 01 FF FF FF 7F 00 00", "not loaded: readers would take"},
      // Load would go on behind the record, and give S_OK.
      {kVariantVector + "03 01 01 00 00 00 00 00 03 00 03 00 05", "broken at 0x0000001C: ends"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.words);
    in_.Write(Content(row.hex));
    const ChildResult result = Run({"info", in_.path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, HasSubstr(row.words));
    EXPECT_THAT(result.output, HasSubstr("  state            broken at "));
  }
}

TEST_F(RastelWithModule, Upgrade_WritesTheNewestVersionInTheSameForm) {
  for (const SampleStream& sample : kSamples) {
    SCOPED_TRACE(sample.name);
    in_.Write(Content(sample.hex));
    const TempFile out("out");
    out.Write("what was there before");
    EXPECT_EQ(Run({"upgrade", in_.path(), out.path()}, sample.bareClass).exitCode, 0);
    const std::string content = out.Content();
    EXPECT_EQ(HexOf(content.data(), content.size()),
              HexOf(BytesOf(sample.upgraded).data(), BytesOf(sample.upgraded).size()));
    // In place as well.
    EXPECT_EQ(Run({"upgrade", in_.path(), in_.path()}, sample.bareClass).exitCode, 0);
    EXPECT_EQ(in_.Content(), content);
  }
  const std::vector<BYTE> deepest = NestedVectors(256);
  in_.Write(std::string(deepest.begin(), deepest.end()));
  EXPECT_EQ(Run({"upgrade", in_.path(), out_}).exitCode, 0);
  EXPECT_EQ(std::filesystem::file_size(out_), deepest.size());
}

TEST_F(RastelWithModule, UpgradeThatWouldLoseSomething_LeavesTheOldFile) {
  const TempFile out("out");
  out.Write("what was there before");
  const std::string kRows[] = {
      kByteVector + "03 01 03 00 00 00 00 00 01",                          // cut
      kByteVector + "03 01 00 00 00 00 00 00 AA",                          // more behind
      kVariantVector + "03 01 02 00 00 00 00 00 10 00 10 00 05 10 00",     // cut in a record
      kVariantVector + "03 01 01 00 00 00 00 00 01 00 01 00 00 00 00 00",  // VT_NULL has no record
      kByteVector + "00 01 00 00 00 00 01 00 00 00 11 00 07",              // a tag without element
      kByteAoi + "02 02",
      // An object that cannot be looked into.
      kVariantVector + "03 01 01 00 00 00 00 00 0D 00" + kByteAoi + "02 00 00 00 00 00 00 00 02 02",
  };
  for (const std::string& hex : kRows) {
    SCOPED_TRACE(hex);
    in_.Write(Content(hex));
    EXPECT_EQ(Run({"upgrade", in_.path(), out.path()}).exitCode, 1);
    EXPECT_EQ(out.Content(), "what was there before");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(out.folder()), {}), 1);
  }
  in_.Write(Content(kSamples[0].hex));
  EXPECT_EQ(Run({"upgrade", in_.path(), out.folder()}).exitCode, 1);
  EXPECT_EQ(Run({"upgrade", in_.path(), out.folder() + "/missing/out"}).exitCode, 1);
}

}  // namespace
}  // namespace tests
