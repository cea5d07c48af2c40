#include "Pbr/NexthopSet.h"
#include "Pbr/ResolvedNexthopInfo.h"
#include "Pbr/Via.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {
Pbr::Via via(char const* addr, char const* intf, std::uint32_t weight) {
   return Pbr::Via(Ipkit::IpGenAddr(Vex::String(addr)), Ipkit::IntfId(Vex::String(intf)), weight);
}

template <class T>
T logRoundTrip(T const& v, std::vector<unsigned char>* bytes = nullptr) {
   auto out = Vex::NboAttrLog::Out::OutIs();
   out << v;
   Vex::NboAttrLog::In in(out->bytes().data(), out->bytes().size());
   T back(&in, Vex::StreamBogon());
   EXPECT_TRUE(in.atEnd());
   if (bytes) *bytes = out->bytes();
   return back;
}

template <class T>
T textRoundTrip(T const& v) {
   T back;
   Vex::strepToValue(valueToStrep(v), back);
   return back;
}

Pbr::ResolvedNexthopInfo sample() {
   Pbr::ResolvedNexthopInfo info(Pbr::NexthopSet(7, true, false, "red", 64));
   info.viaActiveIs(via("10.0.0.2", "Ethernet1", 1));
   info.viaActiveIs(via("2001:db8::1", "Ethernet2", 3));
   return info;
}
} // namespace

TEST(Via, TextsOrderAndEncodings) {
   auto v = via("10.0.0.2", "Ethernet1", 1);
   EXPECT_EQ(v.toStrep(), "10.0.0.2, Ethernet1, 1");
   EXPECT_EQ(valueToStrep(v),
             "Value('Pbr::Via', ** {'addr': '10.0.0.2', 'intf': 'Ethernet1', 'weight': 1})");
   EXPECT_EQ(textRoundTrip(v), v);
   EXPECT_EQ(logRoundTrip(v), v);
   EXPECT_LT(via("10.0.0.1", "Ethernet9", 9), v) << "address first";
   EXPECT_LT(via("10.0.0.2", "Ethernet1", 0), v) << "weight last";
   EXPECT_EQ(v.hash(), via("10.0.0.2", "Ethernet1", 1).hash());
   EXPECT_NE(v.hash(), via("10.0.0.2", "Ethernet1", 2).hash());
   Pbr::Via bad;
   EXPECT_THROW(Vex::strepToValue("Value('Pbr::Via', ** {'addr': '10.0.0.300', 'intf': '', "
                                  "'weight': 1})",
                                  bad),
                Vex::Exception);
   EXPECT_EQ(bad, Pbr::Via());
}

TEST(NexthopSet, CommandLineTextNamesWhatIsSet) {
   EXPECT_EQ(Pbr::NexthopSet(0, false, false, "default", 0).toStrepCli(), "group 0 vrf default");
   EXPECT_EQ(Pbr::NexthopSet(7, true, true, "red", 64).toStrepCli(),
             "group 7 vrf red recursive drop ttl 64");
   EXPECT_EQ(Pbr::NexthopSet(), Pbr::NexthopSet(0, false, false, "default", 0));
   Pbr::NexthopSet s(7, true, false, "red", 64);
   EXPECT_EQ(valueToStrep(s), "Value('Pbr::NexthopSet', ** {'groupId': 7, 'recursive': True, "
                              "'drop': False, 'vrfName': 'red', 'ttl': 64})");
   EXPECT_EQ(textRoundTrip(s), s);
   EXPECT_EQ(logRoundTrip(s), s);
   EXPECT_NE(s, Pbr::NexthopSet(7, true, false, "blue", 64));
}

TEST(ResolvedNexthopInfo, ActiveViasCopiesAndEquality) {
   Pbr::ResolvedNexthopInfo info = sample();
   EXPECT_EQ(info.viaActiveSize(), 2u);
   info.viaActiveIs(via("10.0.0.2", "Ethernet1", 1)); // already active
   EXPECT_EQ(info.viaActiveSize(), 2u);
   EXPECT_TRUE(info.viaActiveHas(via("2001:db8::1", "Ethernet2", 3)));

   Pbr::ResolvedNexthopInfo copy = info;
   EXPECT_EQ(copy, info);
   EXPECT_TRUE(copy.viaActiveDel(via("10.0.0.2", "Ethernet1", 1)));
   EXPECT_FALSE(copy.viaActiveDel(via("10.0.0.2", "Ethernet1", 1)));
   EXPECT_NE(copy, info);
   EXPECT_EQ(info.viaActiveSize(), 2u) << "the copy holds its own vias";

   // Insertion order does not matter to equality or to iteration.
   Pbr::ResolvedNexthopInfo other(Pbr::NexthopSet(7, true, false, "red", 64));
   other.viaActiveIs(via("2001:db8::1", "Ethernet2", 3));
   other.viaActiveIs(via("10.0.0.2", "Ethernet1", 1));
   EXPECT_EQ(other, info);
   std::ostringstream a, b;
   a << info;
   b << other;
   EXPECT_EQ(a.str(), b.str());

   other.nexthopSetIs(Pbr::NexthopSet());
   EXPECT_NE(other, info);

   int seen = 0;
   for (auto i = info.viaActiveIteratorConst(); i; ++i) {
      EXPECT_TRUE(info.viaActiveHas(i.key()));
      ++seen;
   }
   EXPECT_EQ(seen, 2);
   info.viaActiveDelAll();
   EXPECT_EQ(info.viaActiveSize(), 0u);
}

TEST(ResolvedNexthopInfo, TheDefaultIsSmallAndActsLikeAnyOtherValue) {
   static_assert(sizeof(Pbr::ResolvedNexthopInfo) == sizeof(void*));
   Pbr::ResolvedNexthopInfo const none;
   Pbr::ResolvedNexthopInfo explicitDefault{Pbr::NexthopSet()};
   EXPECT_EQ(none, explicitDefault) << "held or not, the default next-hop set is equal";
   EXPECT_EQ(none.nexthopSet().vrfName(), "default");
   EXPECT_FALSE(none.viaActiveIteratorConst());
   EXPECT_EQ(valueToStrep(none), valueToStrep(explicitDefault));
   EXPECT_EQ(logRoundTrip(none), none);
   Pbr::ResolvedNexthopInfo defaultWithVia = none;
   defaultWithVia.viaActiveIs(via("10.0.0.9", "Ethernet9", 9));
   EXPECT_EQ(logRoundTrip(defaultWithVia), defaultWithVia)
       << "a default next-hop set read from the log still takes vias";

   // Changing a copy of the default leaves the default alone, both ways.
   Pbr::ResolvedNexthopInfo changed = none;
   changed.viaActiveIs(via("10.0.0.2", "Ethernet1", 1));
   EXPECT_FALSE(none.viaActiveHas(via("10.0.0.2", "Ethernet1", 1)));
   EXPECT_EQ(none.viaActiveSize(), 0u);
   EXPECT_NE(changed, none);
   Pbr::ResolvedNexthopInfo cleared = changed;
   cleared.viaActiveDelAll();
   EXPECT_EQ(cleared, none) << "emptied again, it equals the default";
   EXPECT_EQ(changed.viaActiveSize(), 1u);
   Pbr::ResolvedNexthopInfo emptied;
   EXPECT_FALSE(emptied.viaActiveDel(via("10.0.0.2", "Ethernet1", 1)));
   emptied = changed;
   emptied = none;
   EXPECT_EQ(emptied, none);
}

TEST(ResolvedNexthopInfo, TextAndLogRoundTripAndRefuseBadInput) {
   auto info = sample();
   EXPECT_EQ(textRoundTrip(info), info);
   EXPECT_EQ(textRoundTrip(Pbr::ResolvedNexthopInfo()), Pbr::ResolvedNexthopInfo());
   std::vector<unsigned char> bytes;
   EXPECT_EQ(logRoundTrip(info, &bytes), info);

   for (std::size_t n = 0; n < bytes.size(); ++n) {
      std::vector<unsigned char> prefix(bytes.begin(), bytes.begin() + n);
      Vex::NboAttrLog::In in(prefix.data(), prefix.size());
      EXPECT_THROW(Pbr::ResolvedNexthopInfo(&in, Vex::StreamBogon()), Vex::Exception) << n;
   }

   // The same via twice is refused in both forms.
   auto out = Vex::NboAttrLog::Out::OutIs();
   out << Pbr::NexthopSet() << std::uint32_t(2) << via("10.0.0.2", "Ethernet1", 1)
       << via("10.0.0.2", "Ethernet1", 1);
   Vex::NboAttrLog::In in(out->bytes().data(), out->bytes().size());
   EXPECT_THROW(Pbr::ResolvedNexthopInfo(&in, Vex::StreamBogon()), Vex::Exception);
   Pbr::Via v = via("10.0.0.2", "Ethernet1", 1);
   Vex::String twice =
       "Value('Pbr::ResolvedNexthopInfo', ** {'nexthopSet': " + valueToStrep(Pbr::NexthopSet()) +
       ", 'viaActive': [" + valueToStrep(v) + ", " + valueToStrep(v) + "]})";
   Pbr::ResolvedNexthopInfo r;
   EXPECT_THROW(Vex::strepToValue(twice, r), Vex::Exception);
}
