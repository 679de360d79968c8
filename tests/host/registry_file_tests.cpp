#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

namespace fs = std::filesystem;
using WideText = std::basic_string<OLECHAR>;

constexpr HRESULT kUnreadable = platform::ResultCode(0x80040150);
constexpr CLSID kSomeClass{0x0D43FE01, 0, 0, {}};

// All that the format knows.
constexpr char kFirstLine[] = "rastelhost registry 1\n";
const std::string kSample =
    "rastelhost registry 1\n"
    "value 1 \"\" text \"root\"\n"
    "key 1 \"Class\"\n"
    "key 2 \"Below\"\n"
    "value 1 \"\" text \"A \\\"class\\\" \\\\ \xC3\xBC\xF0\x9F\x98\x80\\u000a\\ud800x\"\n"
    "value 3 \"bytes\" bytes \"00ff7f\"\n"
    "value 2 \"Empty\" text \"\"\n"
    "value 1 \"no end\" bytes \"6100\"\n"
    "value 4 \"number\" number 4294967295\n"
    "value 4 \"short\" bytes \"01\"\n"
    "key 2 \"Later\"\n"
    "key 1 \"Zz/[x]\"\n"
    "end 11 4a6d51fd49c419d7\n";

struct SampleValue {
  LPCOLESTR name;
  DWORD type;
  std::string data;
};
const SampleValue kSampleValues[] = {
    {OLESTR(""), REG_SZ,
     std::string("A\0 \0\"\0c\0l\0a\0s\0s\0\"\0 \0\\\0 \0\xFC\0\x3D\xD8\0\xDE\n\0\0\xD8x\0\0\0",
                 38)},
    {OLESTR("bytes"), REG_BINARY, std::string("\0\xFF\x7F", 3)},
    {OLESTR("Empty"), REG_EXPAND_SZ, std::string("\0\0", 2)},
    {OLESTR("no end"), REG_SZ, std::string("a\0", 2)},
    {OLESTR("number"), REG_DWORD, "\xFF\xFF\xFF\xFF"},
    {OLESTR("short"), REG_DWORD, "\x01"}};

LSTATUS SetText(LPCOLESTR path, LPCOLESTR text) {
  HKEY key = nullptr;
  LSTATUS status = RegCreateKeyExW(HKEY_CLASSES_ROOT, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                   &key, nullptr);
  if (status != ERROR_SUCCESS) return status;
  const auto units = static_cast<DWORD>(std::char_traits<OLECHAR>::length(text) + 1);
  status = RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                          units * static_cast<DWORD>(sizeof(OLECHAR)));
  RegCloseKey(key);
  return status;
}

LSTATUS OpenStatus(LPCOLESTR path) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key);
  if (status == ERROR_SUCCESS) RegCloseKey(key);
  return status;
}

// The lines of a file with a last line that fits them.
std::string Ended(const std::string& lines) {
  std::uint64_t sum = 14695981039346656037u;
  for (const char byte : lines) sum = (sum ^ static_cast<BYTE>(byte)) * 1099511628211u;
  char end[64];
  std::snprintf(end, sizeof(end), "end %d %016llx\n",
                static_cast<int>(std::count(lines.begin(), lines.end(), '\n')) - 1,
                static_cast<unsigned long long>(sum));
  return lines + end;
}

class RegistryFile : public testing::Test {
 protected:
  void SetUp() override { Use(file_.path().c_str()); }
  void TearDown() override { Use(nullptr); }
  static void Use(const char* path) { ASSERT_EQ(HostUseRegistryFile(path), S_OK); }

  // Takes a file's content as if another process had put it there.
  void Read(const std::string& content) {
    file_.Write(content);
    Use(file_.path().c_str());
  }

  void ExpectRefused(const std::string& content) {
    Read(content);
    void* object = nullptr;
    EXPECT_EQ(OpenStatus(nullptr), ERROR_BADDB);
    EXPECT_EQ(CoCreateInstance(kSomeClass, nullptr, 1, IID_IUnknown, &object), kUnreadable);
    EXPECT_EQ(SetText(OLESTR("New"), OLESTR("x")), ERROR_BADDB);
    EXPECT_EQ(file_.Content(), content);
  }

  const TempFile file_{"registry"};
};

TEST_F(RegistryFile, Text_IsWrittenAndReadInEveryForm) {
  EXPECT_EQ(SetText(nullptr, OLESTR("root")), ERROR_SUCCESS);
  for (const LPCOLESTR path : {OLESTR("Zz/[x]"), OLESTR("Class\\Later"), OLESTR("Class\\Below")}) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                              nullptr),
              ERROR_SUCCESS);
    for (const auto& [name, type, data] : kSampleValues) {
      if (path != WideText(OLESTR("Class\\Below"))) break;
      EXPECT_EQ(RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                               static_cast<DWORD>(data.size())),
                ERROR_SUCCESS);
    }
    RegCloseKey(key);
  }
  EXPECT_EQ(file_.Content(), kSample);

  Read(kSample);
  EXPECT_EQ(SetText(OLESTR("New"), OLESTR("x")), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, OLESTR("New")), ERROR_SUCCESS);
  EXPECT_EQ(file_.Content(), kSample) << "read and written again";
}

TEST_F(RegistryFile, DamagedFile_IsRefusedAndNeverOverwritten) {
  ASSERT_EQ(Ended(kSample.substr(0, kSample.find("end 11"))), kSample);
  for (std::size_t bytes = 0; bytes < kSample.size(); ++bytes) {
    SCOPED_TRACE(bytes);
    ExpectRefused(kSample.substr(0, bytes));
    std::string flipped = kSample;
    for (const int bit : {0, 5, 7}) {
      flipped[bytes] = static_cast<char>(kSample[bytes] ^ (1 << bit));
      ExpectRefused(flipped);
    }
  }
  ExpectRefused(kSample + "x");
}

TEST_F(RegistryFile, HostileContent_IsRefused) {
  std::string tooDeep;
  for (int level = 1; level <= 65; ++level) tooDeep += "key " + std::to_string(level) + " \"k\"\n";
  std::vector<std::string> rows = {tooDeep, "key 1 \"" + std::string(256, 'n') + "\"\n",
                                   "value 1 \"" + std::string(16384, 'n') + "\" text \"\"\n",
                                   "value 1 \"\" text \"" + std::string(524288, 't') + "\"\n",
                                   "value 3 \"\" bytes \"" + std::string(2097154, '0') + "\"\n"};
  // With | between two cases and ' for ".
  std::string cases =
      "key 0 'a'|key 2 'a'|key 1 'a'\nkey 3 'b'|key 99999999999999999999 'a'|key -1 'a'|key 1 ''|"
      "key 1 'a\\\\b'|key 1 'a\\u0000b'|key 1 'a'\nkey 1 'A'|key 1 'b'\nkey 1 'a'|key 1 'a|"
      "key 1 'a' |value 1 'b' text ''\nvalue 1 'B' text ''|value 4294967296 '' bytes ''|"
      "value 4 '' number 4294967296|value 3 '' number 1|value 3 '' text 'a'|value 3 '' bytes '0'|"
      "value 3 '' bytes '0g'|value 1 '' text '\\n'|value 1 '' text '\\u12'|"
      "value 1 '' text '\xC3'|nothing|";
  std::replace(cases.begin(), cases.end(), '\'', '"');
  std::istringstream all(cases + "|");
  for (std::string line; std::getline(all, line, '|');) rows.push_back(line + "\n");
  rows.push_back("value 1 \"\" tex");
  for (const std::string& row : rows) {
    SCOPED_TRACE(row.substr(0, 80));
    ExpectRefused(Ended(kFirstLine + row));
  }
  ExpectRefused(Ended("rastelhost registry 2\n"));
  Read(Ended(kFirstLine + tooDeep.substr(0, tooDeep.find("key 65"))));
  EXPECT_EQ(OpenStatus(OLESTR("k\\k\\k")), ERROR_SUCCESS);
}

TEST_F(RegistryFile, WhatIsNoFileOfSensibleSize_IsRefused) {
  file_.Write("");
  ASSERT_EQ(truncate(file_.path().c_str(), (64 << 20) + 1), 0);
  EXPECT_EQ(OpenStatus(nullptr), ERROR_BADDB);
  ASSERT_EQ(unlink(file_.path().c_str()), 0);
  ASSERT_EQ(mkfifo(file_.path().c_str(), 0600), 0);
  EXPECT_EQ(OpenStatus(nullptr), ERROR_BADDB);
}

TEST_F(RegistryFile, ReplacedFile_IsReadAtTheNextLookUp) {
  EXPECT_EQ(SetText(OLESTR("One"), OLESTR("x")), ERROR_SUCCESS);
  HKEY one = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, OLESTR("One"), 0, KEY_READ, &one), ERROR_SUCCESS);
  const TempFile other;
  other.Write(Ended(std::string(kFirstLine) + "key 1 \"One\"\nkey 1 \"Two\"\n"));
  fs::rename(other.path(), file_.path());
  EXPECT_EQ(OpenStatus(OLESTR("Two")), ERROR_SUCCESS);
  EXPECT_EQ(RegFlushKey(one), ERROR_SUCCESS);
  other.Write(Ended(std::string(kFirstLine) + "key 1 \"Three\"\n"));
  fs::rename(other.path(), file_.path());
  EXPECT_EQ(RegFlushKey(one), ERROR_KEY_DELETED);
  RegCloseKey(one);
  // A change keeps what the other process wrote.
  other.Write(Ended(std::string(kFirstLine) + "key 1 \"Four\"\n"));
  fs::rename(other.path(), file_.path());
  EXPECT_EQ(SetText(OLESTR("Five"), OLESTR("")), ERROR_SUCCESS);
  EXPECT_EQ(file_.Content(), Ended(std::string(kFirstLine) +
                                   "key 1 \"Five\"\nvalue 1 \"\" text \"\"\nkey 1 \"Four\"\n"));
}

TEST_F(RegistryFile, FailedWrite_LeavesFileAndTreeAsTheyWere) {
  EXPECT_EQ(SetText(OLESTR("One"), OLESTR("x")), ERROR_SUCCESS);
  const std::string before = file_.Content();
  ASSERT_TRUE(fs::create_directory(file_.path() + ".new"));
  EXPECT_EQ(SetText(OLESTR("Two"), OLESTR("x")), ERROR_CANTWRITE);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, OLESTR("One")), ERROR_CANTWRITE);
  EXPECT_EQ(OpenStatus(OLESTR("Two")), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(OpenStatus(OLESTR("One")), ERROR_SUCCESS);
  EXPECT_EQ(file_.Content(), before);
}

void ExpectWriterSucceeds(const std::string& letter, std::vector<std::string> environment) {
  environment.insert(environment.begin(), letter);
  const fs::path writer = fs::path(ThisProgram()).replace_filename("registry_writer");
  const ChildResult child = RunProgram(writer, environment);
  EXPECT_EQ(child.exitCode, 0) << child.output;
}

TEST_F(RegistryFile, DefaultPlace_FollowsTheEnvironment) {
  const std::string home = "HOME=" + file_.folder() + "/home";
  const std::string data = "XDG_DATA_HOME=" + file_.folder() + "/data";
  const std::string named = "RASTEL_HOST_REGISTRY=" + file_.folder() + "/deep/named";
  const struct {
    std::vector<std::string> environment;
    const char* path;
  } rows[] = {{{home}, "/home/.local/share/rastelhost/registry"},
              {{home, data}, "/data/rastelhost/registry"},
              {{home, data, named}, "/deep/named"},
              {{home, data, "RASTEL_HOST_REGISTRY="}, nullptr},
              {{}, nullptr}};
  for (const auto& [environment, path] : rows) {
    SCOPED_TRACE(testing::PrintToString(environment));
    ExpectWriterSucceeds("A", environment);
    if (path != nullptr) {
      EXPECT_TRUE(fs::is_regular_file(file_.folder() + path));
    } else {
      EXPECT_TRUE(fs::is_empty(file_.folder()));
    }
    for (const auto& entry : fs::directory_iterator(file_.folder())) fs::remove_all(entry);
  }
}

TEST_F(RegistryFile, ManyProcesses_LoseNoChange) {
  std::vector<std::thread> parents;
  for (const char* letter : {"A", "B", "C", "D"}) {
    parents.emplace_back(ExpectWriterSucceeds, letter,
                         std::vector{"RASTEL_HOST_REGISTRY=" + file_.path()});
  }
  for (std::thread& parent : parents) parent.join();
  for (OLECHAR letter = 'A'; letter <= 'D'; ++letter) {
    for (OLECHAR digit = '0'; digit <= '9'; ++digit) {
      const OLECHAR path[] = {letter, '\\', digit, 0};
      EXPECT_EQ(OpenStatus(path), ERROR_SUCCESS) << letter - 'A' << digit - '0';
    }
  }
}

}  // namespace
}  // namespace tests
