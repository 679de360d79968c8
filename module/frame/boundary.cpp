// SPDX-License-Identifier: MIT
#include "module/frame/boundary.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "module/frame/exceptions.h"
#include "module/frame/reports.h"

namespace rastel {

HRESULT ResultOfException(REFCLSID classId) noexcept {
  try {
    throw;
  } catch (const _com_error& error) {
    return error.Error();
  } catch (const CAtlException& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (const std::length_error&) {
    return E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    return ReportErrorText(classId, error.what());
  } catch (...) {
    return E_UNEXPECTED;
  }
}

HRESULT ReportText(REFCLSID classId, const std::exception& error) noexcept {
  const bool isMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  return ReportErrorText(classId, isMemory ? "bad allocation" : error.what());
}

}  // namespace rastel
