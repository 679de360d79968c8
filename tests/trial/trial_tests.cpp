// A component used by two processes. Started with "child" this program is the second one.
#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>

#include "platform/com_ptr.h"
#include "platform/module_loader.h"
#include "tests/host/class_registration.h"
#include "tests/support/host_kind.h"
#include "tests/support/registry_file.h"
#include "tests/support/streams.h"
#include "tests/support/temp_file.h"
#include "tests/trial/trial_module.h"

namespace tests {
namespace {

using platform::ComPtr;
using Text = std::basic_string<OLECHAR>;

// Bytes 0 to 43 of a reference to a trial object.
constexpr char kHeader[] =
    "4D 45 4F 57 04 00 00 00 54 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 04 "
    "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01 00 00 00 00";

// In hexadecimal notation a byte takes three characters.
std::string Bytes(const std::string& hex, std::size_t first, std::size_t count) {
  return hex.size() < first * 3 ? "missing" : hex.substr(first * 3, count * 3 - 1);
}

ComPtr<ITrial> NewTrial() {
  ComPtr<ITrial> trial;
  EXPECT_EQ(
      CoCreateInstance(CLSID_Trial, nullptr, CLSCTX_INPROC_SERVER, IID_ITrial, trial.PutVoid()),
      S_OK);
  return trial;
}

LONG SerialOf(const ComPtr<ITrial>& trial) {
  LONG serial = 0;
  if (trial) trial->get_Serial(&serial);
  return serial;
}

HRESULT Set(const ComPtr<ITrial>& trial, LONG number, const Text& text) {
  const BSTR copy = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  const HRESULT result = trial->put_Text(copy);
  SysFreeString(copy);
  return FAILED(result) ? result : trial->put_Number(number);
}

bool Holds(const ComPtr<ITrial>& trial, LONG number, const Text& text) {
  LONG itsNumber = 0;
  BSTR itsText = nullptr;
  if (FAILED(trial->get_Number(&itsNumber)) || FAILED(trial->get_Text(&itsText))) return false;
  const bool isEqual = itsNumber == number && Text(itsText, SysStringLen(itsText)) == text;
  SysFreeString(itsText);
  return isEqual;
}

HRESULT Unmarshal(IStream* stream, ComPtr<ITrial>& trial) {
  SeekTo(stream, 0);
  return CoUnmarshalInterface(stream, IID_ITrial, trial.PutVoid());
}

// The child's two duties.

int CreateAndTell(const std::string& out) {
  ComPtr<ITrial> trial;
  const HRESULT result =
      CoCreateInstance(CLSID_Trial, nullptr, CLSCTX_INPROC_SERVER, IID_ITrial, trial.PutVoid());
  char line[40];
  std::snprintf(line, sizeof line, "%08X serial %d", static_cast<unsigned>(result),
                static_cast<int>(SerialOf(trial)));
  std::ofstream(out, std::ios::binary) << line;
  return 0;
}

int ChangeCopy(const std::string& in, const std::string& out) {
  std::ifstream file(in, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const auto read = NewStream(HexOf(bytes.data(), bytes.size()));
  ComPtr<ITrial> copy;
  if (FAILED(Unmarshal(read.Get(), copy))) return 2;
  if (!Holds(copy, 42, OLESTR("a\u00FCb")) || SerialOf(copy) != 1) return 3;
  if (FAILED(Set(copy, -2, OLESTR("changed")))) return 4;
  const auto written = NewStream();
  if (FAILED(CoMarshalInterface(written.Get(), IID_ITrial, copy.Get(), MSHCTX_LOCAL, nullptr,
                                MSHLFLAGS_NORMAL))) {
    return 5;
  }
  const std::vector<BYTE> reference = BytesOf(ContentOf(written.Get()));
  std::ofstream(out, std::ios::binary)
      .write(reinterpret_cast<const char*>(reference.data()),
             static_cast<std::streamsize>(reference.size()));
  return 0;
}

int Child(const std::vector<std::string>& arguments) {
  UseRegistryFile(arguments.at(0));
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  const int status = arguments.at(1) == "create" ? CreateAndTell(arguments.at(2))
                                                 : ChangeCopy(arguments.at(2), arguments.at(3));
  CoUninitialize();
  return status;
}

void RunChild(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "child");
  const ChildResult child = RunProgram(ThisProgram(), arguments);
  EXPECT_EQ(child.exitCode, 0) << child.output;
}

std::string CreatedByChild(const std::string& registryFile) {
  const TempFile told;
  RunChild({registryFile, "create", told.path()});
  return told.Content();
}

class TrialModule : public testing::Test {
 protected:
  TrialModule() {
    UseRegistryFile(registry_.path());
    class_.emplace(CLSID_Trial, BesideProgram(TRIAL_MODULE));
  }
  ~TrialModule() override {
    class_.reset();
    UseRegistryFile("");
    CoFreeUnusedLibraries();
  }

  const TempFile registry_{"registry"};
  std::optional<RegisteredClass> class_;
};

TEST_F(TrialModule, Child_MakesTheClassThatItsParentRegistered) {
  const auto own = NewTrial();
  // The child's module counts for itself.
  EXPECT_GE(SerialOf(NewTrial()), 2);
  EXPECT_EQ(CreatedByChild(registry_.path()), "00000000 serial 1");
  class_.reset();
  EXPECT_EQ(CreatedByChild(registry_.path()), "80040154 serial 0");
  EXPECT_TRUE(Holds(own, 0, Text()));
}

TEST_F(TrialModule, Object_GoesByValueThereAndBack) {
  const auto own = NewTrial();
  ASSERT_EQ(Set(own, 42, OLESTR("a\u00FCb")), S_OK);
  const auto stream = NewStream();
  ASSERT_EQ(CoMarshalInterface(stream.Get(), IID_ITrial, own.Get(), MSHCTX_LOCAL, nullptr,
                               MSHLFLAGS_NORMAL),
            S_OK);
  const TempFile there("there");
  const TempFile back("back");
  const std::vector<BYTE> bytes = BytesOf(ContentOf(stream.Get()));
  there.Write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  RunChild({registry_.path(), "change", there.path(), back.path()});

  const std::string answer = back.Content();
  const std::string hex = HexOf(answer.data(), answer.size());
  EXPECT_EQ(Bytes(hex, 0, 44), kHeader);
  EXPECT_EQ(Bytes(hex, 48, 100),
            "FE FF FF FF 07 00 00 00 63 00 68 00 61 00 6E 00 67 00 65 00 64 00");
  ComPtr<ITrial> changed;
  ASSERT_EQ(Unmarshal(NewStream(hex).Get(), changed), S_OK);
  EXPECT_TRUE(Holds(changed, -2, OLESTR("changed")));
  EXPECT_TRUE(Holds(own, 42, OLESTR("a\u00FCb")));
}

TEST_F(TrialModule, Reference_IsTheSameInEveryContextButTheProcessItself) {
  const auto trial = NewTrial();
  ASSERT_EQ(Set(trial, 42, OLESTR("a\u00FCb")), S_OK);
  const auto marshal = trial.As<IMarshal>();
  ASSERT_TRUE(marshal);
  for (const DWORD context : {MSHCTX_LOCAL, MSHCTX_NOSHAREDMEM, MSHCTX_DIFFERENTMACHINE}) {
    SCOPED_TRACE(context);
    DWORD claim = 0;
    EXPECT_EQ(marshal->GetMarshalSizeMax(IID_ITrial, trial.Get(), context, nullptr,
                                         MSHLFLAGS_NORMAL, &claim),
              S_OK);
    const auto stream = NewStream();
    EXPECT_EQ(CoMarshalInterface(stream.Get(), IID_ITrial, trial.Get(), context, nullptr,
                                 MSHLFLAGS_NORMAL),
              S_OK);
    const std::string hex = ContentOf(stream.Get());
    EXPECT_EQ(Bytes(hex, 0, 44), kHeader);
    EXPECT_EQ(Bytes(hex, 44, 4), HexOf(&claim, 4));
    EXPECT_EQ(Bytes(hex, 48, 100), "2A 00 00 00 03 00 00 00 61 00 FC 00 62 00");
    ULONG most = 0;
    EXPECT_EQ(
        CoGetMarshalSizeMax(&most, IID_ITrial, trial.Get(), context, nullptr, MSHLFLAGS_NORMAL),
        S_OK);
    EXPECT_GE(most, 48 + claim);
  }
}

TEST_F(TrialModule, DamagedReference_GivesNoObject) {
  const struct {
    const char* data;
    HRESULT result;
  } rows[] = {{"", STG_E_READFAULT},
              {"2A 00 00 00 03 00 00", STG_E_READFAULT},
              {"2A 00 00 00 03 00 00 00 61 00 FC 00 62", STG_E_READFAULT},
              {"2A 00 00 00 41 00 00 00 61 00 FC 00 62 00", E_FAIL},
              {"2A 00 00 00 FF FF FF FF 61 00 FC 00 62 00", E_FAIL}};
  for (const auto& [data, result] : rows) {
    SCOPED_TRACE(data);
    ComPtr<ITrial> trial;
    EXPECT_EQ(Unmarshal(NewStream(std::string(kHeader) + "00 00 00 00" + data).Get(), trial),
              result);
    EXPECT_FALSE(trial);
  }
}

TEST_F(TrialModule, InsideTheProcess_ThePointerItselfGoesOver) {
  const auto trial = NewTrial();
  const auto stream = NewStream();
  ASSERT_EQ(CoMarshalInterface(stream.Get(), IID_ITrial, trial.Get(), MSHCTX_INPROC, nullptr,
                               MSHLFLAGS_NORMAL),
            S_OK);
  EXPECT_EQ(Bytes(ContentOf(stream.Get()), 24, 16),
            "3A 03 00 00 00 00 00 00 C0 00 00 00 00 00 00 46");
  ComPtr<ITrial> same;
  ASSERT_EQ(Unmarshal(stream.Get(), same), S_OK);
  EXPECT_EQ(same.Get(), trial.Get());
}

TEST_F(TrialModule, CanUnload_WhenNothingOfItIsInUse) {
  const platform::LoadedModule module(TRIAL_MODULE);
  auto* canUnloadNow = module.Export<HRESULT STDAPICALLTYPE()>("DllCanUnloadNow");
  ASSERT_TRUE(canUnloadNow);
  EXPECT_EQ(canUnloadNow(), S_OK);
  auto trial = NewTrial();
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  trial.Reset();
  EXPECT_EQ(canUnloadNow(), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(CoGetClassObject(CLSID_Trial, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             factory.PutVoid()),
            S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  IClassFactory* const locked = factory.Get();
  factory.Reset();
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  EXPECT_EQ(locked->LockServer(FALSE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_OK);
}

TEST_F(TrialModule, FreeUnused_UnloadsTheModuleAndItComesBackFresh) {
  auto first = NewTrial();
  auto last = NewTrial();
  EXPECT_EQ(SerialOf(last), SerialOf(first) + 1);
  const LONG next = SerialOf(last) + 1;
  first.Reset();
  CoFreeUnusedLibraries();
  EXPECT_EQ(SerialOf(NewTrial()), next) << "unloaded under a living object";
  last.Reset();
  CoFreeUnusedLibraries();
  // Others of the platform wait some minutes before they unload.
  EXPECT_EQ(SerialOf(NewTrial()), kEmbeddedHost ? 1 : next + 1);
}

TEST_F(TrialModule, ModuleThatCannotServe_FailsInTheChild) {
  const struct {
    const char* path;
    const char* embedded;
  } rows[] = {{"no_such_module", "800401F8 serial 0"}, {EMPTY_MODULE, "800401F9 serial 0"}};
  for (const auto& [path, embedded] : rows) {
    SCOPED_TRACE(path);
    class_->Set(OLESTR("InprocServer32"), nullptr, BesideProgram(path));
    const std::string told = CreatedByChild(registry_.path());
    EXPECT_THAT(told, testing::MatchesRegex("8....... serial 0"));
    if (kEmbeddedHost) {
      EXPECT_EQ(told, embedded);
    }
  }
}

TEST_F(TrialModule, RegistryFileThatCannotBeRead_IsToldAndLeftAlone) {
  if (!kEmbeddedHost) GTEST_SKIP() << "the registry is no file of ours here";
  const std::string whole = registry_.Content();
  ASSERT_GT(whole.size(), 100u);
  std::string altered = whole;
  altered[altered.find("CLSID")] = 'X';
  const struct {
    const char* what;
    std::string content;
    const char* told;
  } rows[] = {{"as it was", whole, "00000000 serial 1"},
              {"empty", "", "80040150 serial 0"},
              {"cut in the middle", whole.substr(0, whole.size() / 2), "80040150 serial 0"},
              {"without its last byte", whole.substr(0, whole.size() - 1), "80040150 serial 0"},
              {"with another letter", altered, "80040150 serial 0"},
              {"something else", std::string(4096, '\0'), "80040150 serial 0"}};
  for (const auto& [what, content, told] : rows) {
    SCOPED_TRACE(what);
    const TempFile file("registry");
    file.Write(content);
    EXPECT_EQ(CreatedByChild(file.path()), told);
    EXPECT_EQ(file.Content(), content);
  }
  EXPECT_EQ(CreatedByChild(registry_.folder()), "80040150 serial 0");
  EXPECT_EQ(CreatedByChild(registry_.folder() + "/missing"), "80040154 serial 0");
}

}  // namespace
}  // namespace tests

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "child")
    return tests::Child({argv + 2, argv + argc});
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
