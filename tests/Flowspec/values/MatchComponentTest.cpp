#include "Flowspec/values/MatchComponent.h"

#include <gtest/gtest.h>

using namespace Flowspec;

namespace {
Ipkit::IpGenPrefix prefix(char const* text) {
   return Ipkit::IpGenPrefix(Vex::String(text));
}

std::string dump(MatchComponent const& c, unsigned indent) {
   Kiln::DumpContext ctx;
   c.dumpState(ctx, indent);
   return ctx.text().str();
}
} // namespace

TEST(MatchComponent, KindFamiliesAndEmptiness) {
   // Prefix kinds 1-2, mask kinds 9 and 12, numerical kinds the rest of 3-13;
   // invalid (0) and 14 belong to no family.
   for (std::uint32_t t = 0; t <= 14; ++t) {
      MatchComponent const m(static_cast<MatchCompType>(t));
      bool const mask = t == 9 || t == 12;
      EXPECT_EQ(m.matchTypePrefix(), t == 1 || t == 2) << t;
      EXPECT_EQ(m.matchTypeNumericalRange(), t >= 3 && t <= 13 && !mask) << t;
      EXPECT_EQ(m.matchTypeBitMask(), mask) << t;
      EXPECT_EQ(!m, t == 0) << t;
   }
   MatchComponent invalidWithPrefix(MatchCompType::invalid);
   invalidWithPrefix.prefixIs(prefix("10.0.0.0/8"));
   EXPECT_FALSE(!invalidWithPrefix);
}

TEST(MatchComponent, SetsKeepOneEntryPerValueAndHandBackTheirFlag) {
   MatchComponent c(MatchCompType::destPort);
   NumericalRange const http(80, 80), high(1000, 2000);
   c.numericalRangeIs(http, true);
   c.numericalRangeIs(http, true);
   EXPECT_EQ(c.numericalRangeSize(), 1u);
   c.numericalRangeIs(high, false);
   EXPECT_TRUE(c.numericalRange(http));
   EXPECT_FALSE(c.numericalRange(high));
   EXPECT_TRUE(c.numericalRangeHas(high));
   EXPECT_FALSE(c.numericalRange(NumericalRange(1, 2))) << "absent: false";

   EXPECT_FALSE(c.numericalRangeDel(NumericalRange(1, 2)));
   EXPECT_EQ(c.numericalRangeSize(), 2u);
   EXPECT_TRUE(c.numericalRangeDel(http));
   EXPECT_FALSE(c.numericalRangeHas(http));

   // The component does not refuse values of another family.
   c.tcpBitMaskIs(TcpBitMask(0x2, 0x2), true);
   c.ipBitMaskIs(IpBitMask(0x2, 0x2), true);
   EXPECT_EQ(c.tcpBitMaskSize(), 1u);
   EXPECT_EQ(c.ipBitMaskSize(), 1u);
   c.ipBitMaskDelAll();
   c.tcpBitMaskDelAll();
   c.numericalRangeDelAll();
   EXPECT_EQ(c, MatchComponent(MatchCompType::destPort));

   int walked = 0;
   c.numericalRangeIs(http, true);
   for (auto i = c.numericalRangeIteratorConst(); i; ++i, ++walked) {
      EXPECT_EQ(i.key(), http);
      EXPECT_TRUE(i.value());
   }
   EXPECT_EQ(walked, 1);
}

TEST(MatchComponent, EqualityComparesKindPrefixAndEverySetWhateverTheInsertionOrder) {
   MatchComponent a(MatchCompType::tcpFlags), b(MatchCompType::tcpFlags);
   std::vector<TcpBitMask> masks;
   for (std::uint16_t m = 1; m < 40; ++m)
      masks.push_back(TcpBitMask(m & 0x15, m));
   for (auto const& m : masks)
      a.tcpBitMaskIs(m, m.mask() % 3 == 0);
   for (auto i = masks.rbegin(); i != masks.rend(); ++i)
      b.tcpBitMaskIs(*i, i->mask() % 3 == 0);
   EXPECT_EQ(a, b) << "side-by-side walks agree for any insertion order";
   EXPECT_EQ(a, a);

   MatchComponent copy = a;
   copy.tcpBitMaskIs(masks[0], true); // the flag differs
   EXPECT_NE(copy, a);
   EXPECT_FALSE(a.tcpBitMask(masks[0])) << "a copy holds its own sets";

   EXPECT_NE(MatchComponent(MatchCompType::port), MatchComponent(MatchCompType::destPort));
   MatchComponent p(MatchCompType::destPrefix), q(MatchCompType::destPrefix);
   p.prefixIs(prefix("10.0.0.0/8"));
   EXPECT_NE(p, q);
   q.prefixIs(prefix("10.1.2.3/8"));
   EXPECT_EQ(p, q) << "host bits are cleared by the prefix";

   MatchComponent r(MatchCompType::port), s(MatchCompType::port);
   r.numericalRangeIs(NumericalRange(1, 2), true);
   s.ipBitMaskIs(IpBitMask(0x2, 0x2), true);
   EXPECT_NE(r, s);
}

TEST(MatchComponent, ToStrepPrintsKindPrefixAndCounts) {
   MatchComponent c(MatchCompType::destPort);
   c.numericalRangeIs(NumericalRange(80, 80), true);
   c.numericalRangeIs(NumericalRange(1000, 2000), true);
   EXPECT_EQ(c.toStrep(),
             "<compType=destPort;prefix=;numericalRanges=2;ipBitMasks=0;tcpBitMasks=0>");
   MatchComponent p(MatchCompType::srcPrefix);
   p.prefixIs(prefix("2001:db8::/32"));
   p.tcpBitMaskIs(TcpBitMask(), false);
   EXPECT_EQ(
       p.toStrep(),
       "<compType=srcPrefix;prefix=2001:db8::/32;numericalRanges=0;ipBitMasks=0;tcpBitMasks=1>");
}

TEST(MatchComponent, DumpIndentsItsLinesAndItsMembers) {
   MatchComponent c(MatchCompType::fragment);
   c.ipBitMaskIs(IpBitMask(0x2, 0x2), true);
   c.tcpBitMaskIs(TcpBitMask(0x12, 0x3f), false);
   c.numericalRangeIs(NumericalRange(80, 443), true);
   EXPECT_EQ(dump(c, 0), "compType is 12, prefix is \n"
                         "numericalRanges #1\n"
                         "  [ 80, 443 ]\n"
                         "ipBitMasks #1\n"
                         "  <value:0x2;mask:0x2>\n"
                         "tcpBitMasks #1\n"
                         "  <value:0x12;mask:0x3f>\n");
   MatchComponent d(MatchCompType::destPrefix);
   d.prefixIs(prefix("10.0.0.0/8"));
   EXPECT_EQ(dump(d, 4), "    compType is 1, prefix is 10.0.0.0/8\n"
                         "    numericalRanges #0\n"
                         "    ipBitMasks #0\n"
                         "    tcpBitMasks #0\n");

   // Member lines follow the set's iteration order.
   MatchComponent many(MatchCompType::port);
   for (std::uint32_t lo : {500u, 7u, 90u})
      many.numericalRangeIs(NumericalRange(lo, lo + 1), true);
   std::string expected = "  compType is 4, prefix is \n  numericalRanges #3\n";
   for (auto i = many.numericalRangeIteratorConst(); i; ++i)
      expected += "    " + i.key().toStrep().str() + "\n";
   expected += "  ipBitMasks #0\n  tcpBitMasks #0\n";
   EXPECT_EQ(dump(many, 2), expected);
}
