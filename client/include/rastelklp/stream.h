// SPDX-License-Identifier: MIT
// Objects in files, in streams and in memory: the class identifier, then what the object saves.
//
// Slots pass over some failures: an AOI whose pixels met a full disk, or the end of the file, is
// saved and loaded with S_OK. save and load raise Error for every byte that did not go or come. A
// rectangle that was saved without all of its planes ends before its header says, and so does not
// load here; OleLoadFromStream takes it.
#pragma once

#include <vector>

#include "interfaces/identifiers.h"
#include "interfaces/stream_classes.h"
#include "rastelklp/path.h"
#include "rastelklp/stream_objects.h"

namespace rastelklp {

namespace detail {

// Failures with the name of the file.
template <class Operation>
auto Naming(const Path& path, Operation operation) {
  try {
    return operation();
  } catch (const Error& error) {
    throw Error(error.code(), path.utf8() + ": " + error.text(), error.source());
  }
}

// Null where the module is not there, or is of a version without this.
inline com_ptr<IStreamClassesKLP> StreamClasses() {
  com_ptr<IStreamClassesKLP> classes;
  CoGetClassObject(CLSID_ByteAOIKLP, CLSCTX_INPROC_SERVER, nullptr, IID_IStreamClassesKLP,
                   classes.put_void());
  return classes;
}

}  // namespace detail

// For programs that load what strangers have made: from now on load, and the module's objects with
// all that is in them, make no other classes than the module's and these. The data of others are
// kept, and saved again. Once in main: see interfaces/stream_classes.h. E_NOINTERFACE: the module
// does not know this.
inline void allow_only(std::span<const CLSID> classes = {}) {
  const auto all = detail::StreamClasses();
  check_hresult(all ? all->AllowOnly(classes.data(), static_cast<ULONG>(classes.size()))
                    : E_NOINTERFACE);
}

// Every class that is registered again.
inline void allow_all() {
  const auto all = detail::StreamClasses();
  check_hresult(all ? all->AllowAll() : E_NOINTERFACE);
}

// An IStream on a file. A file that is read is mapped: it must not be made shorter meanwhile.
class FileStream : public com_ptr<IStream> {
 public:
  static FileStream open(const Path& path) {
    return detail::Naming(path, [&] { return FileStream(detail::MappedFile(path.get())); });
  }
  // A new file, in the place of one that there was.
  static FileStream create(const Path& path) {
    return detail::Naming(path, [&] { return FileStream(new detail::FileWriter(path.get())); });
  }

 private:
  explicit FileStream(IStream* stream) noexcept : com_ptr(stream) {}
  explicit FileStream(detail::MappedFile file)
      : FileStream(new detail::ByteView(std::move(file))) {}
};

template <class Wanted = IUnknown>
reference_to<Wanted> load(const com_ptr<IStream>& stream) {
  const com_ptr<detail::WatchedStream> watched = new detail::WatchedStream(stream);
  reference_to<Wanted> object(nullptr);
  const IID& iid = platform::kIidOf<typename reference_to<Wanted>::interface_type>;
  const auto classes = detail::StreamClasses();
  check_hresult(classes ? classes->LoadFromStream(watched.get(), iid, object.put_void())
                        : OleLoadFromStream(watched.get(), iid, object.put_void()));
  check_hresult(watched->failure());
  return object;
}

template <class Wanted = IUnknown>
reference_to<Wanted> load(std::span<const std::byte> bytes) {
  return load<Wanted>(com_ptr<IStream>(new detail::ByteView(detail::BorrowedBytes(bytes))));
}

template <class Wanted = IUnknown>
reference_to<Wanted> load(const Path& path) {
  const FileStream file = FileStream::open(path);
  return detail::Naming(path, [&] { return load<Wanted>(file); });
}

inline void save(const Object& object, const com_ptr<IStream>& stream) {
  const com_ptr<detail::WatchedStream> watched = new detail::WatchedStream(stream);
  check_hresult(OleSaveToStream(object.as<IPersistStream>().get(), watched.get()));
  check_hresult(watched->failure());
  if (const HRESULT result = stream->Commit(0); result != E_NOTIMPL) check_hresult(result);
}

// A file that there was keeps its content until the new one is whole.
inline void save(const Object& object, const Path& path) {
  std::error_code error;
  const auto state = std::filesystem::symlink_status(path.get(), error);
  const bool replaces = !std::filesystem::exists(state) || std::filesystem::is_regular_file(state);
  std::filesystem::path target = path.get();
  if (replaces) target += ".part";
  detail::Naming(path, [&] {
    try {
      save(object, com_ptr<IStream>(new detail::FileWriter(target)));
      if (replaces) std::filesystem::rename(target, path.get(), error);
      if (error) throw Error(E_ACCESSDENIED);
    } catch (const Error&) {
      if (replaces) std::filesystem::remove(target, error);
      throw;
    }
  });
}

inline std::vector<std::byte> save(const Object& object) {
  com_ptr<IStream> stream;
  check_hresult(CreateStreamOnHGlobal(nullptr, TRUE, stream.put()));
  save(object, stream);
  ULARGE_INTEGER size{};
  check_hresult(stream->Seek({}, STREAM_SEEK_CUR, &size));
  check_hresult(stream->Seek({}, STREAM_SEEK_SET, nullptr));
  std::vector<std::byte> bytes(static_cast<std::size_t>(size.QuadPart));
  check_hresult(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr));
  return bytes;
}

}  // namespace rastelklp
