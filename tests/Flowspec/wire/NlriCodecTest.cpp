#include "Flowspec/wire/NlriCodec.h"

#include "WireTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace Flowspec;
using WireTest::bytes;
using WireTest::cliKey;
using WireTest::hex;
using R = NlriReason;

namespace {

std::string encoded(FlowspecKey const& key, NlriSafi safi = NlriSafi::flowspec,
                    std::uint64_t rd = 0) {
   std::vector<std::uint8_t> out;
   auto error = encodeNlri(key, out, safi, rd);
   if (error) return "refused: " + nlriEncodeErrorMessage(*error);
   return hex(out);
}

// Every key of `wire` in its command-line form, "; " between keys, or the
// error message after what was decoded.
std::string decoded(std::string const& wire, Ipkit::AddressFamily af = Ipkit::ipv4) {
   auto in = bytes(wire);
   NlriDecodeResult r = decodeNlri(in, af);
   std::string s;
   for (auto const& k : r.keys) {
      EXPECT_EQ(k.addressFamily(), af);
      EXPECT_EQ(k.vrfId(), Vrf::VrfIdMap::noVrfId);
      s += (s.empty() ? "" : " ") + std::string(k.toStrepCli().c_str());
   }
   if (r.error) s += (s.empty() ? "" : " ") + std::string("refused: ") + nlriErrorMessage(*r.error);
   return s;
}

// Valid NLRI of both families, used by the round trip and the sweeps.
struct Valid {
   char const* what;
   Ipkit::AddressFamily af;
   char const* wire;
};
Valid const validNlri[] = {
    {"RFC 8955 4.3 first example", Ipkit::ipv4, "0b 01 18 c0 00 02 03 81 06 04 81 19"},
    {"RFC 8955 4.3 second example", Ipkit::ipv4,
     "12 01 18 c0 00 02 02 18 cb 00 71 04 03 89 45 8b 91 1f 90"},
    {"RFC 8955 4.3 third example", Ipkit::ipv4, "09 01 20 c0 00 02 01 0c 80 05"},
    {"RFC 8956 3.8 example without its offset source", Ipkit::ipv6,
     "0a 01 20 00 20 01 0d b8 03 81 06"},
    {"every IPv4 component type", Ipkit::ipv4,
     "2f 01 08 0a 02 10 c0 a8 03 81 06 04 81 50 05 91 01 bb 06 91 04 00 07 81 08 08 81 "
     "00"
     " 09 01 02 c0 10 0a 13 05 dc d5 05 dc 0b 81 2e 0c 01 02 81 01"},
    {"IPv6 flow label with a 4-byte value, /0 and /128 prefixes", Ipkit::ipv6,
     "1c 01 00 00 02 80 00 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 0d a1 00 0f "
     "ff ff"},
    {"2-byte values below 256 and a 4-byte value below 65536 stay as wide", Ipkit::ipv4,
     "0a 05 91 00 19 0a a1 00 00 05 dc"},
    {"AND on the first operator and operators without comparison bits", Ipkit::ipv4,
     "05 03 40 06 c0 11"},
    {"two NLRI in one buffer", Ipkit::ipv4, "06 01 08 0a 03 81 06 04 02 10 c0 a8"},
};

} // namespace

TEST(NlriCodec, WorkedExamplesOfTheRfcsBothWays) {
   struct Case {
      char const* what;
      Ipkit::AddressFamily af;
      char const* cli;
      char const* wire;
   };
   Case const cases[] = {
       {"RFC 8955: packets to 192.0.2.0/24 and TCP port 25", Ipkit::ipv4,
        "192.0.2.0/24;*;IP:=6;P:=25;", "0b 01 18 c0 00 02 03 81 06 04 81 19"},
       {"RFC 8955: to 192.0.2.0/24 from 203.0.113.0/24 and port {[137, 139] or 8080}", Ipkit::ipv4,
        "192.0.2.0/24;203.0.113.0/24;P:>=137&<=139|=8080;",
        "12 01 18 c0 00 02 02 18 cb 00 71 04 03 89 45 8b 91 1f 90"},
       {"RFC 8955: to 192.0.2.1/32 and fragment {DF or FF}", Ipkit::ipv4, "192.0.2.1/32;*;FRAG:5;",
        "09 01 20 c0 00 02 01 0c 80 05"},
       {"RFC 8956: to 2001:db8::/32 and upper-layer protocol TCP (the example's "
        "destination and protocol, with offset 0)",
        Ipkit::ipv6, "2001:db8::/32;*;IP:=6;", "0a 01 20 00 20 01 0d b8 03 81 06"},
       {"RFC 8956: flow label", Ipkit::ipv6, "*;*;FL:=48879;", "04 0d 91 be ef"},
   };
   for (Case const& c : cases) {
      EXPECT_EQ(encoded(cliKey(c.cli, c.af)), c.wire) << c.what;
      EXPECT_EQ(decoded(c.wire, c.af), c.cli) << c.what;
   }
   // The RFC 8956 examples themselves carry a source prefix with offset 64
   // and 65, which a key cannot hold: refused at the offset byte, never
   // decoded without it.
   EXPECT_EQ(decoded("12 01 20 00 20 01 0d b8 02 68 40 12 34 56 78 9a 03 81 06", Ipkit::ipv6),
             "refused: offset 10: type 2 (source prefix): non-zero IPv6 prefix offset, which "
             "a "
             "key cannot hold");
   EXPECT_EQ(decoded("0f 01 20 00 20 01 0d b8 02 68 41 24 68 ac f1 34", Ipkit::ipv6),
             "refused: offset 10: type 2 (source prefix): non-zero IPv6 prefix offset, "
             "which a "
             "key cannot hold");
}

TEST(NlriCodec, DecodingThenEncodingGivesTheSameBytes) {
   for (Valid const& v : validNlri) {
      auto in = bytes(v.wire);
      NlriDecodeResult r = decodeNlri(in, v.af);
      ASSERT_FALSE(r.error) << v.what << ": " << nlriErrorMessage(*r.error);
      std::vector<std::uint8_t> out;
      for (auto const& k : r.keys)
         EXPECT_FALSE(encodeNlri(k, out)) << v.what;
      EXPECT_EQ(hex(out), hex(in)) << v.what;
   }
   // And keys from text come back from their bytes as they were.
   for (char const* cli : {"10.0.0.0/8;*;", "*;192.168.0.0/16;DP:>=1024&<=65535;",
                           "*;*;IP:=6|=17;SP:=53;TCP:=2&!=16;LEN:>=1000000;FRAG:!=1;",
                           "0.0.0.0/0;0.0.0.0/0;DSCP:=46;", "*;*;P:<1024|>49151;IT:=8;IC:=0;"}) {
      FlowspecKey k = cliKey(cli);
      std::vector<std::uint8_t> out;
      ASSERT_FALSE(encodeNlri(k, out)) << cli;
      NlriDecodeResult r = decodeNlri(out, Ipkit::ipv4);
      ASSERT_EQ(r.keys.size(), 1u) << cli;
      EXPECT_EQ(r.keys[0], k) << cli;
   }
}

TEST(NlriCodec, PaddingBitsAfterAPrefixAreIrrelevantAndWrittenAsZero) {
   // RFC 8955 4.2.2.1: 192.0.3.0/23 is 192.0.2.0/23.
   EXPECT_EQ(decoded("05 01 17 c0 00 03"), "192.0.2.0/23;*;");
   EXPECT_EQ(encoded(cliKey("192.0.2.0/23;*;")), "05 01 17 c0 00 02");
}

TEST(NlriCodec, TheTwoByteLengthFrom240) {
   // 80 ports of 2 bytes: 1 + 80 * 3 = 241 bytes.
   std::string cli = "*;*;DP:";
   for (int i = 0; i < 80; ++i)
      cli += (i ? "|=" : "=") + std::to_string(1000 + i);
   FlowspecKey k = cliKey(cli + ";");
   std::vector<std::uint8_t> out;
   ASSERT_FALSE(encodeNlri(k, out));
   ASSERT_EQ(out.size(), 243u);
   EXPECT_EQ(hex({out.begin(), out.begin() + 6}), "f0 f1 05 11 03 e8");
   NlriDecodeResult r = decodeNlri(out, Ipkit::ipv4);
   ASSERT_FALSE(r.error);
   ASSERT_EQ(r.keys.size(), 1u);
   EXPECT_EQ(r.keys[0], k);
   // 239 bytes still take one length byte: 1 + 78 * 3 + 2 * 2.
   std::string cli239 = "*;*;DP:=1|=2";
   for (int i = 0; i < 78; ++i)
      cli239 += "|=" + std::to_string(1000 + i);
   out.clear();
   ASSERT_FALSE(encodeNlri(cliKey(cli239 + ";"), out));
   ASSERT_EQ(out.size(), 240u);
   EXPECT_EQ(out[0], 239);
   EXPECT_EQ(decodeNlri(out, Ipkit::ipv4).keys.at(0), cliKey(cli239 + ";"));
}

TEST(NlriCodec, VpnNlriCarryARouteDistinguisher) {
   FlowspecKey k = cliKey("10.0.0.0/8;*;IP:=6;");
   EXPECT_EQ(encoded(k, NlriSafi::flowspecVpn, 0x0000fde800000064),
             "0e 00 00 fd e8 00 00 00 64 01 08 0a 03 81 06");
   auto in = bytes("0e 00 00 fd e8 00 00 00 64 01 08 0a 03 81 06"
                   " 0b 00 01 c0 00 02 01 00 07 03 81 11");
   NlriDecodeResult r = decodeNlri(in, Ipkit::ipv4, NlriSafi::flowspecVpn);
   ASSERT_FALSE(r.error);
   ASSERT_EQ(r.keys.size(), 2u);
   EXPECT_EQ(r.keys[0], k);
   EXPECT_EQ(r.keys[1].toStrepCli(), "*;*;IP:=17;");
   EXPECT_EQ(r.routeDistinguishers,
             (std::vector<std::uint64_t>{0x0000fde800000064, 0x0001c00002010007}));
   EXPECT_EQ(decoded("05 00 00 fd e8 00"), "refused: offset 1: unknown component type");
   auto shortRd = bytes("05 00 00 fd e8 00");
   EXPECT_EQ(nlriErrorMessage(*decodeNlri(shortRd, Ipkit::ipv4, NlriSafi::flowspecVpn).error),
             "offset 1: route distinguisher cut short");
   auto onlyRd = bytes("08 00 00 fd e8 00 00 00 64");
   EXPECT_EQ(nlriErrorMessage(*decodeNlri(onlyRd, Ipkit::ipv4, NlriSafi::flowspecVpn).error),
             "offset 9: no component");
}

TEST(NlriCodec, EveryMalformationIsRefusedWithItsOffsetComponentAndReason) {
   struct Case {
      char const* what;
      Ipkit::AddressFamily af;
      char const* wire;
      R reason;
      std::size_t offset;
      std::uint8_t component;
      std::size_t keysBefore = 0;
   };
   auto v4 = Ipkit::ipv4;
   auto v6 = Ipkit::ipv6;
   Case const cases[] = {
       {"length 0", v4, "00", R::lengthZero, 0, 0},
       {"length 0 after a good NLRI", v4, "03 03 81 06 00", R::lengthZero, 4, 0, 1},
       {"2-byte length cut by the buffer", v4, "f0", R::lengthCutShort, 0, 0},
       {"2-byte length below 240", v4, "f0 03 03 81 06", R::lengthNotMinimal, 0, 0},
       {"2-byte length 0", v4, "f0 00", R::lengthNotMinimal, 0, 0},
       {"length beyond the buffer", v4, "04 03 81 06", R::lengthBeyondBuffer, 0, 0},
       {"2-byte length beyond the buffer", v4, "ff ff 03 81 06", R::lengthBeyondBuffer, 0, 0},
       {"type 0", v4, "03 00 81 06", R::typeUnknown, 1, 0},
       {"type 14", v4, "03 0e 81 06", R::typeUnknown, 1, 14},
       {"type 255", v4, "03 ff 81 06", R::typeUnknown, 1, 255},
       {"types out of order", v4, "06 04 81 50 03 81 06", R::typeOutOfOrder, 4, 3},
       {"a prefix after an operator list", v4, "05 03 81 06 01 00", R::typeOutOfOrder, 4, 1},
       {"a type repeated", v4, "06 05 81 50 05 81 51", R::typeRepeated, 4, 5},
       {"source prefix twice", v4, "04 02 00 02 00", R::typeRepeated, 3, 2},
       {"flow label in IPv4", v4, "03 0d 81 05", R::typeNotInFamily, 1, 13},
       {"IPv4 prefix length 33", v4, "07 01 21 0a 00 00 00 00", R::prefixTooLong, 2, 1},
       {"IPv6 prefix length 129", v6, "04 01 81 00 00", R::prefixTooLong, 2, 1},
       {"IPv4 prefix bytes cut short", v4, "03 01 18 0a", R::prefixCutShort, 3, 1},
       {"IPv4 prefix without its length", v4, "01 01", R::prefixCutShort, 2, 1},
       {"IPv6 prefix without its offset", v6, "02 01 20", R::prefixCutShort, 3, 1},
       {"IPv6 prefix bytes cut short", v6, "05 01 20 00 20 01", R::prefixCutShort, 4, 1},
       {"IPv6 offset above the length", v6, "05 01 08 09 20 01", R::ipv6OffsetBeyondLength, 3, 1},
       {"IPv6 offset the key cannot hold", v6, "06 01 20 08 01 0d b8", R::ipv6OffsetUnsupported, 3,
        1},
       {"operator bit 3 set", v4, "03 03 89 06", R::operatorReservedBit, 2, 3},
       {"lt in a TCP-flags operator", v4, "03 09 85 02", R::operatorReservedBit, 2, 9},
       {"lt in a fragment operator", v4, "03 0c 84 02", R::operatorReservedBit, 2, 12},
       {"an 8-byte value", v4, "0a 0a b1 00 00 00 00 00 00 05 dc", R::valueEightBytes, 2, 10},
       {"a component without an operator", v4, "01 03", R::operatorCutShort, 2, 3},
       {"a 2-byte value cut short", v4, "03 05 91 00", R::valueCutShort, 3, 5},
       {"a 4-byte value cut short", v4, "05 0a a1 00 00 05", R::valueCutShort, 3, 10},
       {"an operator list without end-of-list", v4, "05 03 01 06 01 11",
        R::operatorListUnterminated, 6, 3},
       {"end-of-list missing before the next type, which then reads as an operator", v4,
        "05 03 01 06 04 19", R::operatorListUnterminated, 6, 3},
   };
   for (Case const& c : cases) {
      auto in = bytes(c.wire);
      NlriDecodeResult r = decodeNlri(in, c.af);
      ASSERT_TRUE(r.error) << c.what;
      EXPECT_EQ(r.error->reason, c.reason) << c.what << ": " << nlriErrorMessage(*r.error);
      EXPECT_EQ(r.error->offset, c.offset) << c.what << ": " << nlriErrorMessage(*r.error);
      EXPECT_EQ(r.error->component, c.component) << c.what;
      EXPECT_EQ(r.keys.size(), c.keysBefore) << c.what;
   }
   // A family that has no flowspec NLRI.
   auto in = bytes("03 03 81 06");
   EXPECT_EQ(decodeNlri(in, Ipkit::ipunknown).error->reason, R::familyUnset);
}

TEST(NlriCodec, ErrorMessagesNameOffsetComponentAndReason) {
   EXPECT_EQ(decoded("00"), "refused: offset 0: NLRI length 0");
   EXPECT_EQ(decoded("03 03 89 06"),
             "refused: offset 2: type 3 (IP protocol): operator with a reserved bit set");
   EXPECT_EQ(decoded("03 0e 81 06"), "refused: offset 1: type 14: unknown component type");
   EXPECT_EQ(decoded("05 03 01 06 01 11"),
             "refused: offset 6: type 3 (IP protocol): operator list without end-of-list");
   EXPECT_EQ(decoded("03 03 81 06 04 81 19"),
             "*;*;IP:=6; refused: offset 4: NLRI length beyond the end of the buffer");
   // Every reason has its own text.
   std::vector<std::string> texts;
   for (unsigned r = 0; r <= unsigned(R::outOfMemory); ++r)
      texts.push_back(nlriReasonText(NlriReason(r)));
   std::sort(texts.begin(), texts.end());
   EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end());
   EXPECT_STREQ(nlriReasonText(NlriReason(200)), "unknown reason");
}

TEST(NlriCodec, KeysTheWireCannotCarryAreRefusedByTheEncoder) {
   auto raw = WireTest::rawKey;
   FlowspecKey v6prefixInV4 = cliKey("2001:db8::/32;*;");
   FlowspecKey v4srcInV6 = cliKey("*;10.0.0.0/8;", Ipkit::ipv6);
   struct Case {
      char const* what;
      FlowspecKey key;
      char const* message;
   };
   Case const cases[] = {
       {"no family", cliKey("10.0.0.0/8;*;", Ipkit::ipunknown),
        "address family neither ipv4 nor ipv6"},
       {"no component", cliKey("*;*;"), "no component"},
       {"an IPv6 prefix in an IPv4 key", v6prefixInV4,
        "type 1 (destination prefix): prefix of another address family than the key's"},
       {"an IPv4 prefix in an IPv6 key", v4srcInV6,
        "type 2 (source prefix): prefix of another address family than the key's"},
       {"flow label in IPv4", cliKey("*;*;IP:=6;FL:=5;"),
        "pair 1: type 13 (flow label): component type not allowed in this address "
        "family"},
       {"a type twice", cliKey("*;*;DP:=80;IP:=6;DP:=443;"),
        "pair 2: type 5 (destination port): component type repeated"},
       {"an 8-byte pair", raw(Ipkit::ipv4, {{0, 0x03b10050}}),
        "type 3 (IP protocol): 8-byte value, which a key cannot hold"},
       {"half a 4-byte value", raw(Ipkit::ipv4, {{0, 0x0aa10001}}),
        "type 10 (packet length): 4-byte value without its low half"},
       {"a sparse key", raw(Ipkit::ipv4, {{0, 0x03010006}, {2, 0x05810050}}),
        "pair 2: type 5 (destination port): pair indices not dense from 0"},
       {"a reserved bit", raw(Ipkit::ipv4, {{0, 0x09850002}}),
        "type 9 (TCP flags): operator with a reserved bit set"},
       {"type 0", raw(Ipkit::ipv4, {{0, 0x00810006}}), "unknown component type"},
       {"a wide 1-byte pair", raw(Ipkit::ipv4, {{0, 0x03810100}}),
        "type 3 (IP protocol): 1-byte pair holding a value above 255"},
   };
   for (Case const& c : cases) {
      std::vector<std::uint8_t> out = {0xaa};
      auto error = encodeNlri(c.key, out);
      ASSERT_TRUE(error) << c.what;
      EXPECT_EQ(nlriEncodeErrorMessage(*error), c.message) << c.what;
      EXPECT_EQ(out, std::vector<std::uint8_t>{0xaa}) << c.what << ": out unchanged";
   }
   // Components out of order in the key are written in type order, and the
   // end-of-list bit where the wire needs it.
   EXPECT_EQ(encoded(cliKey("*;*;DP:=80;IP:=6;")), "06 03 81 06 05 81 50");
   FlowspecKey noEnd = cliKey("*;*;IP:=6;");
   noEnd.matchOpValIs(0, MatchOpVal(0x03010006));
   EXPECT_EQ(encoded(noEnd), "03 03 81 06");
   // More than 4095 bytes.
   std::string cli = "*;*;DP:";
   for (int i = 0; i < 1400; ++i)
      cli += (i ? "|=" : "=") + std::to_string(1000 + i);
   EXPECT_EQ(encoded(cliKey(cli + ";")), "refused: NLRI longer than 4095 bytes");
}

TEST(NlriCodec, TruncationSweepsNeverReadOutsideTheBuffer) {
   for (Valid const& v : validNlri) {
      auto whole = bytes(v.wire);
      // Every prefix of the buffer: refused or decoded, never read past.
      for (std::size_t n = 0; n < whole.size(); ++n) {
         std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + n);
         NlriDecodeResult r = decodeNlri(cut, v.af);
         if (r.error) {
            EXPECT_LE(r.error->offset, n) << v.what;
            continue;
         }
         // Only a cut between two NLRI reads: what it read encodes back.
         std::vector<std::uint8_t> out;
         for (auto const& k : r.keys)
            EXPECT_FALSE(encodeNlri(k, out));
         EXPECT_EQ(hex(out), hex(cut)) << v.what << " cut at " << n;
      }
      // Every prefix of the first NLRI's body under a length field that
      // agrees: refused, or a shorter NLRI that encodes back the same.
      std::size_t body = whole[0];
      for (std::size_t n = 1; n < body; ++n) {
         std::vector<std::uint8_t> cut(whole.begin() + 1, whole.begin() + 1 + n);
         cut.insert(cut.begin(), static_cast<std::uint8_t>(n));
         NlriDecodeResult r = decodeNlri(cut, v.af);
         if (r.error) {
            EXPECT_LE(r.error->offset, cut.size()) << v.what;
            continue;
         }
         std::vector<std::uint8_t> out;
         ASSERT_EQ(r.keys.size(), 1u);
         EXPECT_FALSE(encodeNlri(r.keys[0], out));
         EXPECT_EQ(hex(out), hex(cut)) << v.what;
      }
   }
}

TEST(NlriCodec, TheComponentTableMatchesTheKeysKinds) {
   for (unsigned t = 1; t < componentTypes.size(); ++t) {
      ComponentTypeInfo const& info = componentTypeInfo(t);
      EXPECT_EQ(static_cast<unsigned>(info.kind), t);
      EXPECT_TRUE(info.ipv6) << t;
      EXPECT_EQ(info.ipv4, t != 13) << t;
      EXPECT_EQ(info.encoding == ComponentEncoding::prefix, t <= 2) << t;
      EXPECT_EQ(info.encoding == ComponentEncoding::bitmask, isBitfieldType(info.kind)) << t;
   }
   EXPECT_EQ(componentTypeInfo(0).encoding, ComponentEncoding::none);
   EXPECT_EQ(componentTypeInfo(14).encoding, ComponentEncoding::none);
   EXPECT_EQ(componentTypeInfo(1000).encoding, ComponentEncoding::none);
   EXPECT_STREQ(componentTypeInfo(13).name, "flow label");
}

TEST(NlriCodec, DecodingIntoAUsedKeyLeavesNothingOfIt) {
   auto longer = bytes("12 01 18 c0 00 02 05 01 50 41 51 81 52 0a a1 00 01 00 00");
   auto shorter = bytes("03 03 81 06");
   FlowspecKey key = WireTest::rawKey(Ipkit::ipv6, {{0, 0x05810050}, {7, 0x0a810005}});
   key.vrfIdIs(3);
   std::size_t offset = 0;
   ASSERT_FALSE(decodeOneNlri(longer, offset, Ipkit::ipv4, key));
   EXPECT_EQ(key, decodeNlri(longer, Ipkit::ipv4).keys.at(0));
   EXPECT_EQ(key.matchOpVals(), 5u);
   offset = 0;
   ASSERT_FALSE(decodeOneNlri(shorter, offset, Ipkit::ipv4, key));
   EXPECT_EQ(key, cliKey("*;*;IP:=6;"));
   EXPECT_EQ(key.vrfId(), Vrf::VrfIdMap::noVrfId);
   // A refusal leaves what was read before it, and no more.
   auto refused = bytes("07 03 01 06 01 11 01 11");
   offset = 0;
   ASSERT_FALSE(decodeOneNlri(longer, offset, Ipkit::ipv4, key));
   offset = 0;
   EXPECT_EQ(decodeOneNlri(refused, offset, Ipkit::ipv4, key)->reason, R::operatorListUnterminated);
   EXPECT_EQ(offset, 0u);
   EXPECT_EQ(key.matchOpVals(), 3u);
   EXPECT_EQ(key.toStrepCli(), "*;*;IP:=6|=17|=17;");
}
