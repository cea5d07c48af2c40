#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Flowspec/values/UnsupportedQual.h"

#include <gtest/gtest.h>

using namespace Flowspec;

namespace {
Ipkit::IntfId intf(char const* name) {
   return Ipkit::IntfId(Vex::String(name));
}
} // namespace

TEST(TrafficRedirect, DefaultIsNoVrfNoAddressNoCopy) {
   TrafficRedirect r;
   EXPECT_EQ(r.vrfId(), 0xffffffu);
   EXPECT_TRUE(r.addr().isUnspecified());
   EXPECT_FALSE(r.copy());
   EXPECT_TRUE(!r);
   r.copyIs(true);
   EXPECT_FALSE(!r);
   EXPECT_NE(r, TrafficRedirect());
   TrafficRedirect to(0, Ipkit::IpGenAddr(Vex::String("10.0.0.2")), false);
   EXPECT_FALSE(!to);
   TrafficRedirect same;
   same.vrfIdIs(0);
   same.addrIs(Ipkit::IpGenAddr(Vex::String("10.0.0.2")));
   EXPECT_EQ(same, to);
}

TEST(CounterVersion, EmptyOnlyWithNoCountAndAnUnsetVersion) {
   EXPECT_TRUE(!CounterVersion());
   EXPECT_FALSE(!CounterVersion(1, Kiln::UniqueId()));
   auto v = Kiln::UniqueId::fresh();
   EXPECT_FALSE(!CounterVersion(0, v));
   CounterVersion c(5, v);
   EXPECT_EQ(c, CounterVersion(5, v));
   EXPECT_NE(c, CounterVersion(5, Kiln::UniqueId::fresh()));
   c.counterIs(6);
   EXPECT_EQ(c.counter(), 6u);
   EXPECT_EQ(c.version(), v);
}

TEST(IntfErrorKey, OrdersByInterfaceThenFamilyAndPrints) {
   IntfErrorKey e1v4(intf("Ethernet1"), Ipkit::ipv4), e1v6(intf("Ethernet1"), Ipkit::ipv6),
       e2v4(intf("Ethernet2"), Ipkit::ipv4);
   EXPECT_LT(e1v4, e1v6);
   EXPECT_FALSE(e1v6 < e1v4);
   EXPECT_LT(e1v6, e2v4) << "the interface decides first";
   EXPECT_LT(IntfErrorKey(intf("Ethernet1"), static_cast<Ipkit::AddressFamily>(-1)), e1v4)
       << "families compare signed";
   EXPECT_FALSE(e1v4 < e1v4);
   EXPECT_EQ(e1v4.toStrep(), "Ethernet1,ipv4");
   EXPECT_EQ(IntfErrorKey().toStrep(), ",ipunknown");
   EXPECT_EQ(e1v4.hash(), IntfErrorKey(intf("Ethernet1"), Ipkit::ipv4).hash());
   EXPECT_NE(e1v4.hash(), e1v6.hash());
   EXPECT_TRUE(!IntfErrorKey());
   EXPECT_FALSE(!IntfErrorKey(Ipkit::IntfId(), Ipkit::ipv4));
}

TEST(UnsupportedQual, EntriesReplaceAndDeleteByKind) {
   UnsupportedQual q(Ipkit::ipv6);
   EXPECT_EQ(q.af(), Ipkit::ipv6);
   EXPECT_FALSE(!q) << "a family is set";
   EXPECT_TRUE(!UnsupportedQual());

   q.qualIs(MatchCompType::flowLabel, "no TCAM field");
   q.qualIs(MatchCompType::flowLabel, "profile lacks it");
   EXPECT_EQ(q.qualSize(), 1u);
   EXPECT_EQ(q.qual(MatchCompType::flowLabel), "profile lacks it");
   EXPECT_EQ(q.qual(MatchCompType::dscp), "");

   EXPECT_EQ(q.qualDel(MatchCompType::dscp), "");
   EXPECT_EQ(q.qualSize(), 1u);
   EXPECT_EQ(q.qualDel(MatchCompType::flowLabel), "profile lacks it");
   EXPECT_FALSE(q.qualHas(MatchCompType::flowLabel));
   q.qualIs(MatchCompType::dscp, "x");
   q.qualDelAll();
   EXPECT_EQ(q, UnsupportedQual(Ipkit::ipv6));
}

TEST(UnsupportedQual, EqualityIgnoresInsertionOrderButNotFamilyOrText) {
   UnsupportedQual a(Ipkit::ipv4), b(Ipkit::ipv4);
   for (std::uint32_t t = 1; t < numComponentTypes; ++t) {
      a.qualIs(static_cast<MatchCompType>(t), "reason " + std::to_string(t));
   }
   for (std::uint32_t t = numComponentTypes - 1; t >= 1; --t) {
      b.qualIs(static_cast<MatchCompType>(t), "reason " + std::to_string(t));
   }
   EXPECT_EQ(a, b);
   EXPECT_EQ(a, a);
   b.qualIs(MatchCompType::port, "other");
   EXPECT_NE(a, b);
   UnsupportedQual c = a;
   EXPECT_EQ(c, a);
   EXPECT_NE(UnsupportedQual(Ipkit::ipv6), UnsupportedQual(Ipkit::ipv4));
}

TEST(UnsupportedQual, DumpPrintsTheFamilyAndEachShortLabel) {
   UnsupportedQual q(Ipkit::ipv6);
   q.qualIs(MatchCompType::tcpFlags, "x");
   Kiln::DumpContext at0;
   q.dumpState(at0, 0);
   EXPECT_EQ(at0.text(), "AF ipv6\n  TCP --> x\n");

   UnsupportedQual p(Ipkit::ipv4);
   p.qualIs(MatchCompType::destPrefix, "no prefix match");
   Kiln::DumpContext at4;
   p.dumpState(at4, 4);
   EXPECT_EQ(at4.text(), "    AF ipv4\n       --> no prefix match\n")
       << "the prefix kinds have an empty label";
}
