// SPDX-License-Identifier: MIT
#include "host/registry/text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

#include "host/base/digits.h"
#include "host/base/unicode.h"

namespace host {
namespace {

constexpr std::string_view kFirstLine = "rastelhost registry 1\n";
constexpr std::string_view kDigits = "0123456789abcdef";

bool IsTextType(DWORD type) noexcept { return type == REG_SZ || type == REG_EXPAND_SZ; }

// The units of a value that is one text and its terminator.
bool AsText(const RegistryValue& value, RegistryText& text) {
  if (!IsTextType(value.type) || value.data.empty() || value.data.size() % sizeof(OLECHAR) != 0) {
    return false;
  }
  text.resize(value.data.size() / sizeof(OLECHAR));
  std::memcpy(text.data(), value.data.data(), value.data.size());
  if (text.find(OLECHAR{0}) != text.size() - 1) return false;
  text.pop_back();
  return true;
}

std::string EndLine(std::size_t lines, std::string_view before) {
  std::uint64_t sum = 0xCBF29CE484222325u;
  for (const char byte : before) sum = (sum ^ static_cast<BYTE>(byte)) * 0x100000001B3u;
  std::string line = "end " + std::to_string(lines) + ' ';
  for (int shift = 60; shift >= 0; shift -= 4) line += kDigits[(sum >> shift) & 0xF];
  return line + '\n';
}

class Writer {
 public:
  std::string Write(const RegistryKey& root) {
    text_ = kFirstLine;
    WriteBelow(root, 1);
    text_ += EndLine(lines_, text_);
    return std::move(text_);
  }

 private:
  void WriteBelow(const RegistryKey& key, int level) {
    for (const auto& [name, value] : key.values) WriteValue(name, value);
    for (const auto& [name, below] : key.keys) {
      text_ += "key " + std::to_string(level) + ' ';
      WriteQuoted(name);
      EndOfLine();
      WriteBelow(*below, level + 1);
    }
  }

  void WriteValue(const RegistryText& name, const RegistryValue& value) {
    text_ += "value " + std::to_string(value.type) + ' ';
    WriteQuoted(name);
    RegistryText text;
    if (AsText(value, text)) {
      text_ += " text ";
      WriteQuoted(text);
    } else if (value.type == REG_DWORD && value.data.size() == sizeof(DWORD)) {
      DWORD number;
      std::memcpy(&number, value.data.data(), sizeof(number));
      text_ += " number " + std::to_string(number);
    } else {
      text_ += " bytes \"";
      for (const BYTE byte : value.data) {
        text_ += kDigits[byte >> 4];
        text_ += kDigits[byte & 0xF];
      }
      text_ += '"';
    }
    EndOfLine();
  }

  void WriteQuoted(RegistryTextView text) {
    text_ += '"';
    const OLECHAR* at = text.data();
    const OLECHAR* const end = at + text.size();
    while (at != end) {
      const OLECHAR unit = *at;
      const char32_t character = TakeUtf16(at, end);
      if (character == kIllFormed || character < 0x20 || character == 0x7F) {
        text_ += "\\u";
        for (int shift = 12; shift >= 0; shift -= 4) text_ += kDigits[(unit >> shift) & 0xF];
        continue;
      }
      if (character == '"' || character == '\\') text_ += '\\';
      char bytes[4];
      text_.append(bytes, static_cast<std::size_t>(PutUtf8(character, bytes)));
    }
    text_ += '"';
  }

  void EndOfLine() {
    text_ += '\n';
    ++lines_;
  }

  std::string text_;
  std::size_t lines_ = 0;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  // The text stands behind the first line and ends before the last one.
  RegistryKeyPointer Read() {
    const auto root = std::make_shared<RegistryKey>();
    open_.push_back(root.get());
    while (at_ != end_) {
      const bool isKey = Skip("key ");
      if (!isKey && !Skip("value ")) return nullptr;
      if (!(isKey ? ReadKey() : ReadValue()) || !Skip("\n")) return nullptr;
    }
    return root;
  }

 private:
  bool ReadKey() {
    DWORD level = 0;
    RegistryText name;
    if (!ReadNumber(level) || level < 1 || level > kMostRegistryLevels || level > open_.size() ||
        !Skip(" ") || !ReadQuoted(name, kMostKeyNameUnits) || name.empty() ||
        name.find(OLECHAR{'\\'}) != name.npos || name.find(OLECHAR{0}) != name.npos) {
      return false;
    }
    open_.resize(level);
    auto key = std::make_shared<RegistryKey>();
    open_.push_back(key.get());
    return AddLast(open_[level - 1]->keys, std::move(name), std::move(key));
  }

  bool ReadValue() {
    RegistryText name;
    RegistryValue value;
    return ReadNumber(value.type) && Skip(" ") && ReadQuoted(name, kMostValueNameUnits) &&
           name.find(OLECHAR{0}) == name.npos && ReadData(value) &&
           AddLast(open_.back()->values, std::move(name), std::move(value));
  }

  // False: the name does not stand behind all others.
  template <class Items, class Item>
  static bool AddLast(Items& items, RegistryText name, Item item) {
    if (!items.empty() && !RegistryNameOrder()(items.rbegin()->first, name)) return false;
    items.emplace_hint(items.end(), std::move(name), std::move(item));
    return true;
  }

  bool ReadData(RegistryValue& value) {
    if (Skip(" text ")) {
      RegistryText text;
      if (!IsTextType(value.type) || !ReadQuoted(text, kMostValueBytes / sizeof(OLECHAR) - 1)) {
        return false;
      }
      value = RegistryValueOf(text, value.type);
      return true;
    }
    if (Skip(" number ")) {
      DWORD number = 0;
      if (value.type != REG_DWORD || !ReadNumber(number)) return false;
      value.data.resize(sizeof(number));
      std::memcpy(value.data.data(), &number, sizeof(number));
      return true;
    }
    if (!Skip(" bytes \"")) return false;
    DWORD byte = 0;
    while (ReadHexadecimal(2, byte)) {
      if (value.data.size() == kMostValueBytes) return false;
      value.data.push_back(static_cast<BYTE>(byte));
    }
    return Skip("\"");
  }

  bool ReadQuoted(RegistryText& text, std::size_t mostUnits) {
    if (!Skip("\"")) return false;
    while (at_ != end_ && *at_ != '"') {
      OLECHAR units[2];
      std::size_t count = 1;
      if (Skip("\\")) {
        DWORD unit = 0;
        if (Skip("\"")) {
          units[0] = '"';
        } else if (Skip("\\")) {
          units[0] = '\\';
        } else if (Skip("u") && ReadHexadecimal(4, unit)) {
          units[0] = static_cast<OLECHAR>(unit);
        } else {
          return false;
        }
      } else {
        const char32_t character = TakeUtf8(at_, end_);
        if (character == kIllFormed || character < 0x20) return false;
        count = static_cast<std::size_t>(PutUtf16(character, units));
      }
      if (count > mostUnits - text.size()) return false;
      text.append(units, count);
    }
    return Skip("\"");
  }

  bool ReadNumber(DWORD& number) noexcept {
    const auto [behind, error] = std::from_chars(at_, end_, number);
    if (error != std::errc{}) return false;
    at_ = behind;
    return true;
  }

  bool ReadHexadecimal(std::size_t digits, DWORD& number) noexcept {
    const std::string_view rest(at_, end_);
    if (rest.size() < digits || !host::ReadNumber(rest.substr(0, digits), 16, number)) return false;
    at_ += digits;
    return true;
  }

  bool Skip(std::string_view expected) noexcept {
    if (!std::string_view(at_, end_).starts_with(expected)) return false;
    at_ += expected.size();
    return true;
  }

  const char* at_;
  const char* end_;
  // The root and the keys that the next line may lie in; each is alive in the one before it.
  std::vector<RegistryKey*> open_;
};

}  // namespace

std::string WriteRegistryText(const RegistryKey& root) { return Writer().Write(root); }

RegistryKeyPointer ReadRegistryText(std::string_view text) {
  if (text.size() > kMostRegistryTextBytes || !text.starts_with(kFirstLine) ||
      text.back() != '\n') {
    return nullptr;
  }
  const std::size_t lastLine = text.rfind('\n', text.size() - 2) + 1;
  const std::string_view before = text.substr(0, lastLine);
  if (before.size() < kFirstLine.size()) return nullptr;
  const auto lines = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) - 1;
  if (text.substr(lastLine) != EndLine(lines, before)) return nullptr;
  return Reader(before.substr(kFirstLine.size())).Read();
}

}  // namespace host
