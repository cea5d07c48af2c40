// Vex/ValueFields.h: value text and attribute-log encoding derived from one
// description of a value's fields.
//
// A struct-like value type describes itself once:
//
//   class NumericalRange {
//    public:
//      static constexpr char vexTypeName[] = "Flowspec::NumericalRange";
//      static constexpr auto vexFields() {
//         return std::tuple{
//            Vex::valueField("rangeMin", &NumericalRange::rangeMin, &NumericalRange::rangeMinIs),
//            Vex::valueField("rangeMax", &NumericalRange::rangeMax, &NumericalRange::rangeMaxIs)};
//      }
//      ...
//   };
//
// and gets, from the templates below:
//   - its value text:  Value('Flowspec::NumericalRange', ** {'rangeMin': 1, 'rangeMax': 2})
//     each field in the value text of its own type (valueToStrep, found by
//     argument-dependent lookup);
//   - its parser, which requires every literal, reads each field with the
//     framework's field reader (errors name the field), and then builds the
//     value from the fields read, through T::vexFromFields(fields...) when T
//     has it and the constructor T(fields...) otherwise, so the type's own
//     checks run on the whole value;
//   - its reflection rows (Vex::fieldRows in Vex/ReflectTable.h), settable
//     where a setter is given, and its constructor's arguments
//     (Vex::ctorFromFields);
//   - its attribute-log encoding: the fields one after the other, each with
//     its own type's encoding (Vex::nboWrite / Vex::nboRead), and the same
//     construction when reading.
#pragma once

#include "Vex/NboAttrLog.h"
#include "Vex/String.h"
#include "Vex/ValueText.h"

#include <cstddef>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Vex {

class VexType;
using TypeFn = VexType const& (*)();

/// One field of a value: its name; its getter (a member function, or any
/// function of the value); its setter (a member function), or none for a
/// field that reflection shows read-only; and, where the field's C++ type is
/// an alias that does not tell its registered type (Vrf::VrfIdMap::VrfId is a
/// std::uint32_t), that type's descriptor function.
template <class Get, class Set = std::nullptr_t, class Type = std::nullptr_t>
struct Field {
   char const* name;
   Get get;
   Set set = nullptr;
   Type type = nullptr; ///< a TypeFn, or nullptr: the field's own type
};
template <class Get, class Set = std::nullptr_t>
constexpr Field<Get, Set> valueField(char const* name, Get get, Set set = nullptr) {
   return Field<Get, Set>{name, get, set};
}
template <class Get, class Set>
constexpr Field<Get, Set, TypeFn> valueField(char const* name, Get get, Set set, TypeFn type) {
   return Field<Get, Set, TypeFn>{name, get, set, type};
}

/// A type that describes its fields with vexTypeName and vexFields().
template <class T>
concept FieldDescribed = requires {
   { T::vexTypeName } -> std::convertible_to<char const*>;
   T::vexFields();
};

namespace Internal {

template <class T, class F>
using FieldType =
    std::decay_t<std::invoke_result_t<decltype(std::declval<F const&>().get), T const&>>;

template <class T, class Tuple>
struct FieldTypes;
template <class T, class... Fs>
struct FieldTypes<T, std::tuple<Fs...>> {
   using type = std::tuple<FieldType<T, Fs>...>;
};

// Builds T from the values read, by vexFromFields or the constructor.
template <class T, class Values>
T fromFields(Values&& values) {
   return std::apply(
       [](auto&&... v) {
          if constexpr (requires { T::vexFromFields(std::move(v)...); }) {
             return T::vexFromFields(std::move(v)...);
          } else {
             return T(std::move(v)...);
          }
       },
       std::forward<Values>(values));
}

} // namespace Internal

/// The value text of a field-described value.
template <FieldDescribed T>
String fieldsToStrep(T const& v) {
   std::string s = "Value('";
   s += T::vexTypeName;
   s += "', ** {";
   char const* sep = "";
   std::apply(
       [&](auto const&... f) {
          ((s += sep, s += '\'', s += f.name,
            s += "': ", s += valueToStrep(std::invoke(f.get, v)).str(), sep = ", "),
           ...);
       },
       T::vexFields());
   s += "})";
   return String(std::move(s));
}

/// Reads the value text of T at `pos` and advances past it.
template <FieldDescribed T>
T fieldsFromStrep(TextIter& pos, TextIter end) {
   std::string head = "Value('";
   head += T::vexTypeName;
   head += "', ** {";
   expectLiteral(pos, end, head);
   using Values = typename Internal::FieldTypes<T, decltype(T::vexFields())>::type;
   Values values{};
   auto const fields = T::vexFields();
   [&]<std::size_t... I>(std::index_sequence<I...>) {
      (([&] {
          if constexpr (I > 0) expectLiteral(pos, end, ", ");
          std::string label = "'";
          label += std::get<I>(fields).name;
          label += "': ";
          expectLiteral(pos, end, label);
          readField(pos, end, std::get<I>(fields).name, std::get<I>(values));
       }()),
       ...);
   }
   (std::make_index_sequence<std::tuple_size_v<Values>>());
   expectLiteral(pos, end, "})");
   return Internal::fromFields<T>(std::move(values));
}

/// Writes the fields of `v` one after the other.
template <FieldDescribed T>
void fieldsToLog(Ptr<NboAttrLog::Out> const& out, T const& v) {
   std::apply([&](auto const&... f) { (nboWrite(out, std::invoke(f.get, v)), ...); },
              T::vexFields());
}

/// Reads the fields of a T one after the other and builds it.
template <FieldDescribed T>
T fieldsFromLog(NboAttrLog::In& in) {
   using Values = typename Internal::FieldTypes<T, decltype(T::vexFields())>::type;
   return Internal::fromFields<T>(std::apply(
       [&](auto... proto) {
          // Braced initialisation reads the fields in order.
          return Values{nboRead<decltype(proto)>(in)...};
       },
       Values{}));
}

} // namespace Vex
