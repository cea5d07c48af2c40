// Vex/Enum.h: enumerations registered with the framework.
//
// A library describes each of its enumerations once, as a Vex::EnumType: the
// qualified name and the enumerators (name and number) in declaration order.
// Constructing the EnumType registers it under its name, so the framework
// (and generic tools) can find it with Vex::enumTypeByName and convert
// between numbers and names both ways.
//
//   enum class Colour : std::uint32_t { red = 0, green = 1 };
//   Vex::EnumType const& colourType() {
//      static Vex::EnumType const t("Paint::Colour", {{"red", 0}, {"green", 1}});
//      return t;
//   }
//   colourType().value("green");    // 1
//   colourType().name(0);           // "red"
//   colourType().value("blue");     // raises Vex::Exception
//
// A C++ enumeration joins the framework by declaring, in its namespace, the
// hook `Vex::EnumType const& vexEnumType(E)` that returns its EnumType. Then
// Vex::enumInstance<E>(number or name), Vex::enumName(e) and stream output
// (Vex::writeEnum) work for it.
#pragma once

#include "Vex/String.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Vex {

class EnumType {
 public:
   struct Enumerator {
      char const* name;
      std::uint32_t value;
   };

   /// Describes the enumeration `qualifiedName` and registers it. The names
   /// and numbers must each be distinct. EnumTypes live as long as the
   /// process (they are registered by address).
   EnumType(char const* qualifiedName, std::initializer_list<Enumerator> enumerators)
       : EnumType(qualifiedName,
                  std::span<Enumerator const>(enumerators.begin(), enumerators.size())) {}
   EnumType(char const* qualifiedName, std::span<Enumerator const> enumerators);
   EnumType(EnumType const&) = delete;
   EnumType& operator=(EnumType const&) = delete;

   String const& name() const noexcept { return name_; }
   std::size_t enumeratorCount() const noexcept { return enumerators_.size(); }
   /// The enumerator at position `i` of the declaration order.
   Enumerator const& enumerator(std::size_t i) const noexcept { return enumerators_[i]; }

   /// The number of the enumerator named `name`. Raises Vex::Exception
   /// "<type> has no enumerator named '<name>'" for an unknown name.
   std::uint32_t value(std::string_view name) const;
   /// The name of the enumerator numbered `value`. Raises Vex::Exception
   /// "<type> has no enumerator with the value <value>" for an unknown number.
   String name(std::uint32_t value) const;
   /// `value` itself when it is the number of an enumerator; raises like name()
   /// otherwise.
   std::uint32_t instance(std::uint32_t value) const;
   /// Whether `value` is the number of an enumerator.
   bool has(std::uint32_t value) const noexcept { return find(value) != nullptr; }
   /// The enumerator's name, or the decimal number for an unknown value: for
   /// printing, which must not fail.
   String nameOrNumber(std::uint32_t value) const;
   /// Reads an enumerator name, or a decimal number (possibly negative, any
   /// 32-bit value, as nameOrNumber prints it), at `pos`. Raises
   /// Vex::Exception for an unknown name or anything else.
   std::uint32_t readText(char const*& pos, char const* end) const;

 private:
   Enumerator const* find(std::uint32_t value) const noexcept;

   String name_;
   std::vector<Enumerator> enumerators_;
};

/// An enumeration with the hook vexEnumType(E) and a 32-bit underlying type.
template <class E>
concept RegisteredEnum = std::is_enum_v<E> && sizeof(E) == 4 && requires(E e) {
   { vexEnumType(e) } -> std::same_as<EnumType const&>;
};

/// The enumerator numbered `value`; raises Vex::Exception for another number.
template <RegisteredEnum E>
E enumInstance(std::uint32_t value) {
   return static_cast<E>(vexEnumType(E{}).instance(value));
}
/// The enumerator named `name`; raises Vex::Exception for another name.
template <RegisteredEnum E>
E enumInstance(std::string_view name) {
   return static_cast<E>(vexEnumType(E{}).value(name));
}
/// The enumerator's name, or the decimal number of a value outside the
/// enumeration.
template <RegisteredEnum E>
String enumName(E e) {
   return vexEnumType(e).nameOrNumber(static_cast<std::uint32_t>(e));
}
/// Writes enumName(e).
template <RegisteredEnum E>
std::ostream& writeEnum(std::ostream& os, E e) {
   return os << enumName(e);
}

/// The registered enumeration named `qualifiedName`, or null.
EnumType const* enumTypeByName(String const& qualifiedName);
/// Every registered enumeration, in order of registration.
std::vector<EnumType const*> enumTypes();

} // namespace Vex
