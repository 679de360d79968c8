// SPDX-License-Identifier: MIT
// peers_memory: what things take of the heap while they live, the heap's own words included, as
//
//   thing <tab> who <tab> bytes
//
// each counted over many that live at a time.
#include <malloc.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <unordered_map>
#include <variant>
#include <vector>

#include "bench/peers/peers.h"

#ifdef PEER_GLIB
#include <glib.h>
#endif
#ifdef PEER_OPENCV
#include <opencv2/core.hpp>
#endif
#ifdef PEER_PROTOBUF
#include "record.pb.h"
#endif

namespace peers {
namespace {

constexpr int kThings = 100'000;

double HeapBytes() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

// make() gives a thing; what it holds besides, and is not asked about, is taken off.
template <class Make>
void Tell(const std::string& thing, const std::string& who, Make make, int things = kThings,
          double parts = 1, double besides = 0) {
  std::vector<decltype(make())> all;
  all.reserve(static_cast<std::size_t>(things));
  make();
  const double before = HeapBytes();
  for (int i = 0; i < things; ++i) all.push_back(make());
  const double each = (HeapBytes() - before) / things;
  std::printf("%s\t%s\t%.0f\n", thing.c_str(), who.c_str(), (each - besides) / parts);
  std::fflush(stdout);
}

struct Class {
  const char* name;
  const CLSID& id;
};
const Class kClasses[] = {{"ByteAOI", CLSID_ByteAOIKLP},
                          {"CharAOI", CLSID_CharAOIKLP},
                          {"WordAOI", CLSID_WordAOIKLP},
                          {"ShortAOI", CLSID_ShortAOIKLP},
                          {"DWordAOI", CLSID_DWordAOIKLP},
                          {"LongAOI", CLSID_LongAOIKLP},
                          {"FloatAOI", CLSID_FloatAOIKLP},
                          {"DoubleAOI", CLSID_DoubleAOIKLP},
                          {"ByteVector", CLSID_ByteVectorKLP},
                          {"CharVector", CLSID_CharVectorKLP},
                          {"WordVector", CLSID_WordVectorKLP},
                          {"ShortVector", CLSID_ShortVectorKLP},
                          {"DWordVector", CLSID_DWordVectorKLP},
                          {"LongVector", CLSID_LongVectorKLP},
                          {"FloatVector", CLSID_FloatVectorKLP},
                          {"DoubleVector", CLSID_DoubleVectorKLP},
                          {"VariantVector", CLSID_VariantVectorKLP},
                          {"AttributeBstrMap", CLSID_AttributeBstrMapKLP},
                          {"AttributeLongMap", CLSID_AttributeLongMapKLP},
                          {"AttributeDoubleMap", CLSID_AttributeDoubleMapKLP},
                          {"AttributeEntry", CLSID_AttributeEntryKLP}};

void TellClasses() {
  for (const Class& row : kClasses) {
    Tell(row.name, "ours", [factory = Factory(row.id)] { return NewBy<IUnknown>(*factory); });
  }
  Tell("ByteAOI", "make_shared", [] { return std::make_shared<View>(); });
  Tell("DoubleVector", "make_shared", [] { return std::make_shared<std::vector<double>>(); });
  Tell("AttributeBstrMap", "std_map",
       [] { return std::make_shared<std::map<std::string, int>>(); });
#ifdef PEER_OPENCV
  Tell("ByteAOI", "opencv", [] { return std::make_unique<cv::Mat>(); });
#endif
#ifdef PEER_PROTOBUF
  Tell("AttributeBstrMap", "protobuf", [] { return std::make_unique<record::Map>(); });
  Tell("DoubleVector", "protobuf", [] { return std::make_unique<record::Doubles>(); });
#endif
}

constexpr LONG kSide = 64;
constexpr double kPixels = kSide * kSide;

// Beside the pixels, and another view of them.
void TellPictures() {
  const auto picture = [] {
    auto made = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
    Check(made->CreateImage(kSide, kSide));
    return made;
  };
  Tell("picture of 64 x 64, beside its pixels", "ours", picture, kThings / 10, 1, kPixels);
  Tell("another view of it", "ours", [made = picture()] {
    Ref<IByteAOIKLP> clone;
    Check(made->Clone(clone.Put()));
    return clone;
  });
  const View view{std::make_shared<std::vector<std::uint8_t>>(kSide * kSide)};
  Tell("another view of it", "make_shared", [=] { return std::make_shared<View>(view); });
#ifdef PEER_OPENCV
  Tell(
      "picture of 64 x 64, beside its pixels", "opencv",
      [] { return std::make_unique<cv::Mat>(kSide, kSide, CV_8U); }, kThings / 10, 1, kPixels);
  Tell("another view of it", "opencv", [made = cv::Mat(kSide, kSide, CV_8U)] {
    return std::make_unique<cv::Mat>(made, cv::Rect(0, 0, kSide, kSide));
  });
#endif
}

constexpr LONG kElements = 16;
constexpr double kBytes = kElements * sizeof(double);

void TellVectors() {
  const std::string thing = "vector of 16 doubles, beside its elements";
  Tell(
      thing, "ours",
      [] {
        auto vector = New<IDoubleVectorKLP>(CLSID_DoubleVectorKLP);
        Check(vector->put_Count(kElements));
        return vector;
      },
      kThings, 1, kBytes);
  Tell(
      thing, "make_shared", [] { return std::make_shared<std::vector<double>>(kElements); },
      kThings, 1, kBytes);
}

// One of a hundred in a map, with the key "attribute 12" and a number or a text.
void TellAttributes(bool text) {
  constexpr int kAttributes = 100;
  constexpr int kMaps = kThings / kAttributes;
  const std::string thing = text ? "attribute, a text of 21 letters" : "attribute, a number";
  const auto key = [](int i) { return "attribute " + std::to_string(i); };
  const auto value = [](int i) { return "value of attribute " + std::to_string(10 + i % 90); };
  Tell(
      thing, "ours",
      [=] {
        auto map = New<IAttributeBstrMapKLP>(CLSID_AttributeBstrMapKLP);
        for (int i = 0; i < kAttributes; ++i) {
          VARIANT given{};
          const rastelklp::Text words(value(i));
          given.vt = text ? VT_BSTR : VT_I4;
          if (text) given.bstrVal = words.get();
          Check(map->put_Value(rastelklp::Text(key(i)).get(), given));
        }
        return map;
      },
      kMaps, kAttributes);
  using Scalar = std::variant<int, double, std::string>;
  const auto scalar = [=](int i) { return text ? Scalar(value(i)) : Scalar(i); };
  Tell(
      thing, "std_map_utf8",
      [=] {
        auto map = std::make_unique<std::map<std::string, Scalar>>();
        for (int i = 0; i < kAttributes; ++i) map->emplace(key(i), scalar(i));
        return map;
      },
      kMaps, kAttributes);
  Tell(
      thing, "std_unordered_map_utf8",
      [=] {
        auto map = std::make_unique<std::unordered_map<std::string, Scalar>>();
        for (int i = 0; i < kAttributes; ++i) map->emplace(key(i), scalar(i));
        return map;
      },
      kMaps, kAttributes);
#ifdef PEER_GLIB
  Tell(
      thing, "glib",
      [=] {
        auto* table = g_hash_table_new(g_str_hash, g_str_equal);
        for (int i = 0; i < kAttributes; ++i) {
          auto* given = text ? g_variant_new_string(value(i).c_str()) : g_variant_new_int32(i);
          g_hash_table_insert(table, g_strdup(key(i).c_str()), g_variant_ref_sink(given));
        }
        return table;
      },
      kMaps, kAttributes);
#endif
#ifdef PEER_PROTOBUF
  Tell(
      thing, "protobuf",
      [=] {
        auto map = std::make_unique<record::Map>();
        for (int i = 0; i < kAttributes; ++i) {
          auto& given = (*map->mutable_values())[key(i)];
          if (text) {
            given.set_text(value(i));
          } else {
            given.set_number(i);
          }
        }
        return map;
      },
      kMaps, kAttributes);
#endif
}

}  // namespace
}  // namespace peers

int main() {
  const rastelklp::Session session;
  peers::LoadModule();
  peers::TellClasses();
  peers::TellPictures();
  peers::TellVectors();
  peers::TellAttributes(false);
  peers::TellAttributes(true);
}
