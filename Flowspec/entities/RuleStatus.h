// Flowspec/entities/RuleStatus.h: what became of one rule in the hardware.
//
// The agent that programs rules reports, per rule key: a status code, a
// reason text, the version of the rule programmed, the packets matched, and
// the next hops a redirect resolved to. A child of VrfRuleStatus; setters
// follow the entity pattern (Vex/EntityPattern.h).
//
//   | attribute           | type                      | default |
//   |---------------------|---------------------------|--------------------------------------|
//   | key (also ruleKey)  | FlowspecKey               | given (identity) | | statusCode
//   | HwRuleProgrammingStatus   | unprocessed                          | | errorReason
//   | Vex::String               | "Not processed"                      | | packetCount
//   | u64                       | 0                                    | | version |
//   Kiln::UniqueId            | the unset id                         | |
//   resolvedNexthopInfo | Pbr::ResolvedNexthopInfo  | group 0 in VRF "default", no via
//   | | isProgrammed        | bool, derived, read-only  | programmed or
//   programmedWithFailures |
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Kiln/DumpContext.h"
#include "Kiln/UniqueId.h"
#include "Pbr/ResolvedNexthopInfo.h"
#include "Vex/AllocTrack.h"
#include "Vex/EntityPattern.h"
#include "Vex/RbTreeMap.h"

#include <cstdint>

namespace Vex {
class VexType;
}

namespace Flowspec {

/// RuleStatus's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_RULE_STATUS_MEMBERS(T, ATTRIBUTE, COLLECTION)                                     \
   ATTRIBUTE(T, statusCode, StatusCode, HwRuleProgrammingStatus,                                   \
             HwRuleProgrammingStatus::unprocessed)                                                 \
   ATTRIBUTE(T, errorReason, ErrorReason, Vex::String, "Not processed")                            \
   ATTRIBUTE(T, packetCount, PacketCount, std::uint64_t, 0)                                        \
   ATTRIBUTE(T, version, Version, Kiln::UniqueId, )                                                \
   ATTRIBUTE(T, resolvedNexthopInfo, ResolvedNexthopInfo, Pbr::ResolvedNexthopInfo, )

class RuleStatus : public Vex::Entity,
                   public Vex::RbTreeLink,
                   public Vex::AllocTracked<RuleStatus> {
 public:
   VEX_ENTITY_DECLARATIONS(RuleStatus, "Flowspec::RuleStatus", FLOWSPEC_RULE_STATUS_MEMBERS,
                           FlowspecKey const&)

   explicit RuleStatus(FlowspecKey const& key);

   FlowspecKey const& key() const noexcept { return key_; }
   /// A second name for key().
   FlowspecKey const& ruleKey() const noexcept { return key_; }
   FlowspecKey const& fwkKey() const noexcept { return key_; }

   FLOWSPEC_RULE_STATUS_MEMBERS(RuleStatus, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)

   /// True for programmed and programmedWithFailures; no storage, no setter.
   bool isProgrammed() const noexcept {
      return statusCode_ == HwRuleProgrammingStatus::programmed ||
             statusCode_ == HwRuleProgrammingStatus::programmedWithFailures;
   }

   /// "key: <command-line key>", "statusCode <n>, errorReason <text>, version
   /// <id>", the next-hop set, the active via count, then one line per
   /// active via ("<addr>, <intf>, <weight>") at indent + 2.
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   FlowspecKey key_;
   FLOWSPEC_RULE_STATUS_MEMBERS(RuleStatus, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
};

} // namespace Flowspec
