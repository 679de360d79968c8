// The content of a map: an ordered tree from key to value with unique keys.
//
// Values may be foreign objects, and a stream or an object that is called in the middle of a walk
// may change the very map that is walked. A walk therefore holds the content of its beginning:
// while anybody holds it, the first change makes a copy of its own to work on, and the walk neither
// loses a key nor meets a new one. Where nobody changes anything, holding costs an atomic count.
//
// Whatever is taken out is handed to the caller, who releases it when he is done with the map.
// Nothing here locks.
#pragma once

#include <map>
#include <memory>
#include <utility>

#include "attribute/keys.h"
#include "frame/variants.h"

namespace rastel {

template <class Key>
class AttributeStore {
 public:
  using Kind = KeyKind<Key>;
  using Nodes = std::map<typename Kind::Stored, CComVariant, typename Kind::Order>;
  using Node = typename Nodes::node_type;
  using Iterator = typename Nodes::iterator;
  using Held = std::shared_ptr<const Nodes>;

  Held Hold() const noexcept { return nodes_; }
  std::size_t Count() const noexcept { return nodes_->size(); }

  // The attribute with the key, or End. The iterator is good for Take if Unshare was called first.
  Iterator Find(Key key) const noexcept {
    const auto sought = Kind::Seek(key);
    const Iterator place = nodes_->lower_bound(sought);
    return place != End() && nodes_->key_comp()(sought, place->first) ? End() : place;
  }
  Iterator End() const noexcept { return nodes_->end(); }

  // Makes the content this store's own, so that it can be changed. Raises CAtlException and
  // std::bad_alloc.
  void Unshare() {
    if (nodes_.use_count() > 1) nodes_ = std::make_shared<Nodes>(*nodes_);
  }

  // Moves the value in, under a new key or in the place of the value that was there, which is then
  // the caller's. False: the key is there and is not to be replaced; nothing is changed. Raises
  // _com_error, CAtlException and std::bad_alloc, with nothing changed.
  bool Put(Key key, CComVariant& value, bool replace) {
    Unshare();
    const auto sought = Kind::Seek(key);
    const Iterator place = nodes_->lower_bound(sought);
    if (place == End() || nodes_->key_comp()(sought, place->first)) {
      nodes_->emplace_hint(place, Kind::Form(key), std::move(value));
      return true;
    }
    if (!replace) return false;
    std::swap(place->second, value);
    if (Kind::IsSame(place->first, sought)) return true;
    // The old key goes with the old value. A NaN that has displaced one of several keys finds the
    // next one in its place, and is then not stored.
    Node node = nodes_->extract(place);
    node.key() = Kind::Form(key);
    nodes_->insert(std::move(node));
    return true;
  }

  // Adds an attribute; of a key that is there nothing changes.
  void Add(typename Kind::Stored key, CComVariant value) {
    Unshare();
    // Keys mostly come in order.
    nodes_->emplace_hint(End(), std::move(key), std::move(value));
  }

  Node Take(Iterator place) noexcept { return nodes_->extract(place); }

  Nodes TakeAll() {
    if (nodes_.use_count() == 1) return std::exchange(*nodes_, Nodes());
    nodes_ = std::make_shared<Nodes>();
    return {};
  }

 private:
  std::shared_ptr<Nodes> nodes_ = std::make_shared<Nodes>();
};

}  // namespace rastel
