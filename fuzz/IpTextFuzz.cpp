// Fuzz target: the text constructors of Ipkit::IpGenAddr and
// Ipkit::IpGenPrefix, which read every address and prefix a rule key or a
// redirect holds, on any bytes.
//
// The first byte picks the reader (even: address, odd: prefix), the rest is
// the text. A reader must end in a value or Vex::Exception.
//
//   - An address read must agree with the C library's inet_pton: a text with
//     a ':' is read as IPv6, one with a '.' as IPv4, and both readers accept
//     exactly the same texts with the same bytes. (Zone ids, which inet_pton
//     refuses too, are the one documented refusal; Ipkit also refuses a
//     dotted quad with a leading zero, as glibc does.)
//   - Its text (stringValue) reads back to an equal address and is a fixed
//     point.
//   - A prefix read keeps no host bits, has a length within its address's
//     bits, and its text reads back to an equal prefix and is a fixed point.
//   - Both go through their value text (the quoted form) and the attribute
//     log unchanged.
#include "FuzzSupport.h"

#include "Ipkit/IpGenPrefix.h"

#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace {

template <class T>
std::optional<T> fromText(Vex::String const& text) {
   try {
      return T(text);
   } catch (Vex::Exception const&) {
      return std::nullopt;
   }
}

void address(Vex::String const& text) {
   std::optional<Ipkit::IpGenAddr> a = fromText<Ipkit::IpGenAddr>(text);
   std::string const where = Fuzz::printable(text.view());

   // inet_pton reads a C string: a text with a NUL in it is not one.
   if (std::memchr(text.data(), 0, text.size()) == nullptr) {
      bool const v6 = text.view().find(':') != std::string_view::npos;
      bool const v4 = !v6 && text.view().find('.') != std::string_view::npos;
      unsigned char bytes[16] = {};
      bool const libc = (v6 || v4) && inet_pton(v6 ? AF_INET6 : AF_INET, text.c_str(), bytes) == 1;
      FUZZ_CHECK(a.has_value() == libc, where + (libc ? " is refused but inet_pton reads it"
                                                      : " is read but inet_pton refuses it"));
      if (a) {
         FUZZ_CHECK(a->af() == (v6 ? Ipkit::ipv6 : Ipkit::ipv4), where);
         FUZZ_CHECK(std::memcmp(a->bytes().data(), bytes, a->bytes().size()) == 0,
                    where + " reads other bytes than inet_pton's");
      }
   } else {
      FUZZ_CHECK(!a, where + ": a NUL byte is never part of an address");
   }
   if (!a) return;
   Vex::String const printed = a->stringValue();
   std::optional<Ipkit::IpGenAddr> again = fromText<Ipkit::IpGenAddr>(printed);
   FUZZ_CHECK(again && *again == *a, where + " prints as " + printed.str());
   FUZZ_CHECK(again->stringValue() == printed, printed.str());
   Fuzz::checkTextRoundTrip(*a);
   Fuzz::checkLogRoundTrip(*a);
}

void prefix(Vex::String const& text) {
   std::optional<Ipkit::IpGenPrefix> p = fromText<Ipkit::IpGenPrefix>(text);
   if (!p) return;
   std::string const where = Fuzz::printable(text.view());
   FUZZ_CHECK(!p->isEmpty(), where + ": a text never reads as the empty prefix");
   FUZZ_CHECK(p->len() <= p->addr().bitLength(), where);
   FUZZ_CHECK(Ipkit::IpGenPrefix(p->addr(), p->len()) == *p, where + " keeps host bits");
   Vex::String const printed = p->stringValue();
   std::optional<Ipkit::IpGenPrefix> again = fromText<Ipkit::IpGenPrefix>(printed);
   FUZZ_CHECK(again && *again == *p, where + " prints as " + printed.str());
   FUZZ_CHECK(again->stringValue() == printed, printed.str());
   Fuzz::checkTextRoundTrip(*p);
   Fuzz::checkLogRoundTrip(*p);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) return 0;
   Vex::String const text(reinterpret_cast<char const*>(data) + 1, size - 1);
   if (data[0] % 2 == 0) {
      address(text);
   } else {
      prefix(text);
   }
   return 0;
}
