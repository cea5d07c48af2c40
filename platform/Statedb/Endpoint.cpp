#include "Statedb/Endpoint.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace Statedb {

void Endpoint::service(int timeoutMs) {
   Endpoint* self = this;
   serviceAll(std::span<Endpoint* const>(&self, 1), timeoutMs);
}

void serviceAll(std::initializer_list<Endpoint*> endpoints, int timeoutMs) {
   serviceAll(std::span<Endpoint* const>(endpoints.begin(), endpoints.size()), timeoutMs);
}

void serviceAll(std::span<Endpoint* const> endpoints, int timeoutMs) {
   std::vector<pollfd> fds;
   std::vector<std::size_t> starts;
   int wait = timeoutMs;
   for (Endpoint* e : endpoints) {
      starts.push_back(fds.size());
      e->pollFds(fds);
      int const t = e->pollTimeoutMs();
      if (t >= 0 && (wait < 0 || t < wait)) wait = t;
   }
   starts.push_back(fds.size());
   if (::poll(fds.data(), fds.size(), wait) < 0 && errno != EINTR) {
      for (pollfd& p : fds)
         p.revents = 0;
   }
   for (std::size_t i = 0; i < endpoints.size(); ++i) {
      endpoints[i]->pollDone(
          std::span<pollfd const>(fds.data() + starts[i], starts[i + 1] - starts[i]));
   }
}

} // namespace Statedb
