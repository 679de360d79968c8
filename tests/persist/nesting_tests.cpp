// What a thread refuses once objects nest too deep. The tests of vectors and maps show how deep
// that is, and objects that hold themselves.
#include "persist/nesting.h"

#include <gmock/gmock.h>

#include <thread>

#include "tests/persist/test_object.h"

namespace tests {
namespace {

using platform::ComPtr;
using rastel::CComVariant;

class Nesting : public ObjectTest {
 protected:
  // An object that holds an object that holds ..., so many objects in all.
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

TEST_F(Nesting, RefusesUntilTheOutermostOperationHasEnded) {
  ULARGE_INTEGER size{};
  {
    const rastel::OperationLevel outermost;
    const ComPtr<TestObject> deep = NewChain(257), flat = NewChain(2);
    const CComVariant value = NewValue();
    EXPECT_EQ(deep->Save(NewStream().Get(), TRUE), E_ACCESSDENIED);
    EXPECT_EQ(flat->Save(NewStream().Get(), TRUE), E_ACCESSDENIED);
    EXPECT_EQ(deep->GetSizeMax(&size), E_ACCESSDENIED);
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(rastel::WriteToStream(stream.Get(), value), E_ACCESSDENIED);
    EXPECT_EQ(ContentOf(stream.Get()), std::string("0D 00 ") + kTestClassHex);
    EXPECT_EQ(rastel::WritePlainVariant(value, stream.Get()), E_ACCESSDENIED);
    EXPECT_EQ(Raised([&] { rastel::WriteObject(stream.Get(), value.punkVal); }), E_ACCESSDENIED);
    std::thread([&] { EXPECT_EQ(flat->Save(NewStream().Get(), TRUE), S_OK); }).join();
  }
  const ComPtr<TestObject> chain = NewChain(256);
  EXPECT_EQ(chain->Save(NewStream().Get(), TRUE), S_OK);
  EXPECT_EQ(chain->GetSizeMax(&size), S_OK);
}

}  // namespace
}  // namespace tests
