// SPDX-License-Identifier: MIT
// Operations on the module's code that is linked into the program, for what no client brings about.
#include <cstring>
#include <new>
#include <stdexcept>

#include "module/frame/boundary.h"
#include "module/frame/exceptions.h"
#include "module/frame/reports.h"
#include "module/frame/variants.h"
#include "module/records/plain_records.h"
#include "platform/resources.h"
#include "tests/objects/session.h"

namespace tests::objects {
namespace {

using facts::Words;

// Without an entry in any registry, so that reports have no source.
constexpr CLSID kClass{
    0x1F0A7C52, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x20}};

// Letters that show where they stand.
std::string Letters(std::size_t count) {
  std::string letters(count, ' ');
  for (std::size_t i = 0; i < count; ++i) letters[i] = static_cast<char>('a' + (i + i / 26) % 26);
  return letters;
}

std::string ReportNumber(Session& session, std::uintptr_t number, HINSTANCE module) {
  const auto message = reinterpret_cast<LPCOLESTR>(number);
  return Result(session.Guarded([&] { return rastel::ReportError(kClass, message, module); }));
}

// A message of so many letters and an umlaut.
std::string ReportMessage(Session& session, Words& words) {
  OleText text = Widen(Letters(static_cast<std::size_t>(words.Number())));
  text += OLECHAR{0xFC};
  const auto bytes = static_cast<DWORD>(text.size() * sizeof(OLECHAR));
  const platform::Resource row{nullptr, platform::kStringResource, 7, 0x0409, text.data(), bytes};
  const auto module = reinterpret_cast<HINSTANCE>(&text);
  platform::OfferResources(module, &row, 1);
  const std::string said = ReportNumber(session, 7, module);
  platform::WithdrawResources(module);
  return said;
}

std::string ReportNarrow(Session& session, const char* text) {
  return Result(session.Guarded([&] { return rastel::ReportErrorText(kClass, text); }));
}

[[noreturn]] void Raise(const std::string& what) {
  if (what == "com-error") throw rastel::_com_error(platform::ResultCode(0x80030070));
  if (what == "copy-error") throw rastel::CAtlException(platform::ResultCode(0x80020008));
  if (what == "no-memory") throw std::bad_alloc();
  if (what == "length") throw std::length_error("in words");
  if (what == "literal") throw rastel::TextException("literal");
  if (what == "words") throw std::invalid_argument("in words");
  throw 7;
}

std::string WritePlain(Session&, Words& words) {
  const VARIANT& value = *words.Variant();
  const auto stream = NewStream();
  const HRESULT result =
      rastel::WritePlainVariant(value, words.Take("null") ? nullptr : stream.Get());
  return Result(result) + ", " + ContentOf(stream.Get());
}

std::string ReadPlain(Session& session, Words& words) {
  rastel::CComVariant value;
  const auto stream = words.Take("null") ? nullptr : NewStream(words.Rest());
  const HRESULT result = rastel::ReadPlainVariant(value, stream.Get());
  return Result(result) + ", " + session.Print(value);
}

}  // namespace

const Operations& InnerOperations() {
  static const Operations kOperations = {
      {"report",
       [](Session& s, Words& w) {
         const auto number = static_cast<std::uintptr_t>(w.Number());
         return ReportNumber(s, number, ModuleClient::Get().Handle());
       }},
      {"report-message", ReportMessage},
      {"report-text", [](Session& s, Words& w) { return ReportNarrow(s, w.Bytes()); }},
      {"report-letters",
       [](Session& s, Words& w) {
         return ReportNarrow(s, Letters(static_cast<std::size_t>(w.Number())).c_str());
       }},
      {"report-wide",
       [](Session&, Words& w) {
         const OleText text = Widen(Letters(static_cast<std::size_t>(w.Number())));
         return Result(rastel::ReportError(kClass, text.c_str(), nullptr));
       }},
      {"raise",
       [](Session&, Words& w) {
         const std::string what = w.Next();
         static_assert(noexcept(rastel::Guarded(kClass, [&]() -> HRESULT { Raise(what); })));
         return Result(rastel::Guarded(kClass, [&]() -> HRESULT { Raise(what); }));
       }},
      {"plain", WritePlain},
      {"read-plain", ReadPlain}};
  return kOperations;
}

}  // namespace tests::objects
