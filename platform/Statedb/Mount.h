// Statedb/Mount.h: mounting a published name as a mirror tree.
//
//   auto mount = Statedb::Mount::mountIs(Flowspec::Config::_vexType,
//                                        {.stateDir = "/run/flowspec", .name = "flowspec/config"});
//   auto config = Vex::ptrCast<Flowspec::Config const>(mount->root());
//   MyObserver watcher(config);              // attach before or after the first snapshot
//   for (;;) mount->service(100);            // applies what arrives; observers are called here
//
// A mount connects to <stateDir>/<name>.sock, receives a hello and a
// snapshot, then batches. The snapshot and every batch are applied through
// the mirror entities' own setters and collection operations (reflection),
// so observers of the mirror hear exactly what observers in the writer
// heard: a child created, an attribute set, a member set or deleted. A
// later snapshot (after a reconnection, or after the writer cut this reader
// off) is applied as the difference with the mirror, so observers hear only
// what changed while the mirror was out of step.
//
// The mirror is read-only for its holder: root() hands it out as a const
// entity, whose setters cannot be called.
//
// State: syncing (connected, waiting for the snapshot), live (in step), or
// disconnected (no writer, or the connection was dropped). Frames that fail
// their length or CRC check, are cut short, skip a sequence number or do not
// decode are refused whole: nothing of them is applied, the error is kept in
// lastError() and the connection is dropped. A disconnected mount keeps its
// last whole batch and tries to connect again every `retryMs`.
#pragma once

#include "Statedb/Endpoint.h"
#include "Statedb/Frame.h"
#include "Statedb/TreeCodec.h"

#include "Vex/Entity.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Statedb {

enum class MountState { syncing, live, disconnected };

/// "syncing", "live" or "disconnected".
char const* mountStateText(MountState s) noexcept;

struct MountOptions {
   std::string stateDir;
   std::string name;
   /// How long a disconnected mount waits before it tries again.
   int retryMs = 200;
   std::uint32_t maxFrameLength = defaultMaxFrameLength;
};

class Mount : public Endpoint {
 public:
   /// Mounts onto `mirror`, a root of the published type that only this
   /// mount changes. Connects at once when a writer is there.
   Mount(Vex::Ptr<Vex::Entity> const& mirror, MountOptions options);
   /// Makes the mirror root of `type` (named after the last part of the name)
   /// and mounts onto it.
   static std::unique_ptr<Mount> mountIs(Vex::VexType const& type, MountOptions options);
   ~Mount() override;
   Mount(Mount const&) = delete;
   Mount& operator=(Mount const&) = delete;

   /// The mirror, read-only.
   Vex::Ptr<Vex::Entity const> root() const noexcept { return mirror_; }
   MountState state() const noexcept { return state_; }
   /// The sequence number of the last batch applied (or the snapshot's).
   std::uint64_t lastSequence() const noexcept { return lastSequence_; }
   /// Why the last connection was dropped or refused ("" when none was).
   std::string const& lastError() const noexcept { return lastError_; }
   std::uint64_t snapshotsApplied() const noexcept { return snapshots_; }
   std::uint64_t batchesApplied() const noexcept { return batches_; }
   std::uint64_t recordsApplied() const noexcept { return applier_.recordCount(); }
   /// Called after every change of state.
   void onStateIs(std::function<void(MountState)> f) { onState_ = std::move(f); }
   /// Called after every snapshot or batch applied, with its sequence number.
   void onAppliedIs(std::function<void(std::uint64_t)> f) { onApplied_ = std::move(f); }

   /// Services until `done()` holds or `timeoutMs` passed; says whether it holds.
   bool waitFor(std::function<bool()> const& done, int timeoutMs);

   void pollFds(std::vector<struct pollfd>& fds) override;
   void pollDone(std::span<struct pollfd const> fds) override;
   int pollTimeoutMs() const override;

 private:
   void connect();
   void disconnect(std::string const& why);
   void stateIs(MountState s);
   void receive();
   void handle(Frame const& f);

   Vex::Ptr<Vex::Entity> mirror_;
   MountOptions options_;
   TreeApplier applier_;
   FrameParser parser_;
   int fd_ = -1;
   MountState state_ = MountState::disconnected;
   std::uint64_t lastSequence_ = 0;
   bool haveHello_ = false;
   bool haveSnapshot_ = false;
   std::uint64_t snapshots_ = 0;
   std::uint64_t batches_ = 0;
   std::string lastError_;
   std::chrono::steady_clock::time_point nextTry_{};
   std::function<void(MountState)> onState_;
   std::function<void(std::uint64_t)> onApplied_;
};

} // namespace Statedb
