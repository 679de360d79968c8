// SPDX-License-Identifier: MIT
#include "tools/nearest_word.h"

#include <algorithm>
#include <numeric>

namespace tools {
namespace {

// Letters to add, take out, change, or swap with the next.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] =
          std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    before.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

}  // namespace

std::string NearestWord(const std::string& typed, const std::vector<std::string>& words) {
  // Nobody mistypes more than every other letter, and nothing that is long is a word.
  if (words.empty() || typed.size() > 64) return "";
  const auto nearest =
      std::min_element(words.begin(), words.end(), [&](const auto& one, const auto& other) {
        return Distance(typed, one) < Distance(typed, other);
      });
  return Distance(typed, *nearest) <= std::max<std::size_t>(1, nearest->size() / 2) ? *nearest : "";
}

}  // namespace tools
