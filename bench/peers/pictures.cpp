// SPDX-License-Identifier: MIT
// Pictures: saved, loaded, copied, filled, new, and their margins.
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bench/peers/peers.h"

#ifdef PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef PEER_PROTOBUF
#include "record.pb.h"
#endif
#ifdef PEER_BOOST
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/binary_object.hpp>
#endif
#ifdef PEER_HDF5
#include <hdf5.h>
#endif

namespace peers {
namespace {

template <class Interface, class Pixel>
struct Kind {
  using I = Interface;
  using U = Pixel;
  const CLSID& classId;
  const char* name;
  int openCvDepth;
};
constexpr Kind<IByteAOIKLP, std::uint8_t> kByte{CLSID_ByteAOIKLP, "8", 0};
constexpr Kind<IWordAOIKLP, std::uint16_t> kWord{CLSID_WordAOIKLP, "16", 2};
constexpr Kind<ILongAOIKLP, std::int32_t> kLong{CLSID_LongAOIKLP, "32", 4};
constexpr Kind<IFloatAOIKLP, float> kFloat{CLSID_FloatAOIKLP, "f32", 5};
constexpr Kind<IDoubleAOIKLP, double> kDouble{CLSID_DoubleAOIKLP, "f64", 6};

struct Size {
  LONG width, height, planes;

  std::string Name() const {
    return std::to_string(width) + (planes > 1 ? "x" + std::to_string(planes) : "");
  }
  std::size_t Pixels() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(planes);
  }
};

template <class Kind>
auto NewPicture(const Kind& kind, const Size& size, LONG margin = 0) {
  auto picture = New<typename Kind::I>(kind.classId);
  Check(picture->put_BufferMargin(margin));
  Check(picture->CreatePlanes(size.planes, size.width, size.height));
  for (LONG plane = 0; plane < size.planes; ++plane) {
    Check(picture->put_ActivePlane(plane));
    Check(picture->Fill(3));
  }
  Check(picture->put_ActivePlane(0));
  return picture;
}
Ref<IPersistStream> Persist(const Size& size) {
  return NewPicture(kByte, size).As<IPersistStream>();
}

constexpr Size kSizes[] = {{64, 64, 1}, {512, 512, 3}, {4096, 4096, 1}};

#ifdef PEER_PROTOBUF
void Describe(record::Picture& picture, const Size& size, const std::string& pixels) {
  picture.set_width(size.width);
  picture.set_height(size.height);
  picture.set_planes(size.planes);
  picture.set_name("None");
  picture.set_pixels(pixels);
}
#endif

struct Header {
  std::int32_t width, height, planes, type;
  char name[8];
};

#ifdef PEER_HDF5
// A file that is memory only.
void SaveByHdf5(const Size& size, const std::vector<std::uint8_t>& pixels) {
  const hid_t inMemory = H5Pcreate(H5P_FILE_ACCESS);
  H5Pset_fapl_core(inMemory, 1 << 20, false);
  const hid_t file = H5Fcreate("picture", H5F_ACC_TRUNC, H5P_DEFAULT, inMemory);
  const auto extent = [](LONG n) { return static_cast<hsize_t>(n); };
  const hsize_t extents[] = {extent(size.planes), extent(size.height), extent(size.width)};
  const hid_t space = H5Screate_simple(3, extents, nullptr);
  const hid_t set =
      H5Dcreate2(file, "pixels", H5T_NATIVE_UINT8, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
  if (H5Dwrite(set, H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, H5P_DEFAULT, pixels.data()) < 0) {
    std::abort();
  }
  H5Dclose(set);
  H5Sclose(space);
  H5Fclose(file);
  H5Pclose(inMemory);
}
#endif

void AddSaves(const Size& size) {
  const std::string again = "aoi/save/" + size.Name() + "/reused";
  const std::string anew = "aoi/save/" + size.Name() + "/fresh";
  Contend(again, "ours", [=] { return SaveAgain(Persist(size)); });
  Contend(anew, "ours", [=] { return SaveAnew(Persist(size)); });
#ifdef PEER_PROTOBUF
  // The pixels are the program's own, and go into the message first.
  Contend(again, "protobuf", [=] {
    return [size, pixels = std::string(size.Pixels(), 3),
            message = std::make_shared<record::Picture>(), out = std::string()]() mutable {
      Describe(*message, size, pixels);
      message->SerializeToString(&out);
      benchmark::ClobberMemory();
    };
  });
  Contend(anew, "protobuf", [=] {
    return [size, pixels = std::string(size.Pixels(), 3)] {
      record::Picture message;
      Describe(message, size, pixels);
      std::string out;
      message.SerializeToString(&out);
      benchmark::DoNotOptimize(out.data());
      benchmark::ClobberMemory();
    };
  });
#endif
#ifdef PEER_BOOST
  Contend(anew, "boost", [=] {
    return [size, pixels = std::vector<std::uint8_t>(size.Pixels(), 3)]() mutable {
      TextSink out;
      boost::archive::binary_oarchive archive(out, boost::archive::no_header);
      const std::string name = "None";
      archive << size.width << size.height << size.planes << name
              << boost::serialization::make_binary_object(pixels.data(), pixels.size());
      benchmark::DoNotOptimize(out.text.data());
      benchmark::ClobberMemory();
    };
  });
#endif
#ifdef PEER_HDF5
  Contend(anew, "hdf5", [=] {
    return
        [size, pixels = std::vector<std::uint8_t>(size.Pixels(), 3)] { SaveByHdf5(size, pixels); };
  });
#endif
  Contend(again, "memcpy", [=] {
    return [pixels = std::vector<std::uint8_t>(size.Pixels(), 3),
            out = std::vector<std::uint8_t>(size.Pixels() + sizeof(Header))]() mutable {
      const Header header{4096, 4096, 1, 0, "None"};
      std::memcpy(out.data(), &header, sizeof header);
      std::memcpy(out.data() + sizeof header, pixels.data(), pixels.size());
      benchmark::ClobberMemory();
    };
  });
  Contend(anew, "malloc_memcpy", [=] {
    return [pixels = std::vector<std::uint8_t>(size.Pixels(), 3)] {
      const Header header{4096, 4096, 1, 0, "None"};
      auto* out = static_cast<std::uint8_t*>(std::malloc(sizeof header + pixels.size()));
      std::memcpy(out, &header, sizeof header);
      std::memcpy(out + sizeof header, pixels.data(), pixels.size());
      benchmark::DoNotOptimize(out);
      benchmark::ClobberMemory();
      std::free(out);
    };
  });
}

// The picture replaces one that there was.
void AddLoads(const Size& size) {
  const std::string row = "aoi/load/" + size.Name();
  Contend(row, "ours",
          [=] { return LoadAgain(New<IPersistStream>(CLSID_ByteAOIKLP), Saved(Persist(size))); });
#ifdef PEER_PROTOBUF
  Contend(row, "protobuf", [=] {
    record::Picture saved;
    Describe(saved, size, std::string(size.Pixels(), 3));
    return
        [in = saved.SerializeAsString(), picture = std::make_unique<record::Picture>()]() mutable {
          picture = std::make_unique<record::Picture>();
          if (!picture->ParseFromString(in)) std::abort();
          benchmark::ClobberMemory();
        };
  });
#endif
  Contend(row, "malloc_memcpy", [=] {
    return [in = std::vector<std::uint8_t>(sizeof(Header) + size.Pixels(), 3),
            pixels = std::unique_ptr<std::uint8_t[]>()]() mutable {
      Header header;
      std::memcpy(&header, in.data(), sizeof header);
      benchmark::DoNotOptimize(header);
      pixels.reset();
      pixels.reset(new std::uint8_t[in.size() - sizeof header]);
      std::memcpy(pixels.get(), in.data() + sizeof header, in.size() - sizeof header);
      benchmark::ClobberMemory();
    };
  });
}

void AddDuplicates(const Size& size) {
  const std::string row = "aoi/duplicate/" + size.Name();
  Contend(row, "ours", [=] {
    return [picture = NewPicture(kByte, size)] {
      Ref<IByteAOIKLP> duplicate;
      Check(picture->Duplicate(duplicate.Put()));
      benchmark::ClobberMemory();
    };
  });
#ifdef PEER_OPENCV
  Contend(row, "opencv", [=] {
    return [picture = cv::Mat(size.height, size.width, CV_8U, cv::Scalar(3))] {
      const cv::Mat duplicate = picture.clone();
      benchmark::DoNotOptimize(duplicate.data);
      benchmark::ClobberMemory();
    };
  });
#endif
}

// Another picture in the place of the one that there was; nobody looks at the pixels.
void AddNew(const Size& size) {
  const std::string row = "aoi/new/" + size.Name();
  Contend(row, "ours", [=] {
    return [size, picture = NewPicture(kByte, size)] {
      Check(picture->CreateImage(size.width, size.height));
      benchmark::ClobberMemory();
    };
  });
#ifdef PEER_OPENCV
  Contend(row, "opencv", [=] {
    return [size, picture = cv::Mat(size.height, size.width, CV_8U)]() mutable {
      picture.release();
      picture.create(size.height, size.width, CV_8U);
      benchmark::DoNotOptimize(picture.data);
      benchmark::ClobberMemory();
    };
  });
#endif
}

// A whole picture, or the middle of one that is larger by a quarter on each side.
template <class Kind>
void AddCopies(const Kind& kind, const Size& part, bool whole) {
  const std::string row =
      std::string(whole ? "copy" : "copy_part") + "/" + part.Name() + "/" + kind.name;
  const LONG around = whole ? 0 : part.width / 4;
  const Size size{part.width + 2 * around, part.height + 2 * around, 1};
  Contend(row, "ours", [=] {
    const auto picture = [=] {
      auto made = NewPicture(kind, size);
      Check(made->SetRect(around, around, around + part.width - 1, around + part.height - 1));
      return made;
    };
    return [from = picture(), to = picture()] {
      Check(from->CopyTo(to.Get()));
      benchmark::ClobberMemory();
    };
  });
#ifdef PEER_OPENCV
  Contend(row, "opencv", [=] {
    const cv::Mat first(size.height, size.width, kind.openCvDepth, cv::Scalar(3));
    const cv::Mat second = first.clone();
    const cv::Rect middle(around, around, part.width, part.height);
    return [from = first(middle), to = second(middle)]() mutable {
      from.copyTo(to);
      benchmark::ClobberMemory();
    };
  });
#endif
}

template <class Kind>
void AddFills(const Kind& kind, const Size& size) {
  const std::string row = "fill/" + size.Name() + "/" + kind.name;
  Contend(row, "ours", [=] {
    return [picture = NewPicture(kind, size)] {
      Check(picture->Fill(7));
      benchmark::ClobberMemory();
    };
  });
#ifdef PEER_OPENCV
  Contend(row, "opencv", [=] {
    return [picture = cv::Mat(size.height, size.width, kind.openCvDepth)]() mutable {
      picture.setTo(7);
      benchmark::ClobberMemory();
    };
  });
#endif
}

struct Mode {
  const char* name;
  MarginModeKLP ours;
  int openCv;
};

constexpr LONG kMargin = 8;
constexpr Size kWithMargins{4096, 4096, 3};

template <class Kind>
void AddMargins(const Kind& kind, const Mode& mode) {
  const std::string row = std::string("margins/") + mode.name + "/" + kind.name;
  Contend(row, "ours", [=] {
    const auto picture = NewPicture(kind, kWithMargins, kMargin);
    Check(picture->put_MarginMode(mode.ours));
    return [picture] {
      Check(picture->FillMargins());
      benchmark::ClobberMemory();
    };
  });
#ifdef PEER_OPENCV
  Contend(row, "opencv", [=] {
    std::vector<cv::Mat> planes;
    for (LONG i = 0; i < kWithMargins.planes; ++i) {
      planes.emplace_back(kWithMargins.height + 2 * kMargin, kWithMargins.width + 2 * kMargin,
                          CV_8U, cv::Scalar(3));
    }
    return [planes, mode]() mutable {
      for (auto& plane : planes) {
        // In place: the interior is not copied.
        const cv::Mat interior(plane,
                               cv::Rect(kMargin, kMargin, kWithMargins.width, kWithMargins.height));
        cv::copyMakeBorder(interior, plane, kMargin, kMargin, kMargin, kMargin,
                           mode.openCv | cv::BORDER_ISOLATED);
      }
      benchmark::ClobberMemory();
    };
  });
#endif
}

}  // namespace

void AddPictures() {
#ifdef PEER_OPENCV
  cv::setNumThreads(1);
#endif
#ifdef PEER_HDF5
  H5open();
#endif
  for (const Size& size : kSizes) {
    AddSaves(size);
    AddLoads(size);
    AddDuplicates(size);
    if (size.planes == 1) AddNew(size);
  }
  AddNew({512, 512, 1});
  for (const Size& size : {Size{64, 64, 1}, Size{512, 512, 1}, Size{4096, 4096, 1}}) {
    for (const bool whole : {true, false}) {
      AddCopies(kByte, size, whole);
      AddCopies(kWord, size, whole);
      AddCopies(kLong, size, whole);
    }
    AddFills(kByte, size);
    AddFills(kDouble, size);
  }
  for (const Mode& mode : {Mode{"zero", MarginZero, 0}, Mode{"replicate", MarginReplicate, 1},
                           Mode{"mirror", MarginMirror, 2}, Mode{"periodic", MarginPeriodic, 3}}) {
    AddMargins(kByte, mode);
    AddMargins(kFloat, mode);
  }
}

}  // namespace peers
