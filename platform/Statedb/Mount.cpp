#include "Statedb/Mount.h"

#include "Statedb/Publisher.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Statedb {

char const* mountStateText(MountState s) noexcept {
   switch (s) {
   case MountState::syncing:
      return "syncing";
   case MountState::live:
      return "live";
   case MountState::disconnected:
      return "disconnected";
   }
   return "?";
}

Mount::Mount(Vex::Ptr<Vex::Entity> const& mirror, MountOptions options)
    : mirror_(mirror), options_(std::move(options)), applier_(mirror),
      parser_(options_.maxFrameLength) {
   connect();
}

std::unique_ptr<Mount> Mount::mountIs(Vex::VexType const& type, MountOptions options) {
   std::string leaf = options.name.substr(options.name.rfind('/') + 1);
   Vex::GenericValue root = Vex::construct(type, {Vex::GenericValue(Vex::Name(leaf))});
   return std::make_unique<Mount>(Vex::Ptr<Vex::Entity>(root.entity()), std::move(options));
}

Mount::~Mount() {
   if (fd_ >= 0) ::close(fd_);
}

void Mount::stateIs(MountState s) {
   if (s == state_) return;
   state_ = s;
   if (onState_) onState_(s);
}

void Mount::connect() {
   nextTry_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(options_.retryMs);
   std::string const path = statePath(options_.stateDir, options_.name, ".sock");
   sockaddr_un addr{};
   addr.sun_family = AF_UNIX;
   if (path.size() >= sizeof addr.sun_path) {
      lastError_ = "socket path too long: " + path;
      return;
   }
   std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
   int const fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   if (fd < 0) return;
   if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      ::close(fd);
      return;
   }
   int size = 1 << 20;
   ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
   fd_ = fd;
   parser_ = FrameParser(options_.maxFrameLength);
   haveHello_ = haveSnapshot_ = false;
   stateIs(MountState::syncing);
}

void Mount::disconnect(std::string const& why) {
   if (fd_ >= 0) ::close(fd_);
   fd_ = -1;
   lastError_ = why;
   nextTry_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(options_.retryMs);
   stateIs(MountState::disconnected);
}

void Mount::handle(Frame const& f) {
   switch (f.kind) {
   case FrameKind::hello: {
      Vex::NboAttrLog::In in(f.body.data(), f.body.size());
      std::uint32_t const version = in.nextU32();
      Vex::String const name = in.nextString();
      Vex::String const type = in.nextString();
      if (version != protocolVersion) {
         throw RecordError("Statedb: the writer speaks version " +
                           Vex::String(std::to_string(version)) + ", this reader " +
                           Vex::String(std::to_string(protocolVersion)));
      }
      if (type.view() != mirror_->fwkType()->name()) {
         throw RecordError("Statedb: " + name + " is a " + type + ", mounted as a " +
                           Vex::String(mirror_->fwkType()->name()));
      }
      haveHello_ = true;
      return;
   }
   case FrameKind::snapshot:
      if (!haveHello_) throw RecordError("Statedb: a snapshot before the hello");
      applier_.applySnapshot(f.body);
      haveSnapshot_ = true;
      ++snapshots_;
      lastSequence_ = f.sequence;
      stateIs(MountState::live);
      break;
   case FrameKind::batch:
      if (!haveSnapshot_) throw RecordError("Statedb: a batch before the snapshot");
      if (f.sequence != lastSequence_ + 1) {
         throw RecordError("Statedb: batch " + Vex::String(std::to_string(f.sequence)) +
                           " follows batch " + Vex::String(std::to_string(lastSequence_)));
      }
      applier_.applyBatch(f.body);
      ++batches_;
      lastSequence_ = f.sequence;
      break;
   }
   if (onApplied_) onApplied_(lastSequence_);
}

void Mount::receive() {
   unsigned char buf[1 << 16];
   for (int rounds = 0; rounds < 64 && fd_ >= 0; ++rounds) {
      ssize_t const r = ::recv(fd_, buf, sizeof buf, MSG_DONTWAIT);
      if (r < 0) {
         if (errno == EINTR) continue;
         if (errno == EAGAIN || errno == EWOULDBLOCK) return;
         disconnect(std::string("Statedb: connection lost: ") + std::strerror(errno));
         return;
      }
      if (r == 0) {
         try {
            parser_.checkEnd();
            disconnect("Statedb: the writer closed the connection");
         } catch (FrameError const& e) {
            disconnect(e.what());
         }
         return;
      }
      parser_.append(buf, static_cast<std::size_t>(r));
      try {
         Frame f;
         while (parser_.next(f))
            handle(f);
      } catch (Vex::Exception const& e) {
         disconnect(e.what());
         return;
      }
   }
}

void Mount::pollFds(std::vector<pollfd>& fds) {
   if (fd_ >= 0) fds.push_back({fd_, POLLIN, 0});
}

void Mount::pollDone(std::span<pollfd const> fds) {
   if (fd_ >= 0 && !fds.empty() && fds[0].fd == fd_ && fds[0].revents) receive();
   if (fd_ < 0 && std::chrono::steady_clock::now() >= nextTry_) connect();
}

int Mount::pollTimeoutMs() const {
   if (fd_ >= 0) return -1;
   auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
                         nextTry_ - std::chrono::steady_clock::now())
                         .count();
   return left < 0 ? 0 : static_cast<int>(left) + 1;
}

bool Mount::waitFor(std::function<bool()> const& done, int timeoutMs) {
   auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
   while (!done()) {
      auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
                            end - std::chrono::steady_clock::now())
                            .count();
      if (left <= 0) return done();
      service(static_cast<int>(std::min<long long>(left, 50)));
   }
   return true;
}

} // namespace Statedb
