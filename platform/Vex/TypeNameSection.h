// Vex/TypeNameSection.h: a library's table of type names, laid out for a
// section of its file.
//
// A library may list the qualified names of its types in a read-only section
// of its file, so that a tool can see which types a file defines without
// loading it. Each name is NUL-terminated and starts at a multiple of 4
// bytes; the bytes between are zero. The names come from the types
// themselves (their `vexTypeName` arrays), so each is written once:
//
//   [[gnu::section(".vex.type"), gnu::used]] constinit
//   Vex::TypeNameSection<Paint::Colour::vexTypeName, Paint::Brush::vexTypeName> const
//   names{};
//
// The layout is fixed by nesting, not by the order a compiler gives separate
// variables: the first name, then the section of the others.
#pragma once

#include <cstddef>

namespace Vex {

namespace Internal {

/// One name: its characters and NUL, padded with zeros to 4 bytes.
template <std::size_t N>
struct alignas(4) TypeNameEntry {
   char text[N];
};

template <auto const& Name>
constexpr TypeNameEntry<sizeof(Name)> typeNameEntry() {
   TypeNameEntry<sizeof(Name)> entry{};
   for (std::size_t i = 0; i < sizeof(Name); ++i)
      entry.text[i] = Name[i];
   return entry;
}

} // namespace Internal

/// The names `Names`, in order (each a `char const[N]` with static storage).
template <auto const&... Names>
struct TypeNameSection;

template <auto const& Last>
struct TypeNameSection<Last> {
   Internal::TypeNameEntry<sizeof(Last)> first = Internal::typeNameEntry<Last>();
};

template <auto const& First, auto const&... Rest>
struct TypeNameSection<First, Rest...> {
   Internal::TypeNameEntry<sizeof(First)> first = Internal::typeNameEntry<First>();
   TypeNameSection<Rest...> rest;
};

} // namespace Vex
