// SPDX-License-Identifier: MIT
// Pixels of one plane, row by row.
#pragma once

#include <compare>
#include <cstddef>
#include <iterator>
#include <span>

#include "rastelklp/object.h"

namespace rastelklp {

struct Size {
  int width, height;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  int x, y, width, height;
  friend bool operator==(const Rect&, const Rect&) = default;
};

// A range of rows, which keeps the AOI that it came from alive. Rows are spans by value: nothing
// that a loop stores into pixels can change where they lie, so that the compiler need not look.
//
//   for (const auto row : picture.plane(0)) {
//     for (auto& pixel : row) pixel = ~pixel;
//   }
template <class T>
class Plane {
 public:
  class iterator;
  using Row = std::span<T>;

  Plane(Object owner, T* first, Size size, std::ptrdiff_t stride) noexcept
      : first_(first), stride_(stride), size_(size), owner_(std::move(owner)) {}

  int width() const noexcept { return size_.width; }
  int height() const noexcept { return size_.height; }
  // Pixels from one row to the next.
  std::ptrdiff_t stride() const noexcept { return stride_; }
  T* data() const noexcept { return first_; }

  // Rows 0 .. height() - 1; not tested.
  Row operator[](int y) const noexcept { return *(begin() + y); }
  iterator begin() const noexcept { return {first_, stride_, size_.width, 0}; }
  iterator end() const noexcept { return begin() + size_.height; }
  std::size_t size() const noexcept { return static_cast<std::size_t>(size_.height); }

 private:
  T* first_;
  std::ptrdiff_t stride_;
  Size size_;
  Object owner_;
};

template <class T>
class Plane<T>::iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using iterator_concept = std::random_access_iterator_tag;
  using value_type = Row;
  using difference_type = std::ptrdiff_t;
  using reference = Row;
  using pointer = void;

  iterator() = default;

  Row operator*() const noexcept {
    return {first_ + y_ * stride_, static_cast<std::size_t>(width_)};
  }
  Row operator[](difference_type rows) const noexcept { return *(*this + rows); }
  iterator& operator+=(difference_type rows) noexcept {
    y_ += rows;
    return *this;
  }
  iterator& operator-=(difference_type rows) noexcept { return *this += -rows; }
  iterator& operator++() noexcept { return *this += 1; }
  iterator& operator--() noexcept { return *this += -1; }
  iterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
  iterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }
  friend iterator operator+(iterator at, difference_type rows) noexcept { return at += rows; }
  friend iterator operator+(difference_type rows, iterator at) noexcept { return at += rows; }
  friend iterator operator-(iterator at, difference_type rows) noexcept { return at -= rows; }
  friend difference_type operator-(const iterator& a, const iterator& b) noexcept {
    return a.y_ - b.y_;
  }
  friend bool operator==(const iterator& a, const iterator& b) noexcept { return a.y_ == b.y_; }
  friend auto operator<=>(const iterator& a, const iterator& b) noexcept { return a.y_ <=> b.y_; }

 private:
  friend Plane;
  iterator(T* first, std::ptrdiff_t stride, int width, difference_type y) noexcept
      : first_(first), stride_(stride), y_(y), width_(width) {}

  T* first_ = nullptr;
  std::ptrdiff_t stride_ = 0;
  difference_type y_ = 0;
  int width_ = 0;
};

}  // namespace rastelklp
