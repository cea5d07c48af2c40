// Vex/Reflect.h: type descriptors, the type registry and generic values.
//
// Every type a library wants reachable by name has one constant descriptor,
// a Vex::VexType. It names the type, its base, its attribute table (one row
// per field, constant, collection and method; for an enumeration, one row per
// enumerator) and the functions through which generic code copies, prints,
// reads, builds and observes instances without compiling against the type.
// A library registers its descriptors with Vex::typeNodeIs when it is loaded;
// Vex::typeByName and Vex::registeredTypes find them.
//
// Vex::GenericValue holds a value of any registered type (an entity is held
// by reference), prints its value text and is read from text. Its get, set,
// call, del and iterate reach one attribute row by name or number:
//
//   Vex::GenericValue range = Vex::construct(*Vex::typeByName("Flowspec::NumericalRange"),
//                                            {Vex::GenericValue(1u), Vex::GenericValue(5u)});
//   range.get("rangeMax").text();                                   // "5"
//   range.call("contains", {Vex::GenericValue(3u)}).value<bool>();  // true
//   range.set("rangeMin", Vex::GenericValue(9u));  // raises the type's range error
//
// A C++ type is tied to its descriptor by Vex::typeOf<T>(): the static member
// T::_vexType of a class, or the hook `Vex::VexType const& vexTypeOf(T const*)`
// declared in T's namespace (enumerations) or here (the scalars).
//
// Tables are built with the row builders of Vex/ReflectTable.h.
#pragma once

#include "Vex/Exception.h"
#include "Vex/Ptr.h"
#include "Vex/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Vex {

class Entity;
class GenericIterator;
class GenericNotifiee;
class GenericValue;
class VexType;
namespace NboAttrLog {
class In;
class Out;
} // namespace NboAttrLog

/// The directory a named root is created in. Directories belong to the state
/// database that hosts the entities; this layer only passes them through.
class Directory;

/// The role of an attribute row; a row has one role flag and may add
/// attrIdentity.
enum AttrFlag : std::uint32_t {
   attrIdentity = 1u << 0,   ///< the key or name that identifies the object
   attrSettable = 1u << 1,   ///< read with get, written with set
   attrReadOnly = 1u << 2,   ///< read with get only (a field or a computed value)
   attrConstant = 1u << 3,   ///< a constant of the type (an enumerator too)
   attrCollection = 1u << 4, ///< a keyed collection: get, set, del by key; iterate
   attrMethod = 1u << 5,     ///< called with arguments
   attrChildren = 1u << 6,   ///< with attrCollection: the members are child entities
   attrMapped = 1u << 7,     ///< with attrCollection: set takes the key and the member
   attrElements = 1u << 8,   ///< with attrCollection: set takes the member, keyed by itself
};

/// What genericIfAttributeOp is asked to do.
enum class AttrOp : std::uint32_t {
   get,  ///< result = the attribute; a collection: the member keyed args[0]
   set,  ///< the attribute = args[0]; a collection: add the member described by args
   call, ///< result = the method called with args
   del,  ///< a collection: remove the member keyed args[0]; result = what it removed
   // Type-level operations, asked with no row.
   isNull, ///< result = whether the object is its type's null value
   add,    ///< result = the object plus args[0]
   has,    ///< a collection: result = whether a member is keyed args[0] (a bool)
};

/// The results of genericIfAttributeOp.
enum AttrOpStatus : int {
   attrOpDone = 0,       ///< done
   attrOpNotAllowed = 1, ///< the row (or the type) does not allow the operation
   attrOpUnknownRow = 2, ///< the row's number is not one of the type's
};

using GenericArgs = std::span<GenericValue const>;
using TypeFn = VexType const& (*)();

/// A named, typed parameter: a constructor's argument, a method's argument or
/// a collection's key. The type is given by its descriptor function, so the
/// name shown is the one the type is registered under.
struct Param {
   char const* name;
   TypeFn type;

   /// The qualified name of the parameter's type.
   std::string_view typeName() const noexcept;
};

/// One constructor argument.
using CtorArg = Param;

/// One row of an attribute table. Tables are built with the row builders of
/// Vex/ReflectTable.h; a row names only what it has, the rest stays empty.
struct AttrRow {
   char const* name = "";
   std::uint32_t number = 0;
   std::uint32_t flags = 0; ///< AttrFlag bits
   /// The key of a collection (one parameter) or the arguments of a method;
   /// empty for any other row.
   std::span<Param const> params{};
   /// Performs `op` on `object` (null for an enumerator); returns an AttrOpStatus.
   int (*access)(AttrOp op, void* object, GenericValue* result, GenericArgs args) = nullptr;
   /// A snapshot of a collection's members (collections only).
   GenericIterator (*iterate)(void const* object) = nullptr;
   /// The type of the attribute, of a collection's members, or of a method's
   /// result; null for a method without result and for an enumerator.
   TypeFn type = nullptr;
   /// The type of a collection's key; null for other rows.
   TypeFn keyType = nullptr;

   constexpr bool has(AttrFlag flag) const noexcept { return (flags & flag) != 0; }
   /// The parameters as "<type> <name>", joined by ", " ("" when there are none).
   std::string paramsText() const;
};

/// How generic code handles an instance it knows only by its descriptor.
/// Objects are passed as void*: a T* for a value, a Vex::Entity* for an entity.
struct GenericIfMethods {
   void* (*copy)(void const* object);
   void (*destroy)(void* object);
   String (*toText)(VexType const& type, void const* object);
   /// Reads a whole text; raises Vex::Exception (or the type's range error).
   /// Null for a type whose text cannot be read back.
   void* (*fromText)(VexType const& type, std::string_view text);
   bool (*equal)(void const* a, void const* b);
   /// The attribute-log encoding; both null for a type that has none.
   void (*toLog)(Ptr<NboAttrLog::Out> const& out, void const* object);
   void* (*fromLog)(NboAttrLog::In& in);
};

/// What observing an entity through reflection returns: destroying it
/// detaches the observer.
class ObserverHandle {
 public:
   virtual ~ObserverHandle() = default;
};

/// The kind of a type (the word kind_ of its descriptor).
enum class TypeKind : std::uint32_t { entity = 1, value = 2, enumeration = 3 };

/// Flags of the word sizeFlags_, above the instance size in its low 24 bits.
enum TypeFlag : std::uint32_t {
   typeRefCounted = 1u << 24, ///< instances are entities held through Vex::Ptr
   typeReadable = 1u << 25,   ///< instances can be read from their value text
   typeLogged = 1u << 26,     ///< instances have an attribute-log encoding
};

/// A type descriptor: constant data, built once per type at compile time.
/// The fields are public so that descriptors can be written as aggregates
/// with designated initialisers (the builders of Vex/ReflectTable.h do);
/// whatever a kind of type does not have stays null. Read them through the
/// accessors.
class VexType {
 public:
   char const* name_ = ""; ///< the qualified type name
   TypeKind kind_ = TypeKind::value;
   VexType const* base_ = nullptr;   ///< the base type's descriptor, or null
   std::span<AttrRow const> rows_{}; ///< the attribute (or enumerator) table
   std::span<Param const> ctorArgs_{};
   std::uint32_t sizeFlags_ = 0; ///< instance size | TypeFlag bits
   GenericIfMethods const* methods_ = nullptr;
   /// Builds an instance from its constructor arguments (an entity through its
   /// creator).
   GenericValue (*constructFromCtorArgs_)(GenericArgs args) = nullptr;
   /// Performs `op` on row `row` of `object`, or the type-level `op` when
   /// `row` is null; returns an AttrOpStatus.
   int (*attributeOp_)(GenericValue* result, void* object, AttrRow const* row, AttrOp op,
                       GenericArgs args) = nullptr;
   /// A snapshot of collection row `row` of `object` (types with collections).
   GenericIterator (*iterator_)(void const* object, AttrRow const& row) = nullptr;
   /// Entities only: attaches `observer` to `entity` through the entity's own
   /// observer class, and returns that observer object; destroying it detaches.
   std::unique_ptr<ObserverHandle> (*notifiee_)(Ptr<Entity> const& entity,
                                                GenericNotifiee& observer) = nullptr;
   /// Named roots only: makes the root `name` in `directory`.
   Ptr<Entity> (*newEntityForDir_)(Name const& name, Directory* directory) = nullptr;
   /// Entities only: reads the identity from an attribute-log record and makes
   /// the entity.
   Ptr<Entity> (*newEntityForAttrLog_)(NboAttrLog::In& in) = nullptr;
   /// Entities with children only: reads a child's identity from a record and
   /// makes the child in `parent`'s collection `row`.
   Ptr<Entity> (*childAttrLogIs_)(Entity& parent, AttrRow const& row, NboAttrLog::In& in) = nullptr;

   std::string_view name() const noexcept { return name_; }
   VexType const* base() const noexcept { return base_; }
   TypeKind kind() const noexcept { return kind_; }
   std::size_t instanceSize() const noexcept { return sizeFlags_ & 0xffffffu; }
   bool has(TypeFlag flag) const noexcept { return (sizeFlags_ & flag) != 0; }
   std::size_t attributeCount() const noexcept { return rows_.size(); }
   /// Row `i` of the table, i in [0, attributeCount()).
   AttrRow const& attribute(std::size_t i) const noexcept { return rows_[i]; }
   std::span<AttrRow const> attributes() const noexcept { return rows_; }
   /// The row named `name` or numbered `number`, or null.
   AttrRow const* attribute(std::string_view name) const noexcept;
   AttrRow const* attributeNumbered(std::uint32_t number) const noexcept;
   /// The constructor's arguments, in order.
   std::span<Param const> ctorArgs() const noexcept { return ctorArgs_; }
   /// Whether this type is `other` or derives from it.
   bool isA(VexType const& other) const noexcept;
};

/// Registers `type` under its name. Registering the same descriptor again does
/// nothing; another descriptor with a registered name aborts.
void typeNodeIs(VexType const& type);
/// The descriptor registered under `name`, or null.
VexType const* typeByName(std::string_view name);
/// Every registered descriptor, in order of registration.
std::vector<VexType const*> registeredTypes();

/// Receives the changes of an entity observed through reflection.
class GenericNotifiee {
 public:
   virtual ~GenericNotifiee() = default;
   /// Row `row` of `entity` changed; `key` is the member's key for a
   /// collection row, and empty otherwise.
   virtual void onAttribute(Entity const& entity, AttrRow const& row, GenericValue const& key) = 0;
};

// The scalar and string types of the framework.
VexType const& vexTypeOf(bool const*);
VexType const& vexTypeOf(std::uint8_t const*);
VexType const& vexTypeOf(std::uint16_t const*);
VexType const& vexTypeOf(std::uint32_t const*);
VexType const& vexTypeOf(std::uint64_t const*);
VexType const& vexTypeOf(std::int32_t const*);
VexType const& vexTypeOf(std::int64_t const*);
VexType const& vexTypeOf(float const*);
VexType const& vexTypeOf(double const*);
VexType const& vexTypeOf(String const*);
VexType const& vexTypeOf(Name const*);

template <class T>
requires requires {
   T::_vexType;
}
VexType const& vexTypeOf(T const*) {
   return T::_vexType;
}

/// The descriptor of T.
template <class T>
VexType const& typeOf() {
   return vexTypeOf(static_cast<T const*>(nullptr));
}

template <class T>
concept Reflected = requires {
   typeOf<T>();
};

/// A value of any registered type, or nothing. Values are held by copy,
/// entities by reference. Copies are deep for values.
class GenericValue {
 public:
   GenericValue() noexcept = default;
   /// Holds a copy of `v`.
   template <class T>
   requires(!std::is_base_of_v<Entity, T> &&
            !std::is_same_v<T, GenericValue>) explicit GenericValue(T const& v)
       : type_(&typeOf<T>()), object_(make(v)) {}
   /// Holds a reference to `entity`; nothing when it is null.
   template <class T>
   explicit GenericValue(Ptr<T> const& entity) : GenericValue(entityObject(entity.get())) {}
   /// Adopts `object`, which `type`'s methods made.
   GenericValue(VexType const& type, void* object) noexcept : type_(&type), object_(object) {}

   GenericValue(GenericValue const& other);
   GenericValue(GenericValue&& other) noexcept
       : type_(std::exchange(other.type_, nullptr)),
         object_(std::exchange(other.object_, nullptr)) {}
   GenericValue& operator=(GenericValue other) noexcept {
      std::swap(type_, other.type_);
      std::swap(object_, other.object_);
      return *this;
   }
   ~GenericValue();

   bool empty() const noexcept { return object_ == nullptr; }
   VexType const* type() const noexcept { return type_; }
   void const* object() const noexcept { return object_; }
   void* object() noexcept { return object_; }
   /// The held entity, or null when this holds no entity.
   Entity* entity() const noexcept;

   /// The held value as a T. A value of another type raises Vex::Exception,
   /// except a Vex::String, which is read as T's value text.
   template <class T>
   T value() const;

   /// The value text ("None" when empty; the full name for an entity).
   String text() const;
   /// Reads `text` as a value of `type`; raises Vex::Exception when the type
   /// has no text reader or the text is not exactly one value.
   static GenericValue fromText(VexType const& type, std::string_view text);
   /// Reads a value of `type` from the attribute log.
   static GenericValue fromLog(VexType const& type, NboAttrLog::In& in);
   /// Writes the held value's attribute-log encoding.
   void toLog(Ptr<NboAttrLog::Out> const& out) const;

   /// The row of this value's type named `name` (or with the decimal number
   /// `name`); raises Vex::Exception when there is none.
   AttrRow const& row(std::string_view name) const;
   /// Performs `op` on `row`; raises Vex::Exception when the type refuses it
   /// (status 1) or does not know the row (status 2).
   GenericValue op(AttrRow const& row, AttrOp op, GenericArgs args = {}) const;
   GenericValue get(std::string_view attr) const { return op(row(attr), AttrOp::get); }
   GenericValue get(std::string_view attr, GenericValue const& key) const {
      return op(row(attr), AttrOp::get, {&key, 1});
   }
   void set(std::string_view attr, GenericValue const& v) { op(row(attr), AttrOp::set, {&v, 1}); }
   GenericValue call(std::string_view attr, std::vector<GenericValue> const& args = {}) const {
      return op(row(attr), AttrOp::call, args);
   }
   GenericValue del(std::string_view attr, GenericValue const& key) {
      return op(row(attr), AttrOp::del, {&key, 1});
   }
   GenericIterator iterate(std::string_view attr) const;
   /// Attaches `observer` to the held entity through its own observer class.
   std::unique_ptr<ObserverHandle> observe(GenericNotifiee& observer) const;

   friend bool operator==(GenericValue const& a, GenericValue const& b);

 private:
   struct EntityRef {
      VexType const* type;
      Entity* entity;
   };
   explicit GenericValue(EntityRef ref) noexcept;
   static EntityRef entityObject(Entity const* e) noexcept;
   template <class T>
   static void* make(T const& v) {
      if constexpr (std::is_enum_v<T>) {
         return new std::underlying_type_t<T>(static_cast<std::underlying_type_t<T>>(v));
      } else {
         return new T(v);
      }
   }
   [[noreturn]] void wrongType(VexType const& wanted) const;

   VexType const* type_ = nullptr;
   void* object_ = nullptr;
};

template <class T>
T GenericValue::value() const {
   VexType const& wanted = typeOf<T>();
   if (type_ != &wanted) {
      if (type_ == &typeOf<String>() && object_) {
         return fromText(wanted, static_cast<String const*>(object_)->view()).template value<T>();
      }
      wrongType(wanted);
   }
   if constexpr (std::is_enum_v<T>) {
      return static_cast<T>(*static_cast<std::underlying_type_t<T> const*>(object_));
   } else {
      return *static_cast<T const*>(object_);
   }
}

/// A snapshot of a collection's members, taken when the iteration starts:
/// changes to the collection afterwards do not affect it.
class GenericIterator {
 public:
   struct Member {
      GenericValue key;
      GenericValue value;
   };
   GenericIterator() = default;
   explicit GenericIterator(std::vector<Member> members) noexcept : members_(std::move(members)) {}
   explicit operator bool() const noexcept { return pos_ < members_.size(); }
   GenericIterator& operator++() noexcept {
      ++pos_;
      return *this;
   }
   GenericValue const& key() const noexcept { return members_[pos_].key; }
   GenericValue const& value() const noexcept { return members_[pos_].value; }
   std::size_t size() const noexcept { return members_.size(); }

 private:
   std::vector<Member> members_;
   std::size_t pos_ = 0;
};

/// Builds a value (or entity) of `type` from its constructor arguments; raises
/// Vex::Exception for a wrong number or type of arguments.
GenericValue construct(VexType const& type, std::vector<GenericValue> const& args);

/// The entity's full name: its parent's full name, "/", then its name, or its
/// identity's value text when it has no name.
String entityFullName(Entity const& entity);

} // namespace Vex
