#include "bgp/Speaker.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

namespace Bgp {
namespace {

// Reads per connection and poll() round, so that one busy peer cannot
// starve the others.
constexpr int readsPerRound = 16;
constexpr std::size_t readSize = 64 * 1024;

struct Address {
   sockaddr_storage storage{};
   socklen_t length = 0;
};

// A numeric address and port, or nothing.
std::optional<Address> parseAddress(std::string const& text, std::uint16_t port) {
   Address a;
   auto* v4 = reinterpret_cast<sockaddr_in*>(&a.storage);
   auto* v6 = reinterpret_cast<sockaddr_in6*>(&a.storage);
   if (::inet_pton(AF_INET, text.c_str(), &v4->sin_addr) == 1) {
      v4->sin_family = AF_INET;
      v4->sin_port = htons(port);
      a.length = sizeof(sockaddr_in);
      return a;
   }
   if (::inet_pton(AF_INET6, text.c_str(), &v6->sin6_addr) == 1) {
      v6->sin6_family = AF_INET6;
      v6->sin6_port = htons(port);
      a.length = sizeof(sockaddr_in6);
      return a;
   }
   return std::nullopt;
}

std::string addressText(sockaddr_storage const& s) {
   char text[INET6_ADDRSTRLEN] = {};
   if (s.ss_family == AF_INET) {
      ::inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in const&>(s).sin_addr, text, sizeof text);
   } else if (s.ss_family == AF_INET6) {
      ::inet_ntop(AF_INET6, &reinterpret_cast<sockaddr_in6 const&>(s).sin6_addr, text, sizeof text);
   }
   return text;
}

// The canonical text of an address ("::1" for "0::1"), or the text itself.
std::string canonical(std::string const& text) {
   std::optional<Address> const a = parseAddress(text, 0);
   return a ? addressText(a->storage) : text;
}

void nonBlocking(int fd) {
   ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
   int one = 1;
   ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

std::string ipv4Text(std::uint32_t v) {
   return std::to_string(v >> 24) + "." + std::to_string(v >> 16 & 0xff) + "." +
          std::to_string(v >> 8 & 0xff) + "." + std::to_string(v & 0xff);
}

std::string rdText(std::uint64_t rd) {
   // RFC 4364 section 4.2: type 0 (2-byte AS), 1 (IPv4), 2 (4-byte AS).
   auto const type = std::uint16_t(rd >> 48);
   std::uint64_t const value = rd & 0xffffffffffffULL;
   if (type == 0) return std::to_string(value >> 32) + ":" + std::to_string(value & 0xffffffff);
   if (type == 1)
      return ipv4Text(std::uint32_t(value >> 16)) + ":" + std::to_string(value & 0xffff);
   if (type == 2) return std::to_string(value >> 16) + ":" + std::to_string(value & 0xffff);
   return "type " + std::to_string(type) + " " + std::to_string(value);
}

} // namespace

char const* speakerEventText(SpeakerEvent::Kind kind) noexcept {
   switch (kind) {
   case SpeakerEvent::Kind::sessionUp:
      return "session-up";
   case SpeakerEvent::Kind::sessionDown:
      return "session-down";
   case SpeakerEvent::Kind::refused:
      return "refused";
   case SpeakerEvent::Kind::rule:
      return "rule";
   case SpeakerEvent::Kind::malformed:
      return "malformed";
   case SpeakerEvent::Kind::note:
      return "note";
   case SpeakerEvent::Kind::endOfRib:
      return "end-of-rib";
   }
   return "?";
}

// What the speaker keeps of one TCP connection.
struct Speaker::Connection {
   int fd = -1;
   std::string address;
   /// Index into the configured peers.
   std::size_t peer = 0;
   /// An active connect() still in progress.
   bool connecting = false;
   /// The session ended (or the socket failed): write what is left, close.
   bool closing = false;
   std::unique_ptr<Handler> handler;
   std::unique_ptr<Session> session;
   /// The identity the peer's routes are held under, once established.
   std::optional<PeerId> id;
};

// Turns what a session says into rules and events.
class Speaker::Handler : public SessionHandler {
 public:
   Handler(Speaker& speaker, Connection& c) : speaker_(speaker), c_(c) {}

   void established(Open const& peer) override {
      c_.id = PeerId{peer.bgpIdentifier, c_.address};
      std::string text = "AS " + std::to_string(peer.as) + ", identifier " +
                         ipv4Text(peer.bgpIdentifier) + ", hold time " +
                         std::to_string(c_.session->holdTime()) + " s";
      event(SpeakerEvent::Kind::sessionUp, text);
   }

   void update(Flowspec::UpdateContents const& u) override {
      for (Flowspec::UpdateProblem const& p : u.problems) {
         event(SpeakerEvent::Kind::malformed,
               std::string(Flowspec::updateActionText(p.action)) + ": " + p.reason);
      }
      for (Flowspec::UpdateProblem const& p : u.notes)
         event(SpeakerEvent::Kind::note, p.reason);
      if (!c_.id || u.action >= Flowspec::UpdateAction::afiSafiDisable) return;
      std::vector<RuleChange> changes;
      for (Flowspec::FlowspecRoute const& r : u.withdrawn) {
         if (known(r)) speaker_.table_.withdraw(*c_.id, r.key, changes);
      }
      for (Flowspec::FlowspecRoute const& r : u.announced) {
         if (!known(r)) continue;
         // The table refuses what the model refuses as a change with its
         // error; anything the model raises beyond that costs this route
         // only, never the process.
         try {
            speaker_.table_.announce(*c_.id, r.key, r.actions, changes);
         } catch (std::exception const& e) {
            event(SpeakerEvent::Kind::malformed,
                  "refused: " + r.key.toStrepCli().str() + ": " + e.what());
         }
      }
      rules(changes);
   }

   void endOfRib(AfiSafi family) override {
      event(SpeakerEvent::Kind::endOfRib, afiSafiText(family));
   }

   void down(std::string const& why) override {
      c_.closing = true;
      event(SpeakerEvent::Kind::sessionDown, why);
      if (c_.id) {
         std::vector<RuleChange> changes;
         speaker_.table_.withdrawAll(*c_.id, changes);
         rules(changes);
         c_.id.reset();
      }
   }

 private:
   // A SAFI 134 route whose route distinguisher names no VRF is passed over.
   bool known(Flowspec::FlowspecRoute const& r) {
      if (r.key.vrfId() != Vrf::VrfIdMap::noVrfId) return true;
      event(SpeakerEvent::Kind::note, "route distinguisher " + rdText(r.routeDistinguisher) +
                                          " names no VRF (--vrf-rd): " + r.key.toStrepCli().str() +
                                          " passed over");
      return false;
   }

   void rules(std::vector<RuleChange>& changes) {
      if (!speaker_.events_) return;
      for (RuleChange& c : changes) {
         SpeakerEvent e;
         e.kind = SpeakerEvent::Kind::rule;
         e.peer = c.peer;
         e.change = std::move(c);
         speaker_.events_->push_back(std::move(e));
      }
   }

   void event(SpeakerEvent::Kind kind, std::string text) {
      if (speaker_.events_) speaker_.events_->push_back({kind, c_.address, std::move(text), {}});
   }

   Speaker& speaker_;
   Connection& c_;
};

Speaker::Speaker(SpeakerConfig config, Vex::Ptr<Flowspec::Config> tree)
    : config_(std::move(config)), table_(std::move(tree)) {
   for (PeerConfig& p : config_.peers)
      p.address = canonical(p.address);
   nextConnect_.assign(config_.peers.size(), Clock::time_point{});
}

Speaker::~Speaker() {
   for (auto& c : connections_)
      if (c->fd >= 0) ::close(c->fd);
   if (listenFd_ >= 0) ::close(listenFd_);
}

Flowspec::UpdateOptions Speaker::updateOptions() const {
   Flowspec::UpdateOptions o;
   o.vrfId = Vrf::VrfIdMap::defaultVrfId;
   o.routeTargets = config_.routeTargets;
   auto const rds = config_.rdVrfs;
   o.vrfOfRd = [rds](std::uint64_t rd) -> std::optional<Vrf::VrfIdMap::VrfId> {
      auto it = rds.find(rd);
      return it == rds.end() ? Vrf::VrfIdMap::noVrfId : it->second;
   };
   return o;
}

std::string Speaker::start() {
   std::optional<Address> a = parseAddress(config_.bind, config_.port);
   if (!a) return "'" + config_.bind + "' is not an IPv4 or IPv6 address";
   int fd = ::socket(a->storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
   if (fd < 0) return std::string("socket: ") + std::strerror(errno);
   int one = 1;
   ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
   if (::bind(fd, reinterpret_cast<sockaddr*>(&a->storage), a->length) != 0 ||
       ::listen(fd, 16) != 0) {
      std::string why = "cannot listen on " + config_.bind + " port " +
                        std::to_string(config_.port) + ": " + std::strerror(errno);
      ::close(fd);
      return why;
   }
   nonBlocking(fd);
   sockaddr_storage bound{};
   socklen_t length = sizeof bound;
   ::getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
   port_ = ntohs(bound.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(bound).sin_port
                                            : reinterpret_cast<sockaddr_in6&>(bound).sin6_port);
   listenFd_ = fd;
   return "";
}

std::vector<std::pair<std::string, SessionState>> Speaker::sessions() const {
   std::vector<std::pair<std::string, SessionState>> out;
   for (std::size_t i = 0; i < config_.peers.size(); ++i) {
      SessionState state = SessionState::idle;
      for (auto const& c : connections_) {
         if (c->peer == i && c->session && !c->closing) state = c->session->state();
      }
      out.emplace_back(config_.peers[i].address, state);
   }
   return out;
}

void Speaker::accept(std::vector<SpeakerEvent>& events) {
   for (int n = 0; n < 16; ++n) {
      sockaddr_storage from{};
      socklen_t length = sizeof from;
      int fd = ::accept4(listenFd_, reinterpret_cast<sockaddr*>(&from), &length,
                         SOCK_CLOEXEC | SOCK_NONBLOCK);
      if (fd < 0) return;
      nonBlocking(fd);
      std::string const address = addressText(from);
      auto const peer = std::find_if(config_.peers.begin(), config_.peers.end(),
                                     [&](PeerConfig const& p) { return p.address == address; });
      std::string refusal;
      Notification cease{std::uint8_t(ErrorCode::cease), Subcode::connectionRejected, {}};
      if (peer == config_.peers.end()) {
         refusal = "not a configured peer";
      } else {
         std::size_t const index = std::size_t(peer - config_.peers.begin());
         for (auto const& c : connections_) {
            if (c->peer == index && !c->closing) {
               refusal = "a session with this peer stands";
               cease.subcode = Subcode::connectionCollisionResolution;
            }
         }
      }
      if (!refusal.empty()) {
         std::vector<std::uint8_t> const m = buildNotification(cease);
         [[maybe_unused]] ssize_t w = ::send(fd, m.data(), m.size(), MSG_NOSIGNAL);
         ::close(fd);
         events.push_back(
             {SpeakerEvent::Kind::refused,
              address,
              refusal + "; sent NOTIFICATION " + notificationText(cease.code, cease.subcode),
              {}});
         continue;
      }
      auto c = std::make_unique<Connection>();
      c->fd = fd;
      c->address = address;
      c->peer = std::size_t(peer - config_.peers.begin());
      SessionConfig sc{config_.localAs, config_.routerId, config_.holdTime, peer->as,
                       updateOptions()};
      c->handler = std::make_unique<Handler>(*this, *c);
      c->session = std::make_unique<Session>(std::move(sc), *c->handler);
      c->session->connected(Clock::now());
      connections_.push_back(std::move(c));
   }
}

void Speaker::connectActive(Clock::time_point now) {
   for (std::size_t i = 0; i < config_.peers.size(); ++i) {
      PeerConfig const& p = config_.peers[i];
      if (p.connectPort == 0 || now < nextConnect_[i]) continue;
      bool busy = false;
      for (auto const& c : connections_)
         busy = busy || (c->peer == i && !c->closing);
      if (busy) continue;
      nextConnect_[i] = now + config_.connectRetry;
      std::optional<Address> to = parseAddress(p.address, p.connectPort);
      std::optional<Address> from = parseAddress(config_.bind, 0);
      if (!to || !from || to->storage.ss_family != from->storage.ss_family) continue;
      int fd = ::socket(to->storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
      if (fd < 0) continue;
      ::bind(fd, reinterpret_cast<sockaddr*>(&from->storage), from->length);
      int const r = ::connect(fd, reinterpret_cast<sockaddr*>(&to->storage), to->length);
      if (r != 0 && errno != EINPROGRESS) {
         ::close(fd);
         continue;
      }
      nonBlocking(fd);
      auto c = std::make_unique<Connection>();
      c->fd = fd;
      c->address = p.address;
      c->peer = i;
      c->connecting = true;
      SessionConfig sc{config_.localAs, config_.routerId, config_.holdTime, p.as, updateOptions()};
      c->handler = std::make_unique<Handler>(*this, *c);
      c->session = std::make_unique<Session>(std::move(sc), *c->handler);
      connections_.push_back(std::move(c));
   }
}

void Speaker::flush(Connection& c) {
   std::vector<std::uint8_t>& out = c.session->output();
   std::size_t written = 0;
   while (written < out.size()) {
      ssize_t const w =
          ::send(c.fd, out.data() + written, out.size() - written, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (w <= 0) {
         if (w < 0 && (errno == EAGAIN || errno == EINTR)) break;
         c.session->connectionLost(std::string("the connection failed: ") + std::strerror(errno));
         c.closing = true;
         out.clear();
         return;
      }
      written += std::size_t(w);
   }
   out.erase(out.begin(), out.begin() + std::ptrdiff_t(written));
}

void Speaker::service(Connection& c, short revents, Clock::time_point now) {
   if (c.connecting) {
      if (!(revents & (POLLOUT | POLLERR | POLLHUP))) return;
      int error = 0;
      socklen_t length = sizeof error;
      ::getsockopt(c.fd, SOL_SOCKET, SO_ERROR, &error, &length);
      if (error != 0) {
         c.closing = true; // not a session yet: retried after connectRetry
         return;
      }
      c.connecting = false;
      c.session->connected(now);
   }
   if (revents & (POLLIN | POLLHUP | POLLERR)) {
      static thread_local std::vector<std::uint8_t> buffer(readSize);
      for (int n = 0; n < readsPerRound && !c.closing; ++n) {
         ssize_t const r = ::recv(c.fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
         if (r > 0) {
            c.session->receive(std::span(buffer.data(), std::size_t(r)), now);
            if (c.session->state() == SessionState::idle) c.closing = true;
            if (std::size_t(r) < buffer.size()) break;
            continue;
         }
         if (r < 0 && (errno == EAGAIN || errno == EINTR)) break;
         c.session->connectionLost(r == 0 ? "the peer closed the connection"
                                          : std::string("the connection failed: ") +
                                                std::strerror(errno));
         c.closing = true;
      }
   }
   c.session->tick(now);
   if (c.session->state() == SessionState::idle) c.closing = true;
   flush(c);
}

void Speaker::drop(Connection& c) {
   if (c.fd >= 0) {
      ::shutdown(c.fd, SHUT_WR);
      ::close(c.fd);
      c.fd = -1;
   }
}

void Speaker::poll(std::chrono::milliseconds timeout, std::vector<SpeakerEvent>& events) {
   events_ = &events;
   Clock::time_point now = Clock::now();
   connectActive(now);
   Clock::time_point deadline = now + timeout;
   for (auto const& c : connections_)
      deadline = std::min(deadline, c->session->nextTimer());
   for (std::size_t i = 0; i < config_.peers.size(); ++i)
      if (config_.peers[i].connectPort) deadline = std::min(deadline, nextConnect_[i]);
   std::vector<pollfd> fds;
   if (listenFd_ >= 0) fds.push_back({listenFd_, POLLIN, 0});
   for (auto const& c : connections_) {
      short want = POLLIN;
      if (c->connecting || !c->session->output().empty()) want |= POLLOUT;
      fds.push_back({c->fd, want, 0});
   }
   auto const wait =
       std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count() + 1;
   int const ready = ::poll(fds.data(), fds.size(), int(std::clamp<long long>(wait, 0, 60000)));
   now = Clock::now();
   std::size_t at = 0;
   bool acceptNow = false;
   if (listenFd_ >= 0) acceptNow = ready > 0 && (fds[at++].revents & POLLIN);
   // Connections are serviced in the order of fds; those accepted below
   // wait for the next round.
   std::size_t const existing = connections_.size();
   for (std::size_t i = 0; i < existing; ++i, ++at) {
      Connection& c = *connections_[i];
      short const revents = ready > 0 ? fds[at].revents : 0;
      service(c, revents, now);
   }
   if (acceptNow) accept(events);
   // Connections that ended: their NOTIFICATION was written as far as the
   // socket took it.
   std::erase_if(connections_, [&](std::unique_ptr<Connection>& c) {
      if (!c->closing) return false;
      drop(*c);
      return true;
   });
   events_ = nullptr;
}

void Speaker::stop(std::vector<SpeakerEvent>& events) {
   events_ = &events;
   for (auto& c : connections_) {
      if (!c->closing && !c->connecting) {
         c->session->close({std::uint8_t(ErrorCode::cease), Subcode::administrativeShutdown, {}});
         flush(*c);
      }
      drop(*c);
   }
   connections_.clear();
   if (listenFd_ >= 0) ::close(listenFd_);
   listenFd_ = -1;
   events_ = nullptr;
}

} // namespace Bgp
