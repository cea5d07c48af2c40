// Flowspec/entities/Config.h: the root of the configuration tree, and the
// root the command line writes.
//
// Config (named) holds one VrfRuleConfig per VRF (a Vex::HashMap keyed by the
// VRF id), the interfaces on which flowspec is enabled, and whether it is
// enabled on all of them. CliConfig (named) holds the interfaces enabled per
// IP version and the time of the last request to refresh the counters. Both
// follow the entity pattern (Vex/EntityPattern.h); destroying a Config first
// deletes its VRF children (its observers hear each), then detaches its
// observers.
#pragma once

#include "Flowspec/entities/VrfRuleConfig.h"
#include "Flowspec/values/IpVersion.h"
#include "Ipkit/IntfId.h"
#include "Vex/HashMap2018.h"

namespace Vex {
class VexType;
}

namespace Flowspec {

/// Config's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_CONFIG_MEMBERS(T, ATTRIBUTE, COLLECTION)                                          \
   COLLECTION(T, enabledIntf, EnabledIntf, Ipkit::IntfId, "key")                                   \
   ATTRIBUTE(T, enabledIntfAll, EnabledIntfAll, bool, false)                                       \
   COLLECTION(T, vrfRuleConfig, VrfRuleConfig, Vrf::VrfIdMap::VrfId, "key",                        \
              &Vrf::VrfIdMap::vrfIdType)

class Config : public Vex::NamedEntity, public Vex::AllocTracked<Config> {
 public:
   VEX_ENTITY_DECLARATIONS(Config, "Flowspec::Config", FLOWSPEC_CONFIG_MEMBERS, Vex::Name const&)

   explicit Config(Vex::Name const& name) : NamedEntity(name) {}
   ~Config() override;

   /// enabledIntfIs(intf, bool), enabledIntfDel, enabledIntfDelAll,
   /// enabledIntfNotify, enabledIntf(intf) (false when absent), ...
   VEX_MAP_COLLECTION(enabledIntf, EnabledIntf, Ipkit::IntfId, bool, enabledIntf_)
   FLOWSPEC_CONFIG_MEMBERS(Config, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)
   VEX_CHILD_COLLECTION(vrfRuleConfig, VrfRuleConfig, VrfRuleConfig, Vrf::VrfIdMap::VrfId,
                        vrfRuleConfig_)

   /// "FlowspecConfig: vrfRuleConfigs #<n>", then each VrfRuleConfig at
   /// indent + 2 in the collection's order. The interfaces are not dumped.
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   using EnabledIntfNode = Vex::MapNode<Ipkit::IntfId, bool, Vex::HashLink>;

   Vex::MapCollection<EnabledIntfNode, Ipkit::IntfId, bool,
                      Vex::HashMap2018<EnabledIntfNode, Ipkit::IntfId, bool>>
       enabledIntf_;
   FLOWSPEC_CONFIG_MEMBERS(Config, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
   Vex::ChildCollection<VrfRuleConfig, Vrf::VrfIdMap::VrfId,
                        Vex::HashMap<VrfRuleConfig, Vrf::VrfIdMap::VrfId>>
       vrfRuleConfig_;
};

/// CliConfig's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_CLI_CONFIG_MEMBERS(T, ATTRIBUTE, COLLECTION)                                      \
   COLLECTION(T, enabledIntf, EnabledIntf, Ipkit::IntfId, "key")                                   \
   ATTRIBUTE(T, counterUpdateRequestTime, CounterUpdateRequestTime, double, 0.0)

class CliConfig : public Vex::NamedEntity, public Vex::AllocTracked<CliConfig> {
 public:
   VEX_ENTITY_DECLARATIONS(CliConfig, "Flowspec::CliConfig", FLOWSPEC_CLI_CONFIG_MEMBERS,
                           Vex::Name const&)

   explicit CliConfig(Vex::Name const& name) : NamedEntity(name) {}

   /// enabledIntfIs(intf, IpVersion), ..., enabledIntf(intf) (no version
   /// when absent).
   VEX_MAP_COLLECTION(enabledIntf, EnabledIntf, Ipkit::IntfId, IpVersion, enabledIntf_)
   FLOWSPEC_CLI_CONFIG_MEMBERS(CliConfig, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)

 private:
   using EnabledIntfNode = Vex::MapNode<Ipkit::IntfId, IpVersion, Vex::HashLink>;

   Vex::MapCollection<EnabledIntfNode, Ipkit::IntfId, IpVersion,
                      Vex::HashMap2018<EnabledIntfNode, Ipkit::IntfId, IpVersion>>
       enabledIntf_;
   FLOWSPEC_CLI_CONFIG_MEMBERS(CliConfig, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
};

} // namespace Flowspec
