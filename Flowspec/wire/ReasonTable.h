// Flowspec/wire/ReasonTable.h: the texts of a reason enumeration as a table
// of rows {reason, text} indexed by the enumerator, for the codecs of
// Flowspec/wire (their own use; not part of the library's API).
#pragma once

#include <cstddef>

namespace Flowspec::ReasonTable {

/// Whether row i holds enumerator i for every row: check it with a
/// static_assert beside the table.
template <class Row, std::size_t N>
constexpr bool inOrder(Row const (&rows)[N]) {
   for (std::size_t i = 0; i < N; ++i)
      if (static_cast<std::size_t>(rows[i].reason) != i) return false;
   return true;
}

/// The text of `reason`, or `unknown` for a number past the table.
template <class Row, std::size_t N, class Reason>
constexpr char const* text(Row const (&rows)[N], Reason reason, char const* unknown) {
   auto i = static_cast<std::size_t>(reason);
   return i < N ? rows[i].text : unknown;
}

} // namespace Flowspec::ReasonTable
