#include "Flowspec/wire/Update.h"

#include "WireTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Flowspec {
namespace {

using namespace WireTest;

// RFC 8955 section 4: 192.168.0.1/32, protocol TCP, port 25 (length 12).
constexpr char const* nlri4 = "0c 01 20 c0a80001 03 81 06 04 81 19";
constexpr char const* key4 = "192.168.0.1/32;*;IP:=6;P:=25;";
// RFC 8956: 2001:db8::/32 (offset 0), next header UDP (length 10).
constexpr char const* nlri6 = "0a 01 20 00 20010db8 03 81 11";
constexpr char const* key6 = "2001:db8::/32;*;IP:=17;";
constexpr char const* origin = "40 01 01 00";
constexpr char const* emptyPath = "40 02 00";
constexpr char const* rate0 = "c0 10 08 8006 0000 00000000";

std::string mpReach(std::string const& nlris, std::string const& family = "0001 85",
                    std::string const& nextHop = "00") {
   return attr(0x80, 14, family + nextHop + "00" + nlris);
}
std::string mpUnreach(std::string const& nlris, std::string const& family = "0001 85") {
   return attr(0x80, 15, family + nlris);
}

// The announcement most cases start from: MP_REACH_NLRI first (offsets 23
// to 43; its NLRI at 31), ORIGIN at 44, AS_PATH at 48, the rate at 51.
Bytes const valid = update(mpReach(nlri4) + origin + emptyPath + rate0);

std::vector<std::string> keys(std::vector<FlowspecRoute> const& routes) {
   std::vector<std::string> out;
   for (FlowspecRoute const& r : routes)
      out.push_back(r.key.toStrepCli().str());
   return out;
}

TEST(Update, ReadsTheRfcExampleAnnouncement) {
   EXPECT_EQ(valid, bytes("ffffffffffffffffffffffffffffffff003e0200000027"
                          "800e1200018500000c0120c0a80001038106048119"
                          "40010100400200c010088006000000000000"));
   UpdateOptions o;
   o.vrfId = 7;
   UpdateContents const u = readUpdate(valid, o);
   EXPECT_EQ(u.action, UpdateAction::accept);
   EXPECT_TRUE(u.problems.empty());
   ASSERT_EQ(keys(u.announced), std::vector<std::string>{key4});
   EXPECT_EQ(u.announced[0].key.vrfId(), 7u);
   EXPECT_EQ(u.announced[0].key.addressFamily(), Ipkit::ipv4);
   EXPECT_EQ(u.announced[0].safi, safiFlowspec);
   EXPECT_TRUE(u.withdrawn.empty());
   EXPECT_TRUE(u.nextHop.isUnspecified());
   EXPECT_EQ(u.otherRoutes, 0u);
}

TEST(Update, BuildsTheRfcExampleByteForByteAndReadsItBack) {
   UpdateContents const read = readUpdate(valid);
   ASSERT_EQ(read.action, UpdateAction::accept);
   UpdateBuild const built = buildUpdates(read.announced, {});
   ASSERT_EQ(built.error, "");
   ASSERT_EQ(built.messages.size(), 1u);
   EXPECT_EQ(hex(built.messages[0]), hex(valid));

   // Withdrawing: MP_UNREACH_NLRI alone, which needs no other attribute.
   UpdateBuild const withdraw = buildUpdates({}, read.announced);
   ASSERT_EQ(withdraw.messages.size(), 1u);
   EXPECT_EQ(hex(withdraw.messages[0]), hex(update(mpUnreach(nlri4))));
   UpdateContents const back = readUpdate(withdraw.messages[0]);
   EXPECT_EQ(back.action, UpdateAction::accept);
   EXPECT_EQ(keys(back.withdrawn), std::vector<std::string>{key4});
   EXPECT_TRUE(back.announced.empty());
}

TEST(Update, BuildsAsPathsAndTheExtendedLength) {
   UpdateContents const read = readUpdate(valid);
   UpdateBuildOptions o;
   o.localAs = 65001;
   Bytes m = buildUpdates(read.announced, {}, o).messages.at(0);
   EXPECT_NE(hex(m).find("40 02 06 02 01 00 00 fd e9"), std::string::npos) << hex(m);
   o.fourOctetAs = false;
   o.localAs = 70000; // above 65535: AS_TRANS
   m = buildUpdates(read.announced, {}, o).messages.at(0);
   EXPECT_NE(hex(m).find("40 02 04 02 01 5b a0"), std::string::npos) << hex(m);

   // Twenty copies of the rule: the MP attribute passes 255 bytes and takes
   // the extended length.
   std::vector<FlowspecRoute> many(20, read.announced[0]);
   UpdateBuild const big = buildUpdates(many, {});
   ASSERT_EQ(big.messages.size(), 1u);
   std::string nlris;
   for (int i = 0; i < 20; ++i)
      nlris += nlri4;
   EXPECT_EQ(hex(big.messages[0]),
             hex(update(attr(0x90, 14, "000185 00 00" + nlris) + origin + emptyPath + rate0)));
   EXPECT_EQ(readUpdate(big.messages[0]).announced.size(), 20u);
}

TEST(Update, SplitsMessagesAtTheSizeLimitAndByFamily) {
   UpdateContents const v4 = readUpdate(valid);
   UpdateContents const v6 = readUpdate(update(mpReach(nlri6, "0002 85") + origin + emptyPath));
   ASSERT_EQ(keys(v6.announced), std::vector<std::string>{key6});
   std::vector<FlowspecRoute> routes(400, v4.announced[0]);
   routes.push_back(v6.announced[0]);
   UpdateBuild const built = buildUpdates(routes, routes);
   ASSERT_EQ(built.error, "");
   std::size_t announced = 0, withdrawn = 0;
   for (Bytes const& m : built.messages) {
      EXPECT_LE(m.size(), 4096u);
      UpdateContents const u = readUpdate(m);
      EXPECT_EQ(u.action, UpdateAction::accept);
      // One kind of MP attribute a message (RFC 7606 section 5.1).
      EXPECT_TRUE(u.announced.empty() || u.withdrawn.empty());
      announced += u.announced.size();
      withdrawn += u.withdrawn.size();
   }
   EXPECT_EQ(announced, 401u);
   EXPECT_EQ(withdrawn, 401u);
   // 13 bytes an NLRI, about 310 a message: two messages for the IPv4 routes
   // and one for the IPv6 one, each way.
   EXPECT_EQ(built.messages.size(), 6u);

   UpdateBuildOptions small;
   small.maxMessageSize = 40;
   EXPECT_EQ(buildUpdates(routes, {}, small).error,
             "an NLRI of 13 bytes does not fit in a message of 40 bytes");
   EXPECT_TRUE(buildUpdates(routes, {}, small).messages.empty());
   std::vector<FlowspecRoute> noFamily(1);
   EXPECT_EQ(buildUpdates(noFamily, {}).error, "the key *;*; has no address family (ipv4 or ipv6)");
   noFamily[0].key = v4.announced[0].key;
   noFamily[0].safi = 1;
   EXPECT_EQ(buildUpdates(noFamily, {}).error, "SAFI 1 is not a flowspec SAFI (133, 134)");
}

TEST(Update, ReadsVpnRoutesWithTheirRouteDistinguisher) {
   // SAFI 134 (RFC 8955 section 8): the NLRI length counts the 8-byte route
   // distinguisher 0:65000:100 in front of the components.
   std::string const vpn = "14 0000fde800000064 0120c0a80001038106048119";
   UpdateOptions o;
   o.vrfId = 1;
   o.vrfOfRd = [](std::uint64_t rd) -> std::optional<Vrf::VrfIdMap::VrfId> {
      if (rd == 0x0000fde800000064) return 42;
      return std::nullopt;
   };
   UpdateContents const u = readUpdate(update(mpReach(vpn, "0001 86") + origin + emptyPath), o);
   ASSERT_EQ(u.action, UpdateAction::accept) << u.problems.at(0).reason;
   ASSERT_EQ(keys(u.announced), std::vector<std::string>{key4});
   EXPECT_EQ(u.announced[0].routeDistinguisher, 0x0000fde800000064u);
   EXPECT_EQ(u.announced[0].safi, safiFlowspecVpn);
   EXPECT_EQ(u.announced[0].key.vrfId(), 42u);
   UpdateBuild const back = buildUpdates(u.announced, {});
   ASSERT_EQ(back.messages.size(), 1u);
   EXPECT_EQ(hex(back.messages[0]), hex(update(mpReach(vpn, "0001 86") + origin + emptyPath)));
}

TEST(Update, KeepsTheNextHopAndPassesOtherFamiliesOver) {
   // IPv6 with a 16-byte next hop; an IPv4 unicast MP_UNREACH_NLRI, an IPv4
   // route in the NLRI field (with NEXT_HOP) and one withdrawn.
   Bytes const m =
       update(mpReach(nlri6, "0002 85", "10 20010db8000000000000000000000001") + origin +
                  emptyPath + attr(0x40, 3, "0a000001") + mpUnreach("180a0000", "0001 01"),
              "18 0a0001", "10 0a02");
   UpdateContents const u = readUpdate(m);
   ASSERT_EQ(u.action, UpdateAction::accept) << u.problems.at(0).reason;
   EXPECT_EQ(keys(u.announced), std::vector<std::string>{key6});
   EXPECT_EQ(u.nextHop, Ipkit::IpGenAddr(Vex::String("2001:db8::1")));
   EXPECT_EQ(u.otherFamilyAttributes, 1u);
   EXPECT_EQ(u.otherRoutes, 2u);
}

// ---- RFC 7606 ------------------------------------------------------------------

struct Case {
   char const* description;
   Bytes message;
   UpdateAction action;
   std::size_t offset;
   std::string reason;
   bool internalPeer = false;
};

std::string const mp = mpReach(nlri4);
std::string const attrsAfterMp = std::string(origin) + emptyPath;

std::vector<Case> const cases = {
    // The message itself (RFC 4271 sections 6.1 and 6.3, left as they were).
    {"marker",
     [] {
        Bytes b = valid;
        b[3] = 0xfe;
        return b;
     }(),
     UpdateAction::sessionReset, 3, "the marker holds 0xfe, not 16 bytes of 0xff"},
    {"message length below 19",
     [] {
        Bytes b = valid;
        b[17] = 18;
        return b;
     }(),
     UpdateAction::sessionReset, 16, "the message length 18 is outside 19 to 4096"},
    {"message length not the size",
     [] {
        Bytes b = valid;
        b[17] = 61;
        return b;
     }(),
     UpdateAction::sessionReset, 16, "the message length says 61 bytes, there are 62"},
    {"not an UPDATE",
     [] {
        Bytes b = valid;
        b[18] = 4;
        return b;
     }(),
     UpdateAction::sessionReset, 18, "message type 4 is not UPDATE (2)"},
    {"withdrawn routes length past the message",
     [] {
        Bytes b = valid;
        b[20] = 60;
        return b;
     }(),
     UpdateAction::sessionReset, 19,
     "the withdrawn routes length 60 leaves no room for the total path attribute "
     "length"},
    {"total path attribute length past the message",
     [] {
        Bytes b = valid;
        b[22] = 40;
        return b;
     }(),
     UpdateAction::sessionReset, 21,
     "the total path attribute length 40 runs past the message (39 bytes left)"},
    {"withdrawn IPv4 prefix longer than 32 (RFC 7606 section 5.3)",
     update(mp + attrsAfterMp, "", "21 0a000000 00"), UpdateAction::sessionReset, 21,
     "withdrawn routes: prefix length 33 is above 32"},
    {"NLRI field prefix past the end (RFC 7606 section 5.3)",
     update(attrsAfterMp + attr(0x40, 3, "0a000001"), "18 0a00"), UpdateAction::sessionReset, 37,
     "NLRI: a /24 prefix runs past the end of the field"},
    // RFC 7606 section 3: a repeated MP attribute.
    {"MP_REACH_NLRI twice", update(mp + mp + attrsAfterMp), UpdateAction::sessionReset, 44,
     "MP_REACH_NLRI appears a second time"},
    {"MP_UNREACH_NLRI twice", update(mpUnreach(nlri4) + mpUnreach(nlri4)),
     UpdateAction::sessionReset, 42, "MP_UNREACH_NLRI appears a second time"},
    // RFC 7606 section 5.3: the family cannot be told.
    {"MP_REACH_NLRI without its SAFI", update(attr(0x80, 14, "0001") + attrsAfterMp),
     UpdateAction::sessionReset, 26,
     "MP_REACH_NLRI of length 2 is too short to name its AFI and SAFI"},
    {"MP_UNREACH_NLRI without its SAFI", update(attr(0x80, 15, "0001")), UpdateAction::sessionReset,
     26, "MP_UNREACH_NLRI of length 2 is too short to name its AFI and SAFI"},
    // RFC 7606 section 7.11, and 5.3 where NLRIs cannot be found.
    {"next hop length wrong for the family",
     update(mpReach(nlri4, "0001 85", "05 0102030405") + attrsAfterMp),
     UpdateAction::afiSafiDisable, 29,
     "MP_REACH_NLRI (AFI 1 SAFI 133) has a next hop length of 5 bytes, not one this "
     "family allows"},
    {"next hop past the attribute", update(attr(0x80, 14, "000185 10 0a00") + attrsAfterMp),
     UpdateAction::afiSafiDisable, 29,
     "MP_REACH_NLRI (AFI 1 SAFI 133) is too short for its next hop length 16"},
    {"NLRI length past the attribute",
     update(mpReach("0d 0120c0a80001038106048119") + attrsAfterMp), UpdateAction::afiSafiDisable,
     31,
     "MP_REACH_NLRI (AFI 1 SAFI 133): an NLRI of length 13 runs past the attribute (12 "
     "bytes left); the NLRIs after it cannot be found"},
    {"NLRI length 0", update(mpReach(std::string(nlri4) + "00") + attrsAfterMp),
     UpdateAction::afiSafiDisable, 44,
     "MP_REACH_NLRI (AFI 1 SAFI 133): an NLRI has length 0; the NLRIs after it cannot "
     "be found"},
    {"two-byte NLRI length past the attribute",
     update(mpUnreach(std::string(nlri4) + "f1 00 0102")), UpdateAction::afiSafiDisable, 42,
     "MP_UNREACH_NLRI (AFI 1 SAFI 133): an NLRI of length 256 runs past the attribute "
     "(2 bytes left); the NLRIs after it cannot be found"},
    {"two-byte NLRI length cut short", update(mpUnreach(std::string(nlri4) + "f1")),
     UpdateAction::afiSafiDisable, 42,
     "MP_UNREACH_NLRI (AFI 1 SAFI 133): the NLRI length is cut short; the NLRIs after "
     "it "
     "cannot be found"},
    // RFC 7606 section 4 with 5.1: the attribute list overruns.
    {"attribute past the list after MP_REACH_NLRI", update(mp + origin + "40 02 09 0201"),
     UpdateAction::treatAsWithdraw, 48,
     "AS_PATH of length 9 runs past the path attributes (2 bytes left)"},
    {"a 2-byte stub after MP_REACH_NLRI", update(mp + attrsAfterMp + "4001"),
     UpdateAction::treatAsWithdraw, 51, "2 bytes are left, too few for an attribute header"},
    {"attribute past the list before any MP attribute",
     update(std::string(origin) + "40 02 09 0201"), UpdateAction::sessionReset, 27,
     "AS_PATH of length 9 runs past the path attributes (2 bytes left); no "
     "MP_REACH_NLRI "
     "or MP_UNREACH_NLRI came before it"},
    // RFC 7606 section 3: flags.
    {"ORIGIN flagged optional", update(mp + "c0 01 01 00" + emptyPath),
     UpdateAction::treatAsWithdraw, 44,
     "ORIGIN has flags 0xc0; its optional and transitive bits must be 0x40"},
    {"MP_REACH_NLRI flagged transitive",
     update(attr(0xc0, 14, "000185 00 00" + std::string(nlri4)) + attrsAfterMp),
     UpdateAction::treatAsWithdraw, 23,
     "MP_REACH_NLRI has flags 0xc0; its optional and transitive bits must be 0x80"},
    // RFC 7606 section 7, attribute by attribute.
    {"ORIGIN undefined (7.1)", update(mp + "40 01 01 03" + emptyPath),
     UpdateAction::treatAsWithdraw, 44, "ORIGIN has the undefined value 3"},
    {"ORIGIN length (7.1)", update(mp + "40 01 02 0000" + emptyPath), UpdateAction::treatAsWithdraw,
     44, "ORIGIN has length 2, not 1"},
    {"AS_PATH segment type (7.2)", update(mp + origin + "40 02 06 05 01 0000fde9"),
     UpdateAction::treatAsWithdraw, 48, "AS_PATH has a segment of the undefined type 5"},
    {"AS_PATH empty segment (7.2)", update(mp + origin + "40 02 02 0200"),
     UpdateAction::treatAsWithdraw, 48, "AS_PATH has an empty segment"},
    {"AS_PATH segment past its end (7.2)", update(mp + origin + "40 02 06 02 02 0000fde9"),
     UpdateAction::treatAsWithdraw, 48,
     "AS_PATH has a segment of 2 4-byte AS numbers that runs past it"},
    {"AS_PATH segment header cut (7.2)", update(mp + origin + "40 02 07 02 01 0000fde9 02"),
     UpdateAction::treatAsWithdraw, 48, "AS_PATH ends inside a segment header"},
    {"NEXT_HOP length (7.3)", update(mp + attrsAfterMp + attr(0x40, 3, "0a00000102")),
     UpdateAction::treatAsWithdraw, 51, "NEXT_HOP has length 5, not 4"},
    {"MULTI_EXIT_DISC length (7.4)", update(mp + attrsAfterMp + attr(0x80, 4, "000001")),
     UpdateAction::treatAsWithdraw, 51, "MULTI_EXIT_DISC has length 3, not 4"},
    {"LOCAL_PREF length from an external peer (7.5)",
     update(mp + attrsAfterMp + attr(0x40, 5, "000064")), UpdateAction::attributeDiscard, 51,
     "LOCAL_PREF has length 3, not 4"},
    {"LOCAL_PREF length from an internal peer (7.5)",
     update(mp + attrsAfterMp + attr(0x40, 5, "000064")), UpdateAction::treatAsWithdraw, 51,
     "LOCAL_PREF has length 3, not 4", true},
    {"ATOMIC_AGGREGATE length (7.6)", update(mp + attrsAfterMp + attr(0x40, 6, "00")),
     UpdateAction::attributeDiscard, 51, "ATOMIC_AGGREGATE has length 1, not 0"},
    {"AGGREGATOR length (7.7)", update(mp + attrsAfterMp + attr(0xc0, 7, "0000fde90a0000")),
     UpdateAction::attributeDiscard, 51, "AGGREGATOR has length 7, not 8"},
    {"COMMUNITIES length (7.8)", update(mp + attrsAfterMp + attr(0xc0, 8, "000001")),
     UpdateAction::treatAsWithdraw, 51, "COMMUNITIES has length 3, not a non-zero multiple of 4"},
    {"COMMUNITIES empty (7.8)", update(mp + attrsAfterMp + attr(0xc0, 8, "")),
     UpdateAction::treatAsWithdraw, 51, "COMMUNITIES has length 0, not a non-zero multiple of 4"},
    {"ORIGINATOR_ID length (7.9)", update(mp + attrsAfterMp + attr(0x80, 9, "0a00000102")),
     UpdateAction::treatAsWithdraw, 51, "ORIGINATOR_ID has length 5, not 4"},
    {"CLUSTER_LIST length (7.10)", update(mp + attrsAfterMp + attr(0x80, 10, "0a0000010203")),
     UpdateAction::treatAsWithdraw, 51, "CLUSTER_LIST has length 6, not a non-zero multiple of 4"},
    {"EXTENDED_COMMUNITIES length (7.14)",
     update(mp + attrsAfterMp + attr(0xc0, 16, "80060000000000")), UpdateAction::treatAsWithdraw,
     51, "EXTENDED_COMMUNITIES has length 7, not a non-zero multiple of 8"},
    {"IPv6 address specific extended communities length (7.15)",
     update(mp + attrsAfterMp + attr(0xc0, 25, "000220010db8000000000000000000000001")),
     UpdateAction::treatAsWithdraw, 51,
     "IPv6_EXTENDED_COMMUNITIES has length 18, not a non-zero multiple of 20"},
    {"LARGE_COMMUNITY length (RFC 8092 section 6)",
     update(mp + attrsAfterMp + attr(0xc0, 32, "0000fde90000000100")),
     UpdateAction::treatAsWithdraw, 51,
     "LARGE_COMMUNITY has length 9, not a non-zero multiple of 12"},
    {"AS4_PATH malformed (RFC 6793 section 6)",
     update(mp + attrsAfterMp + attr(0xc0, 17, "0201 0000")), UpdateAction::attributeDiscard, 51,
     "AS4_PATH has a segment of 1 4-byte AS numbers that runs past it"},
    {"AS4_AGGREGATOR length (RFC 6793 section 6)",
     update(mp + attrsAfterMp + attr(0xc0, 18, "0000fde90a0000")), UpdateAction::attributeDiscard,
     51, "AS4_AGGREGATOR has length 7, not 8"},
    // RFC 7606 section 3: repeated attributes, missing ones, unknown ones.
    {"ORIGIN twice", update(mp + attrsAfterMp + origin), UpdateAction::attributeDiscard, 51,
     "ORIGIN appears a second time; this copy is discarded"},
    {"ORIGIN missing", update(mp + emptyPath), UpdateAction::treatAsWithdraw, 19,
     "the UPDATE announces routes without ORIGIN"},
    {"AS_PATH missing", update(mp + origin), UpdateAction::treatAsWithdraw, 19,
     "the UPDATE announces routes without AS_PATH"},
    {"NEXT_HOP missing for the NLRI field", update(attrsAfterMp, "18 0a0001"),
     UpdateAction::treatAsWithdraw, 19, "the UPDATE announces IPv4 routes without NEXT_HOP"},
    {"an unknown well-known attribute", update(mp + attrsAfterMp + attr(0x40, 99, "00")),
     UpdateAction::sessionReset, 51, "attribute 99 is flagged well-known but is not one"},
    {"an unknown optional attribute", update(mp + attrsAfterMp + attr(0xc0, 99, "00")),
     UpdateAction::accept, 0, ""},
    // RFC 7606 section 3: the strongest of several.
    {"a discard and a withdraw",
     update(mp + attrsAfterMp + attr(0x40, 6, "00") + attr(0x80, 4, "00")),
     UpdateAction::treatAsWithdraw, 55, "MULTI_EXIT_DISC has length 1, not 4"},
};

TEST(Update, HandlesMalformedAttributesAsRfc7606Says) {
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      UpdateOptions o;
      o.internalPeer = c.internalPeer;
      UpdateContents const u = readUpdate(c.message, o);
      EXPECT_EQ(updateActionText(u.action), std::string(updateActionText(c.action)));
      if (c.action == UpdateAction::accept) {
         EXPECT_TRUE(u.problems.empty());
         continue;
      }
      ASSERT_FALSE(u.problems.empty());
      // The problem that decided the action.
      UpdateProblem const* decisive = nullptr;
      for (UpdateProblem const& p : u.problems)
         if (p.action == u.action && !decisive) decisive = &p;
      ASSERT_NE(decisive, nullptr);
      EXPECT_EQ(decisive->offset, c.offset);
      EXPECT_EQ(decisive->reason, c.reason);
      switch (u.action) {
      case UpdateAction::attributeDiscard:
         EXPECT_EQ(keys(u.announced).size(), 1u);
         break;
      case UpdateAction::treatAsWithdraw:
         EXPECT_TRUE(u.announced.empty());
         break;
      default:
         EXPECT_TRUE(u.announced.empty());
         EXPECT_TRUE(u.withdrawn.empty());
      }
   }
}

TEST(Update, TreatAsWithdrawWithdrawsWhatWasAnnounced) {
   UpdateContents const u = readUpdate(update(mp + "40 01 01 07" + emptyPath));
   EXPECT_EQ(u.action, UpdateAction::treatAsWithdraw);
   EXPECT_TRUE(u.announced.empty());
   EXPECT_EQ(keys(u.withdrawn), std::vector<std::string>{key4});
   EXPECT_EQ(u.withdrawn[0].actions, RuleActions());
}

TEST(Update, AnNlriThatDoesNotDecodeIsTreatAsWithdrawAndKeptAsBytes) {
   // Component type 14 does not exist (RFC 8955 section 4.2); its length is
   // intact, so the NLRI after it is still found.
   std::string const bad = "03 0e 81 06";
   UpdateContents const u = readUpdate(update(mpReach(bad + nlri4) + attrsAfterMp));
   EXPECT_EQ(u.action, UpdateAction::treatAsWithdraw);
   EXPECT_EQ(keys(u.withdrawn), std::vector<std::string>{key4});
   ASSERT_EQ(u.problems.size(), 1u);
   EXPECT_EQ(u.problems[0].nlri, bytes("030e8106"));
   EXPECT_EQ(
       u.problems[0].reason.rfind("MP_REACH_NLRI (AFI 1 SAFI 133): an NLRI does not decode: ", 0),
       0u)
       << u.problems[0].reason;
   EXPECT_GE(u.problems[0].offset, 32u);
   EXPECT_LE(u.problems[0].offset, 34u);

   // In a withdrawal the good keys are withdrawn all the same.
   UpdateContents const w = readUpdate(update(mpUnreach(bad + nlri4)));
   EXPECT_EQ(w.action, UpdateAction::treatAsWithdraw);
   EXPECT_EQ(keys(w.withdrawn), std::vector<std::string>{key4});
}

TEST(Update, ActionsComeFromTheExtendedCommunities) {
   // Rate 0 (drop) and a route target that is no action: the route target is
   // passed over as a note, the rule is announced.
   Bytes const m = update(mp + attrsAfterMp + attr(0xc0, 16, "0002fde800000064 8006000000000000"));
   UpdateContents const u = readUpdate(m);
   EXPECT_EQ(u.action, UpdateAction::accept);
   ASSERT_EQ(u.announced.size(), 1u);
   EXPECT_TRUE(u.announced[0].actions.actionFieldSet.trafficDrop());
   ASSERT_EQ(u.notes.size(), 1u);
   EXPECT_EQ(u.notes[0].offset, 54u);
   EXPECT_EQ(u.notes[0].reason, "EXTENDED_COMMUNITIES: community 0002: not a flowspec action");

   // No flowspec action at all: RFC 8955 section 7's default, accept.
   UpdateContents const none = readUpdate(update(mp + attrsAfterMp));
   ASSERT_EQ(none.announced.size(), 1u);
   EXPECT_TRUE(none.announced[0].actions.actionFieldSet.trafficPermit());

   // Two different rates cannot be decoded (RFC 8955 section 10, RFC 7606
   // section 7.14): treat-as-withdraw.
   UpdateContents const conflict =
       readUpdate(update(mp + attrsAfterMp + attr(0xc0, 16, "8006000000000000 8006000046160000")));
   EXPECT_EQ(conflict.action, UpdateAction::treatAsWithdraw);
   EXPECT_EQ(keys(conflict.withdrawn), std::vector<std::string>{key4});
   ASSERT_FALSE(conflict.problems.empty());
   EXPECT_EQ(conflict.problems[0].offset, 62u);
   EXPECT_EQ(conflict.problems[0].reason.rfind("EXTENDED_COMMUNITIES: community 8006: ", 0), 0u)
       << conflict.problems[0].reason;

   // Redirect to the next hop (08 00): the address is the MP_REACH_NLRI's.
   UpdateContents const nh = readUpdate(update(mpReach(nlri4, "0001 85", "04 c0000201") +
                                               attrsAfterMp + attr(0xc0, 16, "0800000000000001")));
   ASSERT_EQ(nh.action, UpdateAction::accept);
   ASSERT_EQ(nh.announced.size(), 1u);
   TrafficRedirect const& r = nh.announced[0].actions.trafficRedirect;
   EXPECT_EQ(r.addr().stringValue(), "192.0.2.1");
   EXPECT_TRUE(r.copy());
   EXPECT_TRUE(nh.announced[0].actions.actionFieldSet.trafficRedirect());

   // Redirects to a VRF through the caller's route targets, both ways.
   UpdateOptions o;
   o.routeTargets = {{{RouteTarget::Form::as2, 65000, 100}, 5}};
   Bytes const vrf = update(mp + attrsAfterMp + attr(0xc0, 16, "8008fde800000064"));
   UpdateContents const v = readUpdate(vrf, o);
   ASSERT_EQ(v.announced.size(), 1u);
   EXPECT_EQ(v.announced[0].actions.trafficRedirect.vrfId(), 5u);
   UpdateBuildOptions b;
   b.routeTargets = o.routeTargets;
   UpdateBuild const back = buildUpdates(v.announced, {}, b);
   ASSERT_EQ(back.messages.size(), 1u);
   EXPECT_EQ(back.messages[0], vrf);
   // Without the table the redirect is not taken, and said so.
   UpdateContents const unknown = readUpdate(vrf);
   EXPECT_EQ(unknown.action, UpdateAction::accept);
   ASSERT_EQ(unknown.notes.size(), 1u);
   EXPECT_FALSE(unknown.announced.at(0).actions.actionFieldSet.trafficRedirect());
   EXPECT_EQ(buildUpdates(v.announced, {})
                 .error.rfind("the actions of " + std::string(key4) + " do not encode: ", 0),
             0u);
}

TEST(Update, RedirectToIpv6TravelsInTheIpv6ExtendedCommunities) {
   // RFC 5701's attribute 25, community 000c: 2001:db8::1, copy.
   std::string const v6 = "000c 20010db8000000000000000000000001 0001";
   Bytes const m = update(mpReach(nlri6, "0002 85") + attrsAfterMp + attr(0xc0, 25, v6));
   UpdateContents const u = readUpdate(m);
   ASSERT_EQ(u.action, UpdateAction::accept);
   ASSERT_EQ(u.announced.size(), 1u);
   EXPECT_EQ(u.announced[0].actions.trafficRedirect.addr().stringValue(), "2001:db8::1");
   EXPECT_TRUE(u.announced[0].actions.trafficRedirect.copy());
   UpdateBuild const back = buildUpdates(u.announced, {});
   ASSERT_EQ(back.messages.size(), 1u);
   EXPECT_EQ(back.messages[0], m);
   // A community of the IPv6 attribute that is no action: a note there.
   UpdateContents const other =
       readUpdate(update(mpReach(nlri6, "0002 85") + attrsAfterMp +
                         attr(0xc0, 25, "0002 20010db8000000000000000000000001 0064")));
   ASSERT_EQ(other.notes.size(), 1u);
   EXPECT_EQ(other.notes[0].offset, 52u);
   EXPECT_EQ(other.notes[0].reason.rfind("IPv6_EXTENDED_COMMUNITIES: ", 0), 0u)
       << other.notes[0].reason;
}

TEST(Update, BaseOffsetMovesEveryOffset) {
   UpdateOptions o;
   o.baseOffset = 1000;
   UpdateContents const u = readUpdate(update(mp + "40 01 01 07" + emptyPath), o);
   ASSERT_EQ(u.problems.size(), 1u);
   EXPECT_EQ(u.problems[0].offset, 1044u);
}

TEST(Update, TwoByteAsPathsWhenTheSessionHasNoFourOctetAs) {
   UpdateOptions o;
   o.fourOctetAs = false;
   Bytes const m = update(mp + origin + "40 02 04 02 01 fde9" + attr(0xc0, 7, "fde90a000001"));
   EXPECT_EQ(readUpdate(m, o).action, UpdateAction::accept);
   EXPECT_EQ(readUpdate(m).action, UpdateAction::treatAsWithdraw);
}

// Every prefix of valid messages: as it stands (the header's length then
// disagrees) and with the header's length made to agree, so that the reader
// goes as deep as the bytes allow. Each prefix is its own allocation, so that
// AddressSanitizer sees a read past it.
TEST(Update, EveryPrefixOfValidMessagesIsRefusedCleanly) {
   std::vector<Bytes> const messages = {
       valid,
       update(mpReach(nlri6, "0002 85", "10 20010db8000000000000000000000001") + origin +
                  "40 02 06 02 01 0000fde9" + attr(0x40, 3, "0a000001") + rate0,
              "18 0a0001", "10 0a02"),
       update(mpUnreach(std::string(nlri4) + nlri4)),
       update(mpReach("14 0000fde800000064 0120c0a80001038106048119", "0001 86") + origin +
              emptyPath),
   };
   for (Bytes const& whole : messages) {
      UpdateContents const full = readUpdate(whole);
      ASSERT_EQ(full.action, UpdateAction::accept) << hex(whole);
      for (std::size_t n = 0; n < whole.size(); ++n) {
         SCOPED_TRACE("prefix of " + std::to_string(n) + " bytes of " + hex(whole));
         Bytes cut(whole.begin(), whole.begin() + long(n));
         UpdateContents const u = readUpdate(cut);
         EXPECT_EQ(u.action, UpdateAction::sessionReset);
         ASSERT_FALSE(u.problems.empty());
         EXPECT_LE(u.problems[0].offset, n);
         if (n < 19) continue;
         cut[16] = std::uint8_t(n >> 8);
         cut[17] = std::uint8_t(n);
         UpdateContents const fixed = readUpdate(cut);
         // Shorter is never the same message read cleanly.
         ASSERT_FALSE(fixed.problems.empty() && fixed.announced == full.announced &&
                      fixed.withdrawn == full.withdrawn && fixed.otherRoutes == full.otherRoutes);
         for (UpdateProblem const& p : fixed.problems)
            EXPECT_LE(p.offset, n) << p.reason;
      }
   }
}

} // namespace
} // namespace Flowspec
