// tools/flowspec/HwAgent.h: a simulated hardware agent that programs the
// configured flowspec rules into a simulated TCAM.
//
// The agent works as the agents that program forwarding hardware do: it
// observes the configuration (Config, each VrfRuleConfig, each RuleConfig)
// from before the first rule exists, learns of every rule and every change
// through the observer callbacks, and on run() programs what changed since
// the last run. It reports what became of each rule in the Status tree
// (one RuleStatus per rule, with a status code, a reason and the version
// programmed) and starts a counter snapshot in Counter for each rule the
// hardware holds.
//
// The capability model of the simulated hardware is the table
// HwAgent::capabilities: the first row that applies to a rule decides its
// status. The tool's help and manual print the same table.
//
// Versions are Kiln::UniqueIds with the fixed origin `versionOrigin` and a
// sequence counting the rules programmed, so that a run is reproducible.
// Counter snapshots start at 0 packets; the simulation carries no traffic.
#pragma once

#include "Flowspec/entities/Config.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/Status.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace FlowspecTool {

class HwAgent {
 public:
   /// At most this many ranges (or bit masks) in one match component.
   static constexpr std::size_t maxValuesPerComponent = 4;
   /// A packet-length range covers at most this many lengths.
   static constexpr std::uint32_t maxPacketLengthSpan = 1024;
   /// The origin of the versions this agent stamps on what it programs.
   static constexpr std::uint64_t versionOrigin = 0xf10;

   /// One row of the capability model: when it applies (in words, for the
   /// help) and the status it gives. An infeasible rule is Not processed
   /// before any row is tried, and a rule no row applies to is Programmed.
   struct Capability {
      std::string when;
      Flowspec::HwRuleProgrammingStatus status;
      /// The reason the rule gets the status, or the empty string when the
      /// row does not apply.
      std::string (*check)(HwAgent const& agent, Flowspec::RuleConfig const& rule);
   };
   /// The rows, in the order they are tried.
   static std::vector<Capability> const& capabilities();

   /// Observes `config` from now on, and publishes the hardware's
   /// capabilities in `status` (flowspecSupported, unsupportedQual).
   HwAgent(Vex::Ptr<Flowspec::Config const> const& config, Vex::Ptr<Flowspec::Status> status,
           Vex::Ptr<Flowspec::Counter> counter);
   ~HwAgent();
   HwAgent(HwAgent const&) = delete;
   HwAgent& operator=(HwAgent const&) = delete;

   /// Programs every rule whose configuration changed since the last run,
   /// VRF by VRF in the order the hardware applies them (programsBefore),
   /// and removes the status and counter of rules that are gone.
   void run();
   /// Called by run() with each rule it programs (or finds infeasible), in
   /// the order it does so, before the rule's status is written.
   using Programming =
       std::function<void(Vrf::VrfIdMap::VrfId vrfId, Flowspec::RuleConfig const& rule)>;
   /// run(), telling `programming` of each rule.
   void run(Programming const& programming);

   /// Whether the agent programs rule `a` of VRF `vrfA` before rule `b` of
   /// VRF `vrfB`: by VRF id, then in RFC 8955 section 5.1 precedence order
   /// (Flowspec::comparePrecedence; IPv4 before IPv6), then by key, so that
   /// the order is total.
   static bool programsBefore(Vrf::VrfIdMap::VrfId vrfA, Flowspec::FlowspecKey const& a,
                              Vrf::VrfIdMap::VrfId vrfB, Flowspec::FlowspecKey const& b);
   /// A number that orders two keys of one VRF as programsBefore does where
   /// both have one and they differ: for an IPv4 key with a destination
   /// prefix, the prefix's last address, then the longer prefix first.
   /// Nothing for other keys.
   static std::optional<std::uint64_t> precedenceHint(Flowspec::FlowspecKey const& key);

   /// The callbacks the agent heard, by name, in a fixed order.
   std::vector<std::pair<std::string, unsigned>> heard() const;

 private:
   class ConfigObserver;
   class VrfObserver;
   class RuleObserver;
   struct Outcome {
      Flowspec::HwRuleProgrammingStatus code;
      std::string reason;
   };

   void vrfSeen(Vrf::VrfIdMap::VrfId vrfId);
   void ruleSeen(Vrf::VrfIdMap::VrfId vrfId, Flowspec::FlowspecKey const& key);
   void changed(Vrf::VrfIdMap::VrfId vrfId, Flowspec::FlowspecKey const& key);
   void program(Vrf::VrfIdMap::VrfId vrfId, Flowspec::FlowspecKey const& key,
                Programming const& programming, Flowspec::RuleConfig const* queued = nullptr);
   Outcome capability(Flowspec::RuleConfig const& rule) const;

   Vex::Ptr<Flowspec::Config const> config_;
   Vex::Ptr<Flowspec::Status> status_;
   Vex::Ptr<Flowspec::Counter> counter_;
   std::unique_ptr<ConfigObserver> configObserver_;
   std::map<Vrf::VrfIdMap::VrfId, std::unique_ptr<VrfObserver>> vrfObservers_;

   // One observer per rule, held by value in chunks of ruleObserverChunk
   // (they stay in place as more are made; a slot freed is reused) and
   // found by its (VRF, key) through ruleIndex_, an open-addressing table of
   // slot + 1 (0: empty) with linear probing. The key is not copied: an
   // observer reads it from the rule it observes, which lives as long as the
   // agent observes it (a rule deleted is forgotten while its deletion is
   // announced, when it still lives).
   static constexpr std::size_t notFound = ~std::size_t(0);
   static std::uint32_t ruleHash(Vrf::VrfIdMap::VrfId vrfId, Flowspec::FlowspecKey const& key);
   /// The place in ruleIndex_ of the observer of (vrfId, key), or notFound.
   std::size_t ruleIndexFind(Vrf::VrfIdMap::VrfId vrfId, Flowspec::FlowspecKey const& key,
                             std::uint32_t hash) const;
   /// A free observer, indexed for (vrfId, hash), observing nothing yet.
   RuleObserver& ruleObserverNew(Vrf::VrfIdMap::VrfId vrfId, std::uint32_t hash);
   /// Stops the observer at `place` of ruleIndex_ and frees its slot.
   void ruleObserverDel(std::size_t place);
   void ruleIndexGrow();
   RuleObserver& ruleObserver(std::uint32_t slot) const;

   static constexpr std::uint32_t ruleObserverChunk = 256;
   std::vector<std::unique_ptr<RuleObserver[]>> ruleObserverChunks_;
   std::uint32_t ruleObserverSlots_ = 0; ///< the slots handed out so far
   std::vector<std::uint32_t> freeRuleObservers_;
   std::vector<std::uint32_t> ruleIndex_;
   std::size_t ruleIndexSize_ = 0;
   /// The rules to program on the next run, in the order they changed: the
   /// slots of observed rules (each once a run), and (VRF, key) of rules no
   /// observer stands for (gone ones). A rule may stand here more than once.
   std::vector<std::uint32_t> dirtyRules_;
   std::vector<std::pair<Vrf::VrfIdMap::VrfId, Flowspec::FlowspecKey>> dirtyKeys_;
   /// The callbacks heard, by their place in heard()'s order.
   std::array<unsigned, 10> heard_{};
   std::uint64_t sequence_ = 0;
   /// The runs begun so far.
   std::uint64_t runs_ = 0;
};

} // namespace FlowspecTool
