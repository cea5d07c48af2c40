// Flowspec/values/BitMaskDescriptor.h: the reflection descriptor of a bit
// mask (Flowspec/values/BitMask.h), the same for both kinds.
//
// Rows from 2: matchAll, val, mask (settable), isValid, lastBit,
// maskForAllBits, the kind's supported bits (named `supportedName`), toStrep,
// toStrepCli, hash. The constructor takes val and mask (U16 each).
#pragma once

#include "Flowspec/values/BitMask.h"
#include "Vex/ReflectTable.h"

#include <cstdint>

namespace Flowspec::Internal {

template <class D, auto Supported, auto const& SupportedName>
inline constexpr auto bitMaskRows = Vex::valueRows(
    Vex::fieldRows<D>(), Vex::method<&D::isValid>("isValid"), Vex::constant<&D::lastBit>("lastBit"),
    Vex::constant<&D::maskForAllBits>("maskForAllBits"), Vex::constant<Supported>(SupportedName),
    Vex::method<&BitMask<D>::toStrep>("toStrep"),
    Vex::method<&BitMask<D>::toStrepCli>("toStrepCli"), Vex::method<&BitMask<D>::hash>("hash"));

/// The descriptor of mask kind D, whose supported bits are the constant
/// `Supported`, shown as the row `SupportedName`.
template <class D, auto Supported, auto const& SupportedName>
constexpr Vex::VexType bitMaskDescriptor() {
   // The constructor takes val and mask, the fields numbered 1 and 2.
   auto const [args, construct] = Vex::ctorFromFields<D, 1, 2>();
   return Vex::valueDescriptor<D>({.name = D::vexTypeName,
                                   .rows = bitMaskRows<D, Supported, SupportedName>,
                                   .ctorArgs = args,
                                   .construct = construct});
}

} // namespace Flowspec::Internal
