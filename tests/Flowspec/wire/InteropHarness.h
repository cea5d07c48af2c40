// tests/Flowspec/wire/InteropHarness.h: what the interop tests need to run
// independent BGP speakers (GoBGP, ExaBGP) beside themselves: a scratch
// directory, daemons that always go away, bounded waits, free loopback
// ports and commands run to completion with their output.
//
// Everything is bounded in time and cleaned up by destructors, also when an
// assertion ends a test early; daemons get SIGTERM when the test process
// dies (PR_SET_PDEATHSIG), so none outlives a crashed test.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Interop {

/// Whether FLOWSPEC_REQUIRE_INTEROP is set (to anything but "" and "0"):
/// then a missing program fails the test instead of skipping it.
bool required();

/// The full path of `program` on PATH, or "" when there is none.
std::string findProgram(std::string const& program);

/// Skips the test (GTEST_SKIP, naming what is missing) when one of the
/// programs is not on PATH and interop is not required; fails it when it is.
#define INTEROP_REQUIRE_PROGRAMS(...)                                                              \
   do {                                                                                            \
      std::string missing_;                                                                        \
      for (char const* p_ : {__VA_ARGS__})                                                         \
         if (::Interop::findProgram(p_).empty()) missing_ += std::string(" ") + p_;                \
      if (!missing_.empty()) {                                                                     \
         if (::Interop::required()) {                                                              \
            FAIL() << "FLOWSPEC_REQUIRE_INTEROP is set but these programs are "                    \
                      "missing:"                                                                   \
                   << missing_;                                                                    \
         }                                                                                         \
         GTEST_SKIP() << "interop skipped: not installed:" << missing_                             \
                      << " (apt-get install gobgpd exabgp; set "                                   \
                         "FLOWSPEC_REQUIRE_INTEROP=1 to make this a failure)";                     \
      }                                                                                            \
   } while (0)

/// A fresh directory under $TMPDIR (or /tmp), removed with all it holds.
class TempDir {
 public:
   TempDir();
   ~TempDir();
   TempDir(TempDir const&) = delete;
   TempDir& operator=(TempDir const&) = delete;
   std::string const& path() const { return path_; }
   std::string file(std::string const& name) const { return path_ + "/" + name; }
   void write(std::string const& name, std::string const& text) const;

 private:
   std::string path_;
};

/// A program started in the background, its output in a log file, stopped
/// (SIGTERM, then SIGKILL after 5 seconds) when destroyed.
class Daemon {
 public:
   Daemon(std::vector<std::string> argv, std::string const& cwd, std::string const& log,
          std::vector<std::string> env = {});
   ~Daemon();
   Daemon(Daemon const&) = delete;
   Daemon& operator=(Daemon const&) = delete;
   /// Whether it still runs.
   bool running();
   /// Its process id (-1 once it is known to have ended).
   int pid() const { return pid_; }
   /// The last lines of its log, for failure messages.
   std::string logTail() const;

 private:
   int pid_ = -1;
   std::string log_;
};

struct RunResult {
   int status = -1; ///< the exit status; -1 when killed or not started
   std::string out; ///< standard output and standard error together
};

/// Runs a program to completion with its output captured, killing it after
/// `timeout`.
RunResult run(std::vector<std::string> const& argv,
              std::chrono::seconds timeout = std::chrono::seconds(30), std::string const& cwd = "");

/// A TCP port nobody listens on at `address` now (the kernel's choice).
int freePort(std::string const& address);

/// Calls `done` every 200 ms until it is true or `timeout` has passed;
/// returns its last answer.
bool waitFor(std::function<bool()> const& done, std::chrono::seconds timeout);

/// The bytes of a file ("" when it cannot be read).
std::vector<std::uint8_t> readFile(std::string const& path);

/// The smallest BGP speaker that can hand UPDATEs to a peer: it connects,
/// exchanges OPEN (4-octet AS, the flowspec families) and KEEPALIVE, and
/// then sends what it is given. The session closes with the object.
class BgpSpeaker {
 public:
   BgpSpeaker() = default;
   ~BgpSpeaker();
   BgpSpeaker(BgpSpeaker const&) = delete;
   BgpSpeaker& operator=(BgpSpeaker const&) = delete;
   /// Connects from `local` to `remote`:`port` as AS `as` and waits for the
   /// peer's OPEN and KEEPALIVE; "" when established, otherwise why not.
   std::string open(std::string const& local, std::string const& remote, int port, std::uint32_t as,
                    std::chrono::seconds timeout);
   /// Sends one whole message; false when the connection failed.
   bool send(std::vector<std::uint8_t> const& message);

 private:
   // The next whole message from the peer, or empty after `timeout`.
   std::vector<std::uint8_t> receive(std::chrono::milliseconds timeout);
   int fd_ = -1;
   std::vector<std::uint8_t> in_;
};

/// Lower-case hex of `bytes`.
std::string hex(std::vector<std::uint8_t> const& bytes);

} // namespace Interop
