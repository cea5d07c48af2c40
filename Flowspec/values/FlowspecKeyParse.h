// Flowspec/values/FlowspecKeyParse.h: a rule key from untrusted command-line
// text, with the error as a value.
//
// parseKeyCli reads the command-line form of a key (the form toStrepCli
// prints) and returns either the key or where and why the text is not one:
//
//   Flowspec::KeyParseResult r = Flowspec::parseKeyCli("*;*;DP:=08;", Ipkit::ipv4);
//   if (!r) std::cerr << "column " << r.error().column << ": " << r.error().message;
//   // column 8: the number 08 has a leading zero: write 8, or 0x8 ...
//
// It takes no global state and writes no trace: any number of threads may
// call it at once.
//
// Grammar (the labels are FlowspecUtil::compTypeToLabel's):
//
//   key       = prefix ";" prefix [";" [component *(";" component) [";"]]]
//   prefix    = "*" | an IPv4 or IPv6 prefix with no bit set past its length
//   component = label ":" pair *(("&" | "|") pair)
//   label     = "IP" | "P" | "DP" | "SP" | "IT" | "IC" | "TCP" | "LEN"
//             | "DSCP" | "FRAG" | "FL"
//   pair      = ["<"] [">"] ["="] number      for the numeric kinds, at
//                                             least one operator
//             | ["!"] ["="] number            for TCP and FRAG (bit masks)
//   number    = "0" | a decimal number without a leading 0 | "0x" hex digits
//
// It is strict where FlowspecKey::copyInStrCli is lenient by contract; each
// of these is an error with its column:
//   - a label that is not exactly one of the labels ("ICMP", "IPX", "DPORT");
//   - components out of the order of their types (RFC 8955 section 4.2: IP
//     before P before DP ...) or a kind given twice;
//   - a number above its kind's largest value (255 for IP, IT and IC, 65535
//     for the ports and LEN, 63 for DSCP, 0xfffff for FL, 0x1ff for TCP's
//     nine flags, 0xf for FRAG's four), or too large for 32 bits;
//   - a numeric value without an operator ("DP:80"), operators out of the
//     order above or repeated, "&" or "|" missing between two values or
//     standing before the first, a component without a value;
//   - a number whose digits stop early or that starts with 0 ("DP:=08");
//   - a prefix with bits set past its length ("10.1.2.3/8"), prefixes of two
//     families, a prefix of another family than `af`, a flow label in an
//     IPv4 key (RFC 8956 defines it for IPv6 only).
// What it accepts prints back (toStrepCli) as the same text, but for three
// spellings it lets through: hexadecimal numbers print in decimal, addresses
// print in their canonical form, and a missing final ";" is printed. The
// printed text reads back as the same key.
//
// Columns count bytes from 1; an error at the end of the text has the column
// one past its last byte. Messages quote what was typed with every byte
// outside printable ASCII written as \xNN.
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Ipkit/AddressFamily.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace Flowspec {

/// Where and why a text is not a rule key.
struct KeyParseError {
   /// 1-based byte position of what is wrong; the text's length + 1 when
   /// something is missing at its end.
   std::size_t column = 0;
   /// A sentence a person can read, without the column.
   std::string message;

   friend bool operator==(KeyParseError const&, KeyParseError const&) = default;
};

/// The key a text gave, or the error that stopped it.
class KeyParseResult {
 public:
   explicit KeyParseResult(FlowspecKey key) : value_(std::move(key)) {}
   explicit KeyParseResult(KeyParseError error) : value_(std::move(error)) {}

   /// Whether the text was a key.
   bool ok() const noexcept { return value_.index() == 0; }
   explicit operator bool() const noexcept { return ok(); }
   /// The key; asserts ok().
   FlowspecKey const& key() const;
   FlowspecKey& key();
   /// The error; asserts !ok().
   KeyParseError const& error() const;

 private:
   std::variant<FlowspecKey, KeyParseError> value_;
};

/// Reads `text`, a key in the command-line form, strictly (see above). The
/// key's VRF is left at its default; its address family is `af`, which also
/// fixes the family its prefixes and components must fit. With
/// Ipkit::ipunknown the family is left unset and taken from the prefixes.
KeyParseResult parseKeyCli(std::string_view text, Ipkit::AddressFamily af = Ipkit::ipunknown);

/// `text` with every byte outside printable ASCII written as \xNN, as the
/// messages above quote what was typed; for callers that quote user text in
/// messages of their own.
std::string printableText(std::string_view text);

} // namespace Flowspec
