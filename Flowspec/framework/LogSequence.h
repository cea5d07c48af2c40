// Flowspec/framework/LogSequence.h: terminated sequences in the attribute log.
//
// A collection inside a value travels as its members followed by a
// terminator member, a value that is never a legitimate member (the default
// range, the default mask, qualifier key 0, pair index 2047). A member equal
// to its terminator could not be told from the end, so writing one is a bug:
// the writer says "Default key not supported in collection inside nominal" on
// standard error and aborts.
#pragma once

#include "Vex/Assert.h"

#include <iostream>

namespace Flowspec {

/// Aborts, after the message on standard error, when `member` equals
/// `terminator`.
template <class T>
void refuseTerminator(T const& member, T const& terminator) {
   if (member == terminator) {
      std::cerr << "Default key not supported in collection inside nominal" << std::endl;
      VEX_ASSERT_TEXT(false, "!( member == terminator )");
   }
}

} // namespace Flowspec
