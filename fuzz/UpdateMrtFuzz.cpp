// Fuzz target: the BGP UPDATE reader (readUpdate) and the MRT walker
// (walkMrt) on any bytes.
//
// The first byte chooses: even, the rest is one BGP message; odd, the rest
// is an MRT file. Either way the reader must return, never abort, throw or
// read outside the bytes (AddressSanitizer watches the buffer, which is
// exactly the input), and:
//   - the handling is the strongest of the problems it lists, and accept
//     exactly when it lists none;
//   - every problem's offset lies within the input;
//   - after a session reset or an AFI/SAFI disable it names no route, after
//     a treat-as-withdraw it announces none;
//   - what it accepts round-trips: the routes it announces (when the
//     handling is accept or attribute discard) and withdraws, built into
//     UPDATEs by buildUpdates, read back to the same routes, in the same
//     order, with nothing malformed. Building may refuse a route only for a
//     reason it names (never for one the reader produced: it must not).
#include "FuzzSupport.h"

#include "Flowspec/wire/Mrt.h"
#include "Flowspec/wire/Update.h"

#include <algorithm>

namespace {

using Flowspec::FlowspecRoute;
using Flowspec::UpdateAction;
using Flowspec::UpdateContents;

void checkContents(UpdateContents const& u, std::size_t end) {
   UpdateAction strongest = UpdateAction::accept;
   for (auto const& p : u.problems) {
      FUZZ_CHECK(p.offset <= end, "offset " + std::to_string(p.offset) + " past " +
                                      std::to_string(end) + ": " + p.reason);
      FUZZ_CHECK(p.action != UpdateAction::accept, "a problem that changes nothing");
      FUZZ_CHECK(!p.reason.empty(), "a problem without a reason");
      strongest = std::max(strongest, p.action);
   }
   FUZZ_CHECK(strongest == u.action, "the handling is not the strongest problem's");
   if (u.action >= UpdateAction::afiSafiDisable) {
      FUZZ_CHECK(u.announced.empty() && u.withdrawn.empty(),
                 "routes named after a reset or disable");
   }
   if (u.action == UpdateAction::treatAsWithdraw) {
      FUZZ_CHECK(u.announced.empty(), "routes announced after treat-as-withdraw");
   }

   // The round trip.
   std::vector<FlowspecRoute> const announce =
       u.action <= UpdateAction::attributeDiscard ? u.announced : std::vector<FlowspecRoute>{};
   if (announce.empty() && u.withdrawn.empty()) return;
   // Routes read from one message share their actions and next hop, and so
   // go into one group; keys keep the VRF the reader gave them.
   Flowspec::UpdateBuild const built = Flowspec::buildUpdates(announce, u.withdrawn);
   FUZZ_CHECK(built.error.empty(), "a route read does not build: " + built.error);
   std::vector<FlowspecRoute> announcedAgain, withdrawnAgain;
   for (auto const& m : built.messages) {
      UpdateContents const again = Flowspec::readUpdate(m);
      FUZZ_CHECK(again.action == UpdateAction::accept,
                 "a built message is malformed: " +
                     (again.problems.empty() ? std::string() : again.problems[0].reason));
      announcedAgain.insert(announcedAgain.end(), again.announced.begin(), again.announced.end());
      withdrawnAgain.insert(withdrawnAgain.end(), again.withdrawn.begin(), again.withdrawn.end());
   }
   FUZZ_CHECK(announcedAgain == announce, "the announced routes read back differ");
   FUZZ_CHECK(withdrawnAgain == u.withdrawn, "the withdrawn routes read back differ");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) return 0;
   std::span<std::uint8_t const> const input(data + 1, size - 1);
   if (data[0] % 2 == 0) {
      checkContents(Flowspec::readUpdate(input), input.size());
   } else {
      std::size_t updates = 0;
      Flowspec::MrtSummary const s =
          Flowspec::walkMrt(input, {}, [&](Flowspec::MrtUpdate const& u) {
             FUZZ_CHECK(u.messageOffset <= input.size(), "a message past the file");
             checkContents(u.contents, input.size());
             ++updates;
          });
      FUZZ_CHECK(s.updates == updates, "the summary miscounts the UPDATEs");
      FUZZ_CHECK(s.updates + s.otherMessages + s.skippedRecords + s.errors.size() >= s.records,
                 "a record neither read, skipped nor reported");
      for (auto const& e : s.errors)
         FUZZ_CHECK(e.offset <= input.size(), "an MRT error past the file");
   }
   return 0;
}
