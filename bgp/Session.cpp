#include "bgp/Session.h"

#include <algorithm>

namespace Bgp {
namespace {

// The families this receiver asks for: flowspec and VPN flowspec, IPv4 and
// IPv6 (RFC 8955 section 4 and 8, RFC 8956).
std::vector<AfiSafi> const flowspecFamilies = {
    {1, Flowspec::safiFlowspec},
    {2, Flowspec::safiFlowspec},
    {1, Flowspec::safiFlowspecVpn},
    {2, Flowspec::safiFlowspecVpn},
};

// The NOTIFICATION for an UPDATE whose handling is session reset: Invalid
// Network Field for the IPv4 prefixes of the NLRI fields, Unrecognized
// Well-known Attribute where that is the fault, Malformed Attribute List for
// the rest (RFC 4271 section 6.3, RFC 7606 section 3).
Notification updateError(Flowspec::UpdateContents const& u) {
   std::uint8_t subcode = Subcode::malformedAttributeList;
   for (Flowspec::UpdateProblem const& p : u.problems) {
      if (p.action != u.action) continue;
      if (p.reason.find("prefix") != std::string::npos) subcode = Subcode::invalidNetworkField;
      if (p.reason.find("flagged well-known") != std::string::npos) subcode = 2;
      break;
   }
   return {std::uint8_t(ErrorCode::updateMessage), subcode, {}};
}

} // namespace

char const* sessionStateText(SessionState state) noexcept {
   switch (state) {
   case SessionState::idle:
      return "Idle";
   case SessionState::openSent:
      return "OpenSent";
   case SessionState::openConfirm:
      return "OpenConfirm";
   case SessionState::established:
      return "Established";
   }
   return "?";
}

Session::Session(SessionConfig config, SessionHandler& handler)
    : config_(std::move(config)), handler_(handler) {}

void Session::send(std::vector<std::uint8_t> const& m) {
   output_.insert(output_.end(), m.begin(), m.end());
}

void Session::connected(Clock::time_point now) {
   if (ended_ || state_ != SessionState::idle) return;
   Open o;
   o.as = config_.localAs;
   o.holdTime = config_.holdTime;
   o.bgpIdentifier = config_.routerId;
   o.multiprotocol = flowspecFamilies;
   o.routeRefresh = true;
   o.fourOctetAs = true;
   send(buildOpen(o));
   state_ = SessionState::openSent;
   holdDeadline_ = now + openHoldTime;
}

void Session::receive(std::span<std::uint8_t const> bytes, Clock::time_point now) {
   if (state_ == SessionState::idle) return;
   input_.insert(input_.end(), bytes.begin(), bytes.end());
   while (state_ != SessionState::idle && input_.size() - consumed_ >= headerSize) {
      std::span<std::uint8_t const> const rest(input_.data() + consumed_,
                                               input_.size() - consumed_);
      auto const header = readHeader(rest.first(headerSize));
      if (auto const* n = std::get_if<Notification>(&header)) {
         ++counts_[0];
         fail(*n, "");
         break;
      }
      std::size_t const length = std::get<Header>(header).length;
      if (rest.size() < length) break;
      consumed_ += length;
      message(rest.first(length), now);
   }
   if (state_ == SessionState::idle) {
      input_.clear();
      consumed_ = 0;
   } else if (consumed_ > 0) {
      input_.erase(input_.begin(), input_.begin() + std::ptrdiff_t(consumed_));
      consumed_ = 0;
   }
}

void Session::message(std::span<std::uint8_t const> m, Clock::time_point now) {
   auto const type = MessageType(m[18]);
   ++counts_[std::size_t(type)];
   if (type == MessageType::notification) {
      std::optional<Notification> const n = readNotification(m);
      state_ = SessionState::idle;
      ended_ = true;
      handler_.down("received NOTIFICATION " + notificationText(n->code, n->subcode));
      return;
   }
   if (holdTime_ > 0) holdDeadline_ = now + std::chrono::seconds(holdTime_);
   switch (state_) {
   case SessionState::openSent:
      if (type != MessageType::open) {
         fail({std::uint8_t(ErrorCode::finiteStateMachine), Subcode::unexpectedInOpenSent, {}}, "");
         return;
      }
      onOpen(m, now);
      return;
   case SessionState::openConfirm:
      if (type != MessageType::keepalive) {
         fail({std::uint8_t(ErrorCode::finiteStateMachine), Subcode::unexpectedInOpenConfirm, {}},
              "");
         return;
      }
      state_ = SessionState::established;
      handler_.established(peer_);
      return;
   case SessionState::established:
      if (type == MessageType::open) {
         fail({std::uint8_t(ErrorCode::finiteStateMachine), Subcode::unexpectedInEstablished, {}},
              "");
      } else if (type == MessageType::update) {
         onUpdate(m);
      }
      // KEEPALIVE restarted the hold timer; a ROUTE-REFRESH asks for routes
      // this receiver never announces: nothing to send.
      return;
   case SessionState::idle:
      return;
   }
}

void Session::onOpen(std::span<std::uint8_t const> m, Clock::time_point now) {
   auto const open = readOpen(m);
   if (auto const* n = std::get_if<Notification>(&open)) {
      fail(*n, "");
      return;
   }
   peer_ = std::get<Open>(open);
   if (peer_.as != config_.peerAs) {
      std::vector<std::uint8_t> data(m.begin() + 20, m.begin() + 22);
      fail({std::uint8_t(ErrorCode::openMessage), Subcode::badPeerAs, data},
           "the peer says AS " + std::to_string(peer_.as) + ", not " +
               std::to_string(config_.peerAs));
      return;
   }
   if (peer_.bgpIdentifier == config_.routerId && peer_.as == config_.localAs) {
      fail({std::uint8_t(ErrorCode::openMessage), Subcode::badBgpIdentifier, {}},
           "the peer's BGP identifier is ours");
      return;
   }
   holdTime_ = std::min(peer_.holdTime, config_.holdTime);
   config_.updateOptions.fourOctetAs = peer_.fourOctetAs;
   config_.updateOptions.internalPeer = peer_.as == config_.localAs;
   send(buildKeepalive());
   state_ = SessionState::openConfirm;
   if (holdTime_ > 0) {
      holdDeadline_ = now + std::chrono::seconds(holdTime_);
      keepaliveDue_ = now + std::chrono::seconds(holdTime_ / 3);
   } else {
      holdDeadline_ = Clock::time_point::max();
      keepaliveDue_ = Clock::time_point::max();
   }
}

void Session::onUpdate(std::span<std::uint8_t const> m) {
   if (std::optional<AfiSafi> const eor = endOfRib(m)) {
      handler_.endOfRib(*eor);
      return;
   }
   Flowspec::UpdateContents const u = Flowspec::readUpdate(m, config_.updateOptions);
   handler_.update(u);
   if (u.action >= Flowspec::UpdateAction::afiSafiDisable) fail(updateError(u), "");
}

void Session::fail(Notification const& n, std::string const& why) {
   if (state_ == SessionState::idle) return;
   send(buildNotification(n));
   state_ = SessionState::idle;
   ended_ = true;
   handler_.down("sent NOTIFICATION " + notificationText(n.code, n.subcode) +
                 (why.empty() ? "" : ": " + why));
}

void Session::tick(Clock::time_point now) {
   if (state_ == SessionState::idle) return;
   if (now >= holdDeadline_) {
      fail({std::uint8_t(ErrorCode::holdTimerExpired), 0, {}}, "");
      return;
   }
   if ((state_ == SessionState::openConfirm || state_ == SessionState::established) &&
       now >= keepaliveDue_) {
      send(buildKeepalive());
      keepaliveDue_ = now + std::chrono::seconds(std::max(holdTime_ / 3, 1));
   }
}

Clock::time_point Session::nextTimer() const {
   if (state_ == SessionState::idle) return Clock::time_point::max();
   if (state_ == SessionState::openSent) return holdDeadline_;
   return std::min(holdDeadline_, keepaliveDue_);
}

void Session::close(Notification const& n) {
   fail(n, "");
}

void Session::connectionLost(std::string const& why) {
   if (state_ == SessionState::idle) return;
   state_ = SessionState::idle;
   ended_ = true;
   handler_.down(why);
}

bool Session::requestRefresh(AfiSafi family) {
   if (state_ != SessionState::established || !peer_.routeRefresh) return false;
   send(buildRouteRefresh(family));
   return true;
}

} // namespace Bgp
