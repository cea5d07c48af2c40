#include "Flowspec/framework/Factories.h"

namespace Flowspec {

Vex::Ptr<Config> configFactory(Vex::Name const& name) { return Config::ConfigIs(name); }

Vex::Ptr<CliConfig> cliConfigFactory(Vex::Name const& name) {
   return CliConfig::CliConfigIs(name);
}

Vex::Ptr<VrfRuleConfig> vrfRuleConfigFactory(Vrf::VrfIdMap::VrfId vrfId) {
   return VrfRuleConfig::VrfRuleConfigIs(vrfId);
}

Vex::Ptr<RuleConfig> ruleConfigFactory(FlowspecKey const& key) {
   return RuleConfig::RuleConfigIs(key);
}

} // namespace Flowspec
