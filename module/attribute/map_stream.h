// SPDX-License-Identifier: MIT
// The stream of a map.
//
//   version   u32  1
//   override  u8   1: put_Value replaces
//   count     u32  attributes
//             count times, in ascending order of the keys
//     key          see keys.h
//     value        a tagged record
//
// Save and Load treat a failing call differently, and clients rely on both: Save and GetSizeMax
// report it under its low 16 bits, which loses the code, and Load gives it back as it is.
#pragma once

#include "module/attribute/attribute_map.h"
#include "module/persist/streams.h"

namespace rastel {

inline constexpr DWORD kMapVersion = 1;

// Reports the code of a caught error as a message number.
HRESULT ReportMapError(REFCLSID classId, const _com_error& error) noexcept;

// Whether a value is an object that says that it is dirty. Raises _com_error for one that cannot be
// copied or that fails to answer IPersistStream, but for E_NOINTERFACE.
bool IsValueDirty(const VARIANT& value);

// A tagged record. Raise _com_error for a negative result, and as the records.
void WriteValue(StreamWriter& writer, const VARIANT& value);
CComVariant ReadValue(StreamReader& reader);

template <class Traits, class Coclass>
class IPersistStreamAttributeMapImpl : public IPersistStream,
                                       public CAttributeMapImpl<Traits, Coclass> {
  using Map = CAttributeMapImpl<Traits, Coclass>;
  using Store = typename Traits::Store;
  using Kind = typename Traits::Kind;

 public:
  STDMETHODIMP GetClassID(CLSID* classId) override {
    *classId = *Traits::kClassId;
    return S_OK;
  }

  // S_OK if the flag is set, or an object in a value says S_OK; else S_FALSE. E_ACCESSDENIED for
  // objects nested too deep; raised errors as codes.
  STDMETHODIMP IsDirty() override {
    return Map::Guard([&]() -> HRESULT {
      const OperationLevel level;
      if (FAILED(level.Result())) return level.Result();
      const LockedContent content(*this, this->attributes_);
      const HRESULT own = this->GetDirtyResult();
      if (own == S_OK || !this->attributes_.HasForeignValues()) return own;
      for (const auto& attribute : content.Attributes()) {
        if (IsValueDirty(attribute.value)) return S_OK;
      }
      return S_FALSE;
    });
  }

  // Behind a failure the map holds what was read so far.
  STDMETHODIMP Load(IStream* stream) override {
    typename Store::Held displaced;
    return Map::Guard([&]() -> HRESULT {
      const OperationLevel level;
      if (FAILED(level.Result())) return level.Result();
      const ScopedLock lock(*this);
      try {
        return LoadLocked(stream, displaced);
      } catch (const _com_error& error) {
        return error.Error();
      }
    });
  }

  // A change that the stream or an object makes meanwhile is not in the stream, and then the flag
  // stays as it is.
  STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override {
    return Map::Guard([&]() -> HRESULT {
      const OperationLevel level;
      if (FAILED(level.Result())) return level.Result();
      const LockedContent content(*this, this->attributes_);
      try {
        StreamWriter writer(stream);
        writer.PutOrRaise(kMapVersion);
        writer.PutOrRaise(this->OverrideByte());
        writer.PutOrRaise(static_cast<DWORD>(content.Count()));
        for (const auto& attribute : content.Attributes()) {
          Kind::Write(writer, attribute.Key());
          WriteValue(writer, attribute.value);
        }
        if (clearDirty && content.IsCurrent()) this->ClearDirty();
        return S_OK;
      } catch (const _com_error& error) {
        return ReportMapError(*Traits::kClassId, error);
      }
    });
  }

  // The byte of the override mode is not counted, and a text key counts more than it takes: for
  // integer and float keys Save writes one byte more.
  STDMETHODIMP GetSizeMax(ULARGE_INTEGER* bytes) override {
    return Map::Guard([&]() -> HRESULT {
      const OperationLevel level;
      if (FAILED(level.Result())) return level.Result();
      const LockedContent content(*this, this->attributes_);
      try {
        ULONGLONG total = 8;
        CNullDeviceStream counter;
        StreamWriter writer(&counter);
        for (const auto& attribute : content.Attributes()) {
          total += Kind::CountedBytes(attribute.Key());
          CheckResult(WriteToStream(writer, attribute.value));
        }
        writer.Close();
        bytes->QuadPart = total + counter.Count();
        return S_OK;
      } catch (const _com_error& error) {
        return ReportMapError(*Traits::kClassId, error);
      }
    });
  }

 protected:
  ~IPersistStreamAttributeMapImpl() = default;

 private:
  HRESULT LoadLocked(IStream* stream, typename Store::Held& displaced) {
    StreamReader reader(stream);
    DWORD version = 0;
    reader.GetOrRaise(version);
    if (version != kMapVersion) {
      reader.Close();
      return Map::Say("AttributeMap::Load()->wrong version");
    }
    BYTE overrideByte = this->OverrideByte();
    const HRESULT result = reader.Get(overrideByte);
    this->SetOverrideByte(overrideByte);
    CheckResult(result);
    displaced = this->attributes_.TakeAll();
    DWORD count = 0;
    reader.GetOrRaise(count);
    this->attributes_.Reserve(count);
    // No value can be read behind the end of the stream, so that ends the loop whatever the count
    // says.
    for (DWORD i = 0; i < count; ++i) {
      auto key = Kind::Read(reader);
      CComVariant value = ReadValue(reader);
      this->attributes_.Add(Store::Item::New(Kind::Seek(key), std::move(value)));
    }
    this->ClearDirty();
    return S_OK;
  }
};

// The dirty flag: set in a new map.
template <class Traits, class Coclass>
class DirtyFlagImplT : public IPersistStreamAttributeMapImpl<Traits, Coclass> {
 public:
  void ClearDirty() final { m_IsDirty = false; }
  void SetDirty() final { m_IsDirty = true; }
  bool IsDirtyFlag() final { return m_IsDirty; }
  HRESULT GetDirtyResult() final { return m_IsDirty ? S_OK : S_FALSE; }

 protected:
  ~DirtyFlagImplT() = default;

 private:
  bool m_IsDirty = true;
};

}  // namespace rastel
