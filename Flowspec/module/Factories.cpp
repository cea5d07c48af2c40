#include "Flowspec/module/Factories.h"

namespace Flowspec {

Vex::Ptr<Config> configFactory(Vex::Name const& name) {
   return Config::ConfigIs(name);
}

Vex::Ptr<CliConfig> cliConfigFactory(Vex::Name const& name) {
   return CliConfig::CliConfigIs(name);
}

Vex::Ptr<VrfRuleConfig> vrfRuleConfigFactory(Vrf::VrfIdMap::VrfId vrfId) {
   return VrfRuleConfig::VrfRuleConfigIs(vrfId);
}

Vex::Ptr<RuleConfig> ruleConfigFactory(FlowspecKey const& key) {
   return RuleConfig::RuleConfigIs(key);
}

Vex::Ptr<Status> statusFactory(Vex::Name const& name) {
   return Status::StatusIs(name);
}

Vex::Ptr<VrfRuleStatus> vrfRuleStatusFactory(Vrf::VrfIdMap::VrfId vrfId) {
   return VrfRuleStatus::VrfRuleStatusIs(vrfId);
}

Vex::Ptr<RuleStatus> ruleStatusFactory(FlowspecKey const& key) {
   return RuleStatus::RuleStatusIs(key);
}

Vex::Ptr<AfIntfColl> afIntfCollFactory(Ipkit::AddressFamily af) {
   return AfIntfColl::AfIntfCollIs(af);
}

Vex::Ptr<Counter> counterFactory(Vex::Name const& name) {
   return Counter::CounterIs(name);
}

} // namespace Flowspec
