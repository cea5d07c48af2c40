// Flowspec/values/FlagSetDescriptor.h: the reflection descriptor of a flag set
// (Flowspec/values/FlagSet.h), derived from its flag names.
//
// The attribute table is each flag as a settable boolean, in bit order, then
// the whole word `value`, then each flag's word as a constant named after the
// flag with a trailing underscore ("trafficPermit_" is 2); the constructor
// takes the word ("value", U32).
//
//   constinit Vex::VexType const TrafficAction::_vexType =
//   flagSetDescriptor<TrafficAction>();
#pragma once

#include "Flowspec/values/FlagSet.h"
#include "Vex/ReflectTable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Flowspec {

namespace Internal {

/// The name of flag `Bit`'s constant: the flag's name and "_".
template <class D, unsigned Bit>
inline constexpr auto flagWordName = [] {
   constexpr std::string_view flag = D::flagNames[Bit];
   std::array<char, flag.size() + 2> name{};
   for (std::size_t i = 0; i < flag.size(); ++i)
      name[i] = flag[i];
   name[flag.size()] = '_';
   return name;
}();

template <unsigned Bit>
constexpr std::uint32_t flagWord() {
   return 1u << Bit;
}

template <class D, std::size_t... Bit>
constexpr auto flagSetRows(std::index_sequence<Bit...>) {
   using F = FlagSet<D>;
   Vex::AttrRow const rows[] = {
       Vex::field<&F::template flagAt<Bit>, &F::template flagAtIs<Bit>>(D::flagNames[Bit])...,
       Vex::field<&F::value, &F::valueIs>("value"),
       Vex::constant<&flagWord<Bit>>(flagWordName<D, Bit>.data())...,
   };
   return Vex::valueRows(rows);
}

template <class D>
inline constexpr auto
    flagSetRowsOf = flagSetRows<D>(std::make_index_sequence<D::flagNames.size()>());

inline constexpr Vex::Param flagSetArgs[] = {{"value", &Vex::Reflection::typeFn<std::uint32_t>}};

template <class D>
Vex::GenericValue flagSetFromArgs(Vex::GenericArgs args) {
   Vex::Reflection::checkArgCount(args, 1);
   D flags;
   flags.valueIs(args[0].value<std::uint32_t>());
   return Vex::GenericValue(flags);
}

} // namespace Internal

template <class D>
constexpr Vex::VexType flagSetDescriptor() {
   return Vex::valueDescriptor<D>({.name = D::vexTypeName,
                                   .rows = Internal::flagSetRowsOf<D>,
                                   .ctorArgs = Internal::flagSetArgs,
                                   .construct = &Internal::flagSetFromArgs<D>});
}

} // namespace Flowspec
