// Vex/ReflectTable.h: building attribute tables and descriptors.
//
// A library writes each type's table once, as data; the access code of each
// row is generated from the member it names:
//
//   constexpr auto rangeRows = Vex::valueRows({
//      Vex::constant<&NumericalRange::min>("min"),                 // 2
//      Vex::field<&NumericalRange::rangeMin, &NumericalRange::rangeMinIs>("rangeMin"),
//      Vex::method<&NumericalRange::contains, "value">("contains"),  // (U32 value)
//   });
//   constinit Vex::VexType const NumericalRange::_vexType =
//      Vex::valueDescriptor<NumericalRange>(rangeRows);  // constructor from the fields
//
// | builder                  | row                                          |
// |--------------------------|----------------------------------------------|
// | field<Get, Set>          | settable; written through the setter         |
// | field<Get>               | read-only (a field, or computed)             |
// | identity<Get>            | the key of an entity or value, read-only     |
// | constant<&T::c>          | a static constant (data member or function)  |
// | method<F, "a"...>(name)  | a member or static function, called; its     |
// |                          | arguments named "a"..., typed by F           |
// | VEX_COLLECTION_ROW(T, x, | the collection x: x(key), xIs, xDel, iterate;|
// |                   "key") | its key named "key", typed by the key        |
//
// valueRows numbers the rows from 2 in table order; entityRows puts the five
// rows every entity has (name, fullName, parent, parentAttrName, entity)
// first and numbers the others from 258; at(n, row) fixes a row's number.
// Arguments reach the C++ function converted by GenericValue::value<A>, so a
// caller may pass a Vex::String holding an argument's value text. Rows and
// descriptors are aggregates built with designated initialisers: a row or a
// descriptor names what it has, the rest stays null.
#pragma once

#include "Vex/Entity.h"
#include "Vex/EntityPattern.h"
#include "Vex/Enum.h"
#include "Vex/NboAttrLog.h"
#include "Vex/Reflect.h"
#include "Vex/ValueFields.h"
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
      return (objectOf<C>(object).*
              F)(args[I].template value<std::tuple_element_t<I, typename S::Args>>()...);
   } else {
      return F(args[I].template value<std::tuple_element_t<I, typename S::Args>>()...);
   }
}

template <auto F>
decltype(auto) invoke(void* object, GenericArgs args) {
   using S = Signature<decltype(F)>;
   return invoke<F>(object, args, std::make_index_sequence<std::tuple_size_v<typename S::Args>>());
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
/// walk. Get, Is, Del, Iter and Has are stateless lambdas (see
/// VEX_COLLECTION_ROW).
template <class T, class Get, class Is, class Del, class Iter, class Has>
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
      case AttrOp::has:
         checkArgCount(args, 1);
         store(result, static_cast<bool>(Has{}(o, args[0].value<Key>())));
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

// --- Type-level functions of a descriptor ----------------------------------

/// genericIfAttributeOp of T: the row is found in T's own table by number.
/// Type-level operations are refused unless T has
/// `static int vexTypeOp(GenericValue*, T&, AttrOp, GenericArgs)`.
template <class T>
int attributeOp(GenericValue* result, void* object, AttrRow const* row, AttrOp op,
                GenericArgs args) {
   if (row == nullptr) {
      if constexpr (requires(T & t) { T::vexTypeOp(result, t, op, args); }) {
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
   }
   (std::index_sequence_for<A...>());
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
/// a reflection observer which row changed. VEX_ENTITY_OBSERVER derives the
/// observer of one entity from it, overriding each callback with a tell.
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

/// genericIfNotifiee of entity T: attaches an Observer, T's EntityObserver
/// with its tells (VEX_ENTITY_OBSERVER).
template <class T, class Observer>
std::unique_ptr<ObserverHandle> observe(Ptr<Entity> const& entity, GenericNotifiee& observer) {
   return std::make_unique<Observer>(entity, observer);
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

   static constexpr bool readable = requires(T & v, String const& s) {
      T{};
      strepToValue(s, v);
   };
   static constexpr bool logged = requires(T const& v, Ptr<NboAttrLog::Out> const& out) {
      out << v;
   }
   &&(std::is_arithmetic_v<T> || std::is_same_v<T, String> || std::is_same_v<T, Name> ||
      requires(NboAttrLog::In * in) { T(in, StreamBogon()); });

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
   static constexpr GenericIfMethods table{&copy,  &destroy,  &toText,    fromTextFn(),
                                           &equal, toLogFn(), fromLogFn()};
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

// --- Parameters -------------------------------------------------------------

/// A string literal as a template argument: the names of a method's
/// arguments and of a collection's key live in the template, so the tables
/// that point to them need no storage of their own.
template <std::size_t N>
struct FixedString {
   char text[N];
   constexpr FixedString(char const (&s)[N]) noexcept {
      for (std::size_t i = 0; i < N; ++i)
         text[i] = s[i];
   }
};

namespace Reflection {

/// The text of a FixedString template argument.
template <FixedString Name>
inline constexpr char const* textOf = Name.text;

template <class Args, FixedString... Names, std::size_t... I>
constexpr std::array<Param, sizeof...(I)> makeParams(std::index_sequence<I...>) {
   return {Param{textOf<Names>, typeFnOf<std::tuple_element_t<I, Args>>()}...};
}

/// The parameters of function F, named `Names`, typed by F's signature.
template <auto F, FixedString... Names>
inline constexpr auto methodParams = makeParams<typename Signature<decltype(F)>::Args, Names...>(
    std::make_index_sequence<sizeof...(Names)>());

/// One parameter named `Name` of the type `Type`.
template <FixedString Name, TypeFn Type>
inline constexpr Param oneParam[] = {{textOf<Name>, Type}};

/// The fields numbered `I` of a field-described T (Vex/ValueFields.h) as
/// parameters: their names, and their types (or the type a field names).
template <class T, std::size_t... I>
inline constexpr auto fieldParams = [] {
   constexpr auto fields = T::vexFields();
   auto param = [&]<std::size_t J>() {
      auto const& f = std::get<J>(fields);
      using V = Vex::Internal::FieldType<T, std::decay_t<decltype(f)>>;
      if constexpr (std::is_same_v<std::decay_t<decltype(f.type)>, std::nullptr_t>) {
         return Param{f.name, typeFnOf<V>()};
      } else {
         return Param{f.name, f.type};
      }
   };
   return std::array<Param, sizeof...(I)>{param.template operator()<I>()...};
}();

/// genericIfConstructFromCtorArgs of a field-described T built from its
/// fields numbered `I`: T(field values...).
template <class T, std::size_t... I>
GenericValue constructFromFields(GenericArgs args) {
   using Values = typename Vex::Internal::FieldTypes<T, decltype(T::vexFields())>::type;
   checkArgCount(args, sizeof...(I));
   return [&]<std::size_t... J>(std::index_sequence<J...>) {
      return GenericValue(T(args[J].template value<std::tuple_element_t<I, Values>>()...));
   }
   (std::index_sequence_for<std::integral_constant<std::size_t, I>...>());
}

template <class T, std::size_t... I>
constexpr auto allFields(std::index_sequence<I...>) {
   return std::pair{std::span<Param const>(fieldParams<T, I...>), &constructFromFields<T, I...>};
}

} // namespace Reflection

/// The constructor of a field-described value T that takes the fields
/// numbered `I` (all of them when none is given), in that order: its
/// parameters and the function that builds T from them.
template <class T, std::size_t... I>
constexpr auto ctorFromFields() {
   if constexpr (sizeof...(I) == 0) {
      return Reflection::allFields<T>(
          std::make_index_sequence<std::tuple_size_v<decltype(T::vexFields())>>());
   } else {
      return std::pair{std::span<Param const>(Reflection::fieldParams<T, I...>),
                       &Reflection::constructFromFields<T, I...>};
   }
}

// --- Row builders -----------------------------------------------------------

template <auto Get, auto Set = nullptr>
constexpr AttrRow field(char const* name) {
   using R = typename Reflection::Signature<decltype(Get)>::Result;
   constexpr bool settable = !std::is_same_v<decltype(Set), std::nullptr_t>;
   return {.name = name,
           .flags = settable ? attrSettable : attrReadOnly,
           .access = &Reflection::fieldAccess<Get, Set>,
           .type = Reflection::typeFnOf<R>()};
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
   return {.name = name,
           .flags = attrConstant,
           .access = &Reflection::constantAccess<C>,
           .type = Reflection::typeFnOf<R>()};
}

/// The method F; `Names` name its arguments, whose types F's signature gives.
template <auto F, FixedString... Names>
constexpr AttrRow method(char const* name) {
   static_assert(sizeof...(Names) ==
                     std::tuple_size_v<typename Reflection::Signature<decltype(F)>::Args>,
                 "one name per argument");
   using R = typename Reflection::Signature<decltype(F)>::Result;
   return {.name = name,
           .flags = attrMethod,
           .params = Reflection::methodParams<F, Names...>,
           .access = &Reflection::methodAccess<F>,
           .type = Reflection::typeFnOf<R>()};
}

/// The rows of the fields numbered `I` of a field-described value T (all of
/// them, in order, when none is given): each a field row named as the field,
/// settable when the field gives a setter, read-only otherwise.
template <class T, std::size_t... I>
constexpr auto fieldRows() {
   constexpr auto fields = T::vexFields();
   if constexpr (sizeof...(I) == 0) {
      return [&]<std::size_t... J>(std::index_sequence<J...>) {
         return fieldRows<T, J...>();
      }
      (std::make_index_sequence<std::tuple_size_v<decltype(fields)>>());
   } else {
      return std::array<AttrRow, sizeof...(I)>{
          field<std::get<I>(fields).get, std::get<I>(fields).set>(std::get<I>(fields).name)...};
   }
}

/// `row` with the fixed number `number`.
constexpr AttrRow at(std::uint32_t number, AttrRow row) {
   row.number = number;
   return row;
}

namespace Reflection {

template <class T, FixedString KeyName, auto KeyType = nullptr, class Get, class Is, class Del,
          class Iter, class Has>
constexpr AttrRow collectionRow(char const* name, Get, Is, Del, Iter, Has) {
   using C = Collection<T, Get, Is, Del, Iter, Has>;
   using Key = typename C::Key;
   using Member = typename C::Member;
   constexpr bool children = !std::is_same_v<typename Unwrap<Member>::Type, Member>;
   // The same choice as Collection::access makes for set.
   constexpr bool mapped = std::is_invocable_v<Is, T&, Key, Member>;
   constexpr bool elements =
       !mapped && !children && std::is_invocable_v<Is, T&, Member> && !std::is_same_v<Member, bool>;
   constexpr TypeFn keyType = [] {
      if constexpr (std::is_same_v<decltype(KeyType), std::nullptr_t>) {
         return typeFnOf<typename C::Key>();
      } else {
         return KeyType;
      }
   }();
   return {.name = name,
           .flags = attrCollection | (children ? attrChildren : 0u) | (mapped ? attrMapped : 0u) |
                    (elements ? attrElements : 0u),
           .params = oneParam<KeyName, keyType>,
           .access = &C::access,
           .iterate = &C::iterate,
           .type = typeFnOf<typename C::Member>(),
           .keyType = typeFnOf<typename C::Key>()};
}

} // namespace Reflection

/// The collection `x` of entity or value T: x(key), xIs, xDel(key),
/// xIteratorConst(). `key` names the key; its type is the key's own, or the
/// descriptor function given after it (for a key type that is an alias).
#define VEX_COLLECTION_ROW(T, x, key, ...)                                                         \
   ::Vex::Reflection::collectionRow<T, key __VA_OPT__(, ) __VA_ARGS__>(                            \
       #x, [](T const& o, auto const& k) { return o.x(k); },                                       \
       [](T& o, auto const&... a) -> decltype(o.x##Is(a...)) { return o.x##Is(a...); },            \
       [](T& o, auto const& k) { return o.x##Del(k); },                                            \
       [](T const& o) { return o.x##IteratorConst(); },                                            \
       [](T const& o, auto const& k) { return o.x##Has(k); })

// --- Table builders ---------------------------------------------------------

/// Numbers the rows without a fixed number from `first`, in order.
template <class Rows>
constexpr auto numberedRows(std::uint32_t first, Rows const& rows) {
   constexpr std::size_t N = std::size(Rows{});
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

/// Rows from parts: single rows and arrays of rows (such as fieldRows), in
/// order, not yet numbered.
template <class... Parts>
constexpr auto rowsOf(Parts const&... parts) {
   constexpr std::size_t n = (std::size_t{0} + ... + [] {
      if constexpr (std::is_same_v<Parts, AttrRow>) {
         return std::size_t{1};
      } else {
         return std::size(Parts{});
      }
   }());
   std::array<AttrRow, n> rows{};
   std::size_t i = 0;
   auto add = [&](auto const& part) {
      if constexpr (std::is_same_v<std::decay_t<decltype(part)>, AttrRow>) {
         rows[i++] = part;
      } else {
         for (AttrRow const& r : part)
            rows[i++] = r;
      }
   };
   (add(parts), ...);
   return rows;
}

/// A list of rows as one part.
template <std::size_t N>
constexpr std::array<AttrRow, N> rowList(AttrRow const (&rows)[N]) {
   return std::to_array(rows);
}

/// A value type's table from parts (see rowsOf), numbered from 2.
template <class... Parts>
requires(sizeof...(Parts) > 0) constexpr auto valueRows(Parts const&... parts) {
   auto const rows = rowsOf(parts...);
   return numberedRows(2, rows);
}

namespace Reflection {
int entityName(AttrOp, void*, GenericValue*, GenericArgs);
int entityFullName(AttrOp, void*, GenericValue*, GenericArgs);
int entityParent(AttrOp, void*, GenericValue*, GenericArgs);
int entityParentAttrName(AttrOp, void*, GenericValue*, GenericArgs);
int entityItself(AttrOp, void*, GenericValue*, GenericArgs);

/// The five rows every entity has, numbered as the framework numbers them.
inline constexpr AttrRow entityBaseRows[] = {
    // clang-format off
   {.name = "name",           .number = 130, .flags = attrReadOnly, .access = &entityName,           .type = &typeFn<Name>},
   {.name = "fullName",       .number = 141, .flags = attrReadOnly, .access = &entityFullName,       .type = &typeFn<String>},
   {.name = "parent",         .number = 138, .flags = attrReadOnly, .access = &entityParent,         .type = &typeFn<Entity>},
   {.name = "parentAttrName", .number = 139, .flags = attrReadOnly, .access = &entityParentAttrName, .type = &typeFn<String>},
   {.name = "entity",         .number = 143, .flags = attrReadOnly, .access = &entityItself,         .type = &typeFn<Entity>},
    // clang-format on
};
} // namespace Reflection

/// An entity's table: the five entity rows, then the parts (see rowsOf)
/// numbered from 258.
template <class... Parts>
constexpr auto entityRows(Parts const&... parts) {
   return rowsOf(Reflection::entityBaseRows, numberedRows(258, rowsOf(parts...)));
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
      out[i] = {.name = enumerators[i].name, .number = enumerators[i].value, .flags = attrConstant};
   }
   return out;
}();

// --- Descriptor builders ----------------------------------------------------

/// What a value type's descriptor says beyond what T itself tells.
struct ValueDescription {
   char const* name = "";
   std::span<AttrRow const> rows{};
   /// The constructor's parameters and the function that calls it
   /// (ctorFromFields, or Reflection::constructValue with explicit ctorArgs).
   std::span<Param const> ctorArgs{};
   GenericValue (*construct)(GenericArgs) = nullptr;
};

/// The descriptor of value type T, handled by `Methods` (by default through
/// T's own copy, equality, value text and log encoding).
template <class T, GenericIfMethods const& Methods = Reflection::ValueMethods<T>::table>
constexpr VexType valueDescriptor(ValueDescription const& d) {
   return {.name_ = d.name,
           .kind_ = TypeKind::value,
           .rows_ = d.rows,
           .ctorArgs_ = d.ctorArgs,
           .sizeFlags_ = Reflection::valueSizeFlags<T>(),
           .methods_ = &Methods,
           .constructFromCtorArgs_ = d.construct,
           .attributeOp_ = &Reflection::attributeOp<T>,
           .iterator_ = &Reflection::iterator<T>};
}

/// The descriptor of a field-described value type T whose constructor takes
/// all its fields in order.
template <class T>
constexpr VexType valueDescriptor(std::span<AttrRow const> rows) {
   auto const [args, construct] = ctorFromFields<T>();
   return valueDescriptor<T>(
       {.name = T::vexTypeName, .rows = rows, .ctorArgs = args, .construct = construct});
}

namespace Reflection {
template <class T>
inline constexpr auto fieldTable = valueRows(fieldRows<T>());
} // namespace Reflection

/// The descriptor of a field-described value type T whose table is its
/// fields alone and whose constructor takes all its fields in order.
template <class T>
constexpr VexType valueDescriptor() {
   return valueDescriptor<T>(Reflection::fieldTable<T>);
}

/// The descriptor of an enumeration with the underlying type U.
template <class E>
constexpr VexType enumDescriptor(char const* name, std::span<AttrRow const> rows) {
   using U = std::underlying_type_t<E>;
   return {.name_ = name,
           .kind_ = TypeKind::enumeration,
           .rows_ = rows,
           .sizeFlags_ = static_cast<std::uint32_t>(sizeof(U)) | typeReadable | typeLogged,
           .methods_ = &Reflection::EnumMethods<U>::table,
           .constructFromCtorArgs_ = &Reflection::constructValue<E, U>};
}

namespace Reflection {
/// An entity's constructor argument: "name" for a named root, "key"
/// otherwise, of the type the creator takes (or `ArgType`).
template <auto Creator, bool Named, auto ArgType>
constexpr TypeFn creatorArgType() {
   if constexpr (std::is_same_v<decltype(ArgType), std::nullptr_t>) {
      return typeFnOf<std::tuple_element_t<0, typename Signature<decltype(Creator)>::Args>>();
   } else {
      return ArgType;
   }
}
template <auto Creator, bool Named, auto ArgType>
inline constexpr Param creatorParams[] = {
    {Named ? "name" : "key", creatorArgType<Creator, Named, ArgType>()}};
} // namespace Reflection

/// The descriptor of entity T, observed through reflection by `Observer`
/// (VEX_ENTITY_OBSERVER), made from its identity by `Creator` (its static
/// creator). A named root also gives `DirCreator` for directories;
/// its constructor argument is "name", any other entity's "key", typed by
/// the creator's argument, or by `IdentityType` where that is an alias
/// (Vrf::VrfIdMap::VrfId).
template <class T, class Observer, auto Creator, auto DirCreator = nullptr,
          auto IdentityType = nullptr, std::size_t N>
constexpr VexType entityDescriptor(std::array<AttrRow, N> const& rows) {
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
   return {.name_ = T::vexTypeName,
           .kind_ = TypeKind::entity,
           .base_ = &Entity::_vexType,
           .rows_ = rows,
           .ctorArgs_ = Reflection::creatorParams<Creator, named, IdentityType>,
           .sizeFlags_ = static_cast<std::uint32_t>(sizeof(T)) | typeRefCounted,
           .methods_ = &Reflection::entityMethods,
           .constructFromCtorArgs_ = &Reflection::constructEntity<Creator>,
           .attributeOp_ = &Reflection::attributeOp<T>,
           .iterator_ = hasCollections ? &Reflection::iterator<T> : nullptr,
           .notifiee_ = &Reflection::observe<T, Observer>,
           .newEntityForDir_ = dir,
           .newEntityForAttrLog_ = &Reflection::newEntityForAttrLog<Creator>,
           .childAttrLogIs_ = hasChildren ? &Reflection::childAttrLogIs : nullptr};
}

} // namespace Vex

/// The reflection observer `Name` of entity T, from T's member list
/// `MEMBERS` (see Vex/EntityPattern.h): each callback tells its row, a
/// collection's with the member's key.
#define VEX_ENTITY_OBSERVER(Name, T, MEMBERS)                                                      \
   struct Name : ::Vex::Reflection::EntityObserver<T> {                                            \
      using EntityObserver::EntityObserver;                                                        \
      MEMBERS(T, VEX_TELL_ATTRIBUTE, VEX_TELL_COLLECTION)                                          \
   }
#define VEX_TELL_ATTRIBUTE(T, x, X, Type, init)                                                    \
   void on##X() override {                                                                         \
      tell(#x);                                                                                    \
   }
#define VEX_TELL_COLLECTION(T, x, X, Key, keyName, ...)                                            \
   void on##X(::Vex::CallbackArg<Key> key) override {                                              \
      tell(#x, key);                                                                               \
   }

/// The rows of an entity's member list, as one part of a table.
#define VEX_MEMBER_ROWS(T, MEMBERS)                                                                \
   ::Vex::rowList({MEMBERS(T, VEX_ATTRIBUTE_ROW, VEX_COLLECTION_ROW_OF)})
#define VEX_ATTRIBUTE_ROW(T, x, X, Type, init) ::Vex::field<&T::x, &T::x##Is>(#x),
#define VEX_COLLECTION_ROW_OF(T, x, X, Key, keyName, ...)                                          \
   VEX_COLLECTION_ROW(T, x, keyName __VA_OPT__(, ) __VA_ARGS__),

/// Defines, in the enumeration's namespace, what ties the enumeration E to
/// the framework, from its table (see Vex::enumeratorsOf) and its qualified
/// name (a char array): the hook vexEnumType(E), which registers the
/// Vex::EnumType on first use; the descriptor `descriptor`; the hook
/// vexTypeOf(E const*); and the registration of the EnumType when the
/// library is loaded. Once per source file.
#define VEX_ENUM_DEFINITION(E, descriptor, qualifiedName, table)                                   \
   ::Vex::EnumType const& vexEnumType(E) {                                                         \
      static ::Vex::EnumType const type(qualifiedName, ::Vex::enumeratorsOf<table>);               \
      return type;                                                                                 \
   }                                                                                               \
   constinit ::Vex::VexType const descriptor =                                                     \
       ::Vex::enumDescriptor<E>(qualifiedName, ::Vex::enumRowsOf<table>);                          \
   ::Vex::VexType const& vexTypeOf(E const*) {                                                     \
      return descriptor;                                                                           \
   }                                                                                               \
   namespace {                                                                                     \
   [[maybe_unused]] ::Vex::EnumType const& vexEnumRegistered = vexEnumType(E{});                   \
   }
