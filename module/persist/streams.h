// SPDX-License-Identifier: MIT
// The routines by which values, texts and objects pass through a stream, and the stream that
// counts. Every format of the module is built from these and from the variant records.
//
// All numbers are little-endian, a wide character is one UTF-16 unit of 2 bytes, and nothing is
// aligned. Of a stream's answers only the sign is looked at: a read that falls short and does not
// fail goes unnoticed, and what it did not deliver keeps what was there, which is zero in all fresh
// memory. Streams and objects are foreign code and may call back; no routine here keeps state.
//
// Routines that return HRESULT give the first failing result, else the last one. The others raise
// _com_error with it.
#pragma once

#include <cstdint>

#include "module/frame/bstr.h"
#include "module/frame/exceptions.h"
#include "module/persist/stream_reader.h"
#include "module/persist/stream_writer.h"
#include "platform/com_ptr.h"
#include "platform/platform.h"

namespace rastel {

// A stream without storage: it counts what is written, and by running a writer on it one learns
// how many bytes the writer would write. Declared as a local, used by one call on one thread, never
// destroyed by its count and never on the heap. A Write never fails and does not look at the data;
// all operations but Write and those of IUnknown give E_NOTIMPL.
class CNullDeviceStream final : public IStream {
 public:
  CNullDeviceStream() = default;
  CNullDeviceStream(const CNullDeviceStream&) = delete;
  CNullDeviceStream& operator=(const CNullDeviceStream&) = delete;
  static void* operator new(std::size_t) = delete;
  static void* operator new[](std::size_t) = delete;

  // The counting stream that a pointer leads to, told by its slot table and without a call; null
  // for any other stream.
  static CNullDeviceStream* Behind(IStream* stream) noexcept;

  // Bytes written so far.
  ULONGLONG Count() const noexcept { return m_Bytes; }
  // Takes back what was written since the count was this.
  void SetCount(ULONGLONG bytes) noexcept { m_Bytes = bytes; }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  // The count before; Release gives the one after. Nothing may rely on either.
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP Read(void* data, ULONG bytes, ULONG* bytesRead) override;
  STDMETHODIMP Write(const void* data, ULONG bytes, ULONG* bytesWritten) override;
  STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
  STDMETHODIMP SetSize(ULARGE_INTEGER newSize) override;
  STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* bytesRead,
                      ULARGE_INTEGER* bytesWritten) override;
  STDMETHODIMP Commit(DWORD flags) override;
  STDMETHODIMP Revert() override;
  STDMETHODIMP LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override;
  STDMETHODIMP UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD type) override;
  STDMETHODIMP Stat(STATSTG* stat, DWORD flags) override;
  STDMETHODIMP Clone(IStream** out) override;

 private:
  ULONG m_RefCount = 0;
  ULONGLONG m_Bytes = 0;
};

// The bytes that one Read or Write can move.
inline constexpr std::uint64_t kMostCallBytes = 0xFFFFFFFF;

// Null for an object without IPersistStream; any other failure to answer is raised.
platform::ComPtr<IPersistStream> PersistenceOf(IUnknown* object);

// The count of characters as 4 bytes, then the characters without their terminator, of which there
// may be none: two writes. The text is not null. More characters than one Write can carry are
// E_OUTOFMEMORY.
HRESULT WriteWideString(StreamWriter& writer, const OLECHAR* text);

// Reads a count of characters and then so many characters, without terminator, to a destination
// that has room for capacityChars of them. A larger count is E_FAIL and leaves the stream behind
// the count; more than one Read can carry are E_OUTOFMEMORY.
HRESULT ReadWideChars(StreamReader& reader, OLECHAR* destination, std::uint64_t capacityChars);

// The text up to its first null character, of so many characters at any address. Raises
// _com_error.
_bstr_t TextAt(const BYTE* text, std::uint32_t chars);

// A presence mark of 1 byte, 1 or 0 for a null object, then by OleSaveToStream the object's class
// identifier and its Save. An object without IPersistStream raises E_NOINTERFACE, behind the mark.
void WriteObject(StreamWriter& writer, IUnknown* object);

// The inverse. The pointer gives its object up whatever the mark says, and holds a new object if
// the mark is not 0 and nothing was raised; only a failure to read the mark leaves it alone.
void ReadObject(StreamReader& reader, platform::ComPtr<IDispatch>& pointer);

// Adds what WriteObject takes by the object's own GetSizeMax: 1 byte for null, else 17 and that.
void AddObjectSize(ULONGLONG& totalBytes, IUnknown* object);

}  // namespace rastel
