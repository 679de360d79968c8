// SPDX-License-Identifier: MIT
#include "host/values/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/base/digits.h"

namespace host {
namespace {

constexpr int kExactDigits = 38;
// Exponents in text stop counting here; what is beyond is zero or overflows all the same.
constexpr std::int64_t kMaxExponent = 1'000'000'000'000;
// Above the largest and below the smallest double, in digits before the point.
constexpr std::int64_t kRealMagnitude = 400;

bool IsSpace(OLECHAR c) noexcept {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

bool IsDigit(OLECHAR c) noexcept { return c >= '0' && c <= '9'; }

// Digits and power of ten to the nearest real number.
template <class Real>
Real RealOfDigits(const char* digits, int count, std::int64_t exponent, bool* overflow) noexcept {
  const std::int64_t magnitude = count + exponent;
  *overflow = false;
  if (count == 0 || magnitude < -kRealMagnitude) return 0;
  Real value = 0;
  std::errc error = std::errc::result_out_of_range;
  if (magnitude <= kRealMagnitude) {
    std::array<char, 832> buffer;
    std::memcpy(buffer.data(), digits, static_cast<std::size_t>(count));
    char* end = buffer.data() + count;
    *end++ = 'e';
    end = std::to_chars(end, buffer.data() + buffer.size(), exponent).ptr;
    error = std::from_chars(buffer.data(), end, value).ec;
  }
  if (error == std::errc{}) return value;
  *overflow = magnitude > 0;
  return 0;
}

int WriteDigits(UInt128 value, char* digits) noexcept {
  std::array<char, 40> reversed;
  int count = 0;
  for (; value != 0; value /= 10) {
    reversed[static_cast<std::size_t>(count++)] =
        static_cast<char>('0' + static_cast<int>(value % 10));
  }
  for (int i = 0; i < count; ++i) digits[i] = reversed[static_cast<std::size_t>(count - 1 - i)];
  return count;
}

}  // namespace

class NumberText::Reader {
 public:
  Reader(NumberText* number, std::basic_string_view<OLECHAR> text) noexcept
      : number_(*number), text_(text) {}

  HRESULT Read() noexcept {
    ReadFront();
    HRESULT hr;
    if (Current() == '&' && !currency_) {
      ++next_;
      hr = ReadPattern();
    } else {
      hr = ReadDigits();
    }
    if (FAILED(hr)) return hr;
    return ReadBack() ? S_OK : DISP_E_TYPEMISMATCH;
  }

 private:
  // 0 at the end; a zero inside the text is not part of any number either.
  OLECHAR Current() const noexcept { return next_ < text_.size() ? text_[next_] : OLECHAR{0}; }

  bool TakeSignOrCurrency() noexcept {
    const OLECHAR c = Current();
    if ((c == '+' || c == '-') && !sign_) {
      sign_ = true;
      number_.negative_ = c == '-';
    } else if (c == '$' && !currency_) {
      currency_ = true;
    } else {
      return false;
    }
    ++next_;
    return true;
  }

  void SkipCommas() noexcept {
    while (Current() == ',') ++next_;
  }

  void ReadFront() noexcept {
    for (;;) {
      if (IsSpace(Current())) {
        ++next_;
      } else if (Current() == '(' && !open_) {
        open_ = true;
        ++next_;
      } else if (!TakeSignOrCurrency()) {
        return;
      }
    }
  }

  bool ReadBack() noexcept {
    bool closed = false;
    while (next_ < text_.size()) {
      if (IsSpace(Current()) || Current() == ',') {
        ++next_;
      } else if (Current() == ')' && open_ && !closed) {
        closed = true;
        ++next_;
      } else if (!TakeSignOrCurrency()) {
        return false;
      }
    }
    if (open_) number_.negative_ = true;
    return open_ == closed;
  }

  HRESULT ReadPattern() noexcept {
    unsigned bits;
    if (Current() == 'H' || Current() == 'h') {
      bits = 4;
    } else if (Current() == 'O' || Current() == 'o') {
      bits = 3;
    } else {
      return DISP_E_TYPEMISMATCH;
    }
    ++next_;
    const unsigned base = 1u << bits;
    std::uint64_t pattern = 0;
    bool any = false;
    bool fits = true;
    for (unsigned digit; (digit = DigitValue(Current(), base)) < base; ++next_) {
      any = true;
      fits = fits && pattern >> (64 - bits) == 0;
      pattern = pattern << bits | digit;
    }
    if (!any) return DISP_E_TYPEMISMATCH;
    number_.isPattern_ = true;
    number_.pattern_ = pattern;
    return fits ? S_OK : DISP_E_OVERFLOW;
  }

  HRESULT ReadDigits() noexcept {
    bool any = false;
    bool point = false;
    for (;; ++next_) {
      const OLECHAR c = Current();
      if (IsDigit(c)) {
        any = true;
        number_.AddDigit(static_cast<char>(c), point);
      } else if (c == '.' && !point) {
        point = true;
      } else if (c != ',' || !any) {
        break;
      }
    }
    if (!any) return DISP_E_TYPEMISMATCH;
    if ((Current() == 'e' || Current() == 'E') && !ReadExponent()) return DISP_E_TYPEMISMATCH;
    number_.Finish();
    return S_OK;
  }

  bool ReadExponent() noexcept {
    ++next_;
    SkipCommas();
    const bool negative = Current() == '-';
    if (negative || Current() == '+') ++next_;
    SkipCommas();
    if (!IsDigit(Current())) return false;
    std::int64_t exponent = 0;
    for (; IsDigit(Current()); SkipCommas()) {
      exponent = std::min(exponent * 10 + (Current() - '0'), kMaxExponent);
      ++next_;
    }
    number_.exponent_ += negative ? -exponent : exponent;
    return true;
  }

  NumberText& number_;
  std::basic_string_view<OLECHAR> text_;
  std::size_t next_ = 0;
  bool sign_ = false;
  bool currency_ = false;
  bool open_ = false;
};

HRESULT NumberText::Parse(std::basic_string_view<OLECHAR> text) noexcept {
  return Reader(this, text).Read();
}

void NumberText::AddDigit(char digit, bool behindPoint) noexcept {
  if (count_ == kMaxDigits) {
    moreDigits_ = moreDigits_ || digit != '0';
    if (!behindPoint) ++exponent_;
    return;
  }
  if (behindPoint) --exponent_;
  if (count_ != 0 || digit != '0') digits_[static_cast<std::size_t>(count_++)] = digit;
}

void NumberText::Finish() noexcept {
  if (moreDigits_) {
    // Stands for everything that was dropped.
    digits_[static_cast<std::size_t>(count_++)] = '1';
    --exponent_;
  }
  while (count_ > 0 && digits_[static_cast<std::size_t>(count_ - 1)] == '0') {
    --count_;
    ++exponent_;
  }
}

ExactNumber NumberText::Exact() const noexcept {
  ExactNumber number;
  if (isPattern_) {
    number.digits = pattern_;
    return number;
  }
  const int taken = std::min(count_, kExactDigits);
  for (int i = 0; i < taken; ++i) {
    number.digits =
        number.digits * 10 + static_cast<unsigned>(digits_[static_cast<std::size_t>(i)] - '0');
  }
  number.scale = -(exponent_ + (count_ - taken));
  number.negative = negative_;
  number.inexact = taken < count_;
  return number;
}

template <class Real>
HRESULT NumberText::ToReal(Real* value) const noexcept {
  if (isPattern_) {
    *value = static_cast<Real>(pattern_);
    return S_OK;
  }
  bool overflow;
  const Real magnitude = RealOfDigits<Real>(digits_.data(), count_, exponent_, &overflow);
  if (overflow) return DISP_E_OVERFLOW;
  *value = negative_ ? -magnitude : magnitude;
  return S_OK;
}
template HRESULT NumberText::ToReal(float*) const noexcept;
template HRESULT NumberText::ToReal(double*) const noexcept;

template <class Real>
Real RealOfExact(const ExactNumber& number) noexcept {
  std::array<char, 40> digits{};
  const int count = WriteDigits(number.digits, digits.data());
  bool overflow;
  const Real magnitude = RealOfDigits<Real>(digits.data(), count, -number.scale, &overflow);
  return number.negative && count != 0 ? -magnitude : magnitude;
}
template float RealOfExact(const ExactNumber&) noexcept;
template double RealOfExact(const ExactNumber&) noexcept;

void AppendReal(double value, int significantDigits, AsciiText* text) noexcept {
  if (std::isnan(value)) {
    text->Append(std::signbit(value) ? "-1.#IND" : "1.#QNAN");
    return;
  }
  if (std::isinf(value)) {
    text->Append(value < 0 ? "-1.#INF" : "1.#INF");
    return;
  }
  if (value == 0) {
    text->Append('0');
    return;
  }
  std::array<char, 48> buffer;
  const char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                  std::chars_format::general, significantDigits)
                        .ptr;
  for (const char* c = buffer.data(); c != end; ++c) text->Append(*c == 'e' ? 'E' : *c);
}

void AppendExact(const ExactNumber& number, AsciiText* text) noexcept {
  UInt128 digits = number.digits;
  std::int64_t scale = number.scale;
  for (; scale > 0 && digits % 10 == 0 && digits != 0; --scale) digits /= 10;
  if (digits == 0) {
    text->Append('0');
    return;
  }
  if (number.negative) text->Append('-');
  std::array<char, 40> written;
  const int count = WriteDigits(digits, written.data());
  // At least one digit stands before the point.
  if (scale >= count) {
    text->Append("0.");
    for (std::int64_t zero = count; zero < scale; ++zero) text->Append('0');
  }
  for (int i = 0; i < count; ++i) {
    if (i != 0 && count - i == scale) text->Append('.');
    text->Append(written[static_cast<std::size_t>(i)]);
  }
}

}  // namespace host
