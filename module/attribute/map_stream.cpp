// SPDX-License-Identifier: MIT
#include "module/attribute/map_stream.h"

#include <cstdint>

#include "platform/com_ptr.h"

namespace rastel {

HRESULT ReportMapError(REFCLSID classId, const _com_error& error) noexcept {
  return Report(classId, static_cast<Message>(static_cast<std::uint16_t>(error.Error())));
}

bool IsValueDirty(const VARIANT& value) {
  if (!IsObjectType(value.vt)) return false;
  const _variant_t copy(value);
  if (!copy.punkVal) return false;
  const platform::ComPtr<IPersistStream> persist = PersistenceOf(copy.punkVal);
  if (!persist) return false;
  const NestedLevel level;
  return SUCCEEDED(level.Result()) && persist->IsDirty() == S_OK;
}

void WriteValue(StreamWriter& writer, const VARIANT& value) {
  if (!IsObjectType(value.vt)) return CheckResult(WriteToStream(writer, value));
  writer.Close();
  const CComVariant copy(value);
  CheckResult(WriteToStream(writer, copy));
}

CComVariant ReadValue(StreamReader& reader) {
  CComVariant value;
  CheckResult(ReadFromStream(reader, value));
  return value;
}

}  // namespace rastel
