#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using WideText = std::basic_string<OLECHAR>;

constexpr DWORD kInsufficientBuffer = 122;
constexpr DWORD kInvalidParameter = 87;
constexpr DWORD kNoTranslation = 1113;

// The embedded host has one narrow code page under three numbers.
bool IsUtf8(UINT codePage) { return codePage == CP_UTF8 || kEmbeddedHost; }
constexpr UINT kCodePages[] = {CP_UTF8, CP_ACP, CP_THREAD_ACP};

WideText Widened(UINT codePage, DWORD flags, const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(codePage, flags, text.data(), bytes, nullptr, 0);
  WideText wide(static_cast<std::size_t>(units), OLECHAR{'#'});
  if (units > 0) {
    EXPECT_EQ(MultiByteToWideChar(codePage, flags, text.data(), bytes, wide.data(), units), units);
  }
  return wide;
}

std::string Narrowed(UINT codePage, DWORD flags, const WideText& text) {
  const int units = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(codePage, flags, text.data(), units, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(bytes), '#');
  if (bytes > 0) {
    EXPECT_EQ(WideCharToMultiByte(codePage, flags, text.data(), units, narrow.data(), bytes,
                                  nullptr, nullptr),
              bytes);
  }
  return narrow;
}

TEST(CodePages, WellFormedText_ConvertsBothWays) {
  const struct {
    std::string narrow;
    WideText wide;
    bool isAscii;
  } rows[] = {
      {"abc 7E\x7E", OLESTR("abc 7E~"), true},
      {std::string("a\0b", 3), WideText(OLESTR("a\0b"), 3), true},
      {"\xC3\xBC\xC2\x80\xDF\xBF", OLESTR("\u00FC\x0080\u07FF"), false},
      {"\xE2\x82\xAC\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF",
       OLESTR("\u20AC\u0800\uD7FF\uE000\uFFFF"), false},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", OLESTR("\U00010000\U0010FFFF"), false},
      {"\xEF\xBB\xBFx", OLESTR("\uFEFFx"), false},
  };
  for (const UINT codePage : kCodePages) {
    for (const auto& [narrow, wide, isAscii] : rows) {
      if (!isAscii && !IsUtf8(codePage)) continue;
      SCOPED_TRACE(testing::Message() << codePage << ' ' << narrow);
      EXPECT_EQ(Widened(codePage, 0, narrow), wide);
      EXPECT_EQ(Narrowed(codePage, 0, wide), narrow);
      if (!IsUtf8(codePage)) continue;
      EXPECT_EQ(Widened(codePage, MB_ERR_INVALID_CHARS, narrow), wide);
      EXPECT_EQ(Narrowed(codePage, WC_ERR_INVALID_CHARS, wide), narrow);
    }
  }
}

TEST(CodePages, IllFormedNarrowText_BecomesReplacementsOrIsRefused) {
  const struct {
    std::string narrow;
    WideText wide;
    bool isOwnChoice;
  } rows[] = {
      {"\xE2\x82", OLESTR("\uFFFD"), false},
      {"\xF0\x9F\x98", OLESTR("\uFFFD"), false},
      {"\xE2\x82z", OLESTR("\uFFFDz"), false},
      {"\xE2\x82\xE2\x82\xAC", OLESTR("\uFFFD\u20AC"), false},
      {"\xC0\x80", OLESTR("\uFFFD\uFFFD"), false},
      {"\xF8\x88\x80\x80\x80", OLESTR("\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"), false},
      {"x\x80y\xFFz", OLESTR("x\uFFFDy\uFFFDz"), false},
      {"\xC3", OLESTR("\uFFFD"), false},
      {"\xED\xA0\x80", OLESTR("\uFFFD\uFFFD\uFFFD"), true},
      {"\xE0\x9F\xBF", OLESTR("\uFFFD\uFFFD\uFFFD"), true},
      {"\xF4\x90\x80\x80", OLESTR("\uFFFD\uFFFD\uFFFD\uFFFD"), true},
  };
  for (const UINT codePage : kCodePages) {
    if (!IsUtf8(codePage)) continue;
    for (const auto& [narrow, wide, isOwnChoice] : rows) {
      SCOPED_TRACE(testing::PrintToString(narrow));
      if (kEmbeddedHost || !isOwnChoice) {
        EXPECT_EQ(Widened(codePage, 0, narrow), wide);
      }
      SetLastError(0);
      EXPECT_TRUE(Widened(codePage, MB_ERR_INVALID_CHARS, narrow).empty());
      EXPECT_EQ(GetLastError(), kNoTranslation);
    }
  }
}

TEST(CodePages, LoneSurrogate_BecomesReplacementOrIsRefused) {
  const struct {
    WideText wide;
    const char* narrow;
  } rows[] = {
      {OLESTR("\xD83D"), "\xEF\xBF\xBD"},
      {OLESTR("\xDE00z"), "\xEF\xBF\xBDz"},
      {OLESTR("\xD83D\xD83D\xDE00"), "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
      {OLESTR("a\xD83D"
              "b"),
       "a\xEF\xBF\xBD"
       "b"},
  };
  for (const auto& [wide, narrow] : rows) {
    SCOPED_TRACE(narrow);
    EXPECT_EQ(Narrowed(CP_UTF8, 0, wide), narrow);
    SetLastError(0);
    EXPECT_EQ(Narrowed(CP_UTF8, WC_ERR_INVALID_CHARS, wide), "");
    EXPECT_EQ(GetLastError(), kNoTranslation);
  }
}

TEST(CodePages, LengthAndRoom_SayWhatIsConvertedAndWritten) {
  const char* narrow = "a\xC3\xBC";
  const OLECHAR* wide = OLESTR("a\u00FC");
  const struct {
    int length;
    int room;
    int result;
    DWORD error;
  } widening[] =
      {
          {-1, 0, 3, 0},
          {-1, 3, 3, 0},
          {3, 2, 2, 0},
          {1, 1, 1, 0},
          {-1, 2, 0, kInsufficientBuffer},
          {3, 1, 0, kInsufficientBuffer},
          {0, 3, 0, kInvalidParameter},
          {3, -1, 0, kInvalidParameter},
      },
    narrowing[] = {
        {-1, 0, 4, 0},
        {-1, 4, 4, 0},
        {2, 3, 3, 0},
        {1, 1, 1, 0},
        {-1, 3, 0, kInsufficientBuffer},
        {2, 2, 0, kInsufficientBuffer},
        {0, 3, 0, kInvalidParameter},
        {2, -1, 0, kInvalidParameter},
    };
  for (const auto& row : widening) {
    SCOPED_TRACE(testing::Message() << row.length << " into " << row.room);
    OLECHAR target[5];
    std::fill_n(target, 5, OLECHAR{'#'});
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, narrow, row.length, target, row.room), row.result);
    EXPECT_EQ(GetLastError(), row.error);
    for (int i = row.room < 0 ? 0 : row.room; i < 5; ++i) EXPECT_EQ(target[i], '#');
  }
  for (const auto& row : narrowing) {
    SCOPED_TRACE(testing::Message() << row.length << " from wide into " << row.room);
    std::string target = "#####";
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, wide, row.length, target.data(), row.room, nullptr,
                                  nullptr),
              row.result);
    EXPECT_EQ(GetLastError(), row.error);
    const int room = row.room < 0 ? 0 : row.room;
    EXPECT_EQ(target.substr(static_cast<std::size_t>(room)),
              std::string(5 - static_cast<std::size_t>(room), '#'));
  }
}

TEST(CodePages, BadArguments_AreRefused) {
  char narrow[4] = "abc";
  OLECHAR wide[4] = {'a', 'b', 'c', 0};
  constexpr UINT kUnknownPage = 4711;
  const auto expectRefusal = [](int result) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(GetLastError(), kInvalidParameter);
    SetLastError(0);
  };
  SetLastError(0);
  expectRefusal(MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, wide, 4));
  expectRefusal(MultiByteToWideChar(CP_UTF8, 0, narrow, 3, nullptr, 4));
  expectRefusal(MultiByteToWideChar(kUnknownPage, 0, narrow, 3, wide, 4));
  expectRefusal(WideCharToMultiByte(CP_UTF8, 0, nullptr, 3, narrow, 4, nullptr, nullptr));
  expectRefusal(WideCharToMultiByte(CP_UTF8, 0, wide, 3, nullptr, 4, nullptr, nullptr));
  expectRefusal(WideCharToMultiByte(kUnknownPage, 0, wide, 3, narrow, 4, nullptr, nullptr));
}

TEST(CodePages, SystemCodePage_NeverNeedsTheDefaultCharacterForAscii) {
  char narrow[4];
  BOOL usedDefault = TRUE;
  EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, OLESTR("abc"), -1, narrow, 4, "?", &usedDefault), 4);
  EXPECT_STREQ(narrow, "abc");
  EXPECT_EQ(usedDefault, FALSE);
}

}  // namespace
}  // namespace tests
