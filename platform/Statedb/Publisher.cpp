#include "Statedb/Publisher.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

namespace Statedb {

namespace {

[[noreturn]] void fail(std::string const& what) {
   throw Vex::Exception(Vex::String("Statedb: " + what + ": " + std::strerror(errno)));
}

void makeDirs(std::string const& path, mode_t mode) {
   for (std::size_t i = 1; i <= path.size(); ++i) {
      if (i < path.size() && path[i] != '/') continue;
      std::string const part = path.substr(0, i);
      if (::mkdir(part.c_str(), mode) != 0 && errno != EEXIST) fail("cannot make " + part);
   }
}

sockaddr_un socketAddress(std::string const& path) {
   sockaddr_un addr{};
   addr.sun_family = AF_UNIX;
   if (path.size() >= sizeof addr.sun_path) {
      errno = ENAMETOOLONG;
      fail("socket path " + path);
   }
   std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
   return addr;
}

} // namespace

std::string statePath(std::string const& stateDir, std::string const& name,
                      std::string const& suffix) {
   return stateDir + "/" + name + suffix;
}

Publisher::Publisher(Vex::Ptr<Vex::Entity> const& root, PublishOptions options)
    : options_(std::move(options)),
      socketPath_(statePath(options_.stateDir, options_.name, ".sock")) {
   bool const grouped = options_.group != static_cast<gid_t>(-1);
   std::string const dir = socketPath_.substr(0, socketPath_.rfind('/'));
   makeDirs(dir, grouped ? 0750 : 0700);
   if (grouped && ::chown(dir.c_str(), static_cast<uid_t>(-1), options_.group) != 0) {
      fail("cannot give " + dir + " to the group");
   }

   // Another live publisher of the name answers on the socket.
   {
      int const probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      sockaddr_un addr = socketAddress(socketPath_);
      bool const live = ::connect(probe, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
      ::close(probe);
      if (live) {
         throw Vex::Exception(
             Vex::String("Statedb: " + options_.name + " is already published at " + socketPath_));
      }
   }

   if (options_.journal) {
      journal_ = std::make_unique<Journal>(statePath(options_.stateDir, options_.name, ""),
                                           options_.journalOptions);
      reloaded_ = sequence_ = journal_->load(root);
   }
   recorder_ = std::make_unique<TreeRecorder>(root, [this] { changed(); });
   // The journal starts from a snapshot with the ids of this process (those
   // of a reloaded journal were another process's).
   if (journal_) journal_->compact(snapshotFrame());

   std::random_device rd;
   incarnation_ =
       (std::uint64_t(rd()) << 32) ^ rd() ^
       static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());

   ::unlink(socketPath_.c_str());
   listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
   if (listenFd_ < 0) fail("cannot make a socket");
   sockaddr_un addr = socketAddress(socketPath_);
   if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      int const e = errno;
      ::close(listenFd_);
      errno = e;
      fail("cannot bind " + socketPath_);
   }
   ::chmod(socketPath_.c_str(), grouped ? 0660 : 0600);
   if (grouped && ::chown(socketPath_.c_str(), static_cast<uid_t>(-1), options_.group) != 0) {
      lastError_ = "cannot give the socket to the group";
   }
   if (::listen(listenFd_, 64) != 0) {
      ::close(listenFd_);
      fail("cannot listen on " + socketPath_);
   }
}

Publisher::~Publisher() {
   for (Reader& r : readers_)
      ::close(r.fd);
   if (listenFd_ >= 0) {
      ::close(listenFd_);
      ::unlink(socketPath_.c_str());
   }
}

void Publisher::changed() {
   if (depth_ == 0) batchEnd();
}

void Publisher::batchEnd() {
   if (depth_ > 0 && --depth_ > 0) return;
   if (recorder_->out()->bytes().empty()) return;
   recorder_->take(body_);
   FrameBytes frame = encodeFrame(FrameKind::batch, ++sequence_, body_);
   if (journal_) {
      journal_->append(frame);
      if (journal_->wantsCompaction()) journal_->compact(snapshotFrame());
   }
   for (Reader& r : readers_) {
      if (r.resync) {
         // Cut off: this batch is in the snapshot it gets once it drained.
      } else if (r.queued + frame->size() > options_.maxQueuedBytes) {
         // Cut off: keep what is half sent, drop the rest; the tree as it
         // is then goes out as a snapshot when the reader has taken that.
         ++cutOffs_;
         while (r.queue.size() > (r.sentOfFirst > 0 ? 1u : 0u)) {
            r.queued -= r.queue.back()->size();
            r.queue.pop_back();
         }
         r.resync = true;
         if (r.queue.empty()) {
            r.resync = false;
            enqueue(r, snapshotFrame());
         }
      } else {
         enqueue(r, frame);
      }
      if (options_.sendAtOnce || r.queued >= (64u << 10)) send(r);
   }
}

FrameBytes Publisher::snapshotFrame() {
   if (snapshotSequence_ != sequence_ || !snapshot_) {
      snapshot_ = encodeFrame(FrameKind::snapshot, sequence_, recorder_->snapshot());
      snapshotSequence_ = sequence_;
   }
   return snapshot_;
}

void Publisher::enqueue(Reader& r, FrameBytes const& frame) {
   r.queue.push_back(frame);
   r.queued += frame->size();
}

void Publisher::send(Reader& r) {
   while (!r.queue.empty()) {
      iovec iov[64];
      int n = 0;
      for (auto it = r.queue.begin(); it != r.queue.end() && n < 64; ++it, ++n) {
         std::size_t const skip = n == 0 ? r.sentOfFirst : 0;
         iov[n].iov_base = const_cast<unsigned char*>((*it)->data() + skip);
         iov[n].iov_len = (*it)->size() - skip;
      }
      msghdr msg{};
      msg.msg_iov = iov;
      msg.msg_iovlen = static_cast<std::size_t>(n);
      ssize_t sent = ::sendmsg(r.fd, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent < 0) {
         if (errno == EINTR) continue;
         if (errno != EAGAIN && errno != EWOULDBLOCK) {
            // The reader is gone; pollDone drops it.
            r.queue.clear();
            r.queued = 0;
            r.sentOfFirst = 0;
            ::shutdown(r.fd, SHUT_RDWR);
         }
         return;
      }
      auto left = static_cast<std::size_t>(sent);
      while (left > 0 && !r.queue.empty()) {
         std::size_t const rest = r.queue.front()->size() - r.sentOfFirst;
         if (left < rest) {
            r.sentOfFirst += left;
            left = 0;
         } else {
            left -= rest;
            r.queued -= r.queue.front()->size();
            r.queue.pop_front();
            r.sentOfFirst = 0;
         }
      }
      if (r.queue.empty() && r.resync) {
         r.resync = false;
         enqueue(r, snapshotFrame());
      }
   }
}

void Publisher::flush() {
   for (Reader& r : readers_)
      send(r);
}

void Publisher::accept() {
   for (;;) {
      int const fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (fd < 0) return;
      ucred cred{};
      socklen_t len = sizeof cred;
      bool admitted = ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) == 0 &&
                      (cred.uid == ::geteuid() || cred.uid == 0 ||
                       (options_.group != static_cast<gid_t>(-1) && cred.gid == options_.group));
      if (!admitted) {
         ++refusals_;
         lastError_ = "refused a reader of uid " + std::to_string(cred.uid) + " (pid " +
                      std::to_string(cred.pid) + ")";
         ::close(fd);
         continue;
      }
      int size = 1 << 20;
      ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
      if (!hello_) {
         auto out = Vex::NboAttrLog::Out::OutIs();
         out->writeU32(protocolVersion);
         out->writeString(Vex::String(options_.name));
         out->writeString(Vex::String(root()->fwkType()->name()));
         out->writeU64(incarnation_);
         hello_ = encodeFrame(FrameKind::hello, 0, out->bytes());
      }
      readers_.push_back(Reader{fd, {}, 0, 0});
      enqueue(readers_.back(), hello_);
      enqueue(readers_.back(), snapshotFrame());
      send(readers_.back());
   }
}

void Publisher::drop(std::size_t i) {
   ::close(readers_[i].fd);
   readers_.erase(readers_.begin() + static_cast<std::ptrdiff_t>(i));
}

void Publisher::pollFds(std::vector<pollfd>& fds) {
   fds.push_back({listenFd_, POLLIN, 0});
   for (Reader const& r : readers_) {
      fds.push_back({r.fd, static_cast<short>(POLLIN | (r.queue.empty() ? 0 : POLLOUT)), 0});
   }
}

void Publisher::pollDone(std::span<pollfd const> fds) {
   // Readers first: accepting appends to readers_.
   for (std::size_t i = fds.size(); i-- > 1;) {
      std::size_t const ri = i - 1;
      if (ri >= readers_.size() || readers_[ri].fd != fds[i].fd) continue;
      short const ev = fds[i].revents;
      bool gone = (ev & (POLLERR | POLLNVAL)) != 0;
      if (!gone && (ev & (POLLIN | POLLHUP))) {
         char buf[256];
         ssize_t const r = ::recv(readers_[ri].fd, buf, sizeof buf, MSG_DONTWAIT);
         gone = r == 0 || (r < 0 && errno != EAGAIN && errno != EINTR);
      }
      if (!gone && (ev & POLLOUT)) send(readers_[ri]);
      if (gone) drop(ri);
   }
   if (!fds.empty() && (fds[0].revents & POLLIN)) accept();
   if (journal_) journal_->tick();
}

int Publisher::pollTimeoutMs() const {
   return journal_ ? journal_->msUntilTick() : -1;
}

} // namespace Statedb
