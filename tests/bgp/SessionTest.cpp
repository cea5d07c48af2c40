// The session state machine fed bytes directly: what it answers to each
// malformed or misplaced message (RFC 4271 section 6, RFC 7606), timers,
// cuts of the input, and End-of-RIB.
#include "bgp/Session.h"

#include "BgpTestUtil.h"
#include "WireTestUtil.h"

#include "Flowspec/wire/Update.h"

#include <gtest/gtest.h>

namespace Bgp {
namespace {

using namespace std::chrono_literals;
using BgpTest::header;
using Bytes = std::vector<std::uint8_t>;

// Records what the session tells.
struct Recorder : SessionHandler {
   void established(Open const& peer) override {
      log.push_back("established AS " + std::to_string(peer.as));
   }
   void update(Flowspec::UpdateContents const& u) override {
      log.push_back(std::string("update ") + Flowspec::updateActionText(u.action) + " +" +
                    std::to_string(u.announced.size()) + " -" + std::to_string(u.withdrawn.size()));
   }
   void endOfRib(AfiSafi family) override { log.push_back("end-of-rib " + afiSafiText(family)); }
   void down(std::string const& why) override { log.push_back("down: " + why); }
   std::vector<std::string> log;
};

SessionConfig config() {
   SessionConfig c;
   c.localAs = 65000;
   c.routerId = 0x7f000001;
   c.holdTime = 90;
   c.peerAs = 65001;
   return c;
}

Bytes peerOpen(std::uint32_t as = 65001, std::uint16_t hold = 30) {
   Open o;
   o.as = as;
   o.holdTime = hold;
   o.bgpIdentifier = 0x0a000001;
   o.multiprotocol = {{1, 133}};
   o.fourOctetAs = true;
   return buildOpen(o);
}

Bytes cat(std::initializer_list<Bytes> parts) {
   Bytes out;
   for (Bytes const& p : parts)
      out.insert(out.end(), p.begin(), p.end());
   return out;
}

Bytes announce(std::string const& key) {
   Flowspec::FlowspecRoute r;
   r.key = WireTest::cliKey(key);
   r.actions.actionFieldSet.trafficDropIs(true);
   Flowspec::UpdateBuildOptions o;
   o.localAs = 65001;
   auto const b = Flowspec::buildUpdates(std::vector{r}, {}, o);
   EXPECT_EQ(b.error, "");
   return b.messages.at(0);
}

// The NOTIFICATION the session wrote after its OPEN and KEEPALIVE, as
// "code/subcode data", or "" when it wrote none.
std::string notificationSent(Bytes const& out) {
   std::size_t at = 0;
   while (at + headerSize <= out.size()) {
      std::size_t const length = std::size_t(out[at + 16]) << 8 | out[at + 17];
      if (out[at + 18] == 3) {
         std::string s = std::to_string(out[at + 19]) + "/" + std::to_string(out[at + 20]);
         if (length > 21)
            s += " " + WireTest::hex(Bytes(out.begin() + at + 21, out.begin() + at + length));
         return s;
      }
      at += length;
   }
   return "";
}

Clock::time_point const t0{};

TEST(BgpSession, ReachesEstablishedAndAnswersKeepalives) {
   Recorder r;
   Session s(config(), r);
   s.connected(t0);
   EXPECT_EQ(s.state(), SessionState::openSent);
   // Our OPEN: version 4, AS 65000, hold 90, identifier 127.0.0.1, the four
   // flowspec families, route refresh and 4-octet AS.
   EXPECT_EQ(WireTest::hex(s.output()),
             "ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff 00 3f 01 04 fd e8 00 5a 7f 00 00 01 "
             "22 02 20 01 04 00 01 00 85 01 04 00 02 00 85 01 04 00 01 00 86 01 04 00 02 00 86 "
             "02 00 41 04 00 00 fd e8");
   s.output().clear();
   s.receive(peerOpen(), t0);
   EXPECT_EQ(s.state(), SessionState::openConfirm);
   EXPECT_EQ(s.output(), buildKeepalive());
   EXPECT_EQ(s.holdTime(), 30);
   s.output().clear();
   s.receive(buildKeepalive(), t0);
   EXPECT_EQ(s.state(), SessionState::established);
   // A keepalive every hold time / 3; Hold Timer Expired after 30 s of silence.
   EXPECT_EQ(s.nextTimer(), t0 + 10s);
   s.tick(t0 + 10s);
   EXPECT_EQ(s.output(), buildKeepalive());
   s.output().clear();
   s.receive(buildKeepalive(), t0 + 20s);
   s.tick(t0 + 49s);
   EXPECT_EQ(s.state(), SessionState::established);
   s.tick(t0 + 50s);
   EXPECT_EQ(s.state(), SessionState::idle);
   EXPECT_EQ(notificationSent(s.output()), "4/0");
   EXPECT_EQ(r.log, (std::vector<std::string>{"established AS 65001",
                                              "down: sent NOTIFICATION Hold Timer Expired (4/0)"}));
}

struct BadInput {
   char const* description;
   /// Sent after our OPEN; "established" cases first complete the OPENs.
   bool established;
   Bytes bytes;
   /// The NOTIFICATION we send: "code/subcode[ data]".
   char const* notification;
};

Bytes withByte(Bytes b, std::size_t at, std::uint8_t value) {
   b.at(at) = value;
   return b;
}

TEST(BgpSession, AnswersEachMalformationWithItsNotification) {
   Bytes badMarker = buildKeepalive();
   badMarker[3] = 0xfe;
   Bytes const garbage = [] {
      Bytes g(64 * 1024);
      std::uint32_t x = 12345;
      for (auto& b : g) {
         x = x * 1103515245 + 12345;
         b = std::uint8_t(x >> 16);
      }
      return g;
   }();
   Bytes update = announce("10.0.0.0/24;*;");
   std::vector<BadInput> const cases = {
       {"a marker byte not 0xff", false, badMarker, "1/1"},
       {"64 KiB of garbage", true, garbage, "1/1"},
       {"a length below 19", false, withByte(buildKeepalive(), 17, 18), "1/2 00 12"},
       {"a length above 4096", false, header(4097, 2), "1/2 10 01"},
       {"a KEEPALIVE of 20 bytes", false, header(20, 4), "1/2 00 14"},
       {"an OPEN shorter than 29 bytes", false, header(28, 1), "1/2 00 1c"},
       {"an UPDATE of 22 bytes", true, header(22, 2), "1/2 00 16"},
       {"unknown message type 9", false, header(19, 9), "1/3 09"},
       {"unknown message type 0", true, header(19, 0), "1/3 00"},
       {"an UPDATE before the OPEN", false, update, "5/1"},
       {"a KEEPALIVE before the OPEN", false, buildKeepalive(), "5/1"},
       {"an OPEN in Established", true, peerOpen(), "5/3"},
       {"OPEN version 3", false, withByte(peerOpen(), 19, 3), "2/1 00 04"},
       {"OPEN from another AS", false, peerOpen(65009), "2/2 fd f1"},
       {"OPEN hold time 2", false, peerOpen(65001, 2), "2/6"},
       {"OPEN BGP identifier 0", false,
        withByte(withByte(withByte(withByte(peerOpen(), 24, 0), 25, 0), 26, 0), 27, 0), "2/3"},
       {"OPEN optional parameter of type 1", false, withByte(peerOpen(), 29, 1), "2/4"},
       {"OPEN parameters past the message", false, withByte(peerOpen(), 28, 200), "2/0"},
       {"UPDATE attribute length past the message", true, withByte(update, 22, 0xff), "3/1"},
       {"UPDATE withdrawn length past the message", true, withByte(update, 19, 0x40), "3/1"},
   };
   for (BadInput const& c : cases) {
      SCOPED_TRACE(c.description);
      Recorder r;
      Session s(config(), r);
      s.connected(t0);
      if (c.established) {
         s.receive(cat({peerOpen(), buildKeepalive()}), t0);
         ASSERT_EQ(s.state(), SessionState::established);
      }
      s.output().clear();
      s.receive(c.bytes, t0);
      EXPECT_EQ(s.state(), SessionState::idle);
      EXPECT_EQ(notificationSent(s.output()), c.notification);
      ASSERT_FALSE(r.log.empty());
      EXPECT_EQ(r.log.back().rfind("down: sent NOTIFICATION ", 0), 0u) << r.log.back();
      // After the end, nothing more is read or written.
      std::size_t const written = s.output().size();
      s.receive(cat({peerOpen(), buildKeepalive()}), t0);
      s.tick(t0 + 1000s);
      EXPECT_EQ(s.output().size(), written);
   }
}

TEST(BgpSession, MalformedFlowspecIsWithdrawnAndTheSessionStays) {
   Recorder r;
   Session s(config(), r);
   s.connected(t0);
   s.receive(cat({peerOpen(), buildKeepalive()}), t0);
   // A component type 15 that does not exist: the NLRI length holds, so
   // the route is treated as withdrawn (RFC 8955 section 10, RFC 7606).
   Bytes bad = announce("10.0.0.0/24;*;");
   Bytes const prefix{0x01, 0x18, 0x0a, 0x00, 0x00};
   auto at = std::search(bad.begin(), bad.end(), prefix.begin(), prefix.end());
   ASSERT_NE(at, bad.end());
   *at = 15;
   s.output().clear();
   s.receive(bad, t0);
   // An ORIGIN with a value of 7: treat-as-withdraw of the route it carried.
   Bytes badOrigin = announce("10.1.0.0/16;*;");
   for (std::size_t i = 23; i + 3 < badOrigin.size(); ++i) {
      if (badOrigin[i] == 0x40 && badOrigin[i + 1] == 1 && badOrigin[i + 2] == 1) {
         badOrigin[i + 3] = 7;
         break;
      }
   }
   s.receive(badOrigin, t0);
   s.receive(announce("10.2.0.0/16;*;"), t0);
   EXPECT_EQ(s.state(), SessionState::established);
   EXPECT_EQ(s.output(), Bytes{});
   EXPECT_EQ(r.log,
             (std::vector<std::string>{"established AS 65001", "update treat-as-withdraw +0 -0",
                                       "update treat-as-withdraw +0 -1", "update accept +1 -0"}));
}

TEST(BgpSession, EveryCutOfTheInputReadsTheSame) {
   Bytes const stream = cat({peerOpen(), buildKeepalive(), announce("10.0.0.0/24;*;IP:=6;"),
                             buildEndOfRib({1, 133}), buildEndOfRib({1, 1}), buildKeepalive()});
   std::vector<std::string> const expected = {"established AS 65001", "update accept +1 -0",
                                              "end-of-rib IPv4 flowspec",
                                              "end-of-rib IPv4 unicast"};
   for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
      Recorder r;
      Session s(config(), r);
      s.connected(t0);
      s.receive(std::span(stream).first(cut), t0);
      // Every prefix is a valid beginning: nothing is refused.
      EXPECT_NE(s.state(), SessionState::idle) << "cut at " << cut;
      s.receive(std::span(stream).subspan(cut), t0);
      EXPECT_EQ(r.log, expected) << "cut at " << cut;
   }
   // One byte at a time.
   Recorder r;
   Session s(config(), r);
   s.connected(t0);
   for (std::uint8_t b : stream)
      s.receive(std::span(&b, 1), t0);
   EXPECT_EQ(r.log, expected);
}

TEST(BgpSession, NotificationFromThePeerEndsTheSession) {
   Recorder r;
   Session s(config(), r);
   s.connected(t0);
   s.receive(cat({peerOpen(), buildKeepalive()}), t0);
   s.output().clear();
   s.receive(buildNotification({6, 2, {}}), t0);
   EXPECT_EQ(s.state(), SessionState::idle);
   EXPECT_EQ(s.output(), Bytes{});
   EXPECT_EQ(r.log.back(), "down: received NOTIFICATION Cease (6/2, Administrative Shutdown)");
}

TEST(BgpSession, RouteRefreshBothWays) {
   Recorder r;
   Session s(config(), r);
   s.connected(t0);
   EXPECT_FALSE(s.requestRefresh({1, 133})); // not established yet
   Open o;
   o.as = 65001;
   o.bgpIdentifier = 0x0a000001;
   o.routeRefresh = true;
   s.receive(cat({buildOpen(o), buildKeepalive()}), t0);
   s.output().clear();
   ASSERT_TRUE(s.requestRefresh({2, 133}));
   EXPECT_EQ(WireTest::hex(s.output()),
             "ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff 00 17 05 00 02 00 85");
   // The peer asks us: we announce nothing, so nothing is sent, and the
   // session stays.
   s.output().clear();
   s.receive(buildRouteRefresh({1, 133}), t0);
   EXPECT_EQ(s.state(), SessionState::established);
   EXPECT_EQ(s.output(), Bytes{});
   EXPECT_EQ(s.received(MessageType::routeRefresh), 1u);
   // A peer without the capability is not asked.
   Recorder r2;
   Session plain(config(), r2);
   plain.connected(t0);
   plain.receive(cat({peerOpen(), buildKeepalive()}), t0);
   EXPECT_FALSE(plain.requestRefresh({1, 133}));
}

TEST(BgpMessage, TextsAndEndOfRib) {
   EXPECT_EQ(notificationText(1, 1), "Message Header Error (1/1, Connection Not Synchronized)");
   EXPECT_EQ(notificationText(4, 0), "Hold Timer Expired (4/0)");
   EXPECT_EQ(notificationText(6, 99), "Cease (6/99, unknown subcode)");
   EXPECT_EQ(notificationText(42, 1), "error code 42 (42/1, unknown subcode)");
   EXPECT_EQ(afiSafiText({2, 134}), "IPv6 VPN flowspec");
   EXPECT_EQ(
       WireTest::hex(buildEndOfRib({2, 133})),
       "ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff 00 1d 02 00 00 00 06 80 0f 03 00 02 85");
   EXPECT_EQ(endOfRib(buildEndOfRib({2, 133})), (AfiSafi{2, 133}));
   EXPECT_EQ(endOfRib(announce("10.0.0.0/24;*;")), std::nullopt);
   // The same marker with a two-byte attribute length.
   Bytes extended = WireTest::bytes("ffffffffffffffffffffffffffffffff 001e 02 0000 0007 90 0f 0003 "
                                    "0001 85");
   EXPECT_EQ(endOfRib(extended), (AfiSafi{1, 133}));
}

} // namespace
} // namespace Bgp
