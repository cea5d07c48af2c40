// Vex/String.h: the framework's value strings.
//
// Vex::String is a copyable, comparable string of bytes; Vex::Name is the same
// thing used as the identity of a root entity. Both construct implicitly from
// `const char*` and `std::string`, compare with ==, != and < (and <=>) against
// each other and against `const char*`, and print with operator<<.
//
//   Vex::String reason = "Not processed";
//   Vex::Name name = "config";
//   assert(reason < name && name == "config");
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace Vex {

class String {
 public:
   String() = default;
   String(char const* text) : s_(text ? text : "") {}
   String(std::string text) noexcept : s_(std::move(text)) {}
   explicit String(std::string_view text) : s_(text) {}
   String(char const* data, std::size_t size) : s_(data, size) {}

   char const* c_str() const noexcept { return s_.c_str(); }
   char const* data() const noexcept { return s_.data(); }
   std::size_t size() const noexcept { return s_.size(); }
   bool empty() const noexcept { return s_.empty(); }
   std::string const& str() const noexcept { return s_; }
   std::string_view view() const noexcept { return s_; }

   /// Byte iteration, for the text readers of Vex/ValueText.h.
   char const* begin() const noexcept { return s_.data(); }
   char const* end() const noexcept { return s_.data() + s_.size(); }

   /// The hash of the bytes (Vex::HashAccumulator over them).
   std::uint32_t hash() const noexcept;

   String& operator+=(String const& more) {
      s_ += more.s_;
      return *this;
   }
   friend String operator+(String a, String const& b) { return a += b; }

   friend bool operator==(String const& a, String const& b) noexcept { return a.s_ == b.s_; }
   friend bool operator==(String const& a, char const* b) noexcept {
      return a.view() == std::string_view(b ? b : "");
   }
   friend std::strong_ordering operator<=>(String const& a, String const& b) noexcept {
      return a.view().compare(b.view()) <=> 0;
   }
   friend std::strong_ordering operator<=>(String const& a, char const* b) noexcept {
      return a.view().compare(std::string_view(b ? b : "")) <=> 0;
   }

 private:
   std::string s_;
};

std::ostream& operator<<(std::ostream& os, String const& s);

/// The name of a root entity. A String in every respect; a type of its own
/// so that interfaces say what they expect.
class Name : public String {
 public:
   using String::String;
   Name() = default;
   Name(String s) noexcept : String(std::move(s)) {}
};

} // namespace Vex

template <>
struct std::hash<Vex::String> {
   std::size_t operator()(Vex::String const& s) const noexcept { return s.hash(); }
};
template <>
struct std::hash<Vex::Name> {
   std::size_t operator()(Vex::Name const& s) const noexcept { return s.hash(); }
};
