// SPDX-License-Identifier: MIT
// The content of a map: attributes in the order of their keys, no two of which are equal. A NaN,
// which is equal to every key, can therefore only stand alone.
//
// Values may be foreign objects, and a stream or an object that is called in the middle of a walk
// may change the very map that is walked. A walk therefore holds the content of its beginning:
// while anybody holds it, the first change makes a copy of its own to work on, and the walk neither
// loses a key nor meets a new one. Attributes are counted and contents share them, so that the copy
// calls no foreign code.
//
// Whatever is taken out is handed to the caller, who releases it when he is done with the map; that
// needs no memory. Nothing here locks.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "module/attribute/keys.h"
#include "module/frame/variants.h"
#include "platform/com_ptr.h"

namespace rastel {

// A key and its value, made with one count. It does not change while anybody else counts it.
template <class Stored>
class Attribute {
 public:
  Attribute(Stored&& k, CComVariant&& v) noexcept : key(std::move(k)), value(std::move(v)) {}

  void AddRef() noexcept { holders_.fetch_add(1, std::memory_order_relaxed); }
  void Release() noexcept {
    if (!IsShared() || holders_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  bool IsShared() const noexcept { return holders_.load(std::memory_order_acquire) != 1; }

  const Stored key;
  CComVariant value;

 private:
  std::atomic<ULONG> holders_{1};
};

template <class Key>
class AttributeStore {
  struct Content;
  struct Row;

 public:
  using Kind = KeyKind<Key>;
  using Stored = typename Kind::Stored;
  using AttributePtr = platform::ComPtr<Attribute<Stored>>;
  // A content that somebody holds; null for an empty one.
  using Held = std::shared_ptr<const Content>;

  // Where an attribute stands, or would stand, until the next change.
  struct Place {
    std::size_t page = 0, row = 0;
    Attribute<Stored>* attribute = nullptr;  // not counted; null where the key is not there
  };

  // What an operation has taken out.
  struct Displaced {
    CComVariant value;
    AttributePtr attribute;
    Held content;
  };

  Held Hold() const noexcept { return content_; }
  // Whether nothing was changed since.
  bool IsCurrent(const Held& held) const noexcept { return content_ == held; }
  // The attributes of a held content, for a range-based for.
  class AttributeRange {
   public:
    explicit AttributeRange(const Held& held) noexcept : pages_(PagesOf(held.get())) {}

    class Iterator {
     public:
      Iterator(const std::vector<Row>* page) noexcept : page_(page) {}
      const Attribute<Stored>& operator*() const noexcept { return *(*page_)[row_].attribute; }
      Iterator& operator++() noexcept {
        if (++row_ == page_->size()) *this = Iterator(page_ + 1);
        return *this;
      }
      bool operator==(const Iterator&) const = default;

     private:
      const std::vector<Row>* page_;
      std::size_t row_ = 0;
    };
    Iterator begin() const noexcept { return pages_.data(); }
    Iterator end() const noexcept { return pages_.data() + pages_.size(); }

   private:
    std::span<const std::vector<Row>> pages_;
  };

  // The attributes, in order.
  static AttributeRange Attributes(const Held& held) noexcept { return AttributeRange(held); }
  static std::size_t CountOf(const Held& held) noexcept { return held ? held->count : 0; }

  std::size_t Count() const noexcept { return content_ ? content_->count : 0; }
  Place Find(Key key) const noexcept { return PlaceOf(Kind::Seek(key)); }

  // Takes the value out of displaced and stores it, under a new key or in the place of what is
  // equal to the key, which goes into displaced. False: the key is there and is not to be replaced;
  // nothing is changed. Raises _com_error and std::bad_alloc, with nothing changed.
  bool Put(Key key, bool replace, Displaced& displaced) {
    const Sought sought = Kind::Seek(key);
    const Place place = PlaceOf(sought);
    if (!place.attribute) {
      displaced.attribute = New(Kind::Form(key), displaced.value);
      Insert(place, displaced.attribute);
      return true;
    }
    if (!replace) return false;
    if (place.page + place.row == 0 && Count() > 1 && !(Kind::Compare(sought, LastKey()) < 0)) {
      // Equal to the first key and to the last, and so to all: all go.
      AttributeStore alone;
      alone.Put(key, replace, displaced);
      displaced.content = std::exchange(content_, std::move(alone.content_));
      return true;
    }
    if (Row& row = Own().pages[place.page][place.row];
        !row.attribute->IsShared() && Kind::IsSame(row.key, sought)) {
      std::swap<VARIANT>(row.attribute->value, displaced.value);
    } else {
      // The old key goes with the old value.
      AttributePtr made = New(Kind::Form(key), displaced.value);
      displaced.attribute.Attach(row.attribute);
      row = RowOf(made.Detach());
    }
    return true;
  }

  // Adds an attribute; false if the key is there, and then nothing changes. Raises std::bad_alloc.
  bool Add(Stored key, CComVariant& value) {
    const Sought sought = Kind::Seek(key);
    // Keys mostly come in order.
    const bool isBehindAll = Count() > 0 && Kind::Compare(LastKey(), sought) < 0;
    const Place place = isBehindAll
                            ? Place{content_->pages.size() - 1, content_->pages.back().size()}
                            : PlaceOf(sought);
    if (place.attribute) return false;
    AttributePtr made = New(std::move(key), value);
    Insert(place, made);
    return true;
  }

  // Takes the attribute at a place out. Raises std::bad_alloc, with nothing changed.
  void Take(Place place, Displaced& displaced) {
    Content& content = Own();
    Page& page = content.pages[place.page];
    displaced.attribute.Attach(page[place.row].attribute);
    page.erase(page.begin() + static_cast<std::ptrdiff_t>(place.row));
    if (page.empty()) {
      content.pages.erase(content.pages.begin() + static_cast<std::ptrdiff_t>(place.page));
    }
    --content.count;
  }

  // Leaves an empty content behind.
  Held TakeAll() noexcept { return std::move(content_); }

 private:
  using Sought = typename Kind::Sought;

  // A counted attribute, with the key as look-ups compare it.
  struct Row {
    Sought key;
    Attribute<Stored>* attribute;
  };
  // Sorted and never empty. A put moves the rows of a page at most, and now and then the pages; a
  // look-up steps through few cache lines.
  using Page = std::vector<Row>;
  // From so many rows on a page is full, or from as many as there are pages: in a large map neither
  // rows nor pages are too many to move.
  static constexpr std::size_t kFullRows = 64;
  // Maps are mostly small.
  static constexpr std::size_t kFirstRows = 16;

  struct Content {
    Content() = default;
    Content(const Content& other) : pages(other.pages), count(other.count) {
      for (const Page& page : pages) {
        for (const Row& row : page) row.attribute->AddRef();
      }
    }
    Content& operator=(const Content&) = delete;
    ~Content() {
      for (const Page& page : pages) {
        for (const Row& row : page) row.attribute->Release();
      }
    }

    std::vector<Page> pages;
    std::size_t count = 0;
  };

  static std::span<const Page> PagesOf(const Content* content) noexcept {
    return content ? std::span<const Page>(content->pages) : std::span<const Page>();
  }
  std::span<const Page> Pages() const noexcept { return PagesOf(content_.get()); }
  static AttributePtr New(Stored&& key, CComVariant& value) {
    AttributePtr made;
    made.Attach(new Attribute<Stored>(std::move(key), std::move(value)));
    return made;
  }
  static Row RowOf(Attribute<Stored>* attribute) noexcept {
    return {Kind::Seek(attribute->key), attribute};
  }

  // Of a content that is not empty.
  Sought LastKey() const noexcept { return content_->pages.back().back().key; }

  Place PlaceOf(Sought key) const noexcept {
    // Both searches end at the last row that was not less.
    bool isThere = false;
    const auto isLess = [&](const Row& row) {
      const auto order = Kind::Compare(row.key, key);
      if (order < 0) return true;
      isThere = !(order > 0);
      return false;
    };
    const auto pages = Pages();
    if (pages.empty()) return {};
    const auto page = std::ranges::partition_point(
        pages.first(pages.size() - 1), [&](const Page& other) { return isLess(other.back()); });
    const auto row = std::ranges::partition_point(*page, isLess);
    return {static_cast<std::size_t>(page - pages.begin()),
            static_cast<std::size_t>(row - page->begin()), isThere ? row->attribute : nullptr};
  }

  // The content, this store's own, so that it can be changed.
  Content& Own() {
    if (!content_) {
      content_ = std::make_shared<Content>();
    } else if (content_.use_count() > 1) {
      content_ = std::make_shared<Content>(*content_);
    }
    return *content_;
  }

  // Takes the attribute, unless it raises. place: where its key is not there.
  void Insert(Place place, AttributePtr& made) {
    Content& content = Own();
    if (content.pages.empty() || IsFull(content.pages, place.page)) {
      place = MakeRoom(content.pages, place);
    }
    Page& page = content.pages[place.page];
    page.insert(page.begin() + static_cast<std::ptrdiff_t>(place.row), RowOf(made.Get()));
    static_cast<void>(made.Detach());
    ++content.count;
  }

  static bool IsFull(const std::vector<Page>& pages, std::size_t page) noexcept {
    return pages[page].size() >= std::max(kFullRows, pages.size());
  }

  // Adds a page behind a full one, to which its rows from the place on go, or half of them; keys
  // that come in order leave full pages behind. Gives where the place is now.
  static Place MakeRoom(std::vector<Page>& pages, Place place) {
    Page added;
    if (pages.empty()) {
      added.reserve(kFirstRows);
      pages.push_back(std::move(added));
      return place;
    }
    const std::size_t rows = pages[place.page].size();
    added.reserve(rows);
    const std::size_t kept = place.row == rows ? rows : rows / 2;
    const auto next =
        pages.insert(pages.begin() + static_cast<std::ptrdiff_t>(place.page) + 1, std::move(added));
    Page& full = *(next - 1);
    const auto first = full.begin() + static_cast<std::ptrdiff_t>(kept);
    next->assign(first, full.end());
    full.erase(first, full.end());
    return place.row < kept ? place : Place{place.page + 1, place.row - kept, nullptr};
  }

  std::shared_ptr<Content> content_;
};

}  // namespace rastel
