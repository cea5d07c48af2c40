#include "Flowspec/wire/ActionCodec.h"

#include "Flowspec/entities/RuleConfig.h"
#include "WireTestUtil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

using namespace Flowspec;
using WireTest::bytes;
using WireTest::hex;
using I = ActionIssueReason;
using Form = RouteTarget::Form;

namespace {

RouteTargetVrfs const table = {
    {{Form::as2, 65000, 100}, 7},
    {{Form::ipv4, 0xc0000201, 100}, 8},
    {{Form::as4, 4200000000, 100}, 9},
    {{Form::as2, 65000, 200}, 7},
};

// The actions in one line: the flags word, then each flagged field.
std::string text(RuleActions const& a) {
   std::ostringstream s;
   s << "flags " << a.actionFieldSet.value();
   if (a.actionFieldSet.trafficRate() || a.actionFieldSet.trafficDrop())
      s << " rate " << a.trafficRateLimit << (a.rateUnit == RateUnit::bytes ? " B/s" : " p/s");
   if (a.actionFieldSet.trafficAction())
      s << " sample " << a.trafficAction.sampleAndLog() << " terminal-off "
        << a.trafficAction.continueMatch();
   if (a.actionFieldSet.trafficRedirect()) {
      s << " redirect vrf " << a.trafficRedirect.vrfId() << " addr '"
        << a.trafficRedirect.addr().stringValue() << "' copy " << a.trafficRedirect.copy();
   }
   if (a.actionFieldSet.trafficMarking()) s << " dscp " << unsigned(a.trafficMarkingDscp.value());
   return s.str();
}

std::string issues(std::vector<ActionIssue> const& list) {
   std::string s;
   for (auto const& i : list)
      s += (s.empty() ? "" : "; ") + actionIssueMessage(i);
   return s;
}

std::string decodedText(std::string const& wire, Ipkit::IpGenAddr nextHop = {}) {
   auto in = bytes(wire);
   ActionDecodeResult r = decodeActions(in, table, nextHop);
   std::string s = text(r.actions);
   if (!r.issues.empty()) s += " | " + issues(r.issues);
   return s;
}

RuleActions actions(ActionFieldSet flags) {
   RuleActions a;
   a.actionFieldSet = flags;
   return a;
}
RuleActions actions(std::uint32_t flagWord) {
   ActionFieldSet flags;
   flags.valueIs(flagWord);
   return actions(flags);
}

} // namespace

TEST(ActionCodec, EachCommunityDecodesToItsRuleAttributes) {
   struct Case {
      char const* what;
      char const* wire;
      char const* expected;
   };
   Case const cases[] = {
       {"no community: accept", "", "flags 2"},
       {"traffic-rate-bytes 9600 (GoBGP's test value, AS 100)", "80 06 00 64 46 16 00 00",
        "flags 8 rate 9600 B/s"},
       {"traffic-rate-packets 1000", "80 0c 00 00 44 7a 00 00", "flags 8 rate 1000 p/s"},
       {"rate 0: discard", "80 06 00 00 00 00 00 00", "flags 4 rate 0 B/s"},
       {"traffic-action sample and terminal", "80 07 00 00 00 00 00 03",
        "flags 16 sample 1 terminal-off 1"},
       {"traffic-action neither bit", "80 07 00 00 00 00 00 00",
        "flags 16 sample 0 terminal-off 0"},
       {"redirect AS2 65000:100", "80 08 fd e8 00 00 00 64",
        "flags 32 redirect vrf 7 addr '' copy 0"},
       {"redirect IPv4 192.0.2.1:100", "81 08 c0 00 02 01 00 64",
        "flags 32 redirect vrf 8 addr '' copy 0"},
       {"redirect AS4 4200000000:100", "82 08 fa 56 ea 00 00 64",
        "flags 32 redirect vrf 9 addr '' copy 0"},
       {"traffic-marking DSCP 46", "80 09 00 00 00 00 00 2e", "flags 64 dscp 46"},
       {"redirect to IPv4 192.0.2.9 with copy", "01 0c c0 00 02 09 00 01",
        "flags 32 redirect vrf 16777215 addr '192.0.2.9' copy 1"},
       {"all at once, and a route target passed over",
        "00 02 fd e8 00 00 00 01 80 06 00 00 44 7a 00 00"
        " 80 07 00 00 00 00 00 01 80 08 fd e8 00 00 00 c8 80 09 00 00 00 00 00 0a",
        "flags 120 rate 1000 B/s sample 0 terminal-off 1 redirect vrf 7 addr '' copy 0 "
        "dscp "
        "10 | offset 0: community 0002: not a flowspec action"},
       {"the same action twice is no conflict", "80 09 00 00 00 00 00 0a 80 09 00 00 00 00 00 0a",
        "flags 64 dscp 10"},
   };
   for (Case const& c : cases)
      EXPECT_EQ(decodedText(c.wire), c.expected) << c.what;
   // Redirect to the UPDATE's next hop (08 00), IPv4 and IPv6.
   EXPECT_EQ(decodedText("08 00 00 00 00 00 00 00", Ipkit::IpGenAddr(Vex::String("192.0.2.1"))),
             "flags 32 redirect vrf 16777215 addr '192.0.2.1' copy 0");
   EXPECT_EQ(decodedText("08 00 00 00 00 00 00 01", Ipkit::IpGenAddr(Vex::String("2001:db8::1"))),
             "flags 32 redirect vrf 16777215 addr '2001:db8::1' copy 1");
}

TEST(ActionCodec, UnknownMalformedAndConflictingCommunitiesAreReportedNotGuessed) {
   struct Case {
      char const* what;
      char const* wire;
      char const* expected;
   };
   Case const cases[] = {
       {"a route target is no action", "00 02 fd e8 00 00 00 64",
        "flags 2 | offset 0: community 0002: not a flowspec action"},
       {"a redirect target missing from the table", "80 08 fd e8 00 00 01 2c",
        "flags 2 | offset 0: community 8008: route target not in the table"},
       {"a rate that is not a number", "80 06 00 00 7f c0 00 00",
        "flags 2 | offset 0: community 8006: rate negative, infinite or not a number"},
       {"a negative rate", "80 0c 00 00 bf 80 00 00",
        "flags 2 | offset 0: community 800c: rate negative, infinite or not a number"},
       {"an infinite rate", "80 06 00 00 7f 80 00 00",
        "flags 2 | offset 0: community 8006: rate negative, infinite or not a number"},
       {"traffic-action with a reserved bit", "80 07 00 00 00 00 00 04",
        "flags 2 | offset 0: community 8007: reserved bits set"},
       {"traffic-marking with the two top bits", "80 09 00 00 00 00 00 c1",
        "flags 2 | offset 0: community 8009: reserved bits set"},
       {"traffic-marking with a byte before the DSCP", "80 09 00 00 01 00 00 01",
        "flags 2 | offset 0: community 8009: reserved bits set"},
       {"redirect to IPv4 with a reserved bit", "01 0c c0 00 02 09 00 02",
        "flags 2 | offset 0: community 010c: reserved bits set"},
       {"redirect to the next hop without one", "08 00 00 00 00 00 00 00",
        "flags 2 | offset 0: community 0800: redirect to the next hop without a next "
        "hop"},
       {"two different rates", "80 06 00 00 44 7a 00 00 80 06 00 00 45 7a 00 00",
        "flags 2 | offset 8: community 8006: conflicts with another action"},
       {"a rate in bytes and one in packets",
        "80 06 00 00 44 7a 00 00 80 0c 00 00 44 7a 00 00 80 09 00 00 00 00 00 01",
        "flags 64 dscp 1 | offset 8: community 800c: conflicts with another action"},
       {"a redirect to a VRF and one to an address, then a third",
        "80 08 fd e8 00 00 00 64 01 0c c0 00 02 09 00 00 82 08 fa 56 ea 00 00 64",
        "flags 2 | offset 8: community 010c: conflicts with another action; offset 16: "
        "community 8208: conflicts with another action"},
       {"two traffic actions", "80 07 00 00 00 00 00 01 80 07 00 00 00 00 00 02",
        "flags 2 | offset 8: community 8007: conflicts with another action"},
       {"a partial community at the end", "80 09 00 00 00 00 00 01 80 09 00",
        "flags 64 dscp 1 | offset 8: attribute length not a whole number of "
        "communities"},
   };
   for (Case const& c : cases)
      EXPECT_EQ(decodedText(c.wire), c.expected) << c.what;
}

TEST(ActionCodec, EncodingWritesTheCommunitiesAndDecodesBack) {
   struct Case {
      char const* what;
      RuleActions actions;
      char const* wire;
   };
   auto rate = [](float r, RateUnit unit) {
      RuleActions a = actions(ActionFieldSet::trafficRate_);
      a.trafficRateLimit = r;
      a.rateUnit = unit;
      return a;
   };
   auto redirect = [](TrafficRedirect r) {
      RuleActions a = actions(ActionFieldSet::trafficRedirect_);
      a.trafficRedirect = r;
      return a;
   };
   RuleActions all = rate(9600, RateUnit::bytes);
   all.actionFieldSet = actions(0x78).actionFieldSet;
   all.trafficAction.sampleAndLogIs(true);
   all.trafficRedirect = TrafficRedirect(9, {}, false);
   all.trafficMarkingDscp = Ipkit::IpTos(46);
   RuleActions drop = actions(ActionFieldSet::trafficDrop_);
   drop.rateUnit = RateUnit::packets;
   Case const cases[] = {
       {"accept: nothing to write", actions(ActionFieldSet::trafficPermit_), ""},
       {"rate in bytes", rate(9600, RateUnit::bytes), "80 06 00 00 46 16 00 00"},
       {"rate in packets", rate(1000, RateUnit::packets), "80 0c 00 00 44 7a 00 00"},
       {"drop, counted in packets", drop, "80 0c 00 00 00 00 00 00"},
       {"VRF 7: the least route target that names it", redirect(TrafficRedirect(7, {}, false)),
        "80 08 fd e8 00 00 00 64"},
       {"VRF 8: an IPv4 route target", redirect(TrafficRedirect(8, {}, false)),
        "81 08 c0 00 02 01 00 64"},
       {"an IPv4 address with copy",
        redirect(TrafficRedirect(Vrf::VrfIdMap::noVrfId,
                                 Ipkit::IpGenAddr(Vex::String("198.51.100.1")), true)),
        "01 0c c6 33 64 01 00 01"},
       {"everything", all,
        "80 06 00 00 46 16 00 00 80 07 00 00 00 00 00 02 82 08 fa 56 ea 00 00 64 80 09 "
        "00 00 "
        "00 00 00 2e"},
   };
   for (Case const& c : cases) {
      ActionEncodeResult e = encodeActions(c.actions, table);
      EXPECT_EQ(hex(e.extendedCommunities), c.wire) << c.what;
      EXPECT_EQ(issues(e.issues), "") << c.what;
      ActionDecodeResult d = decodeActions(e.extendedCommunities, table);
      EXPECT_EQ(issues(d.issues), "") << c.what;
      EXPECT_EQ(text(d.actions), text(c.actions)) << c.what;
      EXPECT_TRUE(d.actions == c.actions) << c.what;
   }
   // A redirect to an address as the next hop, on request.
   for (char const* addr : {"2001:db8::1", "192.0.2.1"}) {
      RuleActions a = redirect(
          TrafficRedirect(Vrf::VrfIdMap::noVrfId, Ipkit::IpGenAddr(Vex::String(addr)), true));
      ActionEncodeResult e = encodeActions(a, table, {.redirectIpAsNextHop = true});
      EXPECT_EQ(hex(e.extendedCommunities), "08 00 00 00 00 00 00 01") << addr;
      EXPECT_EQ(e.nextHop.stringValue(), addr);
      EXPECT_TRUE(decodeActions(e.extendedCommunities, table, e.nextHop).actions == a) << addr;
   }
   // The AS of the rate communities is the caller's.
   EXPECT_EQ(
       hex(encodeActions(rate(1, RateUnit::bytes), table, {.rateAs = 65000}).extendedCommunities),
       "80 06 fd e8 3f 80 00 00");
}

TEST(ActionCodec, WhatCannotBeEncodedIsReportedAndTheRestWritten) {
   struct Case {
      char const* what;
      RuleActions actions;
      char const* wire;
      char const* issues;
   };
   RuleActions dropAndRate = actions(0x0c);
   dropAndRate.trafficRateLimit = 5;
   RuleActions noRt = actions(0x60);
   noRt.trafficRedirect = TrafficRedirect(3, {}, true);
   noRt.trafficMarkingDscp = Ipkit::IpTos(64);
   RuleActions both = actions(0x21);
   both.trafficRedirect = TrafficRedirect(7, Ipkit::IpGenAddr(Vex::String("192.0.2.1")), false);
   RuleActions nan = actions(ActionFieldSet::trafficRate_);
   nan.trafficRateLimit = std::nanf("");
   Case const cases[] = {
       {"drop and a rate", dropAndRate, "", "community 8006: conflicts with another action"},
       {"a VRF no route target names, with copy, and DSCP 64", noRt, "",
        "copy flag on a redirect to a VRF; no route target names the redirect VRF; "
        "community "
        "8009: DSCP above 63"},
       {"a VRF and an address, and the invalid flag", both, "",
        "the invalid action flag has no community; community 8008: conflicts with "
        "another "
        "action"},
       {"a redirect to nowhere", actions(ActionFieldSet::trafficRedirect_), "",
        "redirect without a VRF or an address"},
       {"a NaN rate", nan, "", "community 8006: rate negative, infinite or not a number"},
   };
   for (Case const& c : cases) {
      ActionEncodeResult e = encodeActions(c.actions, table);
      EXPECT_EQ(hex(e.extendedCommunities), c.wire) << c.what;
      EXPECT_EQ(issues(e.issues), c.issues) << c.what;
   }
}

TEST(ActionCodec, RuleConfigAttributesAndRouteTargetTexts) {
   FlowspecKey key;
   ASSERT_TRUE(key.copyInStrCli("10.0.0.0/8;*;"));
   auto rule = RuleConfig::RuleConfigIs(key);
   auto in = bytes("80 06 00 00 46 16 00 00 80 07 00 00 00 00 00 01 80 08 fd e8 00 00 00 64"
                   " 80 09 00 00 00 00 00 2e");
   RuleActions decoded = decodeActions(in, table).actions;
   ruleActionsIs(*rule, decoded);
   EXPECT_EQ(rule->actionFieldSet().value(), 0x78u);
   EXPECT_EQ(rule->trafficRateLimit(), 9600.0f);
   EXPECT_TRUE(rule->trafficAction().continueMatch());
   EXPECT_EQ(rule->trafficRedirect().vrfId(), 7u);
   EXPECT_EQ(rule->trafficMarkingDscp().value(), 46);
   EXPECT_TRUE(ruleActions(*rule) == decoded);

   EXPECT_EQ(routeTargetText({Form::as2, 65000, 100}), "65000:100");
   EXPECT_EQ(routeTargetText({Form::ipv4, 0xc0000201, 7}), "192.0.2.1:7");
   EXPECT_EQ(routeTargetText({Form::as4, 4200000000, 100}), "4200000000:100");
   // Every issue has its own text.
   std::vector<std::string> texts;
   for (unsigned r = 0; r <= unsigned(I::copyWithoutAddress); ++r)
      texts.push_back(actionIssueText(I(r)));
   std::sort(texts.begin(), texts.end());
   EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end());
}

TEST(ActionCodec, TheIpv6AttributeCarriesTheRedirectToIpv6) {
   auto decode6 = [&](std::string const& wire6, std::string const& wire = "") {
      auto in = bytes(wire);
      auto in6 = bytes(wire6);
      ActionDecodeResult r = decodeActions(in, table, {}, in6);
      std::string s = text(r.actions);
      if (!r.issues.empty()) s += " | " + issues(r.issues);
      return s;
   };
   EXPECT_EQ(decode6("00 0c 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 00 01"),
             "flags 32 redirect vrf 16777215 addr '2001:db8::1' copy 1");
   EXPECT_EQ(decode6("00 02 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 00 64"),
             "flags 2 | IPv6 attribute offset 0: community 0002: not a flowspec action");
   EXPECT_EQ(decode6("00 0c 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 01 00"),
             "flags 2 | IPv6 attribute offset 0: community 000c: reserved bits set");
   EXPECT_EQ(decode6("00 0c 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 0c",
                     "80 08 fd e8 00 00 00 64"),
             "flags 2 | IPv6 attribute offset 0: community 000c: conflicts with another "
             "action; IPv6 attribute offset 20: attribute length not a whole number of "
             "communities");
   // Encoded into the IPv6 attribute, and back.
   RuleActions a = actions(ActionFieldSet::trafficRedirect_);
   a.trafficRedirect =
       TrafficRedirect(Vrf::VrfIdMap::noVrfId, Ipkit::IpGenAddr(Vex::String("2001:db8::1")), false);
   ActionEncodeResult e = encodeActions(a, table);
   EXPECT_EQ(hex(e.extendedCommunities), "");
   EXPECT_EQ(hex(e.ipv6ExtendedCommunities),
             "00 0c 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 00 00");
   EXPECT_TRUE(e.nextHop.isUnspecified());
   EXPECT_TRUE(decodeActions({}, table, {}, e.ipv6ExtendedCommunities).actions == a);
}
