// SPDX-License-Identifier: MIT
// What rows of text cannot say of AOIs: AOIs of another maker, names that depend on the machine.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "interfaces/aoi.h"
#include "interfaces/image_buffer.h"
#include "tests/support/module_client.h"
#include "tests/support/streams.h"
#include "tests/support/test_object.h"

namespace tests {

using platform::ComPtr;

// An AOI of bytes of another maker, as a table of functions written by hand: the slots that AOIs
// ask one another are there, every other one counts as a mistake. It lives on the stack.
struct ForeignAoi {
  ForeignAoi() {
    table = slots.data();
    slots.fill(Address([](ForeignAoi* self) { return ++self->mistakes, E_UNEXPECTED; }));
    slots[1] = slots[2] = Address([](ForeignAoi*) { return S_FALSE; });
    slots[34] = Address([](ForeignAoi* self, LONG* w, LONG* h, LONG* skip, std::uint8_t** p) {
      self->onAccess();
      *w = self->width;
      *h = self->height;
      *skip = 1;
      *p = self->pixels;
      return self->result;
    });
  }
  IByteAOIKLP* Interface() { return reinterpret_cast<IByteAOIKLP*>(this); }

  void** table = nullptr;  // an object begins with this
  LONG width = 4, height = 2;
  std::uint8_t* pixels = nullptr;
  HRESULT result = S_OK;
  std::function<void()> onAccess = [] {};
  int mistakes = 0;

 private:
  template <class... Arguments>
  static void* Function(HRESULT (*function)(Arguments...)) {
    return reinterpret_cast<void*>(function);
  }
  template <class Lambda>
  static void* Address(Lambda lambda) {
    return Function(+lambda);
  }
  std::array<void*, 70> slots;
};

namespace {

using testing::ElementsAre;
using I = IByteAOIKLP;

TEST(AoiClients, ForeignAoi_IsAskedThroughItsInterface) {
  const auto aoi = ModuleClient::Get().Create<I>(CLSID_ByteAOIKLP);
  ASSERT_EQ(aoi->CreateImage(10, 10), S_OK);
  for (LONG i = 0; i < 100; ++i) aoi->PutPixel(i % 10, i / 10, i);
  ASSERT_EQ(aoi->SetRect(2, 1, 4, 9), S_OK);
  std::uint8_t memory[12] = {};
  ForeignAoi foreign;
  foreign.pixels = memory + 1;
  ASSERT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(0, 12, 13, 14, 0, 0, 22, 23, 24, 0, 0, 0));
  for (LONG* const side : {&foreign.width, &foreign.height}) {
    const LONG before = std::exchange(*side, INT32_MIN);
    EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
    *side = before;
  }
  foreign.result = E_ABORT;
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), E_ABORT);
  foreign.result = S_OK;
  // The other lets the source's pixels go while it is asked: they stay until they are copied.
  std::fill(std::begin(memory), std::end(memory), std::uint8_t{0});
  foreign.onAccess = [&] { EXPECT_EQ(aoi->CreateImage(1, 1), S_OK); };
  EXPECT_EQ(aoi->CopyTo(foreign.Interface()), S_OK);
  EXPECT_THAT(memory, ElementsAre(0, 12, 13, 14, 0, 0, 22, 23, 24, 0, 0, 0));
  EXPECT_EQ(foreign.mistakes, 0);
}

// How far the stream is read depends on the machine's memory.
TEST(AoiClients, NamesThatNoCallCanCarry_AreRefused) {
  const auto stream = NewStream("0002" + std::string(2 * 42, '0') + "FFFFFFFF FFFFFFFF 6100");
  const auto persist = ModuleClient::Get().Create<IPersistStream>(CLSID_ByteAOIKLP);
  EXPECT_EQ(persist->Load(stream.Get()), E_OUTOFMEMORY);
}

TEST(AoiClients, BlocksOfAnOwner_KeepItUntilTheLastAoiHasGone) {
  using Buffer = IImageBufferKLP;
  const auto aoi = ModuleClient::Get().Create<I>(CLSID_ByteAOIKLP);
  const auto buffer = ComPtr<I>(aoi).As<Buffer>();
  ImageBlockKLP block{};
  EXPECT_EQ(buffer->GetBlock(&block), platform::ResultCode(0x8004045A));
  Script script;
  auto owner = TestObject::New(script);
  // As large as it has to be, so that nothing is touched beside it.
  std::vector<std::uint8_t> memory(2 * 5 * 4, 9);
  const ImageBlockKLP wanted{memory.data(), 2, 3, 2, 1, ElementByte};
  struct {
    LONG ImageBlockKLP::*size;
    LONG value;
    HRESULT result;
  } const kRefused[] = {{&ImageBlockKLP::margin, -1, E_INVALIDARG},
                        {&ImageBlockKLP::margin, 3, E_INVALIDARG},
                        {&ImageBlockKLP::planes, INT32_MAX, E_INVALIDARG},
                        {&ImageBlockKLP::width, INT32_MAX, E_INVALIDARG},
                        {&ImageBlockKLP::planes, 0, E_INVALIDARG},
                        {&ImageBlockKLP::height, 0, platform::ResultCode(0x8004045B)}};
  for (const auto& row : kRefused) {
    block = wanted;
    block.*row.size = row.value;
    EXPECT_EQ(buffer->AttachBlock(&block, owner.Get()), row.result) << row.value;
  }
  block = wanted;
  block.elementType = ElementChar;
  EXPECT_EQ(buffer->AttachBlock(&block, owner.Get()), E_INVALIDARG);
  EXPECT_EQ(buffer->AttachBlock(&wanted, nullptr), E_POINTER);
  EXPECT_EQ(buffer->AttachBlock(&wanted, owner.Get()), S_OK);
  owner.Reset();
  ComPtr<I> sibling;
  ASSERT_EQ(aoi->Clone(sibling.Put()), S_OK);
  ASSERT_EQ(aoi->CreateImage(1, 1), S_OK);
  ASSERT_EQ(sibling.As<Buffer>()->GetBlock(&block), S_OK);
  EXPECT_EQ(block.pixels, memory.data());
  EXPECT_EQ(block.planes + 10 * block.width + 100 * block.height + 1000 * block.margin, 1232);
  sibling->put_MarginMode(MarginZero);
  EXPECT_EQ(sibling->FillMargins(), S_OK);
  EXPECT_EQ(std::count(memory.begin(), memory.end(), 9), 12);
  EXPECT_EQ(script.objects, 1);
  sibling.Reset();
  EXPECT_EQ(script.objects, 0);
  // Of more pixels than there is memory for.
  ASSERT_EQ(aoi->CreateImage(65536, 65536), S_OK);
  EXPECT_EQ(buffer->GetBlock(&block), E_INVALIDARG);
}

}  // namespace
}  // namespace tests
