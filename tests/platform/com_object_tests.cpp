#include "platform/com_object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/probe.h"

namespace tests {

using platform::CreateObject;
using testing::ElementsAre;

class ComObject : public testing::Test {
 protected:
  void SetUp() override { script = ProbeScript{}; }
  void TearDown() override { EXPECT_EQ(platform::moduleLockCount, 0); }
};

TEST_F(ComObject, LifeFollowsItsSteps) {
  IFirstProbe* probe = nullptr;
  ASSERT_EQ(CreateObject<Probe>(nullptr, IID_IFirstProbe, reinterpret_cast<void**>(&probe)), S_OK);
  EXPECT_EQ(script.controllingUnknown, probe);
  EXPECT_EQ(script.locksAtFinalConstruct, 1) << "the wrapper counts before anything can fail";
  EXPECT_EQ(probe->AddRef(), 2u);
  EXPECT_EQ(probe->Release(), 1u);
  EXPECT_EQ(probe->First(), S_OK);
  EXPECT_EQ(probe->Release(), 0u);
  EXPECT_THAT(script.log, ElementsAre("constructor", "section", "final construct", "final release",
                                      "content", "destructor", "section deleted"));
  EXPECT_EQ(script.locksInContent, 0);
  EXPECT_EQ(script.countInFinalRelease, 0xC0000001u) << "a late pair does not destroy it again";
}

TEST_F(ComObject, FailuresOfEachStepEndTheCreation) {
  const HRESULT noSection = platform::ResultCode(0x8007000Eu);
  const struct {
    const char* name;
    bool constructorThrows;
    HRESULT section;
    HRESULT finalConstruct;
    IID iid;
    HRESULT expected;
  } rows[] = {{"constructor", true, S_OK, S_OK, IID_IFirstProbe, E_OUTOFMEMORY},
              {"critical section", false, noSection, S_OK, IID_IFirstProbe, noSection},
              {"final construct", false, S_OK, E_ABORT, IID_IFirstProbe, E_ABORT},
              {"query", false, S_OK, S_OK, kUnknownToProbe, E_NOINTERFACE}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    script = ProbeScript{};
    script.constructorThrows = row.constructorThrows;
    script.sectionResult = row.section;
    script.finalConstructResult = row.finalConstruct;
    void* out = &script;
    EXPECT_EQ(CreateObject<Probe>(nullptr, row.iid, &out), row.expected);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(platform::moduleLockCount, 0);
    const bool sectionStood = !row.constructorThrows && row.section == S_OK;
    EXPECT_EQ(script.log.back(), sectionStood ? "section deleted" : "no section");
  }
  EXPECT_EQ(CreateObject<Probe>(nullptr, IID_IFirstProbe, nullptr), E_POINTER);
}

TEST_F(ComObject, InternalCreationGivesCountZero) {
  platform::CComObject<Probe>* probe = nullptr;
  ASSERT_EQ(platform::CComObject<Probe>::CreateInstance(&probe), S_OK);
  EXPECT_EQ(probe->AddRef(), 1u);
  EXPECT_EQ(probe->Release(), 0u);
  EXPECT_EQ(platform::CComObject<Probe>::CreateInstance(nullptr), E_POINTER);
}

TEST_F(ComObject, MarshalerCountsOnTheObject) {
  IFirstProbe* probe = nullptr;
  ASSERT_EQ(CreateObject<Probe>(nullptr, IID_IFirstProbe, reinterpret_cast<void**>(&probe)), S_OK);
  IMarshal* marshal = nullptr;
  ASSERT_EQ(probe->QueryInterface(IID_IMarshal, reinterpret_cast<void**>(&marshal)), S_OK);
  EXPECT_EQ(probe->AddRef(), 3u);
  probe->Release();
  void* identity = nullptr;
  ASSERT_EQ(marshal->QueryInterface(IID_IUnknown, &identity), S_OK);
  EXPECT_EQ(identity, probe);
  probe->Release();
  EXPECT_EQ(marshal->Release(), 1u);
  EXPECT_EQ(probe->Release(), 0u);
}

TEST_F(ComObject, FirstAnswerMayBeADelegatedOne) {
  IMarshal* marshal = nullptr;
  ASSERT_EQ(CreateObject<Probe>(nullptr, IID_IMarshal, reinterpret_cast<void**>(&marshal)), S_OK);
  EXPECT_EQ(marshal->Release(), 0u);
}

// A class that asks for protection while its inner objects are made.
class ProtectedProbe : public platform::CComObjectRootEx<platform::CComMultiThreadModel>,
                       public IFirstProbe {
 public:
  static constexpr bool kProtectFinalConstruct = true;
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<ProtectedProbe, IFirstProbe>()};
    return kRows;
  }
  HRESULT FinalConstruct(IUnknown*) {
    AddRef();
    script.countInFinalRelease = Release();
    return S_OK;
  }
  STDMETHODIMP First() override { return S_OK; }
};

TEST_F(ComObject, ProtectionHoldsOnlyWhileItIsMade) {
  IFirstProbe* probe = nullptr;
  ASSERT_EQ(CreateObject<ProtectedProbe>(nullptr, IID_IUnknown, reinterpret_cast<void**>(&probe)),
            S_OK);
  EXPECT_EQ(script.countInFinalRelease, 1u);
  EXPECT_EQ(probe->Release(), 0u);
}

}  // namespace tests
