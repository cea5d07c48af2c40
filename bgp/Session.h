// bgp/Session.h: one BGP session with one peer, as the RFC 4271 finite state
// machine sees it once the TCP connection stands.
//
// The session does no I/O: the caller hands it the bytes the connection
// delivered (receive), the passing of time (tick) and the loss of the
// connection, and writes out what output() holds. That keeps it
// deterministic for tests and the fuzzer, and lets one event loop run many.
//
//   Session s(config, handler);
//   s.connected(now);                       // OPEN sent: OpenSent
//   s.receive(bytes, now);                  // OPEN, KEEPALIVE: Established
//   write(fd, s.output().data(), ...); s.output().clear();
//   if (s.state() == SessionState::idle) { /* close the connection */ }
//
// The states before the connection (Connect, Active) belong to the caller
// (bgp/Speaker.h). Anything the peer sends is answered as RFC 4271 section 6
// and RFC 7606 say: a header, OPEN or state machine error sends the
// NOTIFICATION named in bgp/Message.h and ends the session (Idle); a
// malformed UPDATE is handed to the handler with its RFC 7606 handling, and
// ends the session only when that handling is session reset (AFI/SAFI
// disable too: this receiver does not disable single families, and RFC 7606
// section 2 asks for session reset then). Input after the end is ignored.
#pragma once

#include "bgp/Message.h"

#include "Flowspec/wire/Update.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Bgp {

using Clock = std::chrono::steady_clock;

enum class SessionState : std::uint8_t { idle, openSent, openConfirm, established };
/// "Idle", "OpenSent", "OpenConfirm", "Established".
char const* sessionStateText(SessionState state) noexcept;

struct SessionConfig {
   std::uint32_t localAs = 0;
   std::uint32_t routerId = 0;
   /// Proposed hold time in seconds (0: no keepalives, or 3 and above).
   std::uint16_t holdTime = 90;
   /// The AS the peer must name in its OPEN.
   std::uint32_t peerAs = 0;
   /// How UPDATEs are read: the VRF of SAFI 133, the VRF of each route
   /// distinguisher, the route targets of redirects. fourOctetAs and
   /// internalPeer are set by the session from the OPENs.
   Flowspec::UpdateOptions updateOptions;
};

/// What a session tells its owner. Every call happens inside receive(),
/// tick(), connected(), close() or connectionLost().
class SessionHandler {
 public:
   virtual ~SessionHandler() = default;
   /// Both OPENs agreed and the peer's KEEPALIVE arrived.
   virtual void established(Open const& peer) = 0;
   /// An UPDATE that is not an End-of-RIB marker, read; also when its
   /// handling ends the session (contents.action is then session reset or
   /// AFI/SAFI disable, and down() follows).
   virtual void update(Flowspec::UpdateContents const& contents) = 0;
   virtual void endOfRib(AfiSafi family) = 0;
   /// The session ended; `why` says how ("sent NOTIFICATION ...",
   /// "received NOTIFICATION ...", "connection closed by the peer"). Once.
   virtual void down(std::string const& why) = 0;
};

class Session {
 public:
   /// The hold timer while the peer's OPEN is awaited (RFC 4271 section 8:
   /// a large value, 4 minutes suggested).
   static constexpr std::chrono::seconds openHoldTime{240};

   Session(SessionConfig config, SessionHandler& handler);

   /// The connection stands: sends the OPEN and enters OpenSent.
   void connected(Clock::time_point now);
   /// Bytes the connection delivered, in any cut. Ignored once idle.
   void receive(std::span<std::uint8_t const> bytes, Clock::time_point now);
   /// Runs the timers: a KEEPALIVE when due, Hold Timer Expired when the
   /// peer said nothing for the hold time.
   void tick(Clock::time_point now);
   /// When tick() next has something to do.
   Clock::time_point nextTimer() const;
   /// Ends the session with `notification` (queued in output()).
   void close(Notification const& notification);
   /// The connection went away without a NOTIFICATION.
   void connectionLost(std::string const& why);
   /// Asks the peer to send `family` again (RFC 2918), when established and
   /// the peer said it can.
   bool requestRefresh(AfiSafi family);

   /// What is to be written to the connection; the caller clears what it
   /// wrote.
   std::vector<std::uint8_t>& output() { return output_; }
   SessionState state() const { return state_; }
   /// The peer's OPEN, once received.
   Open const& peerOpen() const { return peer_; }
   /// The hold time both sides agreed on (the smaller).
   std::uint16_t holdTime() const { return holdTime_; }
   /// Messages read, by type (1 to 5; 0 counts the malformed).
   std::uint64_t received(MessageType type) const { return counts_[std::size_t(type)]; }

 private:
   void message(std::span<std::uint8_t const> m, Clock::time_point now);
   void onOpen(std::span<std::uint8_t const> m, Clock::time_point now);
   void onUpdate(std::span<std::uint8_t const> m);
   void fail(Notification const& notification, std::string const& why);
   void send(std::vector<std::uint8_t> const& m);

   SessionConfig config_;
   SessionHandler& handler_;
   SessionState state_ = SessionState::idle;
   bool ended_ = false;
   Open peer_;
   std::uint16_t holdTime_ = 0;
   Clock::time_point holdDeadline_{};
   Clock::time_point keepaliveDue_{};
   std::vector<std::uint8_t> input_;
   std::size_t consumed_ = 0;
   std::vector<std::uint8_t> output_;
   std::uint64_t counts_[6] = {};
};

} // namespace Bgp
