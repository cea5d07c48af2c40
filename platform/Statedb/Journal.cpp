#include "Statedb/Journal.h"

#include "Statedb/TreeCodec.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Statedb {

namespace {

[[noreturn]] void fail(std::string const& what) {
   throw Vex::Exception(Vex::String("Statedb: " + what + ": " + std::strerror(errno)));
}

void writeAll(int fd, unsigned char const* p, std::size_t n, std::string const& path) {
   while (n > 0) {
      ssize_t const w = ::write(fd, p, n);
      if (w < 0) {
         if (errno == EINTR) continue;
         fail("cannot write " + path);
      }
      p += w;
      n -= static_cast<std::size_t>(w);
   }
}

bool readFile(std::string const& path, std::vector<unsigned char>& to) {
   int const fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
   if (fd < 0) {
      if (errno == ENOENT) return false;
      fail("cannot open " + path);
   }
   unsigned char buf[1 << 16];
   for (;;) {
      ssize_t const r = ::read(fd, buf, sizeof buf);
      if (r < 0) {
         if (errno == EINTR) continue;
         ::close(fd);
         fail("cannot read " + path);
      }
      if (r == 0) break;
      to.insert(to.end(), buf, buf + r);
   }
   ::close(fd);
   return true;
}

std::string dirOf(std::string const& path) {
   auto const slash = path.rfind('/');
   return slash == std::string::npos ? "." : path.substr(0, slash);
}

} // namespace

Journal::Journal(std::string basePath, JournalOptions options)
    : journalPath_(basePath + ".journal"), snapshotPath_(basePath + ".snapshot"),
      options_(options) {
   fd_ = ::open(journalPath_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
   if (fd_ < 0) fail("cannot open " + journalPath_);
   struct stat st {};
   if (::fstat(fd_, &st) == 0) size_ = static_cast<std::uint64_t>(st.st_size);
}

Journal::~Journal() {
   if (fd_ >= 0) {
      if (dirty_ && options_.fsync != FsyncPolicy::never) ::fdatasync(fd_);
      ::close(fd_);
   }
}

std::uint64_t Journal::load(Vex::Ptr<Vex::Entity> const& root) {
   TreeApplier applier(root);
   std::uint64_t last = 0;
   std::vector<unsigned char> bytes;
   if (readFile(snapshotPath_, bytes)) {
      FrameParser parser;
      parser.append(bytes.data(), bytes.size());
      Frame f;
      if (!parser.next(f) || f.kind != FrameKind::snapshot) {
         throw Vex::Exception(
             Vex::String("Statedb: " + snapshotPath_ + " holds no whole snapshot"));
      }
      applier.applySnapshot(f.body);
      last = f.sequence;
   }
   bytes.clear();
   readFile(journalPath_, bytes);
   FrameParser parser;
   parser.append(bytes.data(), bytes.size());
   std::uint64_t good = 0; // bytes of whole frames
   try {
      Frame f;
      while (parser.next(f)) {
         if (f.kind != FrameKind::batch) break;
         if (f.sequence > last) {
            if (last != 0 && f.sequence != last + 1) break;
            applier.applyBatch(f.body);
            last = f.sequence;
         }
         good = parser.offset();
      }
   } catch (FrameError const&) {
      // The tail a crash left: cut below.
   }
   if (good < bytes.size()) {
      if (::ftruncate(fd_, static_cast<off_t>(good)) != 0) fail("cannot truncate " + journalPath_);
      size_ = good;
   }
   return last;
}

void Journal::append(FrameBytes const& frame) {
   writeAll(fd_, frame->data(), frame->size(), journalPath_);
   size_ += frame->size();
   if (options_.fsync == FsyncPolicy::everyBatch) {
      sync();
   } else if (!dirty_) {
      dirty_ = true;
      dirtySince_ = std::chrono::steady_clock::now();
   }
}

void Journal::sync() {
   if (::fdatasync(fd_) != 0) fail("cannot sync " + journalPath_);
   dirty_ = false;
}

void Journal::compact(FrameBytes const& snapshotFrame) {
   std::string const tmp = snapshotPath_ + ".tmp";
   int const fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
   if (fd < 0) fail("cannot create " + tmp);
   try {
      writeAll(fd, snapshotFrame->data(), snapshotFrame->size(), tmp);
      if (options_.fsync != FsyncPolicy::never && ::fdatasync(fd) != 0) fail("cannot sync " + tmp);
   } catch (...) {
      ::close(fd);
      throw;
   }
   ::close(fd);
   if (::rename(tmp.c_str(), snapshotPath_.c_str()) != 0) fail("cannot rename " + tmp);
   if (options_.fsync != FsyncPolicy::never) {
      int const dir = ::open(dirOf(snapshotPath_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      if (dir >= 0) {
         ::fsync(dir);
         ::close(dir);
      }
   }
   if (::ftruncate(fd_, 0) != 0) fail("cannot empty " + journalPath_);
   size_ = 0;
   dirty_ = false;
}

void Journal::tick() {
   if (dirty_ && options_.fsync == FsyncPolicy::interval && msUntilTick() == 0) sync();
}

int Journal::msUntilTick() const {
   if (!dirty_ || options_.fsync != FsyncPolicy::interval) return -1;
   auto const due = dirtySince_ + options_.interval;
   auto const now = std::chrono::steady_clock::now();
   if (due <= now) return 0;
   return static_cast<int>(
       std::chrono::duration_cast<std::chrono::milliseconds>(due - now).count() + 1);
}

} // namespace Statedb
