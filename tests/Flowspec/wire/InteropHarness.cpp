#include "InteropHarness.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace Interop {

bool required() {
   char const* v = std::getenv("FLOWSPEC_REQUIRE_INTEROP");
   return v && *v && std::string(v) != "0";
}

std::string findProgram(std::string const& program) {
   char const* path = std::getenv("PATH");
   std::stringstream dirs(path ? path : "/usr/bin:/bin");
   std::string dir;
   while (std::getline(dirs, dir, ':')) {
      std::string const candidate = (dir.empty() ? "." : dir) + "/" + program;
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
   }
   // Debian puts exabgp in /usr/sbin, which a plain user's PATH may lack.
   for (char const* d : {"/usr/sbin", "/sbin", "/usr/local/sbin"}) {
      std::string const candidate = std::string(d) + "/" + program;
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
   }
   return "";
}

TempDir::TempDir() {
   char const* base = std::getenv("TMPDIR");
   std::string pattern = std::string(base && *base ? base : "/tmp") + "/flowspec-interop-XXXXXX";
   std::vector<char> buf(pattern.begin(), pattern.end());
   buf.push_back('\0');
   if (!::mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
   path_ = buf.data();
}

TempDir::~TempDir() {
   std::error_code ec;
   std::filesystem::remove_all(path_, ec);
}

void TempDir::write(std::string const& name, std::string const& text) const {
   std::ofstream(file(name)) << text;
}

namespace {

// In the child: its own process group, SIGTERM when the test process dies,
// then the program.
[[noreturn]] void execChild(std::vector<std::string> const& argv, std::string const& cwd, int outFd,
                            std::vector<std::string> const& env) {
   ::setpgid(0, 0);
   ::prctl(PR_SET_PDEATHSIG, SIGTERM);
   if (outFd >= 0) {
      ::dup2(outFd, 1);
      ::dup2(outFd, 2);
      ::close(outFd);
   }
   int devnull = ::open("/dev/null", O_RDONLY);
   if (devnull >= 0) ::dup2(devnull, 0);
   if (!cwd.empty() && ::chdir(cwd.c_str()) != 0) ::_exit(126);
   for (std::string const& e : env)
      ::putenv(const_cast<char*>(e.c_str()));
   std::vector<char*> args;
   for (std::string const& a : argv)
      args.push_back(const_cast<char*>(a.c_str()));
   args.push_back(nullptr);
   ::execv(args[0], args.data());
   ::_exit(127);
}

// Waits for `pid` up to `timeout`; the exit status, or -1 if it did not end.
int waitPid(int pid, std::chrono::milliseconds timeout) {
   auto const deadline = std::chrono::steady_clock::now() + timeout;
   for (;;) {
      int status = 0;
      int const r = ::waitpid(pid, &status, WNOHANG);
      if (r == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      if (r < 0) return -1;
      if (std::chrono::steady_clock::now() > deadline) return -2;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
   }
}

void stopPid(int pid) {
   ::kill(pid, SIGTERM);
   if (waitPid(pid, std::chrono::seconds(5)) == -2) {
      ::kill(pid, SIGKILL);
      waitPid(pid, std::chrono::seconds(5));
   }
}

} // namespace

Daemon::Daemon(std::vector<std::string> argv, std::string const& cwd, std::string const& log,
               std::vector<std::string> env)
    : log_(log) {
   int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
   pid_ = ::fork();
   if (pid_ == 0) execChild(argv, cwd, fd >= 0 ? ::dup(fd) : -1, env);
   if (fd >= 0) ::close(fd);
}

Daemon::~Daemon() {
   if (pid_ > 0) stopPid(pid_);
}

bool Daemon::running() {
   if (pid_ <= 0) return false;
   int status = 0;
   if (::waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return false;
   }
   return true;
}

std::string Daemon::logTail() const {
   std::ifstream in(log_);
   std::string const text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
   return text.size() > 3000 ? text.substr(text.size() - 3000) : text;
}

RunResult run(std::vector<std::string> const& argv, std::chrono::seconds timeout,
              std::string const& cwd) {
   RunResult result;
   int fds[2];
   if (::pipe2(fds, O_CLOEXEC) != 0) return result;
   int const pid = ::fork();
   if (pid == 0) execChild(argv, cwd, ::dup(fds[1]), {});
   ::close(fds[1]);
   auto const deadline = std::chrono::steady_clock::now() + timeout;
   char buf[4096];
   for (;;) {
      auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      pollfd p{fds[0], POLLIN, 0};
      if (::poll(&p, 1, int(left.count())) <= 0) break;
      ssize_t const n = ::read(fds[0], buf, sizeof buf);
      if (n <= 0) break;
      result.out.append(buf, std::size_t(n));
   }
   ::close(fds[0]);
   int const status = waitPid(pid, std::chrono::milliseconds(100));
   if (status == -2) {
      stopPid(pid);
      result.status = -1;
      result.out += "\n[killed after " + std::to_string(timeout.count()) + " s]";
   } else {
      result.status = status;
   }
   return result;
}

int freePort(std::string const& address) {
   int const s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_in a{};
   a.sin_family = AF_INET;
   ::inet_pton(AF_INET, address.c_str(), &a.sin_addr);
   a.sin_port = 0;
   int port = 0;
   if (::bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) {
      socklen_t len = sizeof a;
      ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
      port = ntohs(a.sin_port);
   }
   ::close(s);
   return port;
}

bool waitFor(std::function<bool()> const& done, std::chrono::seconds timeout) {
   auto const deadline = std::chrono::steady_clock::now() + timeout;
   for (;;) {
      if (done()) return true;
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
   }
}

std::vector<std::uint8_t> readFile(std::string const& path) {
   std::ifstream in(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

BgpSpeaker::~BgpSpeaker() {
   if (fd_ >= 0) ::close(fd_);
}

namespace {

std::vector<std::uint8_t> bgpMessage(std::uint8_t type, std::vector<std::uint8_t> body) {
   std::vector<std::uint8_t> m(16, 0xff);
   std::size_t const len = 19 + body.size();
   m.push_back(std::uint8_t(len >> 8));
   m.push_back(std::uint8_t(len));
   m.push_back(type);
   m.insert(m.end(), body.begin(), body.end());
   return m;
}

} // namespace

std::string BgpSpeaker::open(std::string const& local, std::string const& remote, int port,
                             std::uint32_t as, std::chrono::seconds timeout) {
   fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_in l{}, r{};
   l.sin_family = r.sin_family = AF_INET;
   ::inet_pton(AF_INET, local.c_str(), &l.sin_addr);
   ::inet_pton(AF_INET, remote.c_str(), &r.sin_addr);
   r.sin_port = htons(std::uint16_t(port));
   if (::bind(fd_, reinterpret_cast<sockaddr*>(&l), sizeof l) != 0) {
      return "cannot bind " + local + ": " + std::strerror(errno);
   }
   auto const deadline = std::chrono::steady_clock::now() + timeout;
   // The peer may not listen yet: try again until the deadline.
   while (::connect(fd_, reinterpret_cast<sockaddr*>(&r), sizeof r) != 0) {
      if (std::chrono::steady_clock::now() > deadline) {
         return "cannot connect to " + remote + ":" + std::to_string(port) + ": " +
                std::strerror(errno);
      }
      ::close(fd_);
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
      ::bind(fd_, reinterpret_cast<sockaddr*>(&l), sizeof l);
   }
   // OPEN (RFC 4271 section 4.2) with the capabilities of RFC 5492: the
   // multiprotocol ones of RFC 4760 for AFI 1 and 2, SAFI 133, and AFI 1,
   // SAFI 134, and the 4-octet AS of RFC 6793.
   std::vector<std::uint8_t> caps;
   for (auto [afi, safi] : {std::pair{1, 133}, {2, 133}, {1, 134}}) {
      caps.insert(caps.end(), {1, 4, 0, std::uint8_t(afi), 0, std::uint8_t(safi)});
   }
   caps.insert(caps.end(), {65, 4, std::uint8_t(as >> 24), std::uint8_t(as >> 16),
                            std::uint8_t(as >> 8), std::uint8_t(as)});
   std::uint16_t const myAs = as > 0xffff ? 23456 : std::uint16_t(as);
   std::vector<std::uint8_t> body{4,
                                  std::uint8_t(myAs >> 8),
                                  std::uint8_t(myAs),
                                  0,
                                  180,
                                  10,
                                  0,
                                  0,
                                  4,
                                  std::uint8_t(caps.size() + 2),
                                  2,
                                  std::uint8_t(caps.size())};
   body.insert(body.end(), caps.begin(), caps.end());
   if (!send(bgpMessage(1, body))) return "cannot send OPEN";
   bool gotOpen = false;
   while (std::chrono::steady_clock::now() < deadline) {
      auto const m = receive(std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now()));
      if (m.empty()) break;
      if (m[18] == 3) {
         return "the peer sent a NOTIFICATION, code " + std::to_string(m.size() > 19 ? m[19] : 0) +
                " subcode " + std::to_string(m.size() > 20 ? m[20] : 0);
      }
      if (m[18] == 1) {
         gotOpen = true;
         if (!send(bgpMessage(4, {}))) return "cannot send KEEPALIVE";
      } else if (m[18] == 4 && gotOpen) {
         return "";
      }
   }
   return gotOpen ? "no KEEPALIVE after the OPEN" : "no OPEN from the peer";
}

bool BgpSpeaker::send(std::vector<std::uint8_t> const& message) {
   std::size_t done = 0;
   while (done < message.size()) {
      ssize_t const n = ::send(fd_, message.data() + done, message.size() - done, MSG_NOSIGNAL);
      if (n <= 0) return false;
      done += std::size_t(n);
   }
   return true;
}

std::vector<std::uint8_t> BgpSpeaker::receive(std::chrono::milliseconds timeout) {
   auto const deadline = std::chrono::steady_clock::now() + timeout;
   for (;;) {
      if (in_.size() >= 19) {
         std::size_t const len = std::size_t(in_[16]) << 8 | in_[17];
         if (len >= 19 && in_.size() >= len) {
            std::vector<std::uint8_t> m(in_.begin(), in_.begin() + long(len));
            in_.erase(in_.begin(), in_.begin() + long(len));
            return m;
         }
      }
      auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return {};
      pollfd p{fd_, POLLIN, 0};
      if (::poll(&p, 1, int(left.count())) <= 0) return {};
      std::uint8_t buf[4096];
      ssize_t const n = ::recv(fd_, buf, sizeof buf, 0);
      if (n <= 0) return {};
      in_.insert(in_.end(), buf, buf + n);
   }
}

std::string hex(std::vector<std::uint8_t> const& bytes) {
   static constexpr char digits[] = "0123456789abcdef";
   std::string s;
   for (std::uint8_t b : bytes) {
      s += digits[b >> 4];
      s += digits[b & 15];
   }
   return s;
}

} // namespace Interop
