// Vex/ReflectTable.h: building attribute tables and descriptors.
//
// A library writes each type's table once, as data; the access code of each
// row is generated from the member it names:
//
//   constexpr auto rangeRows = Vex::valueRows({
//      Vex::constant<&NumericalRange::min>("min"),                 // 2
//      Vex::field<&NumericalRange::rangeMin, &NumericalRange::rangeMinIs>("rangeMin"),
//      Vex::method<&NumericalRange::contains>("contains", "U32 value"),
//   });
//
// | builder                  | row                                          |
// |--------------------------|----------------------------------------------|
// | field<Get, Set>          | settable; written through the setter         |
// | field<Get>               | read-only (a field, or computed)             |
// | identity<Get>            | the key of an entity or value, read-only     |
// | constant<&T::c>          | a static constant (data member or function)  |
// | method<F>(name, args)    | a member or static function, called          |
// | VEX_COLLECTION_ROW(T, x) | the collection x: x(key), xIs, xDel, iterate |
//
// valueRows numbers the rows from 2 in table order; entityRows puts the five
// rows every entity has (name, fullName, parent, parentAttrName, entity)
// first and numbers the others from 258; at(n, row) fixes a row's number.
// Arguments reach the C++ function converted by GenericValue::value<A>, so a
// caller may pass a Vex::String holding an argument's value text.
#pragma once

#include "Vex/Entity.h"
#include "Vex/EntityPattern.h"
#include "Vex/Enum.h"
#include "Vex/NboAttrLog.h"
#include "Vex/Reflect.h"
#include "Vex/ValueText.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Vex {

namespace Reflection {

// --- Signatures of the functions rows name ---------------------------------

template <class F>
struct Signature;

template <class R, class... A>
struct Signature<R (*)(A...)> {
   using Result = R;
   using Args = std::tuple<std::decay_t<A>...>;
   static constexpr bool member = false;
};
template <class R, class... A>
struct Signature<R (*)(A...) noexcept> : Signature<R (*)(A...)> {};

template <class R, class C, class... A>
struct Signature<R (C::*)(A...)> {
   using Result = R;
   using Class = C;
   using Args = std::tuple<std::decay_t<A>...>;
   static constexpr bool member = true;
};
template <class R, class C, class... A>
struct Signature<R (C::*)(A...) const> : Signature<R (C::*)(A...)> {};
template <class R, class C, class... A>
struct Signature<R (C::*)(A...) noexcept> : Signature<R (C::*)(A...)> {};
template <class R, class C, class... A>
struct Signature<R (C::*)(A...) const noexcept> : Signature<R (C::*)(A...)> {};

/// The object behind a void*: an Entity* for entities, a T* otherwise.
template <class T>
T& objectOf(void* object) {
   if constexpr (std::is_base_of_v<Entity, T>) {
      return *static_cast<T*>(static_cast<Entity*>(object));
   } else {
      return *static_cast<T*>(object);
   }
}

template <class P, bool = std::is_invocable_v<P>>
struct ConstantOf {
   using Type = std::invoke_result_t<P>;
};
template <class P>
struct ConstantOf<P, false> {
   using Type = std::remove_cv_t<std::remove_pointer_t<P>>;
};

/// Raises Vex::Exception unless exactly `n` arguments were given.
void checkArgCount(GenericArgs args, std::size_t n);

template <class V>
void store(GenericValue* result, V&& v) {
   using D = std::decay_t<V>;
   if (result) *result = GenericValue(static_cast<D const&>(v));
}

template <class T>
VexType const& typeFn() {
   return typeOf<T>();
}

template <class T>
struct Unwrap {
   using Type = T;
};
template <class T>
struct Unwrap<Ptr<T>> {
   using Type = std::remove_const_t<T>;
};
/// The descriptor function of what a row yields (an entity for a Ptr).
template <class R>
constexpr TypeFn typeFnOf() {
   using D = typename Unwrap<std::decay_t<R>>::Type;
   if constexpr (std::is_void_v<D>) {
      return nullptr;
   } else {
      return &typeFn<D>;
   }
}

/// Calls F with the object (when F is a member) and the converted arguments.
template <auto F, std::size_t... I>
decltype(auto) invoke(void* object, GenericArgs args, std::index_sequence<I...>) {
   using S = Signature<decltype(F)>;
   checkArgCount(args, sizeof...(I));
   if constexpr (S::member) {
      using C = typename S::Class;
      return (objectOf<C>(object).*F)(
         args[I].template value<std::tuple_element_t<I, typename S::Args>>()...);
   } else {
      return F(args[I].template value<std::tuple_element_t<I, typename S::Args>>()...);
   }
}

template <auto F>
decltype(auto) invoke(void* object, GenericArgs args) {
   using S = Signature<decltype(F)>;
   return invoke<F>(object, args,
                    std::make_index_sequence<std::tuple_size_v<typename S::Args>>());
}

// --- Access functions, one per kind of row ---------------------------------

template <auto Get, auto Set>
int fieldAccess(AttrOp op, void* object, GenericValue* result, GenericArgs args) {
   if (op == AttrOp::get) {
      store(result, invoke<Get>(object, {}));
      return attrOpDone;
   }
   if constexpr (!std::is_same_v<decltype(Set), std::nullptr_t>) {
      if (op == AttrOp::set) {
         invoke<Set>(object, args);
         return attrOpDone;
      }
   }
   return attrOpNotAllowed;
}

template <auto C>
int constantAccess(AttrOp op, void*, GenericValue* result, GenericArgs) {
   if (op != AttrOp::get) return attrOpNotAllowed;
   if constexpr (std::is_invocable_v<decltype(C)>) {
      store(result, C());
   } else {
      store(result, *C);
   }
   return attrOpDone;
}

template <auto F>
int methodAccess(AttrOp op, void* object, GenericValue* result, GenericArgs args) {
   if (op != AttrOp::call) return attrOpNotAllowed;
   if constexpr (std::is_void_v<typename Signature<decltype(F)>::Result>) {
      invoke<F>(object, args);
   } else {
      store(result, invoke<F>(object, args));
   }
   return attrOpDone;
}

/// The pieces of a collection row: how to look a member up, add, delete, and
/// walk. Get, Is, Del and Iter are stateless lambdas (see VEX_COLLECTION_ROW).
template <class T, class Get, class Is, class Del, class Iter>
struct Collection {
   using Key = std::decay_t<decltype(Iter{}(std::declval<T const&>()).key())>;
   using Member = std::decay_t<decltype(Get{}(std::declval<T const&>(), std::declval<Key>()))>;

   static int access(AttrOp op, void* object, GenericValue* result, GenericArgs args) {
      T& o = objectOf<T>(object);
      switch (op) {
      case AttrOp::get:
         checkArgCount(args, 1);
         store(result, Get{}(o, args[0].value<Key>()));
         return attrOpDone;
      case AttrOp::del:
         checkArgCount(args, 1);
         if constexpr (std::is_void_v<decltype(Del{}(o, std::declval<Key>()))>) {
            Del{}(o, args[0].value<Key>());
         } else {
            store(result, Del{}(o, args[0].value<Key>()));
         }
         return attrOpDone;
      case AttrOp::set:
         if constexpr (std::is_invocable_v<Is, T&, Key, Member>) {
            // A value per key.
            checkArgCount(args, 2);
            Is{}(o, args[0].value<Key>(), args[1].value<Member>());
         } else if constexpr (!std::is_same_v<Member, bool> &&
                              !std::is_same_v<typename Unwrap<Member>::Type, Member>) {
            // Children: made from their key.
            checkArgCount(args, 1);
            store(result, Is{}(o, args[0].value<Key>()));
         } else if constexpr (std::is_invocable_v<Is, T&, Member> &&
                              !std::is_same_v<Member, bool>) {
            // Values keyed by their own element.
            checkArgCount(args, 1);
            Is{}(o, args[0].value<Member>());
         } else {
            // A set of keys.
            checkArgCount(args, 1);
            Is{}(o, args[0].value<Key>());
         }
         return attrOpDone;
      default:
         return attrOpNotAllowed;
      }
   }

   static GenericIterator iterate(void const* object) {
      T const& o = objectOf<T>(const_cast<void*>(object));
      std::vector<GenericIterator::Member> members;
      for (auto i = Iter{}(o); i; ++i) {
         Key const key = i.key();
         members.push_back({GenericValue(key), GenericValue(Get{}(o, key))});
      }
      return GenericIterator(std::move(members));
   }
};

template <class T, class Get, class Is, class Del, class Iter>
constexpr AttrRow collectionRow(char const* name, char const* args, Get, Is, Del, Iter) {
   using C = Collection<T, Get, Is, Del, Iter>;
   constexpr bool children = !std::is_same_v<typename Unwrap<typename C::Member>::Type,
                                             typename C::Member>;
   return AttrRow{name,
                  args,
                  0,
                  children ? attrCollection | attrChildren : attrCollection,
                  &C::access,
                  &C::iterate,
                  typeFnOf<typename C::Member>(),
                  typeFnOf<typename C::Key>()};
}

// --- Type-level functions of a descriptor ----------------------------------

/// genericIfAttributeOp of T: the row is found in T's own table by number.
/// Type-level operations are refused unless T has
/// `static int vexTypeOp(GenericValue*, T&, AttrOp, GenericArgs)`.
template <class T>
int attributeOp(GenericValue* result, void* object, AttrRow const* row, AttrOp op,
                GenericArgs args) {
   if (row == nullptr) {
      if constexpr (requires(T& t) { T::vexTypeOp(result, t, op, args); }) {
         return T::vexTypeOp(result, objectOf<T>(object), op, args);
      } else {
         return attrOpNotAllowed;
      }
   }
   AttrRow const* own = typeOf<T>().attributeNumbered(row->number);
   if (own == nullptr) return attrOpUnknownRow;
   if (own->access == nullptr) return attrOpNotAllowed;
   return own->access(op, object, result, args);
}

/// genericIfIterator of T.
template <class T>
GenericIterator iterator(void const* object, AttrRow const& row) {
   AttrRow const* own = typeOf<T>().attributeNumbered(row.number);
   if (own == nullptr || own->iterate == nullptr) {
      throw Exception("Vex: " + String(typeOf<T>().name()) + " has no collection numbered " +
                      String(std::to_string(row.number)));
   }
   return own->iterate(object);
}

/// genericIfConstructFromCtorArgs of a value type: T(A...).
template <class T, class... A>
GenericValue constructValue(GenericArgs args) {
   checkArgCount(args, sizeof...(A));
   return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return GenericValue(T(args[I].template value<A>()...));
   }(std::index_sequence_for<A...>());
}

/// genericIfConstructFromCtorArgs of an entity: its factory or static creator.
template <auto Factory>
GenericValue constructEntity(GenericArgs args) {
   return GenericValue(invoke<Factory>(nullptr, args));
}

/// newEntityForDir of a named root: its static creator.
template <auto Creator>
Ptr<Entity> newEntityForDir(Name const& name, Directory*) {
   return Creator(name);
}

/// newEntityForAttrLog: reads the identity the creator takes, then creates.
template <auto Creator>
Ptr<Entity> newEntityForAttrLog(NboAttrLog::In& in) {
   using Key = std::tuple_element_t<0, typename Signature<decltype(Creator)>::Args>;
   return Creator(nboRead<Key>(in));
}

/// childAttrLogIs of an entity with children: the key is read with the
/// encoding of the collection's key type, then the member is added.
Ptr<Entity> childAttrLogIs(Entity& parent, AttrRow const& row, NboAttrLog::In& in);

// --- Observers of entities --------------------------------------------------

/// The base of an observer of entity T, in T's own observer class, that tells
/// a reflection observer which row changed. ObserverOf<T> (below) derives
/// from it and overrides each of T's callbacks with a tell (VEX_TELL).
template <class T>
class EntityObserver : public T::NotifieeConst, public ObserverHandle {
 public:
   EntityObserver(Ptr<Entity> const& entity, GenericNotifiee& observer) : observer_(observer) {
      this->notifierIs(Ptr<T const>(static_cast<T const*>(entity.get())));
   }

 protected:
   void tell(char const* row) { tell(row, GenericValue()); }
   template <class K>
   void tell(char const* row, K const& key) {
      tell(row, GenericValue(key));
   }
   void tell(char const* row, GenericValue const& key) {
      Entity const* e = this->notifierEntity();
      if (e) observer_.onAttribute(*e, *T::_vexType.attribute(row), key);
   }

 private:
   GenericNotifiee& observer_;
};

/// Specialised beside each entity T: its EntityObserver with the tells.
template <class T>
struct ObserverOf;

/// genericIfNotifiee of entity T.
template <class T>
std::unique_ptr<ObserverHandle> observe(Ptr<Entity> const& entity, GenericNotifiee& observer) {
   return std::make_unique<ObserverOf<T>>(entity, observer);
}

// --- Methods tables ---------------------------------------------------------

template <class T>
struct ValueMethods {
   static void* copy(void const* o) { return new T(*static_cast<T const*>(o)); }
   static void destroy(void* o) { delete static_cast<T*>(o); }
   static String toText(VexType const&, void const* o) {
      return valueToStrep(*static_cast<T const*>(o));
   }
   static void* fromText(VexType const&, std::string_view text) {
      T v{};
      strepToValue(String(text), v);
      return new T(std::move(v));
   }
   static bool equal(void const* a, void const* b) {
      return *static_cast<T const*>(a) == *static_cast<T const*>(b);
   }
   static void toLog(Ptr<NboAttrLog::Out> const& out, void const* o) {
      nboWrite(out, *static_cast<T const*>(o));
   }
   static void* fromLog(NboAttrLog::In& in) { return new T(nboRead<T>(in)); }

   static constexpr bool readable = requires(T& v, String const& s) {
      T{};
      strepToValue(s, v);
   };
   static constexpr bool logged =
      requires(T const& v, Ptr<NboAttrLog::Out> const& out) { out << v; } &&
      (std::is_arithmetic_v<T> || std::is_same_v<T, String> || std::is_same_v<T, Name> ||
       requires(NboAttrLog::In* in) { T(in, StreamBogon()); });

   static constexpr auto fromTextFn() {
      if constexpr (readable) {
         return &fromText;
      } else {
         return static_cast<void* (*)(VexType const&, std::string_view)>(nullptr);
      }
   }
   static constexpr auto toLogFn() {
      if constexpr (logged) {
         return &toLog;
      } else {
         return static_cast<void (*)(Ptr<NboAttrLog::Out> const&, void const*)>(nullptr);
      }
   }
   static constexpr auto fromLogFn() {
      if constexpr (logged) {
         return &fromLog;
      } else {
         return static_cast<void* (*)(NboAttrLog::In&)>(nullptr);
      }
   }
   static constexpr GenericIfMethods table{
      &copy, &destroy, &toText, fromTextFn(), &equal, toLogFn(), fromLogFn()};
};

/// The methods of every enumeration with the underlying type U: the value
/// text is the enumerator's name (its number when it has none).
template <class U>
struct EnumMethods {
   static GenericIfMethods const table;
};
extern template struct EnumMethods<std::uint32_t>;
extern template struct EnumMethods<std::int32_t>;

/// The methods of entities: held by reference, printed as their full name.
extern GenericIfMethods const entityMethods;

template <class T>
constexpr std::uint32_t valueSizeFlags() {
   std::uint32_t flags = static_cast<std::uint32_t>(sizeof(T));
   if constexpr (ValueMethods<T>::readable) flags |= typeReadable;
   if constexpr (ValueMethods<T>::logged) flags |= typeLogged;
   return flags;
}

} // namespace Reflection

// --- Row builders -----------------------------------------------------------

template <auto Get, auto Set = nullptr>
constexpr AttrRow field(char const* name) {
   using R = typename Reflection::Signature<decltype(Get)>::Result;
   constexpr bool settable = !std::is_same_v<decltype(Set), std::nullptr_t>;
   return AttrRow{name,
                  "",
                  0,
                  settable ? attrSettable : attrReadOnly,
                  &Reflection::fieldAccess<Get, Set>,
                  nullptr,
                  Reflection::typeFnOf<R>(),
                  nullptr};
}

template <auto Get>
constexpr AttrRow identity(char const* name) {
   AttrRow row = field<Get>(name);
   row.flags |= attrIdentity;
   return row;
}

template <auto C>
constexpr AttrRow constant(char const* name) {
   using R = typename Reflection::ConstantOf<decltype(C)>::Type;
   return AttrRow{name,    "",      0, attrConstant, &Reflection::constantAccess<C>,
                  nullptr, Reflection::typeFnOf<R>(), nullptr};
}

template <auto F>
constexpr AttrRow method(char const* name, char const* args = "") {
   using R = typename Reflection::Signature<decltype(F)>::Result;
   return AttrRow{name,    args,    0, attrMethod, &Reflection::methodAccess<F>,
                  nullptr, Reflection::typeFnOf<R>(), nullptr};
}

/// `row` with the fixed number `number`.
constexpr AttrRow at(std::uint32_t number, AttrRow row) {
   row.number = number;
   return row;
}

/// The collection `x` of entity or value T: x(key), xIs, xDel(key),
/// xIteratorConst(). `args` describes the key.
#define VEX_COLLECTION_ROW(T, x, args)                                                     \
   ::Vex::Reflection::collectionRow<T>(                                                    \
      #x, args, [](T const& o, auto const& k) { return o.x(k); },                          \
      [](T& o, auto const&... a) -> decltype(o.x##Is(a...)) { return o.x##Is(a...); },     \
      [](T& o, auto const& k) { return o.x##Del(k); },                                     \
      [](T const& o) { return o.x##IteratorConst(); })

// --- Table builders ---------------------------------------------------------

/// Numbers the rows without a fixed number from `first`, in order.
template <std::size_t N>
constexpr std::array<AttrRow, N> numberedRows(std::uint32_t first, AttrRow const (&rows)[N]) {
   std::array<AttrRow, N> out{};
   std::uint32_t next = first;
   for (std::size_t i = 0; i < N; ++i) {
      out[i] = rows[i];
      if (out[i].number == 0) out[i].number = next++;
   }
   return out;
}

/// A value type's table: rows numbered from 2.
template <std::size_t N>
constexpr std::array<AttrRow, N> valueRows(AttrRow const (&rows)[N]) {
   return numberedRows(2, rows);
}

/// The five rows every entity has, numbered as the framework numbers them.
extern AttrRow const entityBaseRows[5];
namespace Reflection {
int entityName(AttrOp, void*, GenericValue*, GenericArgs);
int entityFullName(AttrOp, void*, GenericValue*, GenericArgs);
int entityParent(AttrOp, void*, GenericValue*, GenericArgs);
int entityParentAttrName(AttrOp, void*, GenericValue*, GenericArgs);
int entityItself(AttrOp, void*, GenericValue*, GenericArgs);
} // namespace Reflection

constexpr AttrRow entityBaseRow(int i) {
   constexpr TypeFn name = &Reflection::typeFn<Name>;
   constexpr TypeFn string = &Reflection::typeFn<String>;
   constexpr TypeFn entity = &Reflection::typeFn<Entity>;
   constexpr std::uint32_t ro = attrReadOnly;
   switch (i) {
   case 0: return {"name", "", 130, ro, &Reflection::entityName, nullptr, name, nullptr};
   case 1: return {"fullName", "", 141, ro, &Reflection::entityFullName, nullptr, string, nullptr};
   case 2: return {"parent", "", 138, ro, &Reflection::entityParent, nullptr, entity, nullptr};
   case 3:
      return {"parentAttrName", "", 139, ro, &Reflection::entityParentAttrName, nullptr, string,
              nullptr};
   default: return {"entity", "", 143, ro, &Reflection::entityItself, nullptr, entity, nullptr};
   }
}

/// An entity's table: the five entity rows, then `rows` numbered from 258.
template <std::size_t N>
constexpr std::array<AttrRow, N + 5> entityRows(AttrRow const (&rows)[N]) {
   std::array<AttrRow, N + 5> out{};
   for (int i = 0; i < 5; ++i) out[i] = entityBaseRow(i);
   auto own = numberedRows(258, rows);
   for (std::size_t i = 0; i < N; ++i) out[i + 5] = own[i];
   return out;
}

/// The names and numbers of an enumeration's table: any array of entries
/// with the members `name` and `value` (the table may say more per
/// enumerator: labels, limits, classes).
template <auto const& Table>
inline constexpr auto enumeratorsOf = [] {
   constexpr std::size_t n = std::extent_v<std::remove_reference_t<decltype(Table)>>;
   std::array<EnumType::Enumerator, n> out{};
   for (std::size_t i = 0; i < n; ++i) {
      out[i] = {Table[i].name, static_cast<std::uint32_t>(Table[i].value)};
   }
   return out;
}();

/// An enumeration's attribute table: one constant row per enumerator,
/// numbered by value.
template <auto const& Table>
inline constexpr auto enumRowsOf = [] {
   auto const& enumerators = enumeratorsOf<Table>;
   std::array<AttrRow, enumerators.size()> out{};
   for (std::size_t i = 0; i < enumerators.size(); ++i) {
      out[i] = AttrRow{enumerators[i].name, "",      enumerators[i].value, attrConstant,
                       nullptr,             nullptr, nullptr,              nullptr};
   }
   return out;
}();

// --- Descriptor builders ----------------------------------------------------

/// The descriptor of value type T with the table `rows` and constructor
/// arguments `args` (built by Reflection::constructValue<T, A...>).
template <class T, std::size_t N>
constexpr VexType valueDescriptor(char const* name, std::array<AttrRow, N> const& rows,
                            CtorArg const* args, GenericValue (*construct)(GenericArgs),
                            GenericIfMethods const& methods = Reflection::ValueMethods<T>::table) {
   return VexType{name,
                  nullptr,
                  rows.data(),
                  args,
                  nullptr,
                  nullptr,
                  nullptr,
                  &methods,
                  construct,
                  &Reflection::attributeOp<T>,
                  &Reflection::iterator<T>,
                  nullptr,
                  Reflection::valueSizeFlags<T>(),
                  static_cast<std::uint32_t>(N),
                  static_cast<std::uint32_t>(TypeKind::value)};
}

/// The descriptor of an enumeration with the underlying type U.
template <class E, std::size_t N>
constexpr VexType enumDescriptor(char const* name, std::array<AttrRow, N> const& rows) {
   using U = std::underlying_type_t<E>;
   return VexType{name,
                  nullptr,
                  rows.data(),
                  nullptr,
                  nullptr,
                  nullptr,
                  nullptr,
                  &Reflection::EnumMethods<U>::table,
                  &Reflection::constructValue<E, U>,
                  nullptr,
                  nullptr,
                  nullptr,
                  static_cast<std::uint32_t>(sizeof(U)) | typeReadable | typeLogged,
                  static_cast<std::uint32_t>(N),
                  static_cast<std::uint32_t>(TypeKind::enumeration)};
}

/// The descriptor of entity T. `Creator` builds it from its identity (its
/// factory); a named root also gives its static creator as `DirCreator`.
template <class T, auto Creator, auto DirCreator = nullptr, std::size_t N>
constexpr VexType entityDescriptor(char const* name, std::array<AttrRow, N> const& rows,
                                   CtorArg const* args) {
   bool hasChildren = false;
   bool hasCollections = false;
   for (AttrRow const& r : rows) {
      hasCollections = hasCollections || r.has(attrCollection);
      hasChildren = hasChildren || r.has(attrChildren);
   }
   constexpr bool named = !std::is_same_v<decltype(DirCreator), std::nullptr_t>;
   auto dir = [] {
      if constexpr (named) {
         return &Reflection::newEntityForDir<DirCreator>;
      } else {
         return static_cast<Ptr<Entity> (*)(Name const&, Directory*)>(nullptr);
      }
   }();
   return VexType{name,
                  &Entity::_vexType,
                  rows.data(),
                  args,
                  dir,
                  &Reflection::newEntityForAttrLog<Creator>,
                  hasChildren ? &Reflection::childAttrLogIs : nullptr,
                  &Reflection::entityMethods,
                  &Reflection::constructEntity<Creator>,
                  &Reflection::attributeOp<T>,
                  hasCollections ? &Reflection::iterator<T> : nullptr,
                  &Reflection::observe<T>,
                  static_cast<std::uint32_t>(sizeof(T)) | typeRefCounted,
                  static_cast<std::uint32_t>(N),
                  static_cast<std::uint32_t>(TypeKind::entity)};
}

} // namespace Vex

/// Inside a Vex::Reflection::ObserverOf<T>: the callback onX() tells the
/// row `x`; onX(key) tells the collection row `x` with the member's key.
#define VEX_TELL(X, x)                                                                      \
   void on##X() override { tell(#x); }
#define VEX_TELL_KEY(X, x, Key)                                                             \
   void on##X(Key key) override { tell(#x, key); }

/// Defines, in the enumeration's namespace, what ties the enumeration E to
/// the framework, from its table (see Vex::enumeratorsOf) and its qualified
/// name (a char array): the hook vexEnumType(E), which registers the
/// Vex::EnumType on first use; the descriptor `descriptor`; the hook
/// vexTypeOf(E const*); and the registration of the EnumType when the
/// library is loaded. Once per source file.
#define VEX_ENUM_DEFINITION(E, descriptor, qualifiedName, table)                            \
   ::Vex::EnumType const& vexEnumType(E) {                                                  \
      static ::Vex::EnumType const type(qualifiedName, ::Vex::enumeratorsOf<table>);         \
      return type;                                                                          \
   }                                                                                        \
   constinit ::Vex::VexType const descriptor =                                              \
      ::Vex::enumDescriptor<E>(qualifiedName, ::Vex::enumRowsOf<table>);                    \
   ::Vex::VexType const& vexTypeOf(E const*) { return descriptor; }                         \
   namespace {                                                                              \
   [[maybe_unused]] ::Vex::EnumType const& vexEnumRegistered = vexEnumType(E{});            \
   }
