// Helpers shared by the wire tests: hex text to bytes and back, keys from
// their command-line text.
#pragma once

#include "Flowspec/values/FlowspecKey.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace WireTest {

/// The bytes of a hex text; blanks are skipped ("0b 01 18").
inline std::vector<std::uint8_t> bytes(std::string const& hex) {
   std::vector<std::uint8_t> out;
   std::string digits;
   for (char c : hex)
      if (c != ' ') digits += c;
   for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
      out.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
   return out;
}

/// Lower-case hex, a blank between bytes.
inline std::string hex(std::vector<std::uint8_t> const& b) {
   std::string s;
   char buf[4];
   for (std::size_t i = 0; i < b.size(); ++i) {
      std::snprintf(buf, sizeof buf, i ? " %02x" : "%02x", b[i]);
      s += buf;
   }
   return s;
}

/// A key of family `af` from its command-line text.
inline Flowspec::FlowspecKey cliKey(std::string const& cli, Ipkit::AddressFamily af = Ipkit::ipv4) {
   Flowspec::FlowspecKey k;
   EXPECT_TRUE(k.copyInStrCli(cli)) << cli;
   k.addressFamilyIs(af);
   return k;
}

/// A key of family `af` with these (index, MatchOpVal word) pairs.
inline Flowspec::FlowspecKey
rawKey(Ipkit::AddressFamily af,
       std::initializer_list<std::pair<std::uint16_t, std::uint32_t>> words) {
   Flowspec::FlowspecKey k;
   k.addressFamilyIs(af);
   for (auto [index, word] : words)
      k.matchOpValIs(index, Flowspec::MatchOpVal(word));
   return k;
}

} // namespace WireTest
