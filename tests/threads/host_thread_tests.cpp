#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "platform/com_ptr.h"
#include "platform/platform.h"
#include "tests/host/class_registration.h"
#include "tests/host/counted_class.h"
#include "tests/support/debug_capture.h"
#include "tests/support/host_kind.h"
#include "tests/threads/many_threads.h"

namespace tests {
namespace {

using platform::ComPtr;
using WideText = std::basic_string<OLECHAR>;

constexpr HRESULT kNotRegistered = platform::ResultCode(0x80040154);
constexpr LPCOLESTR kTestKey = OLESTR("CLSID\\{0A1B53E5-6C1F-4E27-9C0D-5C1E7B3A9D01}");

constexpr CLSID TestClass(int number) {
  return {0x0A1B53F0u + static_cast<unsigned>(number),
          0x6C1F,
          0x4E27,
          {0x9C, 0x0D, 0x5C, 0x1E, 0x7B, 0x3A, 0x9D, 0x01}};
}

HRESULT Create(REFCLSID classId) {
  ComPtr<IPersist> object;
  return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IPersist, object.PutVoid());
}

HRESULT Register(REFCLSID classId, RecordingFactory& factory, DWORD& cookie) {
  return CoRegisterClassObject(classId, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                               &cookie);
}

TEST(ManyThreads, RegisterCreateAndRevokeClasses) {
  RecordingFactory shared;
  RecordingFactory own[kThreads];
  DWORD sharedCookie = 0;
  ASSERT_EQ(Register(TestClass(kThreads), shared, sharedCookie), S_OK);
  std::atomic<ULONG> created{0};
  OnManyThreads([&](int thread, int) {
    DWORD cookie = 0;
    EXPECT_EQ(Create(TestClass(thread)), kNotRegistered);
    EXPECT_EQ(Register(TestClass(thread), own[thread], cookie), S_OK);
    EXPECT_EQ(Create(TestClass(thread)), S_OK);
    EXPECT_EQ(Create(TestClass(kThreads)), S_OK);
    ++created;
    const HRESULT foreign = Create(TestClass((thread + 1) % kThreads));
    EXPECT_TRUE(foreign == S_OK || foreign == kNotRegistered) << foreign;
    EXPECT_EQ(CoRevokeClassObject(cookie), S_OK);
  });
  EXPECT_EQ(CoRevokeClassObject(sharedCookie), S_OK);
  EXPECT_EQ(shared.calls, created);
  EXPECT_EQ(shared.references, 1);
  EXPECT_EQ(shared.alive, 0);
  for (const RecordingFactory& factory : own) {
    EXPECT_EQ(factory.references, 1);
    EXPECT_EQ(factory.alive, 0);
  }
}

TEST(ManyThreads, CreateThroughTheRegistry) {
  const RegisteredClass entry(kModuleClass, BesideProgram("host_test_class.module"));
  OnManyThreads([](int, int) { EXPECT_EQ(Create(kModuleClass), S_OK); });
}

TEST(ManyThreads, ModuleIsNotUnloadedDuringACall) {
  const RegisteredClass entry(kModuleClass, BesideProgram("host_test_class.module"));
  OnManyThreads([](int thread, int) {
    if (thread == 0) {
      CoFreeUnusedLibraries();
      return;
    }
    // The object that refuses lives and dies inside the call.
    void* out = nullptr;
    EXPECT_EQ(CoCreateInstance(kModuleClass, nullptr, 1, IID_IStream, &out), E_NOINTERFACE);
  });
}

TEST(ManyThreads, ReadAndWriteTheRegistry) {
  OnManyThreads([](int thread, int round) {
    const WideText path =
        WideText(kTestKey) + OLESTR("\\Thread") + static_cast<OLECHAR>('0' + thread);
    HKEY key = nullptr;
    DWORD disposition = 0;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, &disposition),
              ERROR_SUCCESS);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    EXPECT_EQ(RegSetValueExW(key, OLESTR("round"), 0, REG_DWORD,
                             reinterpret_cast<const BYTE*>(&round), sizeof(round)),
              ERROR_SUCCESS);
    int read = -1;
    DWORD bytes = sizeof(read);
    EXPECT_EQ(RegQueryValueExW(key, OLESTR("round"), nullptr, nullptr,
                               reinterpret_cast<BYTE*>(&read), &bytes),
              ERROR_SUCCESS);
    EXPECT_EQ(read, round);
    HKEY parent = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, kTestKey, 0, KEY_READ, &parent), ERROR_SUCCESS);
    OLECHAR name[20];
    DWORD units = 20;
    EXPECT_EQ(RegEnumKeyExW(parent, 0, name, &units, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(parent);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, path.c_str()), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  });
  EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, kTestKey), ERROR_SUCCESS);
}

TEST(ManyThreads, KeepTheirOwnErrorObjects) {
  OnManyThreads([](int thread, int) {
    ComPtr<ICreateErrorInfo> made;
    ASSERT_EQ(CreateErrorInfo(made.Put()), S_OK);
    OLECHAR text[] = {static_cast<OLECHAR>('0' + thread), 0};
    EXPECT_EQ(made->SetDescription(text), S_OK);
    ComPtr<IErrorInfo> error;
    ASSERT_EQ(made->QueryInterface(IID_IErrorInfo, error.PutVoid()), S_OK);
    EXPECT_EQ(SetErrorInfo(0, error.Get()), S_OK);
    std::this_thread::yield();
    ComPtr<IErrorInfo> got;
    EXPECT_EQ(GetErrorInfo(0, got.Put()), S_OK);
    EXPECT_EQ(got.Get(), error.Get());
    BSTR description = nullptr;
    EXPECT_EQ(error->GetDescription(&description), S_OK);
    EXPECT_EQ(WideText(description), text);
    SysFreeString(description);
    EXPECT_EQ(GetErrorInfo(0, got.Put()), S_FALSE);
  });
}

TEST(ManyThreads, WriteDebugTextsWhileTheSinkChanges) {
  // On the platform a debugger does not go away while others write.
  if (!kEmbeddedHost) GTEST_SKIP();
  OnManyThreads([](int thread, int) {
    if (thread > 0) {
      OutputDebugStringA("text");
      return;
    }
    const DebugCapture capture;
    for (const std::string& text : capture.Texts()) EXPECT_EQ(text, "text");
  });
}

TEST(ManyThreads, ShareOneLock) {
  CRITICAL_SECTION section;
  ASSERT_TRUE(InitializeCriticalSectionAndSpinCount(&section, 0));
  long long count = 0;
  std::atomic<long long> expected{0};
  OnManyThreads([&](int, int round) {
    if (round % 4 != 0 || !TryEnterCriticalSection(&section)) EnterCriticalSection(&section);
    ++count;
    LeaveCriticalSection(&section);
    ++expected;
  });
  EXPECT_EQ(count, expected);
  DeleteCriticalSection(&section);
}

}  // namespace
}  // namespace tests
