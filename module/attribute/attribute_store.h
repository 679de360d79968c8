// SPDX-License-Identifier: MIT
// The content of a map: attributes, no two of whose keys are equal. A NaN, which is equal to every
// key, can therefore only stand alone.
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
#include <cstddef>
#include <utility>

#include "module/attribute/attribute_table.h"

namespace rastel {

template <class Key>
class AttributeStore {
 public:
  using Kind = KeyKind<Key>;
  using Sought = typename Kind::Sought;
  using Item = Attribute<Key>;
  using ItemPointer = typename Item::Pointer;
  using Table = AttributeTable<Key>;
  // A content that somebody holds; null for an empty one.
  using Held = typename Table::Pointer;

  // What an operation has taken out.
  struct Displaced {
    CComVariant value;
    ItemPointer attribute;
    Held content;
  };

  // The attributes of a held content in order, for a range-based for.
  class AttributeRange {
   public:
    explicit AttributeRange(const Held& held) noexcept : table_(held.Get()) {
      if (table_) table_->Arrange();
    }
    using Rows = typename Table::Iterator;
    struct Iterator : Rows {
      const Item& operator*() const noexcept { return *Rows::operator*(); }
    };
    Iterator begin() const noexcept { return {table_ ? table_->begin() : Rows{}}; }
    Iterator end() const noexcept { return {table_ ? table_->end() : Rows{}}; }

   private:
    const Table* table_;
  };

  Held Hold() const noexcept { return content_; }
  // Whether nothing was changed since.
  bool IsCurrent(const Held& held) const noexcept { return content_.Get() == held.Get(); }

  std::size_t Count() const noexcept { return content_ ? content_->Count() : 0; }
  bool HasForeignValues() const noexcept { return content_ && content_->HasForeignValues(); }

  // The attribute with a key, not counted; null where the key is not there. It stands until the
  // next change.
  Item* Find(Key key) const noexcept {
    if (!content_) return nullptr;
    const Sought sought = Kind::Seek(key);
    return Find(sought, Kind::Hash(sought));
  }

  // Takes the value out of displaced and stores it, under a new key or in the place of what is
  // equal to the key, which goes into displaced. False: the key is there and is not to be replaced;
  // nothing is changed. Raises _com_error and std::bad_alloc, with nothing changed.
  bool Put(Key key, bool replace, Displaced& displaced) {
    const Sought sought = Kind::Seek(key);
    const std::uint32_t hash = Kind::Hash(sought);
    Item* const found = content_ ? Find(sought, hash) : nullptr;
    if (!found) {
      displaced.attribute = Item::New(sought, std::move(displaced.value));
      Insert(displaced.attribute, hash);
      return true;
    }
    if (!replace) return false;
    if (Kind::IsEqualToAll(sought) || Kind::IsEqualToAll(found->Key())) {
      AttributeStore alone;
      displaced.attribute = Item::New(sought, std::move(displaced.value));
      alone.Insert(displaced.attribute, hash);
      displaced.content = std::exchange(content_, std::move(alone.content_));
    } else if (content_->IsShared() || found->IsShared()) {
      displaced.attribute = Item::New(sought, std::move(displaced.value));
      Table& own = Own();
      own.Replace(found, displaced.attribute.Detach());
      displaced.attribute.Attach(found);
    } else {
      // The old key goes with the old value.
      found->SetKey(sought);
      content_->SwapValue(*found, displaced.value);
    }
    return true;
  }

  // Adds an attribute of another store, which keeps it as well.
  void Share(const Item& attribute) { Add(ItemPointer(const_cast<Item*>(&attribute))); }

  // Adds an attribute; false if its key is there. Keys best come in order. Raises std::bad_alloc.
  bool Add(ItemPointer attribute) {
    const Sought sought = attribute->Key();
    if (!content_ || content_->IsBehindAll(sought)) {
      Table& own = OwnWithRoom();
      own.Append(attribute.Detach());
      return true;
    }
    const std::uint32_t hash = Kind::Hash(sought);
    if (Count() > 0 && (Kind::IsEqualToAll(sought) || Find(sought, hash))) return false;
    Insert(attribute, hash);
    return true;
  }

  // Takes an attribute out. Raises std::bad_alloc, with nothing changed.
  void Take(Item* attribute, Displaced& displaced) {
    Own().Remove(attribute);
    displaced.attribute.Attach(attribute);
  }

  // Makes room in an empty content for so many attributes, or fewer. Raises std::bad_alloc.
  void Reserve(std::size_t attributes) {
    // Who says how many there will be may say anything.
    constexpr std::size_t kMost = 1024;
    if (!content_ && attributes != 0) content_ = Table::New(std::min(attributes, kMost));
  }

  // Leaves an empty content behind.
  Held TakeAll() noexcept { return std::move(content_); }

  // Shares the content of another store.
  void Share(Held content) noexcept { content_ = std::move(content); }

 private:
  // In a content that is there.
  Item* Find(Sought sought, std::uint32_t hash) const noexcept {
    if (!Kind::IsEqualToAll(sought)) {
      Item* const found = content_->Find(sought, hash);
      if (found || !Kind::kHasKeyEqualToAll || Count() != 1) return found;
    }
    if (Count() == 0) return nullptr;
    content_->Arrange();
    Item* const first = *content_->begin();
    return Kind::IsEqualToAll(sought) || Kind::IsEqualToAll(first->Key()) ? first : nullptr;
  }

  // The content, this store's own, so that it can be changed.
  Table& Own() {
    if (content_->IsShared()) content_ = content_->Copy();
    return *content_;
  }

  Table& OwnWithRoom() {
    if (!content_) {
      content_ = Table::New(1);
    } else if (!Own().HasRoom()) {
      content_ = content_->Move();
    }
    return *content_;
  }

  // Takes the attribute, unless it raises.
  void Insert(ItemPointer& attribute, std::uint32_t hash) {
    Table& own = OwnWithRoom();
    own.Insert(attribute.Detach(), hash);
  }

  Held content_;
};

}  // namespace rastel
