#include "Flowspec/entities/Config.h"

#include "Flowspec/framework/Dump.h"

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
