#include "Flowspec/entities/Config.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot Config::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot CliConfig::vexAllocTrackTypeInfo_{nullptr};

Config::~Config() {
   vrfRuleConfigDelAll();
}

void Config::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cFlowspecConfig: vrfRuleConfigs #%u\n",
            static_cast<unsigned>(vrfRuleConfigSize()));
   for (auto i = vrfRuleConfigIteratorConst(); i; ++i)
      i->dumpState(ctx, indent + 2);
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto configRows =
    Vex::entityRows(VEX_MEMBER_ROWS(Config, FLOWSPEC_CONFIG_MEMBERS),
                    Vex::method<&Config::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(ConfigObserver, Config, FLOWSPEC_CONFIG_MEMBERS);

constexpr auto cliConfigRows =
    Vex::entityRows(VEX_MEMBER_ROWS(CliConfig, FLOWSPEC_CLI_CONFIG_MEMBERS));
VEX_ENTITY_OBSERVER(CliConfigObserver, CliConfig, FLOWSPEC_CLI_CONFIG_MEMBERS);

} // namespace
} // namespace Flowspec

constinit Vex::VexType const Flowspec::Config::_vexType =
    Vex::entityDescriptor<Config, ConfigObserver, &Config::ConfigIs, &Config::ConfigIs>(configRows);
constinit Vex::VexType const Flowspec::CliConfig::_vexType =
    Vex::entityDescriptor<CliConfig, CliConfigObserver, &CliConfig::CliConfigIs,
                          &CliConfig::CliConfigIs>(cliConfigRows);
