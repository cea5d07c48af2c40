// Vex/EntityPattern.h: the behaviour every entity shares, written once.
//
// An entity class declares its identity, attributes and collections, and its
// observer classes; this header supplies what they do:
//
//   | piece                  | behaviour                                                  |
//   |------------------------|------------------------------------------------------------|
//   | entityIs<T>(identity)  | allocate (tracked, see Vex/AllocTrack.h), construct, wrap  |
//   |                        | in a Ptr, switch notification on                           |
//   | setAttribute           | compare; if different store, then tell the observers       |
//   | ChildCollection        | children keyed by identity: create-or-return, delete       |
//   |                        | (clearing the parent link), delete all, lookup             |
//   | ElementCollection      | values keyed by their own element (a match component by   |
//   |                        | its type)                                                  |
//   | MapCollection          | a value per key (an interface's enabled flag)              |
//   | SetCollection          | a set of keys (the active interfaces of a family)          |
//   | NotifieeConstOf<X>,    | the observer bases: notifierIs / notifier                  |
//   | NotifieeOf<X>          |                                                            |
//
// Every change that tells observers does so after it is stored, and only
// when the observer list is not empty: an entity nobody observes visits
// nothing. Deleting an absent member is silent. xDelAll deletes member by
// member through xDel, from the first member in iteration order (ascending
// keys for an ordered collection), so observers hear one keyed callback per
// member; the walk tolerates any change the callbacks make.
//
// The VEX_*_COLLECTION macros give an entity the named operations of one
// collection `x` with the callback `onX(key)` of its NotifieeConst.
//
// An entity lists its attributes and collections once, in table order, as a
// macro of the shape
//
//   #define FLOWSPEC_RULE_CONFIG_MEMBERS(T, ATTRIBUTE, COLLECTION)
//      ATTRIBUTE(T, ruleId, RuleId, std::uint64_t, 0)
//      COLLECTION(T, matchSet, MatchSet, MatchCompType, "compType")
//
// (each line but the last ending in a backslash; an attribute: name, capitalised name, type, initial value; a collection:
// name, capitalised name, key type, key name, and the key's descriptor
// function where the key type is an alias). Expanded with the pieces below it
// gives the NotifieeConst callbacks (VEX_ON_ATTRIBUTE, VEX_ON_COLLECTION), the
// attribute accessors and setters (VEX_ATTRIBUTE_OF) and their storage
// (VEX_ATTRIBUTE_MEMBER); with those of Vex/ReflectTable.h, the attribute
// rows and the reflection observer's tells.
#pragma once

#include "Vex/AllocTrack.h"
#include "Vex/CollectionNode.h"
#include "Vex/Entity.h"
#include "Vex/Ptr.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Vex {

/// The base of a named root entity: its name, read with name() and replaced
/// only by nameIsFromBackup, which tells nobody (and does nothing when given
/// the entity's own name object).
class NamedEntity : public Entity {
 public:
   Name name() const override { return name_; }
   void nameIsFromBackup(Name const& name) override {
      if (&name != &name_) name_ = name;
   }

 protected:
   explicit NamedEntity(Name const& name) : name_(name) {}

 private:
   Name name_;
};

/// The type of a collection callback's key: scalars (numbers, enumerations)
/// by value, anything else by const reference.
template <class Key>
using CallbackArg = std::conditional_t<std::is_scalar_v<Key>, Key, Key const&>;

/// Makes an entity: tracked allocation (T's operator new), construction,
/// a Ptr, and notification switched on. A constructor that throws releases
/// the memory and its tracking record.
template <class T, class... Args>
Ptr<T> entityIs(Args&&... args) {
   Ptr<T> p(new T(std::forward<Args>(args)...));
   p->hasNotificationActiveIs(true);
   return p;
}

/// Calls `call(observer)` on every observer of `owner`, when there are any.
template <class Notifiee, class F>
void tell(Entity const& owner, F&& call) {
   if (!owner.notifieeList().empty()) owner.notifieeList().template visit<Notifiee>(call);
}

/// The attribute setter: nothing when `value` equals `stored`; otherwise
/// store it, then tell the observers with `call`.
template <class Notifiee, class V, class F>
void setAttribute(Entity const& owner, V& stored, V const& value, F&& call) {
   if (stored == value) return;
   stored = value;
   tell<Notifiee>(owner, std::forward<F>(call));
}

/// The base of an entity's NotifieeConst: observes a const X.
template <class X>
class NotifieeConstOf : public NotifieeBase {
 public:
   /// Observes `x` (null: nothing), leaving whatever it observed before.
   void notifierIs(Ptr<X const> const& x) noexcept { notifierEntityIs(x.get()); }
   /// What it observes; null once detached, also by the entity's destruction.
   Ptr<X const> notifier() const noexcept { return static_cast<X const*>(notifierEntity()); }
};

/// An entity's Notifiee: an X::NotifieeConst that observes a changeable X.
template <class X>
class NotifieeOf : public X::NotifieeConst {
 public:
   void notifierIs(Ptr<X> const& x) noexcept { this->notifierEntityIs(x.get()); }
   Ptr<X> notifier() const noexcept {
      return const_cast<X*>(static_cast<X const*>(this->notifierEntity()));
   }
};

/// What the four collection kinds share: the map, lookup of presence, size,
/// iteration, and delete-all through a single-member delete.
template <class Map>
class CollectionBase {
 public:
   using Iterator = typename Map::Iterator;

   template <class Key>
   bool has(Key const& key) const noexcept {
      return map_.has(key);
   }
   std::size_t size() const noexcept { return map_.size(); }
   Iterator iterator() const noexcept { return map_.iterator(); }
   Map const& map() const noexcept { return map_; }

 protected:
   /// Calls del(key) for every member from the first; the iterator survives
   /// the deletion of the member it stands on.
   template <class Del>
   void deleteEach(Del del) {
      for (Iterator i = map_.iterator(); i; ++i) {
         auto const key = i.key();
         del(key);
      }
   }

   /// Calls delNode(node) for every member from the first, where delNode
   /// erases that very node: no lookup by key, so deleting n members costs
   /// O(n) rather than two searches each. When delNode changed the map beyond
   /// erasing its node (an observer added or removed members), the walk goes
   /// on from the first member after the deleted key, as deleteEach does.
   template <class DelNode>
   void deleteEachNode(DelNode delNode) {
      auto* n = map_.first();
      while (n) {
         Ptr<std::remove_pointer_t<decltype(n)>> const held(n);
         auto* const after = map_.next(n);
         auto const key = n->fwkKey();
         std::uint64_t const version = map_.version();
         delNode(n);
         n = map_.version() == version + 1 ? after : map_.upperBound(key);
      }
   }

   Map map_;
};

/// Children keyed by their identity, in a Vex::RbTreeMap or Vex::HashMap of
/// the children themselves.
template <class Child, class Key, class Map>
class ChildCollection : public CollectionBase<Map> {
 public:
   using typename CollectionBase<Map>::Iterator;

   /// The child with `key`, silently; or a new one (entityIs<Child>(key)),
   /// inserted, with `owner` as its parent, announced with notify(key).
   template <class Notify>
   Ptr<Child> is(Entity& owner, Key const& key, Notify notify) {
      auto [c, made] = this->map_.findOrInsert(key, [&] { return entityIs<Child>(key); });
      if (!made) return c;
      Ptr<Child> child = c;
      child->parentIs(&owner);
      notify(key);
      return child;
   }
   /// Removes the child with `key`, clears its parent, announces it and hands
   /// it back; null, silently, when there is none.
   template <class Notify>
   Ptr<Child> del(Key const& key, Notify notify) {
      Ptr<Child> c = this->map_.erase(key);
      if (!c) return c;
      c->parentIs(nullptr);
      notify(key);
      return c;
   }
   template <class Notify>
   void delAll(Notify notify) {
      this->deleteEachNode([&](Child* c) {
         Ptr<Child> const gone = this->map_.erase(c);
         c->parentIs(nullptr);
         notify(c->fwkKey());
      });
   }
   Ptr<Child> get(Key const& key) const noexcept { return this->map_.find(key); }
};

/// The value collections' shared half: store with notification on change,
/// delete handing back the value, lookup. Absent()() is what an absent key
/// reads as.
template <class Node, class Key, class Value, class Map, class Absent>
class ValueCollectionBase : public CollectionBase<Map> {
 public:
   using typename CollectionBase<Map>::Iterator;

   /// Removes `key` and returns its value, after notify(key); the absent
   /// value, silently, when there is none.
   template <class Notify>
   Value del(Key const& key, Notify notify) {
      Ptr<Node> n = this->map_.erase(key);
      if (!n) return Absent()();
      notify(key);
      return n->value();
   }
   template <class Notify>
   void delAll(Notify notify) {
      this->deleteEach([&](Key const& key) { del(key, notify); });
   }
   Value get(Key const& key) const {
      Node const* n = this->map_.find(key);
      return n ? n->value() : Absent()();
   }

 protected:
   /// Silent when `key` holds a value equal to `value`; otherwise replaces it
   /// in place or inserts make(), then notify(key).
   template <class Make, class Notify>
   void store(Key const& key, Value const& value, Make make, Notify notify) {
      auto [n, made] = this->map_.findOrInsert(key, make);
      if (!made) {
         if (n->value() == value) return;
         n->valueIs(value);
      }
      notify(key);
   }
};

/// Values keyed by their own element: Node is an InternalKeyNode, whose key
/// comes from its value. An absent key reads as Value(Key{}).
template <class Key, class Value>
struct ValueOfDefaultKey {
   Value operator()() const { return Value(Key{}); }
};
template <class Value>
struct DefaultValue {
   Value operator()() const { return Value(); }
};

template <class Node, class Key, class Value, class Map>
class ElementCollection
    : public ValueCollectionBase<Node, Key, Value, Map, ValueOfDefaultKey<Key, Value>> {
 public:
   /// Silent when an equal element is stored under its key; otherwise
   /// overwrites in place or inserts a copy, then notify(key).
   template <class Notify>
   void is(Value const& element, Notify notify) {
      this->store(
          typename Node::KeyFn()(element), element, [&] { return Ptr<Node>(new Node(element)); },
          notify);
   }
   /// The same, moving `element` into the node instead of copying it.
   template <class Notify>
   void is(Value&& element, Notify notify) {
      Key const key = typename Node::KeyFn()(element);
      auto [n, made] =
          this->map_.findOrInsert(key, [&] { return Ptr<Node>(new Node(std::move(element))); });
      if (!made) {
         if (n->value() == element) return;
         n->valueIs(std::move(element));
      }
      notify(key);
   }
};

/// A value per key: Node is a MapNode. An absent key reads as Value().
template <class Node, class Key, class Value, class Map>
class MapCollection : public ValueCollectionBase<Node, Key, Value, Map, DefaultValue<Value>> {
 public:
   /// Silent when `key` holds an equal value; otherwise stores or inserts,
   /// then notify(key).
   template <class Notify>
   void is(Key const& key, Value const& value, Notify notify) {
      this->store(
          key, value, [&] { return Ptr<Node>(new Node(key, value)); }, notify);
   }
};

/// A set of keys: Node is a SetNode.
template <class Node, class Key, class Map>
class SetCollection : public CollectionBase<Map> {
 public:
   using typename CollectionBase<Map>::Iterator;

   /// Silent when `key` is a member; otherwise inserts it, then notify(key).
   template <class Notify>
   void is(Key const& key, Notify notify) {
      if (this->map_.has(key)) return;
      this->map_.insert(Ptr<Node>(new Node(key)));
      notify(key);
   }
   /// Removes `key` and says whether it was a member; notify(key) only then.
   template <class Notify>
   bool del(Key const& key, Notify notify) {
      if (!this->map_.erase(key)) return false;
      notify(key);
      return true;
   }
   template <class Notify>
   void delAll(Notify notify) {
      this->deleteEach([&](Key const& key) { del(key, notify); });
   }
};

} // namespace Vex

/// An attribute `x` of type Type held in `member`: x() reads, xIs(v) is the
/// setter of setAttribute, telling onX().
#define VEX_ATTRIBUTE(x, X, Type, member)                                                          \
   Type const& x() const noexcept {                                                                \
      return member;                                                                               \
   }                                                                                               \
   void x##Is(Type const& value) {                                                                 \
      ::Vex::setAttribute<NotifieeConst>(*this, member, value,                                     \
                                         [](NotifieeConst& n) { n.on##X(); });                     \
   }

// The named operations of one collection, declared inside the entity class.
// `x` is the collection's name, `X` the same capitalised (for onX), `member`
// the collection object. Each notifies through x##Notify, which is public so
// a user can re-announce a member without changing it.

/// Operations shared by every kind: xNotify, xHas, xSize, xIteratorConst,
/// xDel(key) (what the kind's del returns) and xDelAll().
#define VEX_COLLECTION_COMMON(x, X, Key, member)                                                   \
   auto x##Del(Key const& key) {                                                                   \
      return member.del(key, [this](Key const& k) { x##Notify(k); });                              \
   }                                                                                               \
   void x##DelAll() {                                                                              \
      ::Vex::VisitHold hold(this);                                                                 \
      member.delAll([this](Key const& k) { x##Notify(k); });                                       \
   }                                                                                               \
   void x##Notify(Key const& key) const {                                                          \
      ::Vex::tell<NotifieeConst>(*this, [&](NotifieeConst& n) { n.on##X(key); });                  \
   }                                                                                               \
   bool x##Has(Key const& key) const noexcept {                                                    \
      return member.has(key);                                                                      \
   }                                                                                               \
   std::size_t x##Size() const noexcept {                                                          \
      return member.size();                                                                        \
   }                                                                                               \
   auto x##IteratorConst() const noexcept {                                                        \
      return member.iterator();                                                                    \
   }

/// Children: xIs(key), xDel(key), xDel(iterator), xDelAll(), x(key).
#define VEX_CHILD_COLLECTION(x, X, Child, Key, member)                                             \
   VEX_COLLECTION_COMMON(x, X, Key, member)                                                        \
   ::Vex::Ptr<Child> x##Is(Key const& key) {                                                       \
      return member.is(*this, key, [this](Key const& k) { x##Notify(k); });                        \
   }                                                                                               \
   template <class I>                                                                              \
   requires requires(I & it) {                                                                     \
      it.ptr();                                                                                    \
   }                                                                                               \
   ::Vex::Ptr<Child> x##Del(I& i) {                                                                \
      return i ? x##Del(Key(i.key())) : ::Vex::Ptr<Child>();                                       \
   }                                                                                               \
   ::Vex::Ptr<Child> x(Key const& key) const noexcept {                                            \
      return member.get(key);                                                                      \
   }

/// Values keyed by their element: xIs(element) (a copy, or moved from an
/// rvalue), xDel(key), xDel(iterator),
/// xDelAll(), x(key).
#define VEX_ELEMENT_COLLECTION(x, X, Value, Key, member)                                           \
   VEX_COLLECTION_COMMON(x, X, Key, member)                                                        \
   void x##Is(Value const& element) {                                                              \
      member.is(element, [this](Key const& k) { x##Notify(k); });                                  \
   }                                                                                               \
   void x##Is(Value&& element) {                                                                   \
      member.is(std::move(element), [this](Key const& k) { x##Notify(k); });                       \
   }                                                                                               \
   template <class I>                                                                              \
   requires requires(I & it) {                                                                     \
      it.ptr();                                                                                    \
   }                                                                                               \
   Value x##Del(I& i) {                                                                            \
      return i ? x##Del(Key(i.key())) : Value(Key{});                                              \
   }                                                                                               \
   Value x(Key const& key) const {                                                                 \
      return member.get(key);                                                                      \
   }

/// A value per key: xIs(key, value), xDel(key), xDelAll(), x(key).
#define VEX_MAP_COLLECTION(x, X, Key, Value, member)                                               \
   VEX_COLLECTION_COMMON(x, X, Key, member)                                                        \
   void x##Is(Key const& key, Value const& value) {                                                \
      member.is(key, value, [this](Key const& k) { x##Notify(k); });                               \
   }                                                                                               \
   Value x(Key const& key) const {                                                                 \
      return member.get(key);                                                                      \
   }

/// A set: xIs(key), xDel(key) (whether it was a member), xDelAll(), x(key)
/// (membership).
#define VEX_SET_COLLECTION(x, X, Key, member)                                                      \
   VEX_COLLECTION_COMMON(x, X, Key, member)                                                        \
   void x##Is(Key const& key) {                                                                    \
      member.is(key, [this](Key const& k) { x##Notify(k); });                                      \
   }                                                                                               \
   bool x(Key const& key) const noexcept {                                                         \
      return member.has(key);                                                                      \
   }

/// What every entity class declares first, inside its public section: its
/// descriptor `_vexType` (defined beside the type) and fwkType(); its
/// observer classes, NotifieeConst with the callbacks of its member list
/// `MEMBERS` and Notifiee; its allocation-tracking slot and registered name
/// `qualifiedName`; and its static creator TIs(identity), which makes the
/// entity with entityIs.
#define VEX_ENTITY_DECLARATIONS(T, qualifiedName, MEMBERS, Identity)                               \
   static ::Vex::VexType const _vexType;                                                           \
   ::Vex::VexType const* fwkType() const noexcept override {                                       \
      return &_vexType;                                                                            \
   }                                                                                               \
   class NotifieeConst : public ::Vex::NotifieeConstOf<T> {                                        \
    public:                                                                                        \
      MEMBERS(T, VEX_ON_ATTRIBUTE, VEX_ON_COLLECTION)                                              \
   };                                                                                              \
   using Notifiee = ::Vex::NotifieeOf<T>;                                                          \
   static ::Vex::AllocTrackSlot vexAllocTrackTypeInfo_;                                            \
   static constexpr char vexTypeName[] = qualifiedName;                                            \
   static ::Vex::Ptr<T> T##Is(Identity identity) {                                                 \
      return ::Vex::entityIs<T>(identity);                                                         \
   }

// --- The pieces an entity's member list expands to ----------------------------

/// onX() of an attribute.
#define VEX_ON_ATTRIBUTE(T, x, X, Type, init)                                                      \
   virtual void on##X() {}
/// onX(key), onX() and onXvexImmediate() of a collection.
#define VEX_ON_COLLECTION(T, x, X, Key, keyName, ...)                                              \
   virtual void on##X(::Vex::CallbackArg<Key>) {}                                                  \
   virtual void on##X() {}                                                                         \
   virtual void on##X##vexImmediate() {}
/// x() and xIs(v) of an attribute stored in x_.
#define VEX_ATTRIBUTE_OF(T, x, X, Type, init) VEX_ATTRIBUTE(x, X, Type, x##_)
/// The storage of an attribute, x_, with its initial value.
#define VEX_ATTRIBUTE_MEMBER(T, x, X, Type, init) Type x##_{init};
/// Nothing: for the kind of member an expansion does not concern.
#define VEX_NO_ATTRIBUTE(T, x, X, Type, init)
#define VEX_NO_COLLECTION(T, x, X, Key, keyName, ...)
