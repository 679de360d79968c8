// SPDX-License-Identifier: MIT
// Neighbourhoods without borders: a filter of 5 x 5 pixels over tiles in threads, the same in two
// processes on one block of shared memory, and next to both, where it is installed, the same with
// OpenCV.
//
//   neighbourhoods IN.aoi OUT.aoi
//
// OUT gets three planes: the filtered picture, the one of tiles that know nothing of each other,
// and where these differ.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "examples/neighbourhoods/by_aoi.h"
#ifdef WITH_OPENCV
#include "examples/neighbourhoods/by_opencv.h"
#endif

namespace {

using rastelklp::Size;

constexpr int kThreads = 2;
constexpr int kMargin = 2;

// The same rows in another place.
void Copy(const rastelklp::Plane<std::uint8_t>& from, const rastelklp::Plane<std::uint8_t>& to) {
  for (int y = 0; y < from.height(); ++y) std::copy(from[y].begin(), from[y].end(), to[y].begin());
}

bool IsSame(const Picture& a, const Picture& b) {
  const auto left = a.plane(0), right = b.plane(0);
  for (int y = 0; y < left.height(); ++y) {
    if (!std::equal(left[y].begin(), left[y].end(), right[y].begin())) return false;
  }
  return true;
}

// In milliseconds.
double TimeOf(auto operation) {
  const auto start = std::chrono::steady_clock::now();
  operation();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

// Bytes that a child process shares.
std::span<std::uint8_t> SharedBytes(std::size_t count) {
  void* const block =
      mmap(nullptr, count, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (block == MAP_FAILED) throw std::runtime_error("no shared memory");
  return {static_cast<std::uint8_t*>(block), count};
}

// A picture on shared memory with its margin around it: the rectangle leaves that out.
Picture OnShared(std::span<std::uint8_t> bytes, Size size) {
  auto picture = Picture::attach_to({size.width + 2 * kMargin, size.height + 2 * kMargin}, bytes);
  picture.rectangle({kMargin, kMargin, size.width, size.height});
  return picture;
}

// Another process that filters one tile of the shared picture whenever it is told to. It takes the
// other tile of the result, and ends with this object.
class SecondProcess {
 public:
  SecondProcess(const Picture& from, const Picture& to)
      : sources_(from.tiles(1, 2)), targets_(to.tiles(1, 2)) {
    int go[2], done[2];
    if (pipe(go) != 0 || pipe(done) != 0 || (child_ = fork()) < 0) {
      throw std::runtime_error("no second process");
    }
    go_ = go[1];
    done_ = done[0];
    if (child_ == 0) {
      close(go_);
      char told;
      while (read(go[0], &told, 1) == 1) {
        FilterTile(sources_[1], targets_[1]);
        if (write(done[1], &told, 1) != 1) break;
      }
      _exit(0);
    }
    close(go[0]);
    close(done[1]);
  }
  ~SecondProcess() {
    close(go_);
    close(done_);
    waitpid(child_, nullptr, 0);
  }
  SecondProcess(const SecondProcess&) = delete;
  SecondProcess& operator=(const SecondProcess&) = delete;

  void Filter() {
    char told = 0;
    const bool isTold = write(go_, &told, 1) == 1;
    FilterTile(sources_[0], targets_[0]);
    if (!isTold || read(done_, &told, 1) != 1) throw std::runtime_error("no second process");
  }

 private:
  std::vector<Picture> sources_, targets_;
  pid_t child_ = 0;
  int go_ = -1, done_ = -1;
};

struct Way {
  const char* name;
  std::function<void()> run;
  std::vector<double> times;
};

void Run(const char* in, const char* out) {
  // The picture many times over, so that there is something to measure.
  const auto cat = rastelklp::load<Picture>(in);
  const Size one = cat.size(), size{one.width * 6, one.height * 8};
  Picture picture(size, 1, kMargin), filtered(size), other(size);
  for (int tile = 0; tile < 48; ++tile) {
    picture.rectangle({tile % 6 * one.width, tile / 6 * one.height, one.width, one.height});
    Copy(cat.plane(0), picture.plane(0));
  }
  picture.rectangle({0, 0, size.width, size.height});
  picture.fill_margins(MarginMirror);

  const std::size_t bytes = static_cast<std::size_t>(size.width + 2 * kMargin) *
                            static_cast<std::size_t>(size.height + 2 * kMargin);
  const Picture shared = OnShared(SharedBytes(bytes), size);
  const Picture sharedResult = OnShared(SharedBytes(bytes), size);
  Copy(picture.plane(0, kMargin), shared.plane(0, kMargin));

  SecondProcess second(shared, sharedResult);

  std::vector<Way> ways{{"AOI, 1 thread", [&] { FilterByAoi(picture, filtered, 1); }, {}},
                        {"AOI, 2 threads", [&] { FilterByAoi(picture, other, kThreads); }, {}},
                        {"AOI, 2 processes", [&] { second.Filter(); }, {}}};
#ifdef WITH_OPENCV
  cv::Mat matrix(size.height, size.width, CV_8U), result(size.height, size.width, CV_8U);
  const auto asPicture = [&](cv::Mat& of) {
    return Picture::attach_to(size, {of.data, of.total()});
  };
  Copy(picture.plane(0), asPicture(matrix).plane(0));
  ways.push_back({"OpenCV, 1 thread", [&] { FilterByOpenCv(matrix, result, 1); }, {}});
  ways.push_back({"OpenCV, 2 threads", [&] { FilterByOpenCv(matrix, result, kThreads); }, {}});
#endif
  // In turns, so that all ways have the same machine.
  for (int round = 0; round < 15; ++round) {
    for (Way& way : ways) way.times.push_back(TimeOf(way.run));
  }
  std::printf("%d x %d pixels, median of 15\n", size.width, size.height);
  for (Way& way : ways) {
    std::nth_element(way.times.begin(), way.times.begin() + 7, way.times.end());
    std::printf("  %-20s %6.2f ms\n", way.name, way.times[7]);
  }
  bool areSame = IsSame(filtered, other) && IsSame(filtered, sharedResult);
#ifdef WITH_OPENCV
  areSame = areSame && IsSame(filtered, asPicture(result));
#endif
  std::printf("  %s\n", areSame ? "all the same pixels" : "DIFFERENT PIXELS");

  // For the eye: tiles with their neighbours, tiles without, and the difference.
  const Picture shown({3 * one.width, one.height});
  const auto thirds = shown.tiles(3, 1);
  Picture padded(one, 1, kMargin);
  Copy(cat.plane(0), padded.plane(0));
  padded.fill_margins(MarginMirror);
  FilterTile(padded, thirds[0]);
  const auto sources = padded.tiles(4, 3), targets = thirds[1].tiles(4, 3);
  for (std::size_t i = 0; i < sources.size(); ++i) {
    Picture alone(sources[i].size(), 1, kMargin);
    Copy(sources[i].plane(0), alone.plane(0));
    alone.fill_margins(MarginZero);
    FilterTile(alone, targets[i]);
  }
  const auto whole = thirds[0].plane(0), split = thirds[1].plane(0),
             difference = thirds[2].plane(0);
  for (int y = 0; y < one.height; ++y) {
    for (std::size_t x = 0; x < whole[y].size(); ++x) {
      const int apart = std::abs(whole[y][x] - split[y][x]);
      difference[y][x] = static_cast<std::uint8_t>(255 - std::min(255, 4 * apart));
    }
  }
  rastelklp::save(shown, out);
  if (!areSame) throw std::runtime_error("the ways differ");
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::fprintf(stderr, "usage: neighbourhoods IN.aoi OUT.aoi\n");
    return 2;
  }
  const rastelklp::Session session;
  Run(argv[1], argv[2]);
} catch (const std::exception& error) {
  std::fprintf(stderr, "neighbourhoods: %s\n", error.what());
  return 1;
}
