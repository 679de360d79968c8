#include "platform/query_table.h"

#include <gtest/gtest.h>

#include "tests/platform/probe.h"

namespace tests {

using platform::QueryRow;

// An object with a first row, a chain into a base and a row behind the chain that the base hides.
struct ChainedBase : ISecondProbe {
  static platform::QueryTable BaseQueryTable() noexcept {
    static constexpr QueryRow kRows[] = {platform::DirectRow<ChainedBase, ISecondProbe>()};
    return kRows;
  }
};

struct ChainedObject final : IFirstProbe, ChainedBase, IPersist {
  static platform::QueryTable GetQueryTable() noexcept {
    static constexpr QueryRow kRows[] = {
        platform::DirectRow<ChainedObject, IFirstProbe>(),
        platform::DelegatedRow<ChainedObject, IMarshal, &ChainedObject::inner>(),
        platform::ChainRow<ChainedObject, ChainedBase>(),
        platform::DirectRow<ChainedObject, IPersist>(),
        {&IID_ISecondProbe, nullptr, nullptr}};
    return kRows;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return platform::InternalQueryInterface(this, GetQueryTable(), iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  STDMETHODIMP First() override { return S_OK; }
  STDMETHODIMP Second() override { return S_OK; }
  STDMETHODIMP GetClassID(CLSID*) override { return S_OK; }

  ULONG references = 1;
  IUnknown* inner = nullptr;
};

TEST(QueryTable, WalksFromTheTopAndCountsOnce) {
  ChainedObject object;
  const struct {
    IID iid;
    void* expected;
  } rows[] = {{IID_IUnknown, static_cast<IFirstProbe*>(&object)},
              {IID_IFirstProbe, static_cast<IFirstProbe*>(&object)},
              {IID_ISecondProbe, static_cast<ISecondProbe*>(&object)},
              {IID_IPersist, static_cast<IPersist*>(&object)},
              {IID_IMarshal, nullptr},
              {kUnknownToProbe, nullptr}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    void* out = &object.inner;
    const HRESULT result = object.QueryInterface(row.iid, &out);
    EXPECT_EQ(result, row.expected ? S_OK : E_NOINTERFACE);
    EXPECT_EQ(out, row.expected);
    EXPECT_EQ(object.references, row.expected ? 2u : 1u);
    object.references = 1;
  }
  EXPECT_EQ(object.QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(QueryTable, DelegatedRowPassesTheIdentifierOn) {
  ChainedObject outer;
  ChainedObject inner;
  outer.inner = static_cast<IFirstProbe*>(&inner);
  void* out = nullptr;
  EXPECT_EQ(outer.QueryInterface(IID_IMarshal, &out), E_NOINTERFACE);
  IUnknown* deepest = nullptr;
  ASSERT_EQ(CoCreateFreeThreadedMarshaler(nullptr, &deepest), S_OK);
  inner.inner = deepest;
  ASSERT_EQ(outer.QueryInterface(IID_IMarshal, &out), S_OK);
  EXPECT_NE(out, nullptr);
  static_cast<IMarshal*>(out)->Release();
  deepest->Release();
}

}  // namespace tests
