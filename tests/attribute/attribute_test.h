// Maps as clients hold them: made by the loaded module, whose map classes are registered while a
// test runs, so that maps nested in streams can be made.
#pragma once

#include "interfaces/attribute.h"
#include "tests/persist/client_objects.h"

namespace tests {

template <class Map>
LONG CountOf(const Map& map) {
  LONG count = -1;
  EXPECT_EQ(map->get_Count(&count), S_OK);
  return count;
}

class MapTest : public ClientTest {
 protected:
  MapTest()
      : ClientTest(
            {CLSID_AttributeBstrMapKLP, CLSID_AttributeLongMapKLP, CLSID_AttributeDoubleMapKLP}) {}
};

}  // namespace tests
