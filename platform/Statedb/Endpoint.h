// Statedb/Endpoint.h: driving publishers and mounts from one thread.
//
// Statedb starts no thread: a process calls service on its publishers and
// mounts from the thread that owns their trees, and every observer is called
// there. serviceAll polls several at once:
//
//   Statedb::serviceAll({&publisher, &mount}, 100);  // waits at most 100 ms
#pragma once

#include <initializer_list>
#include <span>
#include <vector>

struct pollfd;

namespace Statedb {

class Endpoint {
 public:
   virtual ~Endpoint() = default;
   /// Appends the descriptors to wait on.
   virtual void pollFds(std::vector<struct pollfd>& fds) = 0;
   /// Handles what poll reported for the descriptors it appended, in order,
   /// then does any timed work (reconnecting, fsync at an interval).
   virtual void pollDone(std::span<struct pollfd const> fds) = 0;
   /// The longest wait before timed work is due; -1 for none.
   virtual int pollTimeoutMs() const { return -1; }
   /// Waits at most `timeoutMs` for work, and does it.
   void service(int timeoutMs);
};

/// Waits at most `timeoutMs` (0: only what is ready) on all of `endpoints`,
/// then lets each handle its descriptors.
void serviceAll(std::initializer_list<Endpoint*> endpoints, int timeoutMs);
void serviceAll(std::span<Endpoint* const> endpoints, int timeoutMs);

} // namespace Statedb
