// bgp/Speaker.h: a BGP speaker that receives flowspec rules from its peers
// and announces nothing.
//
// It listens on one address and port for the peers it is configured with
// (passive), connects to those given a port (active), runs a Session on each
// connection and puts what the peers send into the Config tree through a
// RuleTable. Single-threaded: poll() waits on every socket and timer at
// once and handles what is ready, so the caller owns the loop:
//
//   Bgp::Speaker speaker(config, tree);
//   if (std::string why = speaker.start(); !why.empty()) { ... }
//   std::vector<Bgp::SpeakerEvent> events;
//   while (running) { speaker.poll(200ms, events); agent.run(); print(events); events.clear(); }
//   speaker.stop(events);   // Cease to every peer
//
// A connection from an address that is not a configured peer is refused
// (Cease, Connection Rejected) and reported. A second connection from a peer
// that already has one is refused the same way (Cease, Connection Collision
// Resolution), keeping the session that stands. When a session ends, every
// rule its peer sent goes. Sockets are non-blocking; nothing a peer sends or
// fails to read can block the loop.
#pragma once

#include "bgp/RuleTable.h"
#include "bgp/Session.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Bgp {

struct PeerConfig {
   /// An IPv4 or IPv6 address.
   std::string address;
   std::uint32_t as = 0;
   /// Connect to the peer at this port as well as accepting it; 0: only
   /// accept.
   std::uint16_t connectPort = 0;
};

struct SpeakerConfig {
   std::string bind = "127.0.0.1";
   /// 0: a port the kernel chooses (port() tells which).
   std::uint16_t port = 179;
   std::uint32_t localAs = 0;
   std::uint32_t routerId = 0;
   std::uint16_t holdTime = 90;
   std::vector<PeerConfig> peers;
   /// The VRF of SAFI 134 routes by route distinguisher (8 bytes, big
   /// endian); a route of any other distinguisher is passed over.
   std::map<std::uint64_t, Vrf::VrfIdMap::VrfId> rdVrfs;
   /// The VRFs of redirect route targets.
   Flowspec::RouteTargetVrfs routeTargets;
   /// Wait between attempts to connect to an active peer.
   std::chrono::milliseconds connectRetry{5000};
};

struct SpeakerEvent {
   enum class Kind : std::uint8_t {
      sessionUp,   ///< text: the peer's AS, identifier and hold time
      sessionDown, ///< text: why
      refused,     ///< a connection refused; text: why
      rule,        ///< change says what became of a rule
      malformed,   ///< text: the RFC 7606 handling and the fault
      note,        ///< something passed over; text says what
      endOfRib,    ///< text: the family
   };
   Kind kind = Kind::note;
   /// The peer's address.
   std::string peer;
   std::string text;
   RuleChange change;
};
/// "session-up", "session-down", "refused", "rule", "malformed", "note",
/// "end-of-rib".
char const* speakerEventText(SpeakerEvent::Kind kind) noexcept;

class Speaker {
 public:
   Speaker(SpeakerConfig config, Vex::Ptr<Flowspec::Config> tree);
   ~Speaker();
   Speaker(Speaker const&) = delete;
   Speaker& operator=(Speaker const&) = delete;

   /// Binds and listens; "" when done, else why not (nothing is left open).
   std::string start();
   /// The port listened on.
   std::uint16_t port() const { return port_; }

   /// Waits at most `timeout` for input, a connection or a timer, handles
   /// everything ready, and appends what happened to `events`. Returns
   /// early when a signal interrupts the wait.
   void poll(std::chrono::milliseconds timeout, std::vector<SpeakerEvent>& events);
   /// Ends every session with Cease (Administrative Shutdown), writes it
   /// out as far as the sockets take it at once, and closes everything. The
   /// rules of the sessions go.
   void stop(std::vector<SpeakerEvent>& events);

   RuleTable const& rules() const { return table_; }
   /// Each configured peer's address and session state, in configuration
   /// order.
   std::vector<std::pair<std::string, SessionState>> sessions() const;

 private:
   struct Connection;
   class Handler;

   void accept(std::vector<SpeakerEvent>& events);
   void connectActive(Clock::time_point now);
   void service(Connection& c, short revents, Clock::time_point now);
   void flush(Connection& c);
   void drop(Connection& c);
   Flowspec::UpdateOptions updateOptions() const;

   SpeakerConfig config_;
   RuleTable table_;
   int listenFd_ = -1;
   std::uint16_t port_ = 0;
   std::vector<std::unique_ptr<Connection>> connections_;
   std::vector<Clock::time_point> nextConnect_; // per configured peer
   std::vector<SpeakerEvent>* events_ = nullptr;
};

} // namespace Bgp
