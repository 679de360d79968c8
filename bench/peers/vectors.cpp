// SPDX-License-Identifier: MIT
// Vectors of doubles: copied, saved and loaded.
#include <cstring>
#include <vector>

#include "bench/peers/peers.h"

#ifdef PEER_PROTOBUF
#include "record.pb.h"
#endif
#ifdef PEER_BOOST
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/vector.hpp>
#endif

namespace peers {
namespace {

Ref<IDoubleVectorKLP> OurVector(LONG count) {
  auto vector = New<IDoubleVectorKLP>(CLSID_DoubleVectorKLP);
  Check(vector->put_Count(count));
  Check(vector->Fill(1.5));
  return vector;
}
std::vector<double> PlainVector(LONG count) {
  return std::vector<double>(static_cast<std::size_t>(count), 1.5);
}

void AddCopies(LONG count) {
  const std::string row = "vector/deep_copy/" + std::to_string(count);
  Contend(row, "ours", [=] {
    return [vector = OurVector(count)] {
      Ref<IDoubleVectorKLP> copy;
      Check(vector->DeepCopy(copy.Put()));
      benchmark::ClobberMemory();
    };
  });
  Contend(row, "std_vector", [=] {
    return [vector = PlainVector(count)] {
      const std::vector<double> copy = vector;
      benchmark::DoNotOptimize(copy.data());
      benchmark::ClobberMemory();
    };
  });
  // As an object that may be handed on.
  Contend(row, "shared_std_vector", [=] {
    return [vector = PlainVector(count)] {
      const auto copy = std::make_shared<const std::vector<double>>(vector);
      benchmark::DoNotOptimize(copy->data());
      benchmark::ClobberMemory();
    };
  });
}

void AddSmallStreams(LONG count) {
  const std::string size = std::to_string(count);
  const auto persist = [=] { return OurVector(count).As<IPersistStream>(); };
  Contend("vector/save/" + size + "/reused", "ours", [=] { return SaveAgain(persist()); });
  Contend("vector/load/" + size + "/reused", "ours",
          [=] { return LoadAgain(persist(), Saved(persist())); });
  // The block and a count in front of it.
  const auto copy = [=](bool load) {
    return [load, count, values = PlainVector(count),
            block = std::vector<char>(sizeof count +
                                      static_cast<std::size_t>(count) * sizeof(double))]() mutable {
      const std::size_t bytes = values.size() * sizeof(double);
      if (load) {
        std::memcpy(&count, block.data(), sizeof count);
        std::memcpy(values.data(), block.data() + sizeof count, bytes);
      } else {
        std::memcpy(block.data(), &count, sizeof count);
        std::memcpy(block.data() + sizeof count, values.data(), bytes);
      }
      benchmark::ClobberMemory();
    };
  };
  Contend("vector/save/" + size + "/reused", "memcpy", [=] { return copy(false); });
  Contend("vector/load/" + size + "/reused", "memcpy", [=] { return copy(true); });
}

void AddLargeStreams(LONG count) {
  const std::string row = "vector/save/" + std::to_string(count) + "/fresh";
  Contend(row, "ours", [=] { return SaveAnew(OurVector(count).As<IPersistStream>()); });
#ifdef PEER_PROTOBUF
  Contend(row, "protobuf", [=] {
    record::Doubles message;
    message.mutable_values()->Resize(count, 1.5);
    return [message] {
      std::string out;
      message.SerializeToString(&out);
      benchmark::DoNotOptimize(out.data());
      benchmark::ClobberMemory();
    };
  });
#endif
#ifdef PEER_BOOST
  Contend(row, "boost", [=] {
    return [vector = PlainVector(count)] {
      TextSink out;
      boost::archive::binary_oarchive archive(out, boost::archive::no_header);
      archive << vector;
      benchmark::DoNotOptimize(out.text.data());
      benchmark::ClobberMemory();
    };
  });
#endif
}

}  // namespace

void AddVectors() {
  for (const LONG count : {16, 1'000, 100'000}) AddCopies(count);
  AddSmallStreams(1'000);
  AddLargeStreams(10'000'000);
}

}  // namespace peers
