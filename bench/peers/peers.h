// SPDX-License-Identifier: MIT
// Contenders: ways to do the same work, ours and what a program would use instead. Those of one row
// are run in turn, in one process.
#pragma once

#include <benchmark/benchmark.h>
#include <rastelklp/client.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

namespace peers {

// Notes a row, whose contenders are run together; its first one fixes its place.
void NoteRow(const std::string& row);

// make() gives the work, a callable with all that it needs; what it does with one call counts as
// that many units, and the time is told for one. The first call is not timed: what is used again
// has been used then.
template <class Make>
void Contend(const std::string& row, const std::string& who, Make make, double units = 1) {
  NoteRow(row);
  benchmark::RegisterBenchmark((row + "/" + who).c_str(), [=](benchmark::State& state) {
    auto work = make();
    work();
    for (auto _ : state) work();
    state.counters["units"] = units;
  });
}

// One function for each file of works.
void AddMaps();
void AddPictures();
void AddVectors();
void AddObjects();
void AddCalls();
void AddCurves();

// What is wrong ends the program: nothing that failed is worth measuring.
inline void Check(HRESULT result) {
  if (FAILED(result)) std::abort();
}

// The module that was built beside this program, or another one that RASTEL_MODULE names in the
// environment (with LD_PRELOAD of its host), and nothing that the user has registered.
inline void LoadModule() {
  setenv("RASTEL_HOST_REGISTRY", "", 1);
  const char* other = std::getenv("RASTEL_MODULE");
  Check(HostAddModule(other ? other : RASTEL_MODULE));
}

template <class I>
using Ref = platform::ComPtr<I>;

template <class I>
Ref<I> New(REFCLSID classId) {
  Ref<I> object;
  Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, platform::kIidOf<I>,
                         object.PutVoid()));
  return object;
}
inline Ref<IClassFactory> Factory(REFCLSID classId) {
  Ref<IClassFactory> factory;
  Check(CoGetClassObject(classId, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                         factory.PutVoid()));
  return factory;
}
template <class I>
Ref<I> NewBy(IClassFactory& factory) {
  Ref<I> object;
  Check(factory.CreateInstance(nullptr, platform::kIidOf<I>, object.PutVoid()));
  return object;
}

inline Ref<IStream> NewStream() {
  Ref<IStream> stream;
  Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()));
  return stream;
}
inline void Rewind(const Ref<IStream>& stream) { stream->Seek({}, STREAM_SEEK_SET, nullptr); }

// Save into a stream that has held as much before, into a new one each time, and what Load reads.
inline auto SaveAgain(Ref<IPersistStream> object) {
  return [object, stream = NewStream()] {
    Rewind(stream);
    Check(object->Save(stream.Get(), FALSE));
    benchmark::ClobberMemory();
  };
}
inline auto SaveAnew(Ref<IPersistStream> object) {
  return [object] {
    const auto stream = NewStream();
    Check(object->Save(stream.Get(), FALSE));
    benchmark::ClobberMemory();
  };
}
inline Ref<IStream> Saved(const Ref<IPersistStream>& object) {
  const auto stream = NewStream();
  Check(object->Save(stream.Get(), FALSE));
  return stream;
}
inline auto LoadAgain(Ref<IPersistStream> object, Ref<IStream> stream) {
  return [object, stream] {
    Rewind(stream);
    Check(object->Load(stream.Get()));
    benchmark::ClobberMemory();
  };
}

// What a program would hold of a view of shared pixels, by hand.
struct View {
  std::shared_ptr<std::vector<std::uint8_t>> pixels;
  int x = 0, y = 0, width = 0, height = 0, stride = 0, marginX = 0, marginY = 0, plane = 0;
  std::string name = "None";
};

// Bytes that a library puts into a streambuf, at the end of a text that grows.
struct TextSink : std::streambuf {
  std::string text;

  std::streamsize xsputn(const char* data, std::streamsize bytes) override {
    text.append(data, static_cast<std::size_t>(bytes));
    return bytes;
  }
  int_type overflow(int_type byte) override {
    text.push_back(static_cast<char>(byte));
    return byte;
  }
};

}  // namespace peers
