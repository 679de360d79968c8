// SPDX-License-Identifier: MIT
#include "host/services/memory_streams.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>

#include "host/base/counted_object.h"
#include "host/services/large_blocks.h"
#include "host/services/stream_window.h"

namespace host {

constexpr ULONGLONG kMaxStreamBytes = 0xFFFFFFFF;
constexpr ULONGLONG kFirstCapacityBytes = 64;
constexpr std::size_t kCopyChunkBytes = 16 * 1024;

// The bytes that a stream and its clones share. Callers hold the lock for everything but
// references.
class StreamBytes final {
 public:
  StreamBytes() = default;
  StreamBytes(const StreamBytes&) = delete;
  StreamBytes& operator=(const StreamBytes&) = delete;

  void AddReference() noexcept { references_.Add(); }
  void DropReference() noexcept {
    if (references_.Drop() == 0) delete this;
  }

  std::mutex& Lock() noexcept { return lock_; }
  ULONGLONG Size() const noexcept { return size_; }

  ULONG Read(ULONGLONG position, void* data, ULONG bytes) const noexcept {
    if (position >= size_) return 0;
    const ULONG count = static_cast<ULONG>(std::min<ULONGLONG>(bytes, size_ - position));
    const std::size_t stored = static_cast<std::size_t>(
        position < filled_ ? std::min<ULONGLONG>(count, filled_ - position) : 0);
    if (stored > 0) std::memcpy(data, block_ + position, stored);
    if (stored < count) std::memset(static_cast<BYTE*>(data) + stored, 0, count - stored);
    return count;
  }

  // False: the bytes cannot be had, and nothing changed.
  bool Write(ULONGLONG position, const void* data, ULONG bytes) noexcept {
    if (!Reserve(position + bytes)) return false;
    std::memcpy(block_ + position, data, bytes);
    EndWrite(position, bytes);
    return true;
  }

  // The bytes that lie in the block behind a position.
  const BYTE* Stored(ULONGLONG position, ULONG* count) const noexcept {
    const ULONGLONG left = position < filled_ ? filled_ - position : 0;
    *count = static_cast<ULONG>(left);
    return left > 0 ? block_ + position : nullptr;
  }
  // Room for at least so many bytes, to be told of by EndWrite; null if they cannot be had. More
  // than that are hoped for.
  BYTE* Room(ULONGLONG position, ULONG least, ULONGLONG hoped, ULONG* count) noexcept {
    if (position + least > capacity_) {
      const ULONGLONG wanted = std::min(hoped, kMaxStreamBytes - position);
      const bool hasAll = wanted > least && Reserve(position + wanted);
      if (!hasAll && !Reserve(position + least)) return nullptr;
    }
    *count = static_cast<ULONG>(capacity_ - position);
    return block_ + position;
  }
  void EndWrite(ULONGLONG position, ULONG bytes) noexcept {
    if (bytes == 0) return;
    FillTo(position);
    EndWriteAt(position + bytes);
  }

  // Writes bytes of this block, which lie below the size, to another place in it.
  bool Repeat(ULONGLONG source, ULONGLONG target, ULONGLONG bytes) noexcept {
    if (!Reserve(target + bytes)) return false;
    FillTo(std::max(source + bytes, target));
    std::memmove(block_ + target, block_ + source, static_cast<std::size_t>(bytes));
    EndWriteAt(target + bytes);
    return true;
  }

  bool Resize(ULONGLONG bytes) noexcept {
    if (bytes > size_ && !Reserve(bytes)) return false;
    const bool isCut = bytes < size_;
    size_ = bytes;
    filled_ = std::min(filled_, bytes);
    if (isCut && bytes < capacity_ / 4) Reallocate(bytes);
    return true;
  }

 private:
  ~StreamBytes() { FreeBlock(); }

  bool Reserve(ULONGLONG bytes) noexcept {
    if (bytes <= capacity_) return true;
    if (bytes > kMaxStreamBytes) return false;
    const ULONGLONG doubled =
        std::min(std::max(capacity_ * 2, kFirstCapacityBytes), kMaxStreamBytes);
    return (doubled > bytes && Reallocate(doubled)) || Reallocate(bytes);
  }

  // False: nothing has changed.
  bool Reallocate(ULONGLONG bytes) noexcept {
    const bool wasLarge = largeSize_ > 0;
    auto size = static_cast<std::size_t>(bytes);
    std::size_t largeSize = 0;
    void* block = nullptr;
    if (bytes == 0) {
      FreeBlock();
    } else if (bytes < kLargeBlockBytes && !wasLarge) {
      block = std::realloc(block_, size);
    } else if (bytes >= kLargeBlockBytes && wasLarge) {
      largeSize = largeSize_;
      block = ResizeLargeBlock(block_, size, &largeSize);
    } else {
      block = wasLarge ? std::malloc(size) : TakeLargeBlock(size, &largeSize);
      if (block && filled_ > 0) std::memcpy(block, block_, static_cast<std::size_t>(filled_));
      if (block) FreeBlock();
    }
    if (!block && bytes > 0) return false;
    block_ = static_cast<BYTE*>(block);
    largeSize_ = largeSize;
    capacity_ = std::min(std::max<ULONGLONG>(bytes, largeSize), kMaxStreamBytes);
    return true;
  }

  void FreeBlock() noexcept {
    if (largeSize_ > 0) GiveLargeBlock(block_, largeSize_);
    if (largeSize_ == 0) std::free(block_);
  }

  void FillTo(ULONGLONG position) noexcept {
    if (filled_ >= position) return;
    std::memset(block_ + filled_, 0, static_cast<std::size_t>(position - filled_));
    filled_ = position;
  }

  void EndWriteAt(ULONGLONG position) noexcept {
    filled_ = std::max(filled_, position);
    size_ = std::max(size_, position);
  }

  ReferenceCount references_;
  std::mutex lock_;
  BYTE* block_ = nullptr;
  std::size_t largeSize_ = 0;  // of a large block, else 0
  ULONGLONG capacity_ = 0;
  ULONGLONG size_ = 0;
  // Bytes from here to the size were never written: they read as zero, and memory that was only
  // reserved for them is not touched.
  ULONGLONG filled_ = 0;
};

class MemoryStream final
    : public CountedObject<MemoryStream, Serves<IStream, IID_ISequentialStream, IID_IStream>>,
      public IStreamWindow {
  friend CountedObject;

 public:
  // Takes over one reference on the bytes.
  MemoryStream(StreamBytes* bytes, ULONGLONG position) noexcept
      : bytes_(bytes), position_(position) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out || iid != IID_IStreamWindow) return CountedObject::QueryInterface(iid, out);
    *out = static_cast<IStreamWindow*>(this);
    return S_OK;
  }

  STDMETHODIMP Read(void* data, ULONG bytes, ULONG* bytesRead) noexcept override {
    if (bytesRead) *bytesRead = 0;
    if (bytes == 0) return S_OK;
    if (!data) return STG_E_INVALIDPOINTER;
    const ULONG count = Take(data, bytes);
    if (bytesRead) *bytesRead = count;
    return S_OK;
  }

  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* bytesWritten) noexcept override {
    if (bytesWritten) *bytesWritten = 0;
    if (bytes == 0) return S_OK;
    if (!data) return STG_E_INVALIDPOINTER;
    {
      const std::lock_guard lock(bytes_->Lock());
      if (!bytes_->Write(position_, data, bytes)) return E_OUTOFMEMORY;
      position_ += bytes;
    }
    if (bytesWritten) *bytesWritten = bytes;
    return S_OK;
  }

  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin,
                    ULARGE_INTEGER* newPosition) noexcept override {
    const std::lock_guard lock(bytes_->Lock());
    const bool moved = MoveBy(move.QuadPart, origin);
    if (newPosition) newPosition->QuadPart = position_;
    return moved ? S_OK : STG_E_SEEKERROR;
  }

  STDMETHODIMP SetSize(ULARGE_INTEGER newSize) noexcept override {
    const std::lock_guard lock(bytes_->Lock());
    return bytes_->Resize(newSize.QuadPart) ? S_OK : E_OUTOFMEMORY;
  }

  STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* bytesRead,
                      ULARGE_INTEGER* bytesWritten) override {
    ULONGLONG readCount = 0;
    ULONGLONG writtenCount = 0;
    HRESULT result = STG_E_INVALIDPOINTER;
    if (target) {
      MemoryStream* sibling = SameBytes(target);
      result = sibling ? CopyWithin(*sibling, bytes.QuadPart, readCount, writtenCount)
                       : CopyOut(target, bytes.QuadPart, readCount, writtenCount);
    }
    if (bytesRead) bytesRead->QuadPart = readCount;
    if (bytesWritten) bytesWritten->QuadPart = writtenCount;
    return result;
  }

  STDMETHODIMP Commit(DWORD) noexcept override { return S_OK; }
  STDMETHODIMP Revert() noexcept override { return S_OK; }
  STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override {
    return STG_E_INVALIDFUNCTION;
  }
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override {
    return STG_E_INVALIDFUNCTION;
  }

  STDMETHODIMP Stat(STATSTG* stat, DWORD) noexcept override {
    if (!stat) return STG_E_INVALIDPOINTER;
    *stat = {};
    stat->type = STGTY_STREAM;
    const std::lock_guard lock(bytes_->Lock());
    stat->cbSize.QuadPart = bytes_->Size();
    return S_OK;
  }

  STDMETHODIMP Clone(IStream** out) noexcept override {
    if (!out) return STG_E_INVALIDPOINTER;
    const std::lock_guard lock(bytes_->Lock());
    MemoryStream* clone = new (std::nothrow) MemoryStream(bytes_, position_);
    *out = clone;
    if (!clone) return E_OUTOFMEMORY;
    bytes_->AddReference();
    return S_OK;
  }

  // A window holds the lock.
  STDMETHODIMP OpenToWrite(ULONG least, ULONGLONG hoped, BYTE** bytes,
                           ULONG* count) noexcept override {
    bytes_->Lock().lock();
    *bytes = bytes_->Room(position_, least, hoped, count);
    isWriting_ = true;
    if (*bytes) return S_OK;
    bytes_->Lock().unlock();
    return E_OUTOFMEMORY;
  }
  STDMETHODIMP OpenToRead(const BYTE** bytes, ULONG* count) noexcept override {
    bytes_->Lock().lock();
    *bytes = bytes_->Stored(position_, count);
    isWriting_ = false;
    return S_OK;
  }
  STDMETHODIMP_(void) CloseWindow(ULONG moved) noexcept override {
    if (isWriting_) bytes_->EndWrite(position_, moved);
    position_ += moved;
    bytes_->Lock().unlock();
  }

 private:
  ~MemoryStream() { bytes_->DropReference(); }

  // Reads at the position and moves it on.
  ULONG Take(void* data, ULONG bytes) noexcept {
    const std::lock_guard lock(bytes_->Lock());
    const ULONG count = bytes_->Read(position_, data, bytes);
    position_ += count;
    return count;
  }

  // False leaves the position.
  bool MoveBy(LONGLONG move, DWORD origin) noexcept {
    ULONGLONG base = 0;
    if (origin == STREAM_SEEK_CUR) {
      base = position_;
    } else if (origin == STREAM_SEEK_END) {
      base = bytes_->Size();
    } else if (origin != STREAM_SEEK_SET) {
      return false;
    }
    // Unsigned, so that the most negative move has a magnitude as well.
    const ULONGLONG distance =
        move < 0 ? 0 - static_cast<ULONGLONG>(move) : static_cast<ULONGLONG>(move);
    if (distance > (move < 0 ? base : kMaxStreamBytes - base)) return false;
    position_ = move < 0 ? base - distance : base + distance;
    return true;
  }

  // The target as a stream over the same bytes, else null. Streams of this class are told from
  // foreign ones by their slot table, without a call.
  MemoryStream* SameBytes(IStream* target) noexcept {
    const void* ownTable = nullptr;
    const void* targetTable = nullptr;
    std::memcpy(&ownTable, static_cast<const void*>(static_cast<IStream*>(this)), sizeof(void*));
    std::memcpy(&targetTable, static_cast<const void*>(target), sizeof(void*));
    if (ownTable != targetTable) return nullptr;
    MemoryStream* stream = static_cast<MemoryStream*>(target);
    return stream->bytes_ == bytes_ ? stream : nullptr;
  }

  // As one Read and one Write of everything: bytes that the copy overwrites are read before.
  HRESULT CopyWithin(MemoryStream& target, ULONGLONG bytes, ULONGLONG& readCount,
                     ULONGLONG& writtenCount) noexcept {
    const std::lock_guard lock(bytes_->Lock());
    if (position_ >= bytes_->Size()) return S_OK;
    const ULONGLONG source = position_;
    const ULONGLONG count = std::min(bytes, bytes_->Size() - source);
    if (count == 0) return S_OK;
    readCount = count;
    position_ += count;
    if (!bytes_->Repeat(source, target.position_, count)) return E_OUTOFMEMORY;
    target.position_ += count;
    writtenCount = count;
    return S_OK;
  }

  // The target is foreign code, so no lock is held while it writes. Ends at the target's first
  // failure and at a write that falls short.
  HRESULT CopyOut(IStream* target, ULONGLONG bytes, ULONGLONG& readCount, ULONGLONG& writtenCount) {
    ULONGLONG remaining = 0;
    {
      const std::lock_guard lock(bytes_->Lock());
      if (position_ < bytes_->Size()) remaining = std::min(bytes, bytes_->Size() - position_);
    }
    BYTE chunk[kCopyChunkBytes];
    while (remaining > 0) {
      const ULONG wanted = static_cast<ULONG>(std::min<ULONGLONG>(remaining, sizeof(chunk)));
      const ULONG taken = Take(chunk, wanted);
      if (taken == 0) break;
      readCount += taken;
      ULONG written = 0;
      const HRESULT result = target->Write(chunk, taken, &written);
      if (FAILED(result)) return result;
      writtenCount += std::min(written, taken);
      if (written < taken) break;
      remaining -= taken;
    }
    return S_OK;
  }

  StreamBytes* const bytes_;
  // Guarded by the lock of the bytes.
  ULONGLONG position_;
  bool isWriting_ = false;  // of the open window
};

}  // namespace host

HRESULT STDAPICALLTYPE CreateStreamOnHGlobal(HGLOBAL memory, BOOL, IStream** out) {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (memory) return E_INVALIDARG;
  auto* bytes = new (std::nothrow) host::StreamBytes;
  if (!bytes) return E_OUTOFMEMORY;
  *out = new (std::nothrow) host::MemoryStream(bytes, 0);
  if (*out) return S_OK;
  bytes->DropReference();
  return E_OUTOFMEMORY;
}
