// The registry's file between processes, and in every state of damage.
#include <gtest/gtest.h>

#include <thread>

#include "platform/platform.h"
#include "tests/host/registry_text.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_file.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

LSTATUS OpenStatus(LPCOLESTR path) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key);
  if (status == ERROR_SUCCESS) RegCloseKey(key);
  return status;
}

class RegistryFile : public testing::Test {
 protected:
  void SetUp() override { Use(file_.path().c_str()); }
  void TearDown() override { Use(nullptr); }
  static void Use(const char* path) { ASSERT_EQ(HostUseRegistryFile(path), S_OK); }

  const TempFile file_{"registry"};
};

TEST_F(RegistryFile, Damage_IsNoticedWhereverItIs) {
  const std::string whole = ContentOfFile(RASTEL_REGISTRY_SAMPLE);
  const auto statusOf = [&](const std::string& content) {
    file_.Write(content);
    Use(file_.path().c_str());
    return OpenStatus(nullptr);
  };
  ASSERT_EQ(statusOf(whole), ERROR_SUCCESS);
  EXPECT_EQ(statusOf(whole + "x"), ERROR_BADDB);
  for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) {
    SCOPED_TRACE(bytes);
    EXPECT_EQ(statusOf(whole.substr(0, bytes)), ERROR_BADDB);
    for (const int bit : {0, 5, 7}) {
      std::string flipped = whole;
      flipped[bytes] = static_cast<char>(whole[bytes] ^ (1 << bit));
      EXPECT_EQ(statusOf(flipped), ERROR_BADDB);
    }
  }
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
    EXPECT_EQ(path == nullptr, fs::is_empty(file_.folder()));
    EXPECT_TRUE(path == nullptr || fs::is_regular_file(file_.folder() + path));
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
