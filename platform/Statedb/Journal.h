// Statedb/Journal.h: the append-only journal of a published tree.
//
// Beside the socket of a published name live two files:
//
//   <dir>/<name>.snapshot   one snapshot frame: the tree after some batch
//   <dir>/<name>.journal    the batch frames after it, appended in order
//
// Every batch is appended whole as one frame (Statedb/Frame.h). When the
// journal grows past `compactBytes`, the tree is written as a new snapshot
// (to <name>.snapshot.tmp, synced, then renamed over the old one, and the
// directory synced) and the journal is emptied. A frame in the journal whose
// sequence the snapshot already covers is skipped on reload, so a crash
// between the rename and the emptying loses nothing and applies nothing
// twice.
//
// Reloading applies the snapshot, then every whole, CRC-checked frame of the
// journal in order; it stops at the first frame that is cut short or fails
// its check (the tail a crash left) and cuts the journal there. The tree
// reloaded is therefore always the tree after some whole batch.
//
// The fsync policy says when appended batches reach the disk:
//
//   | policy     | a batch is on disk ...                | costs               |
//   |------------|---------------------------------------|---------------------|
//   | everyBatch | before the batch is sent to readers   | one fsync per batch |
//   | interval   | at most `interval` after it was added | one fsync per tick  |
//   | never      | when the kernel writes it back        | nothing             |
//
// With `interval`, a machine that loses power may lose the batches of the
// last interval; a process killed (even with SIGKILL) loses nothing that
// write() accepted, under every policy.
#pragma once

#include "Statedb/Frame.h"

#include "Vex/Entity.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace Statedb {

enum class FsyncPolicy { everyBatch, interval, never };

struct JournalOptions {
   FsyncPolicy fsync = FsyncPolicy::everyBatch;
   std::chrono::milliseconds interval{200};
   /// The journal's size past which it is compacted into a snapshot.
   std::uint64_t compactBytes = 16u << 20;
};

class Journal {
 public:
   /// The journal of `basePath` (the files are basePath + ".journal" and
   /// basePath + ".snapshot"); opens, creating, the journal for appending.
   Journal(std::string basePath, JournalOptions options);
   ~Journal();
   Journal(Journal const&) = delete;
   Journal& operator=(Journal const&) = delete;

   /// Applies the snapshot and the journal onto `root` (which should be
   /// empty) and returns the sequence of the last batch applied, 0 when there
   /// was nothing. A torn tail is cut off. Raises Vex::Exception when the
   /// snapshot file is damaged or of another type.
   std::uint64_t load(Vex::Ptr<Vex::Entity> const& root);
   /// Appends one batch frame, syncing as the policy says.
   void append(FrameBytes const& frame);
   /// Whether the journal has grown past its bound.
   bool wantsCompaction() const noexcept { return size_ > options_.compactBytes; }
   /// Writes `snapshotFrame` as the snapshot and empties the journal.
   void compact(FrameBytes const& snapshotFrame);
   /// Syncs when the interval policy's time has come.
   void tick();
   /// Milliseconds until tick has work, or -1.
   int msUntilTick() const;

   std::uint64_t size() const noexcept { return size_; }
   std::string const& journalPath() const noexcept { return journalPath_; }
   std::string const& snapshotPath() const noexcept { return snapshotPath_; }

 private:
   void sync();

   std::string journalPath_;
   std::string snapshotPath_;
   JournalOptions options_;
   int fd_ = -1;
   std::uint64_t size_ = 0;
   bool dirty_ = false;
   std::chrono::steady_clock::time_point dirtySince_{};
};

} // namespace Statedb
