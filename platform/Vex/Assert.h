// Vex/Assert.h: assertions that hold in every build type.
//
// An assertion states something only a bug can break. When it fails it writes
//   Assertion failed: <condition text> (<file>:<line>, <function>)
// to standard error and aborts the process, whether NDEBUG is set or not.
// Bad input from callers is not a bug: it raises Vex::Exception or
// Vex::RangeException instead (Vex/Exception.h).
#pragma once

namespace Vex {

/// Writes the failure line for `condition` to standard error and aborts.
[[noreturn]] void assertionFailed(char const* condition, char const* file, int line,
                                  char const* function) noexcept;

} // namespace Vex

/// Aborts with the condition's own text when `cond` is false.
#define VEX_ASSERT(cond)                                                                           \
   ((cond) ? static_cast<void>(0) : ::Vex::assertionFailed(#cond, __FILE__, __LINE__, __func__))

/// Aborts with `text` when `cond` is false: for conditions whose reported text
/// must differ from the expression that checks them.
#define VEX_ASSERT_TEXT(cond, text)                                                                \
   ((cond) ? static_cast<void>(0) : ::Vex::assertionFailed(text, __FILE__, __LINE__, __func__))
