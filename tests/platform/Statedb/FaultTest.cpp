// Faults: readers killed and restarted, writers killed in the middle of a
// batch, damaged and cut frames, slow readers, other users.
#include "StatedbTestUtil.h"

#include "Statedb/Frame.h"
#include "Statedb/TreeCodec.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace StatedbTest;
using Flowspec::Config;

namespace {

Statedb::PublishOptions configAt(StateDir const& dir) {
   return {.stateDir = dir.path(), .name = "flowspec/config"};
}
Statedb::MountOptions mountAt(StateDir const& dir) {
   return {.stateDir = dir.path(), .name = "flowspec/config", .retryMs = 20};
}

Flowspec::FlowspecKey ruleKey(unsigned k) {
   std::string text = "10." + std::to_string(k >> 16) + "." + std::to_string(k >> 8 & 255) + "." +
                      std::to_string(k & 255) + "/32;*;";
   return key(text.c_str());
}

/// Adds rules [from, to) to VRF 0 of `config`, each with ruleId = its number.
void addRules(Vex::Ptr<Config> const& config, unsigned from, unsigned to) {
   auto vrf = config->vrfRuleConfigIs(0);
   for (unsigned k = from; k < to; ++k)
      vrf->ruleIs(ruleKey(k))->ruleIdIs(k);
}

std::size_t ruleCount(Vex::Ptr<Vex::Entity const> const& root) {
   auto c = Vex::ptrCast<Config const>(root);
   auto vrf = c->vrfRuleConfig(0);
   return vrf ? vrf->ruleSize() : 0;
}

/// Forks a child that runs `body` and exits 0 (1 on an exception).
template <class F>
pid_t spawn(F body) {
   pid_t const pid = ::fork();
   if (pid == 0) {
      int rc = 0;
      try {
         body();
      } catch (...) {
         rc = 1;
      }
      ::_exit(rc);
   }
   return pid;
}

void killAndReap(pid_t pid) {
   if (pid <= 0) return;
   ::kill(pid, SIGKILL);
   int status = 0;
   ::waitpid(pid, &status, 0);
}

/// Kills the child at the end of the scope, also when an assertion fails.
struct Reaper {
   pid_t& pid;
   ~Reaper() { killAndReap(pid); }
};

/// Waits (bounded) for one byte from the pipe.
bool readyFrom(int fd, int timeoutMs = 10000) {
   pollfd p{fd, POLLIN, 0};
   if (::poll(&p, 1, timeoutMs) != 1) return false;
   char c;
   return ::read(fd, &c, 1) == 1;
}

} // namespace

TEST(StatedbFaults, AReaderKilledAndRestartedResynchronises) {
   StateDir dir;
   auto config = Config::ConfigIs("config");
   Statedb::Publisher pub(config, configAt(dir));
   addRules(config, 1, 50);
   int ready[2];
   ASSERT_EQ(::pipe(ready), 0);
   pid_t reader = 0;
   Reaper reap{reader};
   reader = spawn([&] {
      auto m = Statedb::Mount::mountIs(Config::_vexType, mountAt(dir));
      m->waitFor([&] { return m->state() == Statedb::MountState::live; }, 5000);
      (void)!::write(ready[1], "r", 1);
      m->waitFor([] { return false; }, 10000);
   });
   auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
   while (pub.readerCount() == 0 && std::chrono::steady_clock::now() < deadline)
      pub.service(10);
   ASSERT_EQ(pub.readerCount(), 1u);
   ASSERT_TRUE(readyFrom(ready[0]));
   killAndReap(reader);
   reader = 0;
   addRules(config, 50, 80); // while no reader is there
   while (pub.readerCount() != 0 && std::chrono::steady_clock::now() < deadline)
      pub.service(10);
   EXPECT_EQ(pub.readerCount(), 0u) << "the killed reader is dropped";

   auto again = Statedb::Mount::mountIs(Config::_vexType, mountAt(dir));
   ASSERT_TRUE(again->waitFor(
       [&] {
          pub.service(0);
          return again->state() == Statedb::MountState::live &&
                 again->lastSequence() == pub.sequence();
       },
       5000));
   std::string why;
   EXPECT_TRUE(Statedb::sameTree(*again->root(), *config, &why)) << why;
   EXPECT_EQ(ruleCount(again->root()), 79u);
   ::close(ready[0]), ::close(ready[1]);
}

TEST(StatedbFaults, AWriterKilledMidBatchLeavesTheLastWholeBatchThenResyncs) {
   StateDir dir;
   int ready[2];
   ASSERT_EQ(::pipe(ready), 0);
   // The writer publishes 10 rules in one batch, then opens a second batch
   // of 10 more and is killed before it closes.
   pid_t writer = 0;
   Reaper reap{writer};
   writer = spawn([&] {
      auto config = Config::ConfigIs("config");
      Statedb::Publisher pub(config, configAt(dir));
      {
         Statedb::Publisher::Batch b(pub);
         addRules(config, 1, 11);
      }
      auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
      while (pub.readerCount() == 0 && std::chrono::steady_clock::now() < until)
         pub.service(10);
      Statedb::Publisher::Batch open(pub);
      addRules(config, 11, 21);
      (void)!::write(ready[1], "w", 1);
      while (std::chrono::steady_clock::now() < until)
         pub.service(10);
   });
   auto mount = Statedb::Mount::mountIs(Config::_vexType, mountAt(dir));
   std::vector<std::string> states;
   mount->onStateIs([&](Statedb::MountState s) { states.push_back(Statedb::mountStateText(s)); });
   ASSERT_TRUE(mount->waitFor([&] { return mount->state() == Statedb::MountState::live; }, 10000));
   ASSERT_TRUE(readyFrom(ready[0]));
   mount->service(50);
   killAndReap(writer);
   writer = 0;
   ASSERT_TRUE(
       mount->waitFor([&] { return mount->state() == Statedb::MountState::disconnected; }, 5000));
   EXPECT_EQ(ruleCount(mount->root()), 10u) << "the last whole batch, nothing of the open one";
   EXPECT_EQ(mount->lastSequence(), 1u);
   EXPECT_EQ(mount->lastError(), "Statedb: the writer closed the connection");

   // A writer returns: it reloads the journal (the whole batch) and the
   // reader resynchronises with it; its observers hear only what differs.
   Listener heard(mount->root());
   auto config = Config::ConfigIs("config");
   Statedb::Publisher pub(config, configAt(dir));
   EXPECT_EQ(pub.reloadedSequence(), 1u);
   EXPECT_EQ(config->vrfRuleConfig(0)->ruleSize(), 10u);
   addRules(config, 30, 33);
   ASSERT_TRUE(mount->waitFor(
       [&] {
          pub.service(0);
          return mount->state() == Statedb::MountState::live &&
                 mount->lastSequence() == pub.sequence();
       },
       5000));
   std::string why;
   EXPECT_TRUE(Statedb::sameTree(*mount->root(), *config, &why)) << why;
   EXPECT_EQ(heard.heard.size(), 6u)
       << "three rules made, three ids set: " << ::testing::PrintToString(heard.heard);
   ASSERT_GE(states.size(), 4u);
   EXPECT_EQ(std::vector<std::string>(states.end() - 4, states.end()),
             (std::vector<std::string>{"live", "disconnected", "syncing", "live"}));
   ::close(ready[0]), ::close(ready[1]);
}

namespace {

/// A stand-in writer on the socket of `dir`: accepts one reader and sends it
/// the bytes it is given.
class FakeWriter {
 public:
   explicit FakeWriter(StateDir const& dir) {
      std::string const sub = dir.path() + "/flowspec";
      ::mkdir(sub.c_str(), 0700);
      path_ = sub + "/config.sock";
      fd_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
      sockaddr_un addr{};
      addr.sun_family = AF_UNIX;
      std::strcpy(addr.sun_path, path_.c_str());
      EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
      EXPECT_EQ(::listen(fd_, 4), 0);
   }
   ~FakeWriter() {
      if (peer_ >= 0) ::close(peer_);
      ::close(fd_);
   }
   void accept() { peer_ = ::accept(fd_, nullptr, nullptr); }
   void send(std::vector<unsigned char> const& bytes) {
      ASSERT_EQ(::write(peer_, bytes.data(), bytes.size()), ssize_t(bytes.size()));
   }
   void send(Statedb::FrameBytes const& f) { send(*f); }
   void close() {
      ::close(peer_);
      peer_ = -1;
   }

 private:
   std::string path_;
   int fd_ = -1;
   int peer_ = -1;
};

/// The frames a real writer makes: hello, snapshot, and one batch per call
/// of `change`.
struct Frames {
   Vex::Ptr<Config> config = Config::ConfigIs("config");
   std::vector<unsigned char> body;
   std::unique_ptr<Statedb::TreeRecorder> recorder;
   std::uint64_t seq = 0;
   Frames() { recorder = std::make_unique<Statedb::TreeRecorder>(config, nullptr); }
   Statedb::FrameBytes hello() {
      auto out = Vex::NboAttrLog::Out::OutIs();
      out->writeU32(Statedb::protocolVersion);
      out->writeString("flowspec/config");
      out->writeString("Flowspec::Config");
      out->writeU64(1);
      return Statedb::encodeFrame(Statedb::FrameKind::hello, 0, out->bytes());
   }
   Statedb::FrameBytes snapshot() {
      return Statedb::encodeFrame(Statedb::FrameKind::snapshot, seq, recorder->snapshot());
   }
   template <class F>
   Statedb::FrameBytes batch(F change) {
      change();
      recorder->take(body);
      return Statedb::encodeFrame(Statedb::FrameKind::batch, ++seq, body);
   }
};

} // namespace

TEST(StatedbFaults, DamagedCutAndUndecodableFramesAreRefusedWholeAndDropTheConnection) {
   struct Case {
      char const* description;
      std::function<void(FakeWriter&, Frames&)> send;
      char const* error; // the start of lastError()
   };
   Case const cases[] = {
       {"a flipped bit in a batch",
        [](FakeWriter& w, Frames& f) {
           auto bad = *f.batch([&] { addRules(f.config, 5, 7); });
           bad[20] ^= 0x10;
           w.send(bad);
        },
        "Statedb: frame at offset "},
       {"a batch cut short by the writer's end",
        [](FakeWriter& w, Frames& f) {
           auto frame = *f.batch([&] { addRules(f.config, 5, 7); });
           frame.resize(frame.size() - 3);
           w.send(frame);
           w.close();
        },
        "Statedb: truncated frame at offset "},
       {"a length beyond the bound",
        [](FakeWriter& w, Frames&) {
           w.send(std::vector<unsigned char>{0xff, 0xff, 0xff, 0xff, 3});
        },
        "Statedb: frame at offset "},
       {"a sound frame whose second record names an unknown entity",
        [](FakeWriter& w, Frames& f) {
           auto good = f.batch([&] { addRules(f.config, 5, 6); });
           std::vector<unsigned char> body(good->begin() + 13, good->end() - 4);
           // A second record: attribute 259 of entity 999.
           std::vector<unsigned char> const bad = {1, 0, 0, 3, 0xe7, 0, 0, 1, 3,
                                                   0, 0, 0, 0, 0,    0, 0, 1};
           body.insert(body.end(), bad.begin(), bad.end());
           w.send(Statedb::encodeFrame(Statedb::FrameKind::batch, f.seq, body));
        },
        "Statedb: record at offset "},
       {"a sequence number skipped",
        [](FakeWriter& w, Frames& f) {
           f.seq += 1;
           w.send(f.batch([&] { addRules(f.config, 5, 7); }));
        },
        "Statedb: batch 4 follows batch 2"},
   };
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      StateDir dir;
      FakeWriter writer(dir);
      Frames frames;
      addRules(frames.config, 1, 3);
      auto mount = Statedb::Mount::mountIs(Config::_vexType, mountAt(dir));
      writer.accept();
      writer.send(frames.hello());
      writer.send(frames.snapshot());
      writer.send(frames.batch([&] { addRules(frames.config, 3, 4); }));
      writer.send(frames.batch([&] { addRules(frames.config, 4, 5); }));
      ASSERT_TRUE(mount->waitFor([&] { return mount->lastSequence() == 2; }, 5000));
      c.send(writer, frames);
      ASSERT_TRUE(mount->waitFor(
          [&] { return mount->state() == Statedb::MountState::disconnected; }, 5000));
      EXPECT_EQ(mount->lastError().rfind(c.error, 0), 0u) << mount->lastError();
      EXPECT_EQ(mount->lastSequence(), 2u);
      EXPECT_EQ(ruleCount(mount->root()), 4u) << "nothing of the refused frame";
   }
}

TEST(StatedbFaults, ASlowReaderIsCutOffAndResynchronisedFromASnapshot) {
   StateDir dir;
   auto config = Config::ConfigIs("config");
   auto options = configAt(dir);
   options.maxQueuedBytes = 16 << 10;
   options.journal = false;
   Statedb::Publisher pub(config, options);
   auto mount = Statedb::Mount::mountIs(Config::_vexType, mountAt(dir));
   ASSERT_TRUE(mount->waitFor(
       [&] {
          pub.service(0);
          return mount->state() == Statedb::MountState::live;
       },
       5000));
   // The reader does not read while 4000 batches go out.
   addRules(config, 1, 2001);
   EXPECT_GE(pub.cutOffs(), 1u);
   ASSERT_TRUE(mount->waitFor(
       [&] {
          pub.service(0);
          return mount->lastSequence() == pub.sequence();
       },
       10000));
   EXPECT_GE(mount->snapshotsApplied(), 2u) << "resynchronised from a snapshot";
   std::string why;
   EXPECT_TRUE(Statedb::sameTree(*mount->root(), *config, &why)) << why;
   EXPECT_EQ(mount->lastError(), "");
}

TEST(StatedbFaults, AProcessOfAnotherUserIsRefused) {
   if (::geteuid() != 0) GTEST_SKIP() << "needs root to run a reader under a second uid";
   StateDir dir;
   auto config = Config::ConfigIs("config");
   Statedb::Publisher pub(config, configAt(dir));
   struct stat st {};
   ASSERT_EQ(::stat(pub.socketPath().c_str(), &st), 0);
   EXPECT_EQ(st.st_mode & 0777, 0600u);
   // With the modes opened, only SO_PEERCRED stands in the way.
   ::chmod(dir.path().c_str(), 0755);
   ::chmod((dir.path() + "/flowspec").c_str(), 0755);
   ::chmod(pub.socketPath().c_str(), 0777);
   int result[2];
   ASSERT_EQ(::pipe(result), 0);
   pid_t other = spawn([&] {
      if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
      int const fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
      sockaddr_un addr{};
      addr.sun_family = AF_UNIX;
      std::strcpy(addr.sun_path, pub.socketPath().c_str());
      char verdict = 'c'; // could not connect
      if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
         char buf[64];
         verdict = ::read(fd, buf, sizeof buf) == 0 ? 'e' : 'd'; // end, or data
      }
      (void)!::write(result[1], &verdict, 1);
   });
   auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
   while (pub.refusals() == 0 && std::chrono::steady_clock::now() < deadline)
      pub.service(10);
   int status = 0;
   ::waitpid(other, &status, 0);
   char verdict = 0;
   ASSERT_EQ(::read(result[0], &verdict, 1), 1);
   EXPECT_EQ(verdict, 'e') << "connected, then closed without a byte";
   EXPECT_EQ(pub.refusals(), 1u);
   EXPECT_EQ(pub.lastError(), "refused a reader of uid 65534 (pid " + std::to_string(other) + ")");
   EXPECT_EQ(pub.readerCount(), 0u);
   ::close(result[0]), ::close(result[1]);
}
