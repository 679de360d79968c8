// SPDX-License-Identifier: MIT
// Arrays and memory streams beside simple models of them: thousands of random steps, everything
// compared after each. What led to a difference is printed with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "platform/stream_window.h"
#include "tests/rows/rows.h"
#include "tests/support/host_kind.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using facts::Print;
using platform::ComPtr;

// From 0 on.
int Below(std::mt19937& random, std::size_t bound) { return static_cast<int>(random() % bound); }

VARIANT RandomElement(std::mt19937& random, VARTYPE type, CountedObject& object) {
  constexpr VARTYPE kTypes[] = {VT_I2, VT_BSTR, VT_UNKNOWN};
  const int number = Below(random, 100);
  if (type == VT_VARIANT) type = kTypes[Below(random, 3)];
  if (type == VT_I2) return Bits(VT_I2, number);
  return type == VT_BSTR ? Text(std::to_string(number)) : object.AsVariant(VT_UNKNOWN);
}

std::vector<std::string> ElementsOf(SAFEARRAY* array, VARTYPE type) {
  std::vector<std::string> elements;
  for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i) {
    VARIANT view = Typed(type);
    std::memcpy(facts::ElementIn(view, type), DataOf<BYTE>(array) + i * array->cbElements,
                array->cbElements);
    elements.push_back(Print(view));
  }
  return elements;
}

TEST(SafeArrays, AreListsOfElementsWithLocks) {
  constexpr VARTYPE kTypes[] = {VT_I2, VT_BSTR, VT_UNKNOWN, VT_VARIANT};
  std::mt19937 random(20240229);
  CountedObject object;
  for (int life = 0; life < 200; ++life) {
    const VARTYPE type = kTypes[life % 4];
    const std::string fresh = type == VT_VARIANT ? "EMPTY" : Print(Typed(type));
    std::vector<std::string> model(static_cast<std::size_t>(Below(random, 6)), fresh);
    SAFEARRAYBOUND bound{static_cast<ULONG>(model.size()), Below(random, 5) - 2};
    SAFEARRAY* array = SafeArrayCreate(type, 1, &bound);
    ULONG locks = 0;
    std::string history = facts::NameOf(type) + ' ' + testing::PrintToString(model.size());
    for (int step = 0; step < 100; ++step) {
      const int operation = Below(random, 8);
      LONG index = bound.lLbound - 1 + Below(random, model.size() + 2);
      const auto place = static_cast<std::size_t>(index - bound.lLbound);
      const HRESULT found = place < model.size() ? S_OK : DISP_E_BADINDEX;
      history += ' ' + std::to_string(operation) + '@' + std::to_string(index);
      SCOPED_TRACE(history);
      Value value(RandomElement(random, type, object));
      void* element =
          type == VT_BSTR || type == VT_UNKNOWN ? value->byref : facts::ElementIn(*value, type);
      if (operation < 2) {
        ASSERT_EQ(SafeArrayPutElement(array, &index, element), found);
        if (found == S_OK) model[place] = Print(*value);
      } else if (operation == 2) {
        Value read(type == VT_VARIANT ? VARIANT{} : Typed(type));
        ASSERT_EQ(SafeArrayGetElement(array, &index, facts::ElementIn(*read, type)), found);
        ASSERT_TRUE(found != S_OK || Print(*read) == model[place]) << Print(*read);
      } else if (operation == 3) {
        SAFEARRAYBOUND wanted{static_cast<ULONG>(Below(random, 9)), Below(random, 5) - 2};
        ASSERT_EQ(SafeArrayRedim(array, &wanted), locks ? DISP_E_ARRAYISLOCKED : S_OK);
        if (locks == 0) model.resize(wanted.cElements, fresh);
        if (locks == 0) bound = wanted;
      } else if (operation == 4) {
        ASSERT_EQ(SafeArrayLock(array), S_OK);
        ++locks;
      } else if (operation == 5) {
        ASSERT_EQ(SafeArrayUnlock(array), locks ? S_OK : E_UNEXPECTED);
        locks -= locks > 0;
      } else if (operation == 6) {
        SAFEARRAY* copy = nullptr;
        ASSERT_EQ(SafeArrayCopy(array, &copy), S_OK);
        ASSERT_EQ(ElementsOf(copy, type), model);
        ASSERT_EQ(SafeArrayDestroy(copy), S_OK);
      } else if (locks > 0) {
        ASSERT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
      }
      ASSERT_EQ(ElementsOf(array, type), model);
      ASSERT_EQ(array->rgsabound[0].lLbound, bound.lLbound);
      ASSERT_EQ(array->cLocks, locks);
      VariantClear(&value);
      ASSERT_EQ(object.references, std::count(model.begin(), model.end(), "UNKNOWN:object"));
    }
    array->cLocks = 0;
    ASSERT_EQ(SafeArrayDestroy(array), S_OK);
    ASSERT_EQ(object.references, 0);
  }
}

std::string BytesIn(IStream* stream, std::size_t room) {
  ComPtr<IStream> reader;
  stream->Clone(reader.Put());
  SeekTo(reader.Get(), 0);
  std::string bytes(room + 1, '#');
  ULONG count = 0;
  reader->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &count);
  return bytes.substr(0, count);
}

struct ModelStream {
  ComPtr<IStream> stream;
  std::size_t position;
};

TEST(MemoryStreams, AreSharedBytesWithPositions) {
  if (!kEmbeddedHost) GTEST_SKIP() << "Wine's read on behind an end that was moved to the front";
  std::mt19937 random(20240229);
  // The last ones are of many pages.
  for (int life = 0; life < 104; ++life) {
    const ULONG scale = life < 100 ? 1 : 0x40001;
    std::string model, history;
    std::vector<ModelStream> streams = {{NewStream(), 0}};
    const auto write = [&](ModelStream& at, const std::string& bytes) {
      if (model.size() < at.position + bytes.size()) model.resize(at.position + bytes.size());
      model.replace(at.position, bytes.size(), bytes);
      at.position += bytes.size();
    };
    for (int step = 0; step < (life < 100 ? 100 : 30); ++step) {
      const int operation = Below(random, 9);
      auto& used = streams[static_cast<std::size_t>(Below(random, streams.size()))];
      const auto bytes = static_cast<ULONG>(Below(random, step == 70 ? 30000 : 20)) * scale;
      const std::size_t left = model.size() - (std::min)(model.size(), used.position);
      const std::size_t taken = (std::min<std::size_t>)(bytes, left);
      history += ' ' + std::to_string(operation) + ',' + std::to_string(bytes);
      SCOPED_TRACE(history);
      ULONG count = 99;
      if (operation < 2 && bytes > 0) {
        const std::string data(bytes, static_cast<char>('a' + step % 26));
        ASSERT_EQ(used.stream->Write(data.data(), bytes, &count), S_OK);
        ASSERT_EQ(count, bytes);
        write(used, data);
      } else if (operation == 2) {
        std::string data(bytes, '#');
        ASSERT_EQ(used.stream->Read(data.data(), bytes, &count), S_OK);
        ASSERT_EQ(count, taken);
        ASSERT_EQ(data, (taken ? model.substr(used.position, taken) : "") +
                            std::string(bytes - taken, '#'));
        used.position += taken;
      } else if (operation == 3) {
        const auto origin = static_cast<DWORD>(Below(random, 3));
        const LONGLONG from[] = {0, static_cast<LONGLONG>(used.position),
                                 static_cast<LONGLONG>(model.size())};
        const LONGLONG move = static_cast<LONGLONG>(bytes) - 8;
        const bool isThere = from[origin] + move >= 0;
        ASSERT_EQ(SeekTo(used.stream.Get(), move, origin), isThere ? S_OK : STG_E_SEEKERROR);
        if (isThere) used.position = static_cast<std::size_t>(from[origin] + move);
      } else if (operation == 4) {
        ULARGE_INTEGER size;
        size.QuadPart = bytes;
        ASSERT_EQ(used.stream->SetSize(size), S_OK);
        model.resize(bytes);
      } else if (operation == 5) {
        ComPtr<IStream> clone;
        ASSERT_EQ(used.stream->Clone(clone.Put()), S_OK);
        streams.push_back({clone, used.position});
        if (streams.size() > 3) streams.erase(streams.begin());
      } else if (operation == 6) {
        ULARGE_INTEGER wanted, read, written;
        wanted.QuadPart = bytes;
        ModelStream& target = streams.back();
        ASSERT_EQ(used.stream->CopyTo(target.stream.Get(), wanted, &read, &written), S_OK);
        ASSERT_EQ(read.QuadPart, taken);
        ASSERT_EQ(written.QuadPart, taken);
        const std::string data = taken ? model.substr(used.position, taken) : "";
        used.position += taken;
        if (taken) write(target, data);
      } else if (operation > 6) {
        IStreamWindow* window = nullptr;
        ASSERT_EQ(used.stream->QueryInterface(IID_IStreamWindow, reinterpret_cast<void**>(&window)),
                  S_OK);
        const BYTE* shown = nullptr;
        if (operation == 7 && bytes > 0) {
          const std::string data(bytes, static_cast<char>('A' + step % 26));
          BYTE* place = nullptr;
          ASSERT_EQ(window->OpenToWrite(bytes, bytes * 2, &place, &count), S_OK);
          ASSERT_GE(count, bytes);
          std::memcpy(place, data.data(), bytes);
          window->CloseWindow(bytes);
          write(used, data);
        } else if (operation == 8 && SUCCEEDED(window->OpenToRead(&shown, &count))) {
          const ULONG moved = (std::min)(count, bytes);
          window->CloseWindow(moved);
          ASSERT_LE(count, left);
          ASSERT_TRUE(count == 0 || !std::memcmp(shown, &model[used.position], count));
          used.position += moved;
        }
      }
      ASSERT_TRUE(BytesIn(streams.back().stream.Get(), model.size()) == model);
      for (const auto& each : streams) ASSERT_EQ(PositionOf(each.stream.Get()), each.position);
    }
  }
}

}  // namespace
}  // namespace tests
