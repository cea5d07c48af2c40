// Two speakers in one process over loopback: one connects (active), the
// other accepts (passive); the session comes up on both sides and goes down
// on both when one stops. Also what start() refuses.
#include "bgp/Speaker.h"

#include "Flowspec/FlowspecStatedb.h"

#include <gtest/gtest.h>

namespace Bgp {
namespace {

using namespace std::chrono_literals;

std::string text(std::vector<SpeakerEvent> const& events) {
   std::string s;
   for (SpeakerEvent const& e : events)
      s += std::string(speakerEventText(e.kind)) + " " + e.peer + ": " + e.text + "\n";
   return s;
}

TEST(BgpSpeaker, ActiveAndPassiveMeet) {
   auto treeA = Flowspec::configFactory("a");
   auto treeB = Flowspec::configFactory("b");
   SpeakerConfig b;
   b.port = 0;
   b.localAs = 65001;
   b.routerId = 0x0a000002;
   b.holdTime = 9;
   b.peers = {{"127.0.0.1", 65000, 0}};
   Speaker passive(b, treeB);
   ASSERT_EQ(passive.start(), "");
   SpeakerConfig a;
   a.port = 0;
   a.localAs = 65000;
   a.routerId = 0x0a000001;
   a.peers = {{"127.0.0.1", 65001, passive.port()}};
   Speaker active(a, treeA);
   ASSERT_EQ(active.start(), "");

   std::vector<SpeakerEvent> ea, eb;
   auto const deadline = Clock::now() + 10s;
   while ((ea.empty() || eb.empty()) && Clock::now() < deadline) {
      active.poll(10ms, ea);
      passive.poll(10ms, eb);
   }
   EXPECT_EQ(text(ea), "session-up 127.0.0.1: AS 65001, identifier 10.0.0.2, hold time 9 s\n");
   EXPECT_EQ(text(eb), "session-up 127.0.0.1: AS 65000, identifier 10.0.0.1, hold time 9 s\n");
   EXPECT_EQ(active.sessions().at(0).second, SessionState::established);
   ea.clear();
   eb.clear();
   active.stop(ea);
   for (int i = 0; i < 100 && eb.empty(); ++i)
      passive.poll(10ms, eb);
   EXPECT_EQ(text(ea),
             "session-down 127.0.0.1: sent NOTIFICATION Cease (6/2, Administrative Shutdown)\n");
   EXPECT_EQ(text(eb), "session-down 127.0.0.1: received NOTIFICATION Cease (6/2, "
                       "Administrative Shutdown)\n");
   EXPECT_EQ(passive.sessions().at(0).second, SessionState::idle);
}

TEST(BgpSpeaker, StartRefusesWhatItCannotListenOn) {
   auto tree = Flowspec::configFactory("c");
   SpeakerConfig c;
   c.bind = "localhost";
   EXPECT_EQ(Speaker(c, tree).start(), "'localhost' is not an IPv4 or IPv6 address");
   c.bind = "192.0.2.1"; // not an address of this machine
   c.port = 0;
   EXPECT_EQ(Speaker(c, tree).start(),
             "cannot listen on 192.0.2.1 port 0: Cannot assign requested address");
}

} // namespace
} // namespace Bgp
