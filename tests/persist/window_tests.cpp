// SPDX-License-Identifier: MIT
// Streams that show their memory and such as do not: whatever is loaded and saved, nobody can tell
// which one it was.
#include <filesystem>

#include "tests/persist/client_objects.h"
#include "tests/support/class_table.h"
#include "tests/support/debug_capture.h"
#include "tests/support/fault_stream.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

// Of a window: none, smaller than most fields, larger than a stream, and one that cannot be opened.
constexpr ULONG kSizes[] = {0, 5, 0x10000, 0xFFFFFFFF};

class Windows : public ClientTest {
 protected:
  // act(stream) gives a result; then everything that tells of a call.
  template <class Act>
  std::string Said(IStream* memory, ULONG windowBytes, ULONGLONG limit, Act act) {
    const DebugCapture debug;
    std::string said;
    {
      FaultStream stream(memory);
      stream.ShowMemory(windowBytes, limit);
      SetErrorInfo(0, nullptr);
      said = std::to_string(act(&stream)) + " at ";
      said += std::to_string(PositionOf(&stream));
      EXPECT_EQ(stream.References(), 0u);
    }
    if (const auto error = TakeThreadError()) {
      for (const OLECHAR c : error->description.value_or(OLESTR(""))) said += static_cast<char>(c);
    }
    for (const std::string& text : debug.Texts()) said += text;
    return said;
  }
};

const CLSID& ClassOf(const std::filesystem::path& path) {
  const std::string name = path.stem().string(), kind = path.extension().string();
  const std::string type = name.substr(0, name.find('_'));
  for (const ClassRow& row : kClasses) {
    std::string known = row.name;
    for (char& c : known) c = static_cast<char>(std::tolower(c));
    const char* const ending = kind == ".aoi" ? "aoiklp" : kind == ".vec" ? "vectorklp" : "mapklp";
    if (known.ends_with(ending) && known.find(type) != known.npos &&
        (kind == ".map" || known.starts_with(type))) {
      return row.classId;
    }
  }
  std::abort();
}

TEST_F(Windows, AreNotToBeSeen) {
  for (const char* const folder : {"aois", "maps", "vectors"}) {
    for (const auto& file :
         std::filesystem::directory_iterator(std::string(RASTEL_TEST_DATA "/") + folder)) {
      const CLSID& classId = ClassOf(file.path());
      const std::string hex = SampleHex(file.path().string());
      const auto object = New<IPersistStream>(classId);
      for (std::size_t end = 0; end < hex.size() + 1; end += 3) {
        std::string first;
        for (const ULONG size : kSizes) {
          const auto loaded = New<IPersistStream>(classId);
          const auto memory = NewStream(std::string_view(hex).substr(0, end));
          std::string said = Said(memory.Get(), size, 0xFFFFFFFF,
                                  [&](IStream* stream) { return loaded->Load(stream); });
          said += " then " + SavedBy(loaded);
          if (size == 0) first = said;
          ASSERT_EQ(said, first) << file.path() << " cut at " << end / 3 << ", windows of " << size;
        }
      }
      object->Load(NewStream(hex).Get());
      const std::size_t most = SavedBy(object).size() / 3 + 2;
      for (std::size_t limit = 0; limit < most; ++limit) {
        std::string first;
        for (const ULONG size : kSizes) {
          const auto memory = NewStream();
          std::string said = Said(memory.Get(), size, limit,
                                  [&](IStream* stream) { return object->Save(stream, FALSE); });
          said += " wrote " + ContentOf(memory.Get());
          if (size == 0) first = said;
          ASSERT_EQ(said, first) << file.path() << " in " << limit << ", windows of " << size;
        }
      }
    }
  }
}

}  // namespace
}  // namespace tests
