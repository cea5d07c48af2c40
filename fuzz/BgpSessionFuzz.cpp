// Fuzz target: a BGP session (bgp/Session.h) fed any bytes as a peer's
// stream, with its routes going into a Config tree through a RuleTable.
//
// The first byte chooses: bit 0 set, the peer's OPEN and KEEPALIVE come
// first, so that the rest reaches an established session; bits 1 to 7 cut
// the rest into pieces of that many bytes plus one, fed one receive() each.
// The session must never abort, throw or read outside its input, and:
//   - what it writes is whole messages with valid headers, and a
//     NOTIFICATION only as the last of them;
//   - once Idle it writes and tells nothing more;
//   - down() is told once at most, and after it the peer holds no route;
//   - the Config tree holds exactly the rules the table says it holds;
//   - 1000 s later the hold timer has ended the session (unless both sides
//     agreed on a hold time of 0) and no rule is left.
#include "FuzzSupport.h"

#include "bgp/RuleTable.h"
#include "bgp/Session.h"

#include "Flowspec/FlowspecStatedb.h"

namespace {

using namespace Bgp;

struct Handler : SessionHandler {
   explicit Handler(RuleTable& t) : table(t) {}
   void established(Open const& open) override { peer = PeerId{open.bgpIdentifier, "peer"}; }
   void update(Flowspec::UpdateContents const& u) override {
      FUZZ_CHECK(!isDown, "an UPDATE told after down()");
      if (!peer || u.action >= Flowspec::UpdateAction::afiSafiDisable) return;
      for (auto const& r : u.withdrawn)
         table.withdraw(*peer, r.key, changes);
      for (auto const& r : u.announced)
         table.announce(*peer, r.key, r.actions, changes);
   }
   void endOfRib(AfiSafi) override {}
   void down(std::string const& why) override {
      FUZZ_CHECK(!isDown, "down() told twice: " + why);
      isDown = true;
      if (peer) table.withdrawAll(*peer, changes);
      FUZZ_CHECK(!peer || table.routes(*peer) == 0, "routes left after down()");
   }
   RuleTable& table;
   std::optional<PeerId> peer;
   std::vector<RuleChange> changes;
   bool isDown = false;
};

std::vector<std::uint8_t> peerStart() {
   Open o;
   o.as = 65001;
   o.holdTime = 90;
   o.bgpIdentifier = 0x0a000001;
   o.multiprotocol = {{1, 133}, {2, 133}, {1, 134}};
   o.fourOctetAs = true;
   std::vector<std::uint8_t> b = buildOpen(o);
   std::vector<std::uint8_t> const k = buildKeepalive();
   b.insert(b.end(), k.begin(), k.end());
   return b;
}

// Every message of `out` has a valid header; a NOTIFICATION is the last.
void checkOutput(std::vector<std::uint8_t> const& out) {
   std::size_t at = 0;
   while (at < out.size()) {
      FUZZ_CHECK(out.size() - at >= headerSize, "a message cut short in the output");
      auto const h = readHeader(std::span(out).subspan(at, headerSize));
      FUZZ_CHECK(std::holds_alternative<Header>(h), "a message with a bad header written");
      Header const header = std::get<Header>(h);
      FUZZ_CHECK(out.size() - at >= header.length, "a message longer than the output");
      at += header.length;
      if (header.type == MessageType::notification) {
         FUZZ_CHECK(at == out.size(), "something written after a NOTIFICATION");
      }
   }
}

std::size_t configuredRules(Flowspec::Config const& config) {
   std::size_t n = 0;
   for (auto v = config.vrfRuleConfigIteratorConst(); v; ++v)
      n += v->ruleSize();
   return n;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) return 0;
   auto config = Flowspec::configFactory("config");
   RuleTable table(config);
   Handler handler(table);
   SessionConfig sc;
   sc.localAs = 65000;
   sc.routerId = 0x7f000001;
   sc.peerAs = 65001;
   sc.updateOptions.vrfId = 0;
   sc.updateOptions.vrfOfRd = [](std::uint64_t rd) -> std::optional<Vrf::VrfIdMap::VrfId> {
      return Vrf::VrfIdMap::VrfId(rd % 4);
   };
   Session s(sc, handler);
   Clock::time_point now{};
   s.connected(now);
   std::vector<std::uint8_t> written;
   auto feed = [&](std::span<std::uint8_t const> bytes) {
      bool const wasIdle = s.state() == SessionState::idle;
      s.receive(bytes, now);
      if (wasIdle) FUZZ_CHECK(s.output().empty(), "output after the session ended");
      written.insert(written.end(), s.output().begin(), s.output().end());
      s.output().clear();
      FUZZ_CHECK(configuredRules(*config) == table.size(),
                 "the tree holds " + std::to_string(configuredRules(*config)) +
                     " rules, the table " + std::to_string(table.size()));
   };
   if (data[0] & 1) feed(peerStart());
   std::size_t const piece = (data[0] >> 1) + 1;
   for (std::size_t at = 1; at < size; at += piece)
      feed(std::span(data + at, std::min(piece, size - at)));
   now += std::chrono::seconds(1000);
   s.tick(now);
   written.insert(written.end(), s.output().begin(), s.output().end());
   checkOutput(written);
   // A hold time of 0 agreed: no timer, the session may stand.
   if (s.state() != SessionState::openSent && s.holdTime() == 0) return 0;
   FUZZ_CHECK(s.state() == SessionState::idle, "the hold timer did not end the session");
   FUZZ_CHECK(table.size() == 0, "rules left after the session ended");
   return 0;
}
