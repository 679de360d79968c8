// The catalogue from inside: its rows, module entry and exit, and the walks behind the exports,
// with the functions of the rows replaced by ones that write down their calls.
#include "module/frame/catalogue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "interfaces/identifiers.h"
#include "platform/module_file.h"

namespace tests {

// What the replaced functions saw, and what is to go wrong.
struct CatalogueScript {
  std::string calls;
  const char* failing = "";  // the row whose registration fails
  HRESULT creatorResult = S_OK;
  std::atomic<int> created{0};
  platform::InstanceCreator creatorGot = nullptr;
  IID iidGot{};
  bool rowWasEmptyAtRelease = false;
};
inline CatalogueScript* catalogueScript = nullptr;

// Stands in for a class object; Release does not destroy it.
class CountedClassObject final : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory);
    *out = known ? this : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override {
    catalogueScript->rowWasEmptyAtRelease = !rastel::Catalogue()->classObject;
    return --references;
  }
  std::atomic<ULONG> references{0};
};

namespace {

using rastel::CatalogueRow;

constexpr HRESULT kOwnCode = platform::ResultCode(0x80041234u);
CountedClassObject classObject;

HRESULT RecordRegistration(const CatalogueRow& row, bool enter) noexcept {
  catalogueScript->calls += std::string(enter ? "+" : "-") + row.name + ' ';
  return row.name == std::string(catalogueScript->failing) ? kOwnCode : S_FALSE;
}
void RecordAttached(bool attached) noexcept { catalogueScript->calls += attached ? '+' : '-'; }
HRESULT MakeCounted(platform::InstanceCreator creator, REFIID iid, void** out) noexcept {
  ++catalogueScript->created;
  catalogueScript->creatorGot = creator;
  catalogueScript->iidGot = iid;
  *out = nullptr;
  if (FAILED(catalogueScript->creatorResult)) return catalogueScript->creatorResult;
  // Others that ask for the same class arrive meanwhile.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return classObject.QueryInterface(iid, out);
}
HRESULT NoInstance(IUnknown*, REFIID, void**) noexcept { return E_NOTIMPL; }

// An attached module whose rows call the functions above; the first row makes counted class
// objects.
class Catalogue : public testing::Test {
 protected:
  Catalogue() {
    catalogueScript = &script_;
    classObject.references = 0;
    for (CatalogueRow* row = rastel::Catalogue(); row->classId; ++row) {
      replaced_.push_back({row->registration, row->objectMain});
      row->registration = &RecordRegistration;
      row->objectMain = &RecordAttached;
    }
    CatalogueRow& first = *rastel::Catalogue();
    creator_ = std::exchange(first.classObjectCreator, &MakeCounted);
    instanceCreator_ = std::exchange(first.instanceCreator, &NoInstance);
    rastel::AttachModule(platform::ThisModule());
  }
  ~Catalogue() override {
    rastel::DetachModule();
    EXPECT_EQ(platform::moduleLockCount, 0);
    CatalogueRow* row = rastel::Catalogue();
    row->classObjectCreator = creator_;
    row->instanceCreator = instanceCreator_;
    for (const Replaced& replaced : replaced_) {
      row->registration = replaced.registration;
      row++->objectMain = replaced.objectMain;
    }
  }

  CatalogueScript script_;

 private:
  struct Replaced {
    decltype(CatalogueRow::registration) registration;
    decltype(CatalogueRow::objectMain) objectMain;
  };
  std::vector<Replaced> replaced_;
  decltype(CatalogueRow::classObjectCreator) creator_;
  platform::InstanceCreator instanceCreator_;
};

TEST(CatalogueRows, StandInTheOrderOfRegistration) {
  constexpr char kNamesAndScripts[] =
      "ByteAOIKLP 101 WordAOIKLP 102 DWordAOIKLP 119 FloatAOIKLP 120 DoubleAOIKLP 121 "
      "CharAOIKLP 117 ShortAOIKLP 118 LongAOIKLP 123 ByteVectorKLP 110 ShortVectorKLP 109 "
      "LongVectorKLP 111 FloatVectorKLP 107 DoubleVectorKLP 104 CharVectorKLP 124 "
      "WordVectorKLP 125 DWordVectorKLP 126 VariantVectorKLP 106 AttributeBstrMapKLP 127 "
      "AttributeLongMapKLP 128 AttributeDoubleMapKLP 129 AttributeEntryKLP 130 ";
  std::string namesAndScripts;
  const CatalogueRow* row = rastel::Catalogue();
  for (; row->classId; ++row) {
    SCOPED_TRACE(row->name);
    namesAndScripts += row->name + (' ' + std::to_string(row->script)) + ' ';
    // A class is there with both of its creators or not at all.
    EXPECT_EQ(row->classObjectCreator,
              row->instanceCreator ? &platform::CreateClassObject : nullptr);
    EXPECT_EQ(row->classObject, nullptr) << "before the first request";
    EXPECT_EQ(row->registrationCookie, 0u);
    EXPECT_EQ(row->description(), nullptr);
    EXPECT_EQ(row->categories(), nullptr);
  }
  EXPECT_EQ(namesAndScripts, kNamesAndScripts);
}

TEST_F(Catalogue, AttachAndDetach_TellEveryRowAndReleaseClassObjects) {
  EXPECT_EQ(script_.calls, std::string(21, '+'));
  EXPECT_EQ(rastel::ModuleHandle(), platform::ThisModule());
  void* out = nullptr;
  ASSERT_EQ(rastel::GetClassObject(CLSID_ByteAOIKLP, IID_IClassFactory, &out), S_OK);
  EXPECT_EQ(classObject.references, 2u) << "the row's and the client's";
  classObject.Release();
  EXPECT_FALSE(script_.rowWasEmptyAtRelease);

  rastel::DetachModule();
  EXPECT_EQ(script_.calls, std::string(21, '+') + std::string(21, '-'));
  EXPECT_EQ(classObject.references, 0u);
  EXPECT_TRUE(script_.rowWasEmptyAtRelease);
  EXPECT_EQ(rastel::ModuleHandle(), nullptr);
  EXPECT_EQ(rastel::GetClassObject(CLSID_ByteAOIKLP, IID_IClassFactory, nullptr), E_POINTER);
  for (const CLSID& classId : {CLSID_ByteAOIKLP, GUID_NULL}) {
    out = &out;
    EXPECT_EQ(rastel::GetClassObject(classId, IID_IClassFactory, &out), E_UNEXPECTED);
    EXPECT_EQ(out, nullptr);
  }

  rastel::AttachModule(platform::ThisModule());
  ASSERT_EQ(rastel::GetClassObject(CLSID_ByteAOIKLP, IID_IUnknown, &out), S_OK);
  classObject.Release();
  EXPECT_EQ(script_.created, 2) << "one for each life of the module";
}

TEST_F(Catalogue, ClassObject_IsMadeOnceForIUnknownAndThenAsked) {
  void* out = &out;
  script_.creatorResult = kOwnCode;
  EXPECT_EQ(rastel::GetClassObject(CLSID_ByteAOIKLP, IID_IClassFactory, &out), kOwnCode);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(rastel::Catalogue()->classObject, nullptr);
  script_.creatorResult = S_OK;
  EXPECT_EQ(rastel::GetClassObject(CLSID_ByteAOIKLP, IID_IDispatch, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(script_.creatorGot, &NoInstance);
  EXPECT_TRUE(IsEqualIID(script_.iidGot, IID_IUnknown));
  for (const IID& iid : {IID_IClassFactory, IID_IUnknown}) {
    ASSERT_EQ(rastel::GetClassObject(CLSID_ByteAOIKLP, iid, &out), S_OK);
    EXPECT_EQ(out, &classObject);
    classObject.Release();
  }
  EXPECT_EQ(script_.created, 2) << "in vain, and for the request that was refused";
}

TEST_F(Catalogue, FirstRequestsOfManyThreads_MakeOneClassObject) {
  constexpr int kThreads = 8;
  std::atomic<int> waiting{kThreads}, same{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      void* out = nullptr;
      rastel::GetClassObject(CLSID_ByteAOIKLP, IID_IUnknown, &out);
      if (out == &classObject) ++same;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(same, kThreads);
  EXPECT_EQ(script_.created, 1);
  EXPECT_EQ(classObject.references, 1u + kThreads);
  classObject.references = 1;
}

TEST_F(Catalogue, Registration_WalksTheRowsUpToTheFirstFailure) {
  const auto walk = [](char sign, const std::string& last) {
    std::string calls;
    for (const CatalogueRow* row = rastel::Catalogue(); row->classId; ++row) {
      calls += sign + std::string(row->name) + ' ';
      if (row->name == last) break;
    }
    return calls;
  };
  for (const char* failing : {"", "ByteAOIKLP", "ByteVectorKLP", "AttributeEntryKLP"}) {
    SCOPED_TRACE(failing);
    script_.failing = failing;
    script_.calls.clear();
    EXPECT_EQ(rastel::RegisterServer(), *failing ? kOwnCode : S_OK);
    EXPECT_EQ(script_.calls, walk('+', failing));
    script_.calls.clear();
    EXPECT_EQ(rastel::UnregisterServer(), S_OK) << "whatever the rows say";
    EXPECT_EQ(script_.calls, walk('-', failing));
  }
}

}  // namespace
}  // namespace tests
