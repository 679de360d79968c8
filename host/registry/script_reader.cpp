// SPDX-License-Identifier: MIT
#include "host/registry/script_reader.h"

#include <cstring>

#include "host/base/digits.h"
#include "host/base/unicode.h"

namespace host {
namespace {

constexpr struct {
  RegistryTextView shortName;
  RegistryTextView longName;
} kRoots[] = {
    {OLESTR("HKCR"), OLESTR("HKEY_CLASSES_ROOT")},
    {OLESTR("HKCU"), OLESTR("HKEY_CURRENT_USER")},
    {OLESTR("HKLM"), OLESTR("HKEY_LOCAL_MACHINE")},
    {OLESTR("HKU"), OLESTR("HKEY_USERS")},
    {OLESTR("HKPD"), OLESTR("HKEY_PERFORMANCE_DATA")},
    {OLESTR("HKDD"), OLESTR("HKEY_DYN_DATA")},
    {OLESTR("HKCC"), OLESTR("HKEY_CURRENT_CONFIG")},
};

bool IsBlank(OLECHAR unit) noexcept { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }

bool ReadDoubleWord(RegistryTextView text, std::vector<BYTE>& data) {
  const bool isHexadecimal = text.size() > 1 && text[0] == '&' && (text[1] | 0x20) == 'h';
  DWORD number = 0;
  if (!ReadNumber(text.substr(isHexadecimal ? 2 : 0), isHexadecimal ? 16u : 10u, number)) {
    return false;
  }
  data.resize(sizeof(number));
  std::memcpy(data.data(), &number, sizeof(number));
  return true;
}

bool ReadBytes(RegistryTextView text, std::vector<BYTE>& data) {
  for (; text.size() >= 2; text.remove_prefix(2)) {
    BYTE byte = 0;
    if (!ReadNumber(text.substr(0, 2), 16, byte)) return false;
    data.push_back(byte);
  }
  return text.empty();
}

RegistryValue ReadTexts(RegistryTextView text) {
  RegistryText texts;
  while (!text.empty()) {
    const bool isEnd = text.starts_with(OLESTR("\\0"));
    texts += isEnd ? OLECHAR{} : text.front();
    text.remove_prefix(isEnd ? 2 : 1);
  }
  if (!texts.empty() && texts.back() != 0) texts += OLECHAR{};
  return RegistryValueOf(texts, REG_MULTI_SZ);
}

bool ReadValue(RegistryTextView type, RegistryTextView text, RegistryValue& value) {
  if (type.size() != 1) return false;
  switch (type.front() | 0x20) {
    case 's':
      value = RegistryValueOf(text);
      return true;
    case 'd':
      value.type = REG_DWORD;
      return ReadDoubleWord(text, value.data);
    case 'b':
      value.type = REG_BINARY;
      return ReadBytes(text, value.data);
    case 'm':
      value = ReadTexts(text);
      return true;
    default:
      return false;
  }
}

// Reads with one word in view. False stands for a script that is not whole; every step takes a word
// or gives up.
class ScriptReader {
 public:
  explicit ScriptReader(RegistryTextView script) : rest_(script) {}

  bool Read(std::vector<ScriptKey>& roots) {
    if (!Advance()) return false;
    while (kind_ != Kind::kEnd) {
      ScriptKey root;
      root.rule = ScriptRule::kNoRemove;
      if (!ReadRoot(root.name) || kind_ != Kind::kOpen || !ReadBelow(root, 1)) return false;
      roots.push_back(std::move(root));
    }
    return true;
  }

 private:
  enum class Kind { kWord, kQuoted, kOpen, kClose, kEquals, kEnd };

  bool IsKeyword(RegistryTextView keyword) const noexcept {
    return kind_ == Kind::kWord && SameFolded(word_, keyword);
  }

  bool ReadRoot(RegistryText& name) {
    for (const auto& root : kRoots) {
      if (!IsKeyword(root.shortName) && !IsKeyword(root.longName)) continue;
      name = root.shortName;
      return Advance();
    }
    return false;
  }

  // Everything between the brackets, the first of which is in view.
  bool ReadBelow(ScriptKey& key, std::size_t level) {
    if (level > kMostRegistryLevels || !Advance()) return false;
    while (kind_ != Kind::kClose) {
      if (!ReadItem(key, level)) return false;
    }
    return Advance();
  }

  bool ReadItem(ScriptKey& parent, std::size_t level) {
    ScriptKey key;
    if (IsKeyword(OLESTR("NoRemove"))) key.rule = ScriptRule::kNoRemove;
    if (IsKeyword(OLESTR("ForceRemove"))) key.rule = ScriptRule::kForceRemove;
    if (IsKeyword(OLESTR("Delete"))) key.rule = ScriptRule::kDelete;
    if (key.rule != ScriptRule::kPlain && !Advance()) return false;
    if (IsKeyword(OLESTR("val"))) {
      ScriptValue value;
      value.isKept = key.rule == ScriptRule::kNoRemove;
      if (key.rule == ScriptRule::kForceRemove || key.rule == ScriptRule::kDelete) return false;
      return Advance() && ReadName(value.name) && ReadAssignment(parent, std::move(value));
    }
    if (!ReadName(key.name) || key.name.empty() || key.name.find(OLECHAR{'\\'}) != key.name.npos) {
      return false;
    }
    if (key.rule != ScriptRule::kDelete) {
      ScriptValue own;
      own.isKept = true;
      if (kind_ == Kind::kEquals && !ReadAssignment(key, std::move(own))) return false;
      if (kind_ == Kind::kOpen && !ReadBelow(key, level + 1)) return false;
    }
    parent.keys.push_back(std::move(key));
    return true;
  }

  bool ReadName(RegistryText& name) {
    if (kind_ != Kind::kWord && kind_ != Kind::kQuoted) return false;
    // No name of the registry holds a zero.
    name = word_.c_str();
    return Advance();
  }

  bool ReadAssignment(ScriptKey& key, ScriptValue value) {
    RegistryText type, text;
    if (kind_ != Kind::kEquals || !Advance() || !ReadName(type) || !ReadName(text) ||
        !ReadValue(type, text, value.content)) {
      return false;
    }
    key.values.push_back(std::move(value));
    return true;
  }

  // Takes the next word into view. False: its closing quote is missing.
  bool Advance() {
    while (!rest_.empty() && IsBlank(rest_.front())) rest_.remove_prefix(1);
    word_.clear();
    if (rest_.empty()) {
      kind_ = Kind::kEnd;
      return true;
    }
    if (rest_.front() == '\'') return TakeQuoted();
    if (rest_.front() == '}' || rest_.front() == '=') {
      kind_ = rest_.front() == '}' ? Kind::kClose : Kind::kEquals;
      rest_.remove_prefix(1);
      return true;
    }
    std::size_t units = 0;
    while (units < rest_.size() && !IsBlank(rest_[units])) ++units;
    word_ = rest_.substr(0, units);
    rest_.remove_prefix(units);
    // The bracket of an identifier is part of its word.
    kind_ = word_ == OLESTR("{") ? Kind::kOpen : Kind::kWord;
    return true;
  }

  bool TakeQuoted() {
    kind_ = Kind::kQuoted;
    while (true) {
      const std::size_t quote = rest_.find(OLECHAR{'\''}, 1);
      if (quote == rest_.npos) return false;
      word_ += rest_.substr(1, quote - 1);
      rest_.remove_prefix(quote + 1);
      if (!rest_.starts_with(OLECHAR{'\''})) return true;
      word_ += OLECHAR{'\''};
    }
  }

  RegistryTextView rest_;
  Kind kind_ = Kind::kEnd;
  RegistryText word_;
};

}  // namespace

bool ReplaceInScript(RegistryTextView script, const ScriptReplacements& replacements,
                     RegistryText& replaced) {
  replaced.clear();
  while (true) {
    const std::size_t first = script.find(OLECHAR{'%'});
    replaced += script.substr(0, first);
    if (first == script.npos) return true;
    const std::size_t second = script.find(OLECHAR{'%'}, first + 1);
    if (second == script.npos) return false;
    const RegistryTextView name = script.substr(first + 1, second - first - 1);
    script.remove_prefix(second + 1);
    if (name.empty()) {
      replaced += OLECHAR{'%'};
      continue;
    }
    const RegistryText* text = nullptr;
    for (const auto& replacement : replacements) {
      if (SameFolded(replacement.first, name)) text = &replacement.second;
    }
    if (text == nullptr) return false;
    replaced += *text;
  }
}

bool ReadScript(RegistryTextView script, std::vector<ScriptKey>& roots) {
  return ScriptReader(script).Read(roots);
}

}  // namespace host
