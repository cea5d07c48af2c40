// Flowspec/module/Factories.h: the module's factories, one per entity
// type but InfeasibleRule. Each does what the type's static creator does and
// returns a new entity with notification switched on.
#pragma once

#include "Flowspec/entities/Config.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/Status.h"

namespace Flowspec {

Vex::Ptr<Config> configFactory(Vex::Name const& name);
Vex::Ptr<CliConfig> cliConfigFactory(Vex::Name const& name);
Vex::Ptr<VrfRuleConfig> vrfRuleConfigFactory(Vrf::VrfIdMap::VrfId vrfId);
Vex::Ptr<RuleConfig> ruleConfigFactory(FlowspecKey const& key);
Vex::Ptr<Status> statusFactory(Vex::Name const& name);
Vex::Ptr<VrfRuleStatus> vrfRuleStatusFactory(Vrf::VrfIdMap::VrfId vrfId);
Vex::Ptr<RuleStatus> ruleStatusFactory(FlowspecKey const& key);
Vex::Ptr<AfIntfColl> afIntfCollFactory(Ipkit::AddressFamily af);
Vex::Ptr<Counter> counterFactory(Vex::Name const& name);

} // namespace Flowspec
