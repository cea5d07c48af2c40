// Vex/CollectionNode.h: the nodes of value collections.
//
// An entity collection holds the child entities themselves; a collection of
// values holds each value in a small reference-counted node. `Link` is
// Vex::RbTreeLink for a Vex::RbTreeMap and Vex::HashLink for the hashed maps.
//
//   | node                                   | holds            | key               |
//   |----------------------------------------|------------------|-------------------|
//   | SetNode<Key, Link>                     | a key            | the key           |
//   | MapNode<Key, Value, Link>              | a key and value  | the key           |
//   | InternalKeyNode<Key, Value, KeyFn, L>  | a value          | KeyFn()(value)    |
//
// An InternalKeyNode computes its key from its value once, at construction,
// and keeps it; replacing the value with one of another key is a bug and
// aborts with "fwkKey() == KeyFunktor()( _value )".
#pragma once

#include "Vex/Assert.h"
#include "Vex/Ptr.h"

#include <type_traits>
#include <utility>

namespace Vex {

template <class Key, class Link>
class SetNode : public PtrInterface, public Link {
 public:
   explicit SetNode(Key key) : key_(std::move(key)) {}
   Key const& fwkKey() const noexcept { return key_; }
   bool operator==(SetNode const& o) const { return key_ == o.key_; }

 private:
   Key key_;
};

template <class Key, class Value, class Link>
class MapNode : public PtrInterface, public Link {
 public:
   MapNode(Key key, Value value) : key_(std::move(key)), value_(std::move(value)) {}
   Key const& fwkKey() const noexcept { return key_; }
   Value const& value() const noexcept { return value_; }
   void valueIs(Value v) { value_ = std::move(v); }
   bool operator==(MapNode const& o) const { return key_ == o.key_ && value_ == o.value_; }

 private:
   Key key_;
   Value value_;
};

template <class Key, class Value, class KeyFunktor, class Link>
class InternalKeyNode : public PtrInterface, public Link {
   // A key functor that hands back a reference into the value lets the node
   // read its key there instead of keeping a copy (8 bytes a node for a
   // match component).
   static constexpr bool keyInValue =
       std::is_reference_v<std::invoke_result_t<KeyFunktor, Value const&>>;
   struct NoKey {};
   using KeyCopy = std::conditional_t<keyInValue, NoKey, Key>;

 public:
   using KeyFn = KeyFunktor;
   explicit InternalKeyNode(Value value) : key_(keyOf(value)), _value(std::move(value)) {}
   Key const& fwkKey() const noexcept {
      if constexpr (keyInValue) {
         return KeyFunktor()(_value);
      } else {
         return key_;
      }
   }
   Value const& value() const noexcept { return _value; }
   /// Replaces the value; its key must be the node's key.
   void valueIs(Value v) {
      Key const key = fwkKey();
      _value = std::move(v);
      VEX_ASSERT_TEXT(key == KeyFunktor()(_value), "fwkKey() == KeyFunktor()( _value )");
   }
   bool operator==(InternalKeyNode const& o) const { return _value == o._value; }

 private:
   static KeyCopy keyOf(Value const& value) {
      if constexpr (keyInValue) {
         return NoKey{};
      } else {
         return KeyFunktor()(value);
      }
   }

   [[no_unique_address]] KeyCopy key_;
   Value _value;
};

} // namespace Vex
