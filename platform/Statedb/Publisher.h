// Statedb/Publisher.h: publishing an entity tree under a name.
//
//   auto config = Flowspec::Config::ConfigIs("config");
//   Statedb::Publisher pub(config, {.stateDir = "/run/flowspec", .name = "flowspec/config"});
//   {
//      Statedb::Publisher::Batch batch(pub);  // the rules of one UPDATE, applied together
//      auto vrf = config->vrfRuleConfigIs(0);
//      vrf->ruleIs(key)->ruleIdIs(7);
//   }
//   for (;;) pub.service(100);                // accepts readers, sends, syncs
//
// From its construction on, every change anywhere in the tree becomes
// attribute-log records (Statedb/TreeCodec.h). Records are grouped into
// batches: a Batch object groups everything done while it lives (batches
// nest; the outermost closes the batch); a change made outside any Batch is
// a batch of its own. Each batch is one frame (Statedb/Frame.h) with the
// next sequence number. Readers apply a batch all or nothing.
//
// Transport. The publisher listens on the Unix domain socket
// <stateDir>/<name>.sock (directories made as needed, mode 0700, or 0750
// with a group). The socket is mode 0600 (0660 with a group), and every
// connection is checked with SO_PEERCRED: only the publisher's own user,
// root, or a member of the configured group (by its primary group) is
// served; anyone else is closed at once. A reader receives a hello frame,
// a snapshot of the tree, then every batch. A reader that falls more than
// `maxQueuedBytes` behind is cut off: what was queued for it is dropped, and
// so is every batch after, until the reader has taken the frame it was in
// the middle of; it then gets a snapshot of the tree as it is by then. The
// writer's memory stays bounded and the reader comes back in step.
//
// Persistence. With `journal` on, every batch is appended to
// <stateDir>/<name>.journal, compacted into <name>.snapshot past a size
// (Statedb/Journal.h gives the file layout and the fsync policies). A
// publisher that starts where a journal exists first reloads its root from
// it, so a configuration agent that was killed comes back with its rules.
//
// Design note: a collector on another machine. The stream is already
// self-contained: frames carry their length, sequence and CRC, a new
// reader starts from a hello and a snapshot, and sequence numbers let a
// reader tell a gap from a restart. Taking it over TCP needs no change to
// frames or records, only another listener beside the Unix socket: a TCP
// socket wrapped in TLS 1.3 (for example with OpenSSL's SSL_read/SSL_write
// over the same non-blocking descriptor, polled like the others). TLS
// replaces SO_PEERCRED as the admission check: the collector presents a
// client certificate, which the publisher verifies against a configured CA
// and maps (by subject or SAN) to the names it may mount. The per-reader
// queue bound and the resynchronisation by snapshot apply unchanged, which
// matters more over a WAN; a keepalive hello every few seconds lets the
// collector tell a silent writer from a dead link. Frames stay the unit of
// integrity (TLS protects the link, the CRC the journal and the parsing).
// Such a listener would live in a library of its own above Statedb, so that
// Statedb itself keeps to the C++ standard library and POSIX.
#pragma once

#include "Statedb/Endpoint.h"
#include "Statedb/Frame.h"
#include "Statedb/Journal.h"
#include "Statedb/TreeCodec.h"

#include "Vex/Entity.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Statedb {

/// The version number a hello frame carries.
inline constexpr std::uint32_t protocolVersion = 1;

struct PublishOptions {
   /// The state directory that holds sockets and journals.
   std::string stateDir;
   /// The published name, such as "flowspec/config".
   std::string name;
   /// A group whose members may also read; -1 for the owner alone.
   gid_t group = static_cast<gid_t>(-1);
   /// How far a reader may fall behind before it is cut off and resynchronised.
   std::size_t maxQueuedBytes = 64u << 20;
   /// Try to send each batch at once (lower latency); otherwise batches are
   /// sent when 64 KiB are queued or at the next service.
   bool sendAtOnce = true;
   bool journal = true;
   JournalOptions journalOptions{};
};

/// The path of `name`'s file with `suffix` (".sock", ".journal", ...) in
/// `stateDir`.
std::string statePath(std::string const& stateDir, std::string const& name,
                      std::string const& suffix);

class Publisher : public Endpoint {
 public:
   /// Publishes `root`: reloads it from the journal when one exists, then
   /// listens. Raises Vex::Exception when the socket cannot be made or another
   /// live publisher holds the name.
   Publisher(Vex::Ptr<Vex::Entity> const& root, PublishOptions options);
   ~Publisher() override;
   Publisher(Publisher const&) = delete;
   Publisher& operator=(Publisher const&) = delete;

   /// Groups the changes made while it lives into one batch.
   class Batch {
    public:
      explicit Batch(Publisher& p) : p_(p) { p_.batchBegin(); }
      ~Batch() { p_.batchEnd(); }
      Batch(Batch const&) = delete;
      Batch& operator=(Batch const&) = delete;

    private:
      Publisher& p_;
   };
   void batchBegin() noexcept { ++depth_; }
   void batchEnd();

   Vex::Ptr<Vex::Entity> const& root() const noexcept { return recorder_->root(); }
   /// The sequence number of the last batch.
   std::uint64_t sequence() const noexcept { return sequence_; }
   /// The sequence the journal reloaded (0 when there was none).
   std::uint64_t reloadedSequence() const noexcept { return reloaded_; }
   std::size_t readerCount() const noexcept { return readers_.size(); }
   /// Readers cut off for falling behind, and connections refused.
   std::uint64_t cutOffs() const noexcept { return cutOffs_; }
   std::uint64_t refusals() const noexcept { return refusals_; }
   /// Records written since the start.
   std::uint64_t recordCount() const noexcept { return recorder_->recordCount(); }
   std::string const& socketPath() const noexcept { return socketPath_; }
   std::string const& lastError() const noexcept { return lastError_; }
   /// Sends what is queued, without waiting.
   void flush();

   void pollFds(std::vector<struct pollfd>& fds) override;
   void pollDone(std::span<struct pollfd const> fds) override;
   int pollTimeoutMs() const override;

 private:
   struct Reader {
      int fd = -1;
      std::deque<FrameBytes> queue;
      std::size_t sentOfFirst = 0;
      std::size_t queued = 0;
      bool resync = false; ///< cut off: a snapshot follows once the queue drained
   };
   void changed();
   void accept();
   void send(Reader& r);
   void enqueue(Reader& r, FrameBytes const& frame);
   FrameBytes snapshotFrame();
   void drop(std::size_t i);

   PublishOptions options_;
   std::string socketPath_;
   std::unique_ptr<Journal> journal_;
   std::unique_ptr<TreeRecorder> recorder_;
   int listenFd_ = -1;
   int depth_ = 0;
   std::uint64_t sequence_ = 0;
   std::uint64_t reloaded_ = 0;
   std::uint64_t cutOffs_ = 0;
   std::uint64_t refusals_ = 0;
   std::uint64_t incarnation_ = 0;
   std::vector<unsigned char> body_;
   FrameBytes hello_;
   FrameBytes snapshot_;
   std::uint64_t snapshotSequence_ = ~std::uint64_t(0);
   std::vector<Reader> readers_;
   std::string lastError_;
};

} // namespace Statedb
