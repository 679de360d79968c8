// SPDX-License-Identifier: MIT
// The streams that the library hands to slots. Not for programs: see stream.h.
#pragma once

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

#include "platform/stream_window.h"
#include "rastelklp/object.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace rastelklp::detail {

// References, and refusals for what a stream does not do.
template <class Self>
class StreamObject : public IStream {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept override {
    if (!out) return E_POINTER;
    const bool isServed = IsEqualGUID(iid, IID_IUnknown) ||
                          IsEqualGUID(iid, IID_ISequentialStream) || IsEqualGUID(iid, IID_IStream);
    *out = isServed ? static_cast<IStream*>(this) : nullptr;
    if (isServed) AddRef();
    if (IsEqualGUID(iid, IID_IStreamWindow)) *out = Window();
    return *out ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override {
    const ULONG left = --references_;
    if (left == 0) delete static_cast<Self*>(this);
    return left;
  }
  STDMETHODIMP Read(void*, ULONG, ULONG*) noexcept override { return STG_E_ACCESSDENIED; }
  STDMETHODIMP Write(const void*, ULONG, ULONG*) noexcept override { return STG_E_ACCESSDENIED; }
  STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                      ULARGE_INTEGER*) noexcept override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Commit(DWORD) noexcept override { return S_OK; }
  STDMETHODIMP Revert() noexcept override { return E_NOTIMPL; }
  STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override {
    return E_NOTIMPL;
  }
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Stat(STATSTG*, DWORD) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IStream**) noexcept override { return E_NOTIMPL; }

 protected:
  // Of a stream that shows its memory.
  virtual IStreamWindow* Window() noexcept { return nullptr; }

 private:
  std::atomic<ULONG> references_{0};
};

// Reads the bytes of a Holder, which tells them by bytes().
template <class Holder>
class ByteView final : public StreamObject<ByteView<Holder>>, public IStreamWindow {
 public:
  explicit ByteView(Holder holder) noexcept : holder_(std::move(holder)) {}

  STDMETHODIMP Read(void* data, ULONG wanted, ULONG* got) noexcept override {
    const auto left = holder_.bytes().subspan((std::min)(position_, holder_.bytes().size()));
    const std::size_t count = std::min<std::size_t>(wanted, left.size());
    std::copy_n(left.data(), count, static_cast<std::byte*>(data));
    position_ += count;
    if (got) *got = static_cast<ULONG>(count);
    return count == wanted ? S_OK : S_FALSE;
  }
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override {
    const std::size_t from = origin == STREAM_SEEK_CUR   ? position_
                             : origin == STREAM_SEEK_END ? holder_.bytes().size()
                                                         : 0;
    const auto moved = static_cast<std::size_t>(move.QuadPart);
    if (move.QuadPart < 0 && std::size_t{0} - moved > from) return STG_E_SEEKERROR;
    position_ = from + moved;
    if (reached) reached->QuadPart = position_;
    return S_OK;
  }
  STDMETHODIMP Stat(STATSTG* stat, DWORD) noexcept override {
    if (!stat) return STG_E_INVALIDPOINTER;
    *stat = {};
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = holder_.bytes().size();
    return S_OK;
  }
  STDMETHODIMP OpenToWrite(ULONG, ULONGLONG, BYTE**, ULONG*) noexcept override {
    return STG_E_ACCESSDENIED;
  }
  STDMETHODIMP OpenToRead(const BYTE** bytes, ULONG* count) noexcept override {
    const auto left = holder_.bytes().subspan((std::min)(position_, holder_.bytes().size()));
    *bytes = reinterpret_cast<const BYTE*>(left.data());
    *count = static_cast<ULONG>(std::min<std::size_t>(left.size(), 0xFFFFFFFF));
    return S_OK;
  }
  STDMETHODIMP_(void) CloseWindow(ULONG moved) noexcept override { position_ += moved; }

 private:
  IStreamWindow* Window() noexcept override { return this; }

  Holder holder_;
  std::size_t position_ = 0;
};

// Bytes of the caller.
class BorrowedBytes {
 public:
  explicit BorrowedBytes(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}
  std::span<const std::byte> bytes() const noexcept { return bytes_; }

 private:
  std::span<const std::byte> bytes_;
};

// The result code of the platform's for what the C library says.
inline HRESULT ResultOfErrno() noexcept {
  switch (errno) {
    case ENOENT:
      return HRESULT_FROM_WIN32(2);
    case ENOTDIR:
      return HRESULT_FROM_WIN32(3);
    case EMFILE:
    case ENFILE:
      return HRESULT_FROM_WIN32(4);
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
      return E_ACCESSDENIED;
    case ENOMEM:
      return E_OUTOFMEMORY;
    case ENOSPC:
      return HRESULT_FROM_WIN32(112);
    default:
      return E_FAIL;
  }
}

// A file in memory, as its pages are touched.
class MappedFile {
 public:
  explicit MappedFile(const std::filesystem::path& path) {
#ifdef _WIN32
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size{};
    bool isMapped = file != INVALID_HANDLE_VALUE && GetFileSizeEx(file, &size);
    if (isMapped && size.QuadPart > 0) {
      const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
      void* const view = mapping ? MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0) : nullptr;
      isMapped = view != nullptr;
      if (mapping) CloseHandle(mapping);
      if (isMapped) {
        bytes_ = {static_cast<const std::byte*>(view), static_cast<std::size_t>(size.QuadPart)};
      }
    }
    // The view keeps the file; closing changes no error.
    const DWORD error = isMapped ? ERROR_SUCCESS : GetLastError();
    // One code for a missing file, as on the other host, where its folder is missing too.
    const HRESULT result = HRESULT_FROM_WIN32(error == ERROR_PATH_NOT_FOUND ? 2 : error);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    check_hresult(result);
#else
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat state;
    bool isMapped = file >= 0 && fstat(file, &state) == 0;
    if (isMapped && state.st_size > 0) {
      const auto size = static_cast<std::size_t>(state.st_size);
      void* const view = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
      isMapped = view != MAP_FAILED;
      if (isMapped) bytes_ = {static_cast<const std::byte*>(view), size};
    }
    const HRESULT result = isMapped ? S_OK : ResultOfErrno();
    if (file >= 0) close(file);
    check_hresult(result);
#endif
  }
  MappedFile(MappedFile&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
  ~MappedFile() {
    if (bytes_.empty()) return;
#ifdef _WIN32
    UnmapViewOfFile(bytes_.data());
#else
    munmap(const_cast<std::byte*>(bytes_.data()), bytes_.size());
#endif
  }

  std::span<const std::byte> bytes() const noexcept { return bytes_; }

 private:
  std::span<const std::byte> bytes_;
};

// A new file, written through a buffer; Commit empties that.
class FileWriter final : public StreamObject<FileWriter>, public IStreamWindow {
 public:
  explicit FileWriter(const std::filesystem::path& path)
#ifdef _WIN32
      : file_(_wfopen(path.c_str(), L"wb")) {
#else
      : file_(std::fopen(path.c_str(), "wbe")) {
#endif
    if (!file_) Raise(ResultOfErrno());
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
  }
  ~FileWriter() { Flush(); }
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;

  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* written) noexcept override {
    if (written) *written = 0;
    const bool isShort = bytes < kBufferBytes;
    if (bytes > kBufferBytes - used_ && !Flush()) return ResultOfErrno();
    std::size_t count = bytes;
    if (isShort) {
      std::copy_n(static_cast<const std::byte*>(data), bytes, buffer_.get() + used_);
      used_ += bytes;
    } else {
      count = std::fwrite(data, 1, bytes, file_.get());
    }
    if (written) *written = static_cast<ULONG>(count);
    return count == bytes ? S_OK : ResultOfErrno();
  }
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override {
    if (!Flush()) return ResultOfErrno();
#ifdef _WIN32
    if (_fseeki64(file_.get(), move.QuadPart, static_cast<int>(origin)) != 0) {
      return STG_E_SEEKERROR;
    }
    if (reached) reached->QuadPart = static_cast<ULONGLONG>(_ftelli64(file_.get()));
#else
    if (fseeko(file_.get(), move.QuadPart, static_cast<int>(origin)) != 0) return STG_E_SEEKERROR;
    if (reached) reached->QuadPart = static_cast<ULONGLONG>(ftello(file_.get()));
#endif
    return S_OK;
  }
  STDMETHODIMP Commit(DWORD) noexcept override { return Flush() ? S_OK : ResultOfErrno(); }

  STDMETHODIMP OpenToWrite(ULONG least, ULONGLONG, BYTE** bytes, ULONG* count) noexcept override {
    if (least > kBufferBytes - used_ && (least > kBufferBytes || !Flush())) return E_FAIL;
    *bytes = reinterpret_cast<BYTE*>(buffer_.get() + used_);
    *count = static_cast<ULONG>(kBufferBytes - used_);
    return S_OK;
  }
  STDMETHODIMP OpenToRead(const BYTE**, ULONG*) noexcept override { return STG_E_ACCESSDENIED; }
  STDMETHODIMP_(void) CloseWindow(ULONG moved) noexcept override { used_ += moved; }

 private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  static constexpr std::size_t kBufferBytes = 0x10000;

  IStreamWindow* Window() noexcept override { return this; }
  // False: errno says why, and the rest waits.
  bool Flush() noexcept {
    const std::size_t count = used_ > 0 ? std::fwrite(buffer_.get(), 1, used_, file_.get()) : 0;
    std::copy(buffer_.get() + count, buffer_.get() + used_, buffer_.get());
    used_ -= count;
    return used_ == 0;
  }

  std::unique_ptr<std::FILE, Close> file_;
  const std::unique_ptr<std::byte[]> buffer_{new std::byte[kBufferBytes]};
  std::size_t used_ = 0;
};

// Hands everything on and remembers the first call that moved less than was asked: objects pass
// over failures of their pixels. A stream that does not say how much has moved all.
class WatchedStream final : public StreamObject<WatchedStream> {
 public:
  explicit WatchedStream(com_ptr<IStream> stream) noexcept : stream_(std::move(stream)) {}

  // S_OK, or what the first such call gave.
  HRESULT failure() const noexcept { return failure_; }

  STDMETHODIMP Read(void* data, ULONG bytes, ULONG* got) noexcept override {
    ULONG count = bytes;
    const HRESULT result = stream_->Read(data, bytes, &count);
    if (got) *got = count;
    return Watch(result, count == bytes, STG_E_READFAULT);
  }
  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* written) noexcept override {
    ULONG count = bytes;
    const HRESULT result = stream_->Write(data, bytes, &count);
    if (written) *written = count;
    return Watch(result, count == bytes, STG_E_WRITEFAULT);
  }
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) noexcept override {
    return stream_->Seek(move, origin, reached);
  }
  STDMETHODIMP SetSize(ULARGE_INTEGER bytes) noexcept override { return stream_->SetSize(bytes); }
  STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* got,
                      ULARGE_INTEGER* written) noexcept override {
    return stream_->CopyTo(target, bytes, got, written);
  }
  STDMETHODIMP Commit(DWORD flags) noexcept override { return stream_->Commit(flags); }
  STDMETHODIMP Revert() noexcept override { return stream_->Revert(); }
  STDMETHODIMP Stat(STATSTG* stat, DWORD flags) noexcept override {
    return stream_->Stat(stat, flags);
  }
  STDMETHODIMP Clone(IStream** clone) noexcept override { return stream_->Clone(clone); }

 private:
  // What goes through one, goes whole.
  IStreamWindow* Window() noexcept override { return platform::WindowOf(stream_.get()); }
  HRESULT Watch(HRESULT result, bool isWhole, HRESULT shortCode) noexcept {
    if (failure_ == S_OK && FAILED(result)) failure_ = result;
    if (failure_ == S_OK && !isWhole) failure_ = shortCode;
    return result;
  }

  com_ptr<IStream> stream_;
  HRESULT failure_ = S_OK;
};

}  // namespace rastelklp::detail
