// How deep objects nest, and that objects which hold themselves come to an end.
#include "persist/nesting.h"

#include <gmock/gmock.h>

#include <thread>

#include "persist/variant_arrays.h"
#include "tests/persist/test_object.h"

namespace tests {
namespace {

using platform::ComPtr;
using rastel::CComVariant;

class Nesting : public ObjectTest {
 protected:
  // An object that holds an object that holds ..., so many objects in all. The innermost holds
  // VT_EMPTY.
  ComPtr<TestObject> NewChain(int objects) {
    ComPtr<TestObject> outermost = NewObject();
    for (int i = 1; i < objects; ++i) {
      const ComPtr<TestObject> outer = NewObject();
      outer->value.vt = VT_UNKNOWN;
      outer->value.pdispVal = outermost.Detach();
      outermost = outer;
    }
    return outermost;
  }
};

TEST_F(Nesting, StreamsAreReadTo256Levels) {
  Register();
  for (const int nested : {255, 256, 5000}) {
    SCOPED_TRACE(nested);
    std::string hex;
    for (int i = 0; i < nested; ++i)
      hex += std::string("0D 00") + kTestClassHex + "0000000000000000";
    const ComPtr<IStream> stream = NewStream(hex + "00 00 00 00 00 00 00 00");
    const ComPtr<TestObject> object = NewObject();
    script_.calls.clear();
    EXPECT_EQ(object->Load(stream.Get()), nested == 255 ? S_OK : E_ACCESSDENIED);
    EXPECT_EQ(script_.calls.size(), 256u);
  }
}

TEST_F(Nesting, ObjectsThatHoldThemselvesEnd) {
  for (const bool passesFailuresOver : {false, true}) {
    SCOPED_TRACE(passesFailuresOver);
    script_.passesFailuresOver = passesFailuresOver;
    const ComPtr<TestObject> self = NewObject();
    std::vector<CComVariant> selves(100);
    for (CComVariant& value : selves) {
      value.vt = VT_UNKNOWN;
      value.pdispVal = ComPtr<IDispatch>(self.Get()).Detach();
    }
    self->value = selves[0];
    script_.saves = 0;
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(self->Save(stream.Get(), TRUE), passesFailuresOver ? S_OK : E_ACCESSDENIED);
    ULARGE_INTEGER size{};
    EXPECT_EQ(self->GetSizeMax(&size), E_ACCESSDENIED);
    rastel::WriteVariantArray(stream.Get(), selves);
    std::vector<CComVariant> copies(selves.size());
    rastel::GetRealCopyOfVariants(copies, selves, selves.size());
    EXPECT_LE(script_.saves, 4 * 256);
    self->value = CComVariant();
  }
  // The thread is as before.
  const ComPtr<TestObject> chain = NewChain(256);
  EXPECT_EQ(chain->Save(NewStream().Get(), TRUE), S_OK);
}

TEST_F(Nesting, RefusesUntilTheOutermostOperationHasEnded) {
  {
    const rastel::OperationLevel outermost;
    const ComPtr<TestObject> deep = NewChain(257), flat = NewChain(2);
    const CComVariant value = NewValue();
    EXPECT_EQ(deep->Save(NewStream().Get(), TRUE), E_ACCESSDENIED);
    EXPECT_EQ(flat->Save(NewStream().Get(), TRUE), E_ACCESSDENIED);
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(rastel::WriteToStream(stream.Get(), value), E_ACCESSDENIED);
    EXPECT_EQ(ContentOf(stream.Get()), std::string("0D 00 ") + kTestClassHex);
    EXPECT_EQ(rastel::WritePlainVariant(value, stream.Get()), E_ACCESSDENIED);
    EXPECT_EQ(Raised([&] { rastel::WriteObject(stream.Get(), value.punkVal); }), E_ACCESSDENIED);
    std::thread([&] { EXPECT_EQ(flat->Save(NewStream().Get(), TRUE), S_OK); }).join();
  }
  EXPECT_EQ(NewChain(2)->Save(NewStream().Get(), TRUE), S_OK);
}

}  // namespace
}  // namespace tests
