// Vex/Exception.h: the framework's errors.
//
// Vex::Exception is raised for input that cannot be accepted: text that does
// not parse, bytes that do not decode, an unknown name. Vex::RangeException,
// derived from it, is raised when a value lies outside its type's range.
// what() is exactly the message the raising code gave, for example
// "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed".
#pragma once

#include "Vex/String.h"

#include <exception>

namespace Vex {

class Exception : public std::exception {
 public:
   explicit Exception(String message) noexcept : message_(std::move(message)) {}
   char const* what() const noexcept override { return message_.c_str(); }
   String const& message() const noexcept { return message_; }

 private:
   String message_;
};

class RangeException : public Exception {
 public:
   using Exception::Exception;
};

} // namespace Vex
