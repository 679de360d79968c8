// SPDX-License-Identifier: MIT
// Objects: made, found by their class, moved, let go.
#include <array>
#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "bench/peers/peers.h"

#ifdef PEER_OPENCV
#include <opencv2/core.hpp>
#endif

namespace peers {
namespace {

constexpr LONG kSide = 2'048;
constexpr LONG kAcross = 10, kDown = 10, kTiles = kAcross * kDown;

Ref<IByteAOIKLP> Picture() {
  auto picture = New<IByteAOIKLP>(CLSID_ByteAOIKLP);
  Check(picture->CreateImage(kSide, kSide));
  return picture;
}

void AddViews() {
  Contend("object/clone", "ours", [] {
    return [picture = Picture()] {
      Ref<IByteAOIKLP> clone;
      Check(picture->Clone(clone.Put()));
      benchmark::DoNotOptimize(clone.Get());
    };
  });
  Contend("object/clone", "make_shared", [] {
    View view;
    view.pixels = std::make_shared<std::vector<std::uint8_t>>(kSide * kSide);
    return [view] {
      const auto clone = std::make_shared<View>(view);
      benchmark::DoNotOptimize(clone.get());
    };
  });
  Contend(
      "object/tile", "ours",
      [] {
        return [picture = Picture()] {
          std::array<IByteAOIKLP*, kTiles> tiles{};
          Check(picture->SplitTiles(kAcross, kDown, tiles.data()));
          for (auto* tile : tiles) tile->Release();
        };
      },
      kTiles);
#ifdef PEER_OPENCV
  Contend(
      "object/tile", "opencv",
      [] {
        return [picture = cv::Mat(kSide, kSide, CV_8U)] {
          std::array<std::unique_ptr<cv::Mat>, kTiles> tiles;
          constexpr int kWidth = kSide / kAcross, kHeight = kSide / kDown;
          for (int i = 0; i < kTiles; ++i) {
            tiles[static_cast<std::size_t>(i)] = std::make_unique<cv::Mat>(
                picture, cv::Rect(i % kAcross * kWidth, i / kAcross * kHeight, kWidth, kHeight));
          }
          benchmark::DoNotOptimize(tiles);
        };
      },
      kTiles);
#endif
}

void AddMaking() {
  Contend("object/factory", "ours", [] {
    return [factory = Factory(CLSID_ByteAOIKLP)] {
      benchmark::DoNotOptimize(NewBy<IByteAOIKLP>(*factory).Get());
    };
  });
  Contend("object/factory", "make_shared",
          [] { return [] { benchmark::DoNotOptimize(std::make_shared<View>().get()); }; });
}

const CLSID kClasses[] = {CLSID_ByteAOIKLP,          CLSID_FloatAOIKLP,
                          CLSID_DoubleVectorKLP,     CLSID_AttributeBstrMapKLP,
                          CLSID_AttributeLongMapKLP, CLSID_VariantVectorKLP};
const char* const kNames[] = {"ByteAOI", "FloatAOI", "DoubleVector",
                              "BstrMap", "LongMap",  "VariantVector"};

// The factory of one class after the other.
void AddClasses() {
  Contend("object/class", "ours", [] {
    return [at = std::size_t{0}]() mutable {
      benchmark::DoNotOptimize(Factory(kClasses[at]).Get());
      at = at + 1 == std::size(kClasses) ? 0 : at + 1;
    };
  });
  // A table of names that any thread may ask.
  Contend("object/class", "hash_of_names", [] {
    struct Classes {
      std::mutex lock;
      std::unordered_map<std::string, std::shared_ptr<View>> byName;
    };
    const auto classes = std::make_shared<Classes>();
    for (const char* name : kNames) classes->byName[name] = std::make_shared<View>();
    return [classes, at = std::size_t{0}]() mutable {
      const std::scoped_lock locked(classes->lock);
      const std::shared_ptr<View> factory = classes->byName.find(kNames[at])->second;
      benchmark::DoNotOptimize(factory.get());
      at = at + 1 == std::size(kNames) ? 0 : at + 1;
    };
  });
}

void AddMoves() {
  Contend("object/move", "ours", [] {
    const auto picture = Picture();
    Check(picture->SetRect(100, 100, 163, 163));
    return [picture, step = LONG{1}]() mutable {
      Check(picture->MoveBy(step, step));
      step = -step;
    };
  });
#ifdef PEER_OPENCV
  Contend("object/move", "opencv", [] {
    const cv::Mat whole(kSide, kSide, CV_8U);
    return [whole, part = cv::Mat(whole, cv::Rect(100, 100, 64, 64)), step = 1]() mutable {
      part.adjustROI(-step, step, -step, step);
      benchmark::DoNotOptimize(part.data);
      step = -step;
    };
  });
#endif
}

}  // namespace

void AddObjects() {
  AddViews();
  AddMaking();
  AddClasses();
  AddMoves();
}

}  // namespace peers
