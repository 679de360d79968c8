// SPDX-License-Identifier: MIT
// The client library: everything that the module offers, in C++. Headers only, over the interfaces
// and with nothing of its own between a program and the objects: g++ or clang++ with C++20, on both
// hosts. A program may mix it with calls of the interfaces themselves, which stand behind `->` and
// get() of every reference.
//
//   rastelklp::Session session;                                   // once, in main
//   auto picture = rastelklp::load<rastelklp::Aoi<float>>("in.aoi");
//   for (const auto row : picture.plane(0))                       // rows are std::span
//     for (float& pixel : row) pixel *= 2;
//   picture.attributes()["gain"] = 2;
//   rastelklp::save(picture, "out.aoi");
//
// Copies of a reference are one more reference to the same object. What fails raises Error.
#pragma once

#include "rastelklp/aoi.h"      // Aoi<T>, AnyAoi, Plane<T>, Size, Rect
#include "rastelklp/error.h"    // Error, check_hresult
#include "rastelklp/map.h"      // Map
#include "rastelklp/session.h"  // Session, create
#include "rastelklp/stream.h"   // load, save, FileStream
#include "rastelklp/value.h"    // Value, Variant, Text, Object, com_ptr
#include "rastelklp/vector.h"   // Vector<T>
