#include "platform/class_factory.h"

#include <gtest/gtest.h>

#include "tests/platform/probe.h"

namespace tests {

class ClassFactory : public testing::Test {
 protected:
  void SetUp() override {
    script = ProbeScript{};
    ASSERT_EQ(platform::CreateClassObject(&platform::CreateObject<Probe>, IID_IUnknown,
                                          reinterpret_cast<void**>(&cached_)),
              S_OK);
  }
  void TearDown() override {
    EXPECT_EQ(cached_->Release(), 0u);
    EXPECT_EQ(platform::moduleLockCount, 0);
  }
  IUnknown* cached_ = nullptr;
};

TEST_F(ClassFactory, HoldsTheModuleOnlyWhileAClientRefersToIt) {
  EXPECT_EQ(platform::moduleLockCount, 0);
  IClassFactory* factory = nullptr;
  ASSERT_EQ(cached_->QueryInterface(IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
  EXPECT_EQ(platform::moduleLockCount, 1);
  EXPECT_EQ(factory->AddRef(), 3u);
  EXPECT_EQ(platform::moduleLockCount, 1);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(platform::moduleLockCount, 2);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(factory->Release(), 2u);
  EXPECT_EQ(factory->Release(), 1u);
  EXPECT_EQ(platform::moduleLockCount, 0);
}

TEST_F(ClassFactory, CreateInstanceTestsInItsOrder) {
  auto* factory = static_cast<IClassFactory*>(cached_);
  EXPECT_EQ(factory->CreateInstance(cached_, IID_IDispatch, nullptr), E_POINTER);
  void* out = &script;
  EXPECT_EQ(factory->CreateInstance(cached_, IID_IDispatch, &out), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(out, nullptr);
  EXPECT_TRUE(script.log.empty()) << "nothing was created";
  EXPECT_EQ(factory->CreateInstance(nullptr, kUnknownToProbe, &out), E_NOINTERFACE);
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_ISecondProbe, &out), S_OK);
  EXPECT_EQ(static_cast<ISecondProbe*>(out)->Second(), S_FALSE);
  EXPECT_EQ(static_cast<ISecondProbe*>(out)->Release(), 0u);
  void* refused = nullptr;
  EXPECT_EQ(cached_->QueryInterface(IID_IDispatch, &refused), E_NOINTERFACE);
}

}  // namespace tests
