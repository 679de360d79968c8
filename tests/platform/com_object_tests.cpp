// SPDX-License-Identifier: MIT
// The life of an object in its wrappers, by a class that writes down each step with the module's
// count beside it. What clients see of it, and aggregation, are tested on the module's classes.
#include "platform/com_object.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/doubles.h"

struct IStepsProbe : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Act() = 0;
};
inline constexpr IID IID_IStepsProbe{
    0x1F0A7C54, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x10}};
RASTEL_INTERFACE_ID(IStepsProbe);

namespace tests {

std::string steps;
const char* failing = "";  // the step that fails
ULONG countAtEnd = 0, countWhileMade = 0;

HRESULT Step(const char* name) {
  steps += std::string(name) + std::to_string(platform::moduleCount.Sum()) + ' ';
  return name == std::string(failing) ? E_ABORT : S_OK;
}

struct LoggingModel : platform::CComMultiThreadModel {
  struct CriticalSection {
    ~CriticalSection() {
      if (isMade) Step("end");
    }
    HRESULT Init() noexcept {
      const HRESULT result = Step("section");
      isMade = SUCCEEDED(result);
      return result;
    }
    bool isMade = false;
  };
};

class StepsProbe : public platform::CComObjectRootEx<LoggingModel>, public IStepsProbe {
 public:
  static inline bool kProtectFinalConstruct = false;

  StepsProbe() {
    if (FAILED(Step("new"))) throw failing;
  }
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr platform::QueryRow kRows[] = {
        platform::DirectRow<StepsProbe, IStepsProbe>(),
        platform::DelegatedRow<StepsProbe, IMarshal, &StepsProbe::nothing>()};
    return kRows;
  }
  HRESULT FinalConstruct(IUnknown* controlling) {
    if (kProtectFinalConstruct) countWhileMade = (controlling->AddRef(), controlling->Release());
    const HRESULT result = Step("construct");
    if (failing == std::string("raise")) throw failing;
    return result;
  }
  void FinalRelease() noexcept {
    Step("release");
    countAtEnd = (AddRef(), Release());
  }
  void ReleaseContent() noexcept { Step("content"); }
  STDMETHODIMP Act() override { return S_OK; }

  IUnknown* nothing = nullptr;

 protected:
  ~StepsProbe() { Step("delete"); }
};

TEST(ComObject, LivesAndFailsInItsSteps) {
  const std::string whole = "new0 section1 construct1 release1 content0 delete0 end0 ";
  const struct {
    const char* failing;
    HRESULT result;
    std::string steps;
    IID iid = IID_IUnknown;
  } rows[] = {{"", S_OK, whole},
              {"new", E_OUTOFMEMORY, "new0 "},
              {"section", E_ABORT, "new0 section1 release1 content0 delete0 "},
              {"construct", E_ABORT, whole},
              {"raise", E_OUTOFMEMORY, whole},
              {"", E_NOINTERFACE, whole, IID_IPersist},
              {"", E_NOINTERFACE, whole, IID_IMarshal}};
  for (const bool isAggregated : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.failing);
      Double<IUnknown> outer;
      IUnknown* object = &outer;
      steps.clear();
      failing = row.failing;
      EXPECT_EQ(platform::CreateObject<StepsProbe>(isAggregated ? &outer : nullptr, row.iid,
                                                   reinterpret_cast<void**>(&object)),
                row.result);
      EXPECT_EQ(object != nullptr, row.result == S_OK);
      if (object) {
        EXPECT_EQ(object->AddRef(), 2u);
        EXPECT_EQ(object->Release(), 1u);
        EXPECT_EQ(object->Release(), 0u);
        // A late pair does not destroy it again.
        EXPECT_EQ(countAtEnd, isAggregated ? 0 : 0xC0000001u);
      }
      EXPECT_EQ(steps, row.steps);
      EXPECT_EQ(outer.references, 0);
    }
  }
  EXPECT_EQ(platform::CreateObject<StepsProbe>(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

TEST(ComObject, HasACountWhileItIsMadeOnlyIfItAsksForIt) {
  using Object = platform::CComObject<StepsProbe>;
  StepsProbe::kProtectFinalConstruct = true;
  failing = "";
  Object* object = nullptr;
  ASSERT_EQ(Object::CreateInstance(&object), S_OK);
  StepsProbe::kProtectFinalConstruct = false;
  EXPECT_EQ(countWhileMade, 1u);
  EXPECT_EQ(object->AddRef(), 1u);
  EXPECT_EQ(object->Release(), 0u);
}

}  // namespace tests
