// Flowspec/framework/Factories.h: the module's factories, one per entity
// type but InfeasibleRule. Each does what the type's static creator does and
// returns a new entity with notification switched on.
#pragma once

#include "Flowspec/entities/Config.h"

namespace Flowspec {

Vex::Ptr<Config> configFactory(Vex::Name const& name);
Vex::Ptr<CliConfig> cliConfigFactory(Vex::Name const& name);
Vex::Ptr<VrfRuleConfig> vrfRuleConfigFactory(Vrf::VrfIdMap::VrfId vrfId);
Vex::Ptr<RuleConfig> ruleConfigFactory(FlowspecKey const& key);

} // namespace Flowspec
