#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "platform/com_ptr.h"
#include "platform/platform.h"
#include "tests/host/class_registration.h"
#include "tests/host/counted_class.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

using platform::ComPtr;
using platform::ResultCode;

constexpr CLSID kTestClass{
    0x0A1B53E2, 0x6C1F, 0x4E27, {0x9C, 0x0D, 0x5C, 0x1E, 0x7B, 0x3A, 0x9D, 0x01}};
constexpr CLSID kUnknownClass{
    0x0A1B53E3, 0x6C1F, 0x4E27, {0x9C, 0x0D, 0x5C, 0x1E, 0x7B, 0x3A, 0x9D, 0x01}};
constexpr HRESULT kNotRegistered = ResultCode(0x80040154);
constexpr HRESULT kOwnCode = ResultCode(0x80041234);
constexpr char kModule[] = "host_test_class.module";

void* const kGarbage = reinterpret_cast<void*>(std::uintptr_t{0x10});

// The number of a new object of a class; the result, which is no number, when there is none.
ULONG NewObject(REFCLSID classId) {
  ComPtr<IPersist> object;
  const HRESULT hr =
      CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IPersist, object.PutVoid());
  CLSID number{};
  if (object) object->GetClassID(&number);
  return SUCCEEDED(hr) ? number.Data1 : static_cast<ULONG>(hr);
}
ULONG Code(HRESULT hr) { return static_cast<ULONG>(hr); }

class Classes : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CoRegisterClassObject(kTestClass, &factory_, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                    &cookie_),
              S_OK);
    EXPECT_NE(cookie_, 0u);
  }
  void TearDown() override {
    if (cookie_ != 0) {
      EXPECT_EQ(CoRevokeClassObject(cookie_), S_OK);
    }
    EXPECT_EQ(factory_.references, 1);
    EXPECT_EQ(factory_.alive, 0);
  }

  RecordingFactory factory_;
  DWORD cookie_ = 0;
};

TEST_F(Classes, Context_NeedsTheBitOfInProcessServers) {
  for (const auto& [context, isFound] : {std::pair<DWORD, bool>{0x415, true}, {0x4, false}}) {
    SCOPED_TRACE(context);
    void* out = kGarbage;
    EXPECT_EQ(CoCreateInstance(kUnknownClass, nullptr, context, IID_IUnknown, &out),
              kNotRegistered);
    EXPECT_EQ(out, nullptr);
    // Others of the platform look for a server of this class in another process.
    if (!isFound && !kEmbeddedHost) continue;
    ComPtr<IUnknown> object;
    EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, context, IID_IUnknown, object.PutVoid()),
              isFound ? S_OK : kNotRegistered);
    EXPECT_EQ(factory_.calls, 1u);
  }
  EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, 1, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(Classes, FailingFactory_PassesItsCodeOnAndLeavesNoPointer) {
  void* out = kGarbage;
  EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, 1, IID_IStream, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  factory_.result = kOwnCode;
  out = kGarbage;
  EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, 1, IID_IUnknown, &out), kOwnCode);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(CoCreateInstance(kTestClass, &factory_, 1, IID_IPersist, &out), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(factory_.lastOuter, &factory_);
}

TEST(Apartments, EntryIsCountedPerThread) {
  std::thread([] {
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), ResultCode(0x80010106));
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
  }).join();
}

TEST_F(Classes, Registration_HoldsOneReferenceUntilRevoked) {
  EXPECT_EQ(factory_.references, 2);
  RecordingFactory second;
  DWORD cookie = 0;
  EXPECT_EQ(CoRegisterClassObject(kTestClass, &second, 1, REGCLS_MULTIPLEUSE, &cookie), S_OK);
  EXPECT_EQ(NewObject(kTestClass), 1u);
  EXPECT_EQ(factory_.calls, 1u);
  EXPECT_EQ(CoRevokeClassObject(cookie_), S_OK);
  EXPECT_EQ(factory_.references, 1);
  EXPECT_NE(CoRevokeClassObject(cookie_), S_OK);
  cookie_ = 0;
  if (kEmbeddedHost) {
    EXPECT_EQ(NewObject(kTestClass), 1u);
    EXPECT_EQ(second.calls, 1u);
    EXPECT_NE(cookie, 0u);
  }
  CoRevokeClassObject(cookie);
  EXPECT_EQ(second.references, 1);
  EXPECT_EQ(NewObject(kTestClass), Code(kNotRegistered));
  ExpectEach(E_INVALIDARG,
             {CoRegisterClassObject(kTestClass, nullptr, 1, REGCLS_MULTIPLEUSE, &cookie),
              CoRegisterClassObject(kTestClass, &second, 1, REGCLS_MULTIPLEUSE, nullptr)});
  EXPECT_NE(CoRevokeClassObject(0x7FFFFFF1), S_OK);
}

TEST(RegisteredModules, Class_IsFoundThroughTheRegistry) {
  std::optional<RegisteredClass> entry(std::in_place, kModuleClass, BesideProgram(kModule));
  EXPECT_EQ(NewObject(kModuleClass), 1u);
  EXPECT_EQ(NewObject(kModuleClass), 2u);
  void* out = kGarbage;
  EXPECT_EQ(CoCreateInstance(kModuleClass, nullptr, 4, IID_IUnknown, &out), kNotRegistered);
  EXPECT_EQ(CoCreateInstance(kModuleClass, nullptr, 1, IID_IStream, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  entry.reset();
  EXPECT_EQ(NewObject(kModuleClass), Code(kNotRegistered));
}

TEST(RegisteredModules, ModuleThatDoesNotServe_GivesItsOwnResult) {
  const RegisteredClass wrong(kTestClass, BesideProgram(kModule));
  const RegisteredClass missing(kUnknownClass, BesideProgram("no_such.module"));
  const RegisteredClass empty(kModuleClass, BesideProgram("host_test_empty.module"));
  EXPECT_EQ(NewObject(kTestClass), Code(CLASS_E_CLASSNOTAVAILABLE));
  const ULONG codes[] = {NewObject(kUnknownClass), NewObject(kModuleClass)};
  for (const ULONG code : codes) EXPECT_GE(code, 0x80000000u);
  EXPECT_TRUE(!kEmbeddedHost || (codes[0] == 0x800401F8u && codes[1] == 0x800401F9u));
}

TEST(RegisteredModules, FreeUnused_UnloadsWhatSaysSo) {
  const RegisteredClass entry(kModuleClass, BesideProgram(kModule));
  ComPtr<IPersist> alive;
  CoFreeUnusedLibraries();
  EXPECT_EQ(CoCreateInstance(kModuleClass, nullptr, 1, IID_IPersist, alive.PutVoid()), S_OK);
  const ULONG next = NewObject(kModuleClass) + 1;
  CoFreeUnusedLibraries();
  EXPECT_EQ(NewObject(kModuleClass), next);
  alive.Reset();
  CoFreeUnusedLibraries();
  // Loaded anew, it begins to count at 1; others of the platform wait some minutes.
  EXPECT_EQ(NewObject(kModuleClass), kEmbeddedHost ? 1 : next + 1);
}

TEST(ProgIds, LeadToTheClassAndBack) {
  const RegisteredClass entry(kModuleClass, BesideProgram(kModule));
  const RegisteredKey progId(OLESTR("RastelTest.Class.1"));
  progId.Set(OLESTR("CLSID"), nullptr, ClassText(kModuleClass));
  const RegisteredKey broken(OLESTR("RastelTest.Broken"));
  broken.Set(OLESTR("CLSID"), nullptr, OLESTR("{0A1B53E1}"));
  CLSID classId{};
  EXPECT_EQ(CLSIDFromProgID(OLESTR("rasteltest.CLASS.1"), &classId), S_OK);
  EXPECT_TRUE(IsEqualCLSID(classId, kModuleClass));
  for (const LPCOLESTR unknown : {OLESTR("RastelTest.None"), OLESTR("RastelTest.Broken")}) {
    EXPECT_EQ(CLSIDFromProgID(unknown, &classId), ResultCode(0x800401F3));
  }

  LPOLESTR text = nullptr;
  EXPECT_EQ(ProgIDFromCLSID(kModuleClass, &text), kNotRegistered);
  EXPECT_EQ(text, nullptr);
  entry.Set(OLESTR("ProgID"), nullptr, OLESTR("RastelTest.Class.1"));
  EXPECT_EQ(ProgIDFromCLSID(kModuleClass, &text), S_OK);
  EXPECT_EQ(std::basic_string<OLECHAR>(text), OLESTR("RastelTest.Class.1"));
  CoTaskMemFree(text);
  ExpectEach(E_INVALIDARG,
             {CLSIDFromProgID(nullptr, &classId), CLSIDFromProgID(OLESTR("x"), nullptr),
              ProgIDFromCLSID(kModuleClass, nullptr)});
}

}  // namespace
}  // namespace tests
