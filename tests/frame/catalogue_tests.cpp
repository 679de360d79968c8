// SPDX-License-Identifier: MIT
// The catalogue from inside, for what no client can bring about: a row that cannot make class
// objects, or is slow or unlucky with it.
#include "module/frame/catalogue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "platform/module_file.h"

namespace tests {
namespace {

std::atomic<int> created{0};

HRESULT MakeSlowly(platform::InstanceCreator creator, REFIID iid, void** out) noexcept {
  EXPECT_TRUE(IsEqualIID(iid, IID_IUnknown));
  // The first one fails. While the second one is made, others ask for the same class.
  if (++created == 1) return E_ABORT;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return platform::CreateClassObject<>(creator, iid, out);
}

TEST(Catalogue, MakesAClassObjectOnceAndKeepsIt) {
  rastel::CatalogueRow& row = *rastel::Catalogue();
  const auto creator = std::exchange(row.classObjectCreator, nullptr);
  platform::ComPtr<IUnknown> first;
  const auto get = [&](auto& out, const IID& iid = IID_IUnknown) {
    return rastel::GetClassObject(CLSID_ByteAOIKLP, iid, out.PutVoid());
  };
  EXPECT_EQ(get(first), E_UNEXPECTED) << "before the module is attached";
  rastel::AttachModule(platform::ThisModule());
  EXPECT_EQ(rastel::ModuleHandle(), platform::ThisModule());
  EXPECT_EQ(get(first), CLASS_E_CLASSNOTAVAILABLE);
  row.classObjectCreator = &MakeSlowly;
  EXPECT_EQ(get(first), E_ABORT);
  EXPECT_EQ(row.classObject, nullptr);

  std::vector<platform::ComPtr<IUnknown>> got(8);
  std::vector<std::thread> threads;
  for (auto& one : got) threads.emplace_back([&] { EXPECT_EQ(get(one), S_OK); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& one : got) EXPECT_EQ(one.Get(), row.classObject);
  EXPECT_EQ(created, 2);
  EXPECT_EQ(get(first, IID_IDispatch), E_NOINTERFACE);
  EXPECT_EQ(rastel::CanUnloadNow(), S_FALSE);
  got.clear();
  EXPECT_EQ(rastel::CanUnloadNow(), S_OK);

  rastel::DetachModule();
  EXPECT_EQ(row.classObject, nullptr);
  EXPECT_EQ(rastel::ModuleHandle(), nullptr);
  EXPECT_EQ(get(first), E_UNEXPECTED);
  row.classObjectCreator = creator;
}

}  // namespace
}  // namespace tests
