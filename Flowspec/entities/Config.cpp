#include "Flowspec/entities/Config.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot Config::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot CliConfig::vexAllocTrackTypeInfo_{nullptr};

Config::~Config() {
   vrfRuleConfigDelAll();
   notifieeList().detachAll();
}

void Config::nameIsFromBackup(Vex::Name const& name) {
   if (&name != &name_) name_ = name;
}

void Config::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cFlowspecConfig: vrfRuleConfigs #%u\n",
            static_cast<unsigned>(vrfRuleConfigSize()));
   for (auto i = vrfRuleConfigIteratorConst(); i; ++i) i->dumpState(ctx, indent + 2);
}

CliConfig::~CliConfig() { notifieeList().detachAll(); }

void CliConfig::nameIsFromBackup(Vex::Name const& name) {
   if (&name != &name_) name_ = name;
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto configRows = Vex::entityRows({
   VEX_COLLECTION_ROW(Config, enabledIntf, "key"),
   Vex::field<&Config::enabledIntfAll, &Config::enabledIntfAllIs>("enabledIntfAll"),
   VEX_COLLECTION_ROW(Config, vrfRuleConfig, "key", &Vrf::VrfIdMap::vrfIdType),
   Vex::method<&Config::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

constexpr auto cliConfigRows = Vex::entityRows({
   VEX_COLLECTION_ROW(CliConfig, enabledIntf, "key"),
   Vex::field<&CliConfig::counterUpdateRequestTime, &CliConfig::counterUpdateRequestTimeIs>(
      "counterUpdateRequestTime"),
});

} // namespace
} // namespace Flowspec

template <>
struct Vex::Reflection::ObserverOf<Flowspec::Config>
    : Vex::Reflection::EntityObserver<Flowspec::Config> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(EnabledIntf, enabledIntf, Ipkit::IntfId const&)
   VEX_TELL(EnabledIntfAll, enabledIntfAll)
   VEX_TELL_KEY(VrfRuleConfig, vrfRuleConfig, Vrf::VrfIdMap::VrfId)
};

template <>
struct Vex::Reflection::ObserverOf<Flowspec::CliConfig>
    : Vex::Reflection::EntityObserver<Flowspec::CliConfig> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(EnabledIntf, enabledIntf, Ipkit::IntfId const&)
   VEX_TELL(CounterUpdateRequestTime, counterUpdateRequestTime)
};

constinit Vex::VexType const Flowspec::Config::_vexType =
   Vex::entityDescriptor<Config, &Config::ConfigIs, &Config::ConfigIs>(configRows);
constinit Vex::VexType const Flowspec::CliConfig::_vexType =
   Vex::entityDescriptor<CliConfig, &CliConfig::CliConfigIs, &CliConfig::CliConfigIs>(cliConfigRows);
