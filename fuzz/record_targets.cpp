// SPDX-License-Identifier: MIT
// Records of VARIANTs: what can be read is written, counted and copied.
#include "fuzz/module_inside.h"
#include "module/frame/boundary.h"
#include "module/persist/nesting.h"
#include "module/records/tagged_records.h"

namespace fuzz {
namespace {

// As the operations that records are read in: nothing that is raised leaves, and levels are
// counted.
template <class Read>
void ReadAndUse(Bytes input, Read read) {
  rastel::Guarded(GUID{}, [&]() -> HRESULT {
    const rastel::OperationLevel level;
    rastel::CComVariant value;
    const auto stream = StreamOf(input);
    const HRESULT result = read(stream.Get(), value);
    if (rastel::GetVariantStreamSize(value) > kMostSavedBytes) return result;
    rastel::WritePlainVariant(value, StreamOf({}).Get());
    const rastel::CComVariant copy = rastel::GetRealCopyOfVariant(value);
    rastel::WriteToStream(StreamOf({}).Get(), copy);
    return result;
  });
}

}  // namespace

void RunPlainRecord(Bytes input) {
  ReadAndUse(input, [](IStream* stream, VARIANT& value) {
    return rastel::ReadPlainVariant(value, stream);
  });
}

void RunTaggedRecord(Bytes input) {
  ReadAndUse(input,
             [](IStream* stream, VARIANT& value) { return rastel::ReadFromStream(stream, value); });
}

}  // namespace fuzz
