#include <gmock/gmock.h>

#include "platform/com_object.h"
#include "tests/platform/probe.h"
#include "tests/support/doubles.h"

namespace tests {

// An outer object that answers IPersist itself and hands the rest to what it aggregates.
struct Outer final : Double<IPersist> {
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const HRESULT own = Double::QueryInterface(iid, out);
    return own == S_OK || !inner ? own : inner->QueryInterface(iid, out);
  }
  STDMETHODIMP GetClassID(CLSID*) override { return S_OK; }

  IUnknown* inner = nullptr;
};

TEST(Aggregation, InterfacesBelongToTheOuterAndTheUnknownToItself) {
  script = ProbeScript{};
  Outer outer;
  ASSERT_EQ(
      platform::CreateObject<Probe>(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)),
      S_OK);
  EXPECT_EQ(script.controllingUnknown, &outer);
  EXPECT_EQ(outer.references, 0) << "the inner object keeps no reference on its outer";
  EXPECT_EQ(platform::moduleLockCount, 1);

  IFirstProbe* first = nullptr;
  ASSERT_EQ(outer.QueryInterface(IID_IFirstProbe, reinterpret_cast<void**>(&first)), S_OK);
  EXPECT_EQ(outer.references, 1);
  void* identity = nullptr;
  ASSERT_EQ(first->QueryInterface(IID_IUnknown, &identity), S_OK);
  EXPECT_EQ(identity, &outer);
  void* persist = nullptr;
  EXPECT_EQ(first->QueryInterface(IID_IPersist, &persist), S_OK);
  EXPECT_EQ(persist, &outer);
  IMarshal* marshal = nullptr;
  ASSERT_EQ(first->QueryInterface(IID_IMarshal, reinterpret_cast<void**>(&marshal)), S_OK);
  EXPECT_EQ(outer.references, 4);
  marshal->Release();
  EXPECT_EQ(first->Release(), 2u);

  void* again = nullptr;
  ASSERT_EQ(outer.inner->QueryInterface(IID_IUnknown, &again), S_OK);
  EXPECT_EQ(again, outer.inner);
  EXPECT_EQ(outer.inner->Release(), 1u);
  EXPECT_EQ(outer.inner->QueryInterface(kUnknownToProbe, &again), E_NOINTERFACE);
  EXPECT_EQ(again, nullptr);
  EXPECT_EQ(outer.inner->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(outer.inner->Release(), 0u);
  EXPECT_EQ(platform::moduleLockCount, 0);
  const std::vector<std::string> end(script.log.end() - 4, script.log.end());
  EXPECT_THAT(end,
              testing::ElementsAre("final release", "content", "destructor", "section deleted"));
  EXPECT_EQ(script.locksInContent, 0);
}

TEST(Aggregation, FailuresLeaveNothing) {
  Outer outer;
  for (const HRESULT failure : {E_ABORT, E_OUTOFMEMORY}) {
    for (const char* step : {"constructor", "section", "final construct"}) {
      SCOPED_TRACE(step);
      script = ProbeScript{};
      script.constructorThrows = step[0] == 'c';
      (step[0] == 's' ? script.sectionResult : script.finalConstructResult) = failure;
      void* out = &outer;
      EXPECT_EQ(platform::CreateObject<Probe>(&outer, IID_IUnknown, &out),
                script.constructorThrows ? E_OUTOFMEMORY : failure);
      EXPECT_EQ(out, nullptr);
      EXPECT_EQ(platform::moduleLockCount, 0);
      EXPECT_EQ(outer.references, 0);
    }
  }
}

}  // namespace tests
