// SPDX-License-Identifier: MIT
// Single calls: a pixel through the interface, a property by its name.
#include <cstdint>
#include <vector>

#ifdef PEER_PYTHON
#include <Python.h>
#endif

#include "bench/peers/peers.h"

#ifdef PEER_VTK
#include <vtkImageData.h>
#include <vtkSmartPointer.h>
#endif
#ifdef PEER_GLIB
#include <gio/gio.h>
#endif

namespace peers {
namespace {

constexpr LONG kSide = 64;

// A picture of any pixel type in the client's own code.
struct AnyPicture {
  ElementTypeKLP type;
  LONG width, height;
  void* pixels;

  template <class U>
  U& At(LONG x, LONG y) const {
    return static_cast<U*>(pixels)[y * width + x];
  }
  bool Holds(LONG x, LONG y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  // act(pixel) on the pixel as what it is.
  template <class Act>
  bool With(LONG x, LONG y, Act act) const {
    if (!Holds(x, y)) return false;
    switch (type) {
      case ElementByte:
        act(At<std::uint8_t>(x, y));
        return true;
      case ElementChar:
        act(At<std::int8_t>(x, y));
        return true;
      case ElementWord:
        act(At<std::uint16_t>(x, y));
        return true;
      case ElementShort:
        act(At<std::int16_t>(x, y));
        return true;
      case ElementDWord:
        act(At<std::uint32_t>(x, y));
        return true;
      case ElementLong:
        act(At<std::int32_t>(x, y));
        return true;
      case ElementFloat:
        act(At<float>(x, y));
        return true;
      case ElementDouble:
        act(At<double>(x, y));
        return true;
      default:
        return false;
    }
  }
  bool Get(LONG x, LONG y, double& value) const {
    return With(x, y, [&](auto& pixel) { value = static_cast<double>(pixel); });
  }
  bool Put(LONG x, LONG y, double value) const {
    return With(x, y, [&](auto& pixel) {
      using U = std::remove_reference_t<decltype(pixel)>;
      pixel = static_cast<U>(value);
    });
  }
};

struct Walk {
  LONG at = 0;
  LONG X() const { return at & (kSide - 1); }
  LONG Y() const { return at >> 6 & (kSide - 1); }
};

template <class I>
void AddPixels(const std::string& kind, REFCLSID classId, ElementTypeKLP type, int vtkType,
               std::size_t pixelBytes) {
  const auto picture = [&classId] {
    const auto made = New<I>(classId);
    Check(made->CreateImage(kSide, kSide));
    Check(made->Fill(3));
    return made;
  };
  const std::string get = "pixel/get/" + kind, put = "pixel/put/" + kind;
  Contend(get, "ours", [=] {
    return [aoi = picture(), walk = Walk{}]() mutable {
      double value = 0;
      benchmark::DoNotOptimize(aoi->GetPixel(walk.X(), walk.Y(), &value));
      benchmark::DoNotOptimize(value);
      ++walk.at;
    };
  });
  Contend(put, "ours", [=] {
    return [aoi = picture(), walk = Walk{}]() mutable {
      benchmark::DoNotOptimize(aoi->PutPixel(walk.X(), walk.Y(), 100.5));
      ++walk.at;
    };
  });
  using Memory = std::vector<std::uint8_t>;
  const auto any = [=](Memory& memory) {
    memory.assign(pixelBytes * kSide * kSide, 3);
    return AnyPicture{type, kSide, kSide, memory.data()};
  };
  Contend(get, "inline_switch", [=] {
    const auto memory = std::make_shared<Memory>();
    return [memory, pixels = any(*memory), walk = Walk{}]() mutable {
      // The type is not known to the loop.
      benchmark::DoNotOptimize(pixels);
      double value = 0;
      benchmark::DoNotOptimize(pixels.Get(walk.X(), walk.Y(), value));
      benchmark::DoNotOptimize(value);
      ++walk.at;
    };
  });
  Contend(put, "inline_switch", [=] {
    const auto memory = std::make_shared<Memory>();
    return [memory, pixels = any(*memory), walk = Walk{}]() mutable {
      benchmark::DoNotOptimize(pixels);
      benchmark::DoNotOptimize(pixels.Put(walk.X(), walk.Y(), 100.5));
      ++walk.at;
    };
  });
#ifdef PEER_VTK
  const auto image = [=] {
    auto made = vtkSmartPointer<vtkImageData>::New();
    made->SetDimensions(kSide, kSide, 1);
    made->AllocateScalars(vtkType, 1);
    return made;
  };
  Contend(get, "vtk", [=] {
    return [pixels = image(), walk = Walk{}]() mutable {
      benchmark::DoNotOptimize(pixels->GetScalarComponentAsDouble(walk.X(), walk.Y(), 0, 0));
      ++walk.at;
    };
  });
  Contend(put, "vtk", [=] {
    return [pixels = image(), walk = Walk{}]() mutable {
      pixels->SetScalarComponentFromDouble(walk.X(), walk.Y(), 0, 0, 100.5);
      benchmark::ClobberMemory();
      ++walk.at;
    };
  });
#else
  static_cast<void>(vtkType);
#endif
}

// A number that is asked for by the text of its name.
void AddLateBound() {
  Contend("call/late_bound", "ours", [] {
    const auto picture = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
    Check(picture->CreateImage(kSide, kSide));
    return [object = picture.As<IDispatch>(), text = rastelklp::Text("Width")] {
      OLECHAR* name = text.get();
      DISPID member = 0;
      Check(object->GetIDsOfNames(IID_NULL, &name, 1, 0, &member));
      DISPPARAMS none{};
      VARIANT value{};
      Check(object->Invoke(member, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &value, nullptr,
                           nullptr));
      benchmark::DoNotOptimize(value);
    };
  });
#ifdef PEER_PYTHON
  // One call of a Python function that asks so often.
  constexpr int kCalls = 1'000;
  Contend(
      "call/late_bound", "python",
      [=] {
        if (!Py_IsInitialized()) {
          Py_InitializeEx(0);
          PyRun_SimpleString(
              "class Picture:\n"
              "    def __init__(self): self.w = 64\n"
              "    def width(self): return self.w\n"
              "def ask(picture, calls):\n"
              "    for _ in range(calls): value = picture.width()\n"
              "picture = Picture()\n");
        }
        PyObject* all = PyModule_GetDict(PyImport_AddModule("__main__"));
        return [ask = PyDict_GetItemString(all, "ask"),
                picture = PyDict_GetItemString(all, "picture"), calls = PyLong_FromLong(kCalls)] {
          PyObject* done = PyObject_CallFunctionObjArgs(ask, picture, calls, nullptr);
          if (!done) std::abort();
          Py_DECREF(done);
        };
      },
      kCalls);
#endif
#ifdef PEER_GLIB
  Contend("call/late_bound", "gobject", [] {
    struct Drop {
      void operator()(GObject* object) const { g_object_unref(object); }
    };
    GInputStream* base = g_memory_input_stream_new();
    const std::shared_ptr<GObject> object(G_OBJECT(g_buffered_input_stream_new_sized(base, kSide)),
                                          Drop());
    g_object_unref(base);
    return [object] {
      GValue value = G_VALUE_INIT;
      g_object_get_property(object.get(), "buffer-size", &value);
      benchmark::DoNotOptimize(g_value_get_uint(&value));
      g_value_unset(&value);
    };
  });
#endif
}

}  // namespace

void AddCalls() {
  AddPixels<IByteAOIKLP>("8", CLSID_ByteAOIKLP, ElementByte, 3, 1);
  AddPixels<IDoubleAOIKLP>("f64", CLSID_DoubleAOIKLP, ElementDouble, 11, 8);
  AddLateBound();
}

}  // namespace peers
