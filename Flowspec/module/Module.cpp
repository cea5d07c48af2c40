// What loading libFlowspecStatedbTypes does: the section of type names, and
// the module initialiser that registers the thirty type descriptors. This
// file stands above the types: it only lists them, in the two fixed orders.
#include "Flowspec/FlowspecStatedb.h"
#include "Vex/Assert.h"
#include "Vex/Reflect.h"
#include "Vex/TypeNameSection.h"

#include <iostream> // the stream library is initialised for this module before its use

namespace Flowspec {

namespace {

// The qualified names of the thirty types, in the library file's read-only
// section ".vex.type", so that a tool can list the types a file defines
// without loading it. Each name is the type's own vexTypeName.
[[gnu::section(".vex.type"), gnu::used]] constinit Vex::TypeNameSection<
    IpVersion::vexTypeName, Config::vexTypeName, vexTypeName_HwRuleProgrammingStatus,
    CliConfig::vexTypeName, Counter::vexTypeName, MatchComponent::vexTypeName,
    IpBitMask::vexTypeName_IpBit, IpBitMask::vexTypeName, FlowspecUtil::vexTypeName,
    RuleStatus::vexTypeName, VrfRuleConfig::vexTypeName, RuleConfig::vexTypeName,
    InfeasibleRule::vexTypeName, NumericalRange::vexTypeName, FlowspecKey::vexTypeName,
    MatchOpVal::vexTypeName, UnsupportedQual::vexTypeName, AfIntfColl::vexTypeName,
    IntfErrorKey::vexTypeName, TrafficRedirect::vexTypeName, MatchOpValResult::vexTypeName,
    TcpBitMask::vexTypeName_TcpBit, TcpBitMask::vexTypeName, ActionFieldSet::vexTypeName,
    MatchOpValIndex::vexTypeName, TrafficAction::vexTypeName, VrfRuleStatus::vexTypeName,
    CounterVersion::vexTypeName, Status::vexTypeName, vexTypeName_MatchCompType> const typeNames{};

// The descriptors, registered in the reverse of the section's order. The
// platform libraries' descriptors they name in their fields are registered by
// those libraries, which the loader runs first; naming the VRF id's descriptor
// here keeps libvrf among this library's dependencies even where nothing else
// calls into it.
[[maybe_unused]] bool const registered = [] {
   VEX_ASSERT(Vex::typeByName(Vrf::VrfIdMap::_vexType_VrfId.name()) != nullptr);
   for (Vex::VexType const* type : {
            &_vexType_MatchCompType,
            &Status::_vexType,
            &CounterVersion::_vexType,
            &VrfRuleStatus::_vexType,
            &TrafficAction::_vexType,
            &MatchOpValIndex::_vexType,
            &ActionFieldSet::_vexType,
            &TcpBitMask::_vexType,
            &TcpBitMask::_vexType_TcpBit,
            &MatchOpValResult::_vexType,
            &TrafficRedirect::_vexType,
            &IntfErrorKey::_vexType,
            &AfIntfColl::_vexType,
            &UnsupportedQual::_vexType,
            &MatchOpVal::_vexType,
            &FlowspecKey::_vexType,
            &NumericalRange::_vexType,
            &InfeasibleRule::_vexType,
            &RuleConfig::_vexType,
            &VrfRuleConfig::_vexType,
            &RuleStatus::_vexType,
            &FlowspecUtil::_vexType,
            &IpBitMask::_vexType,
            &IpBitMask::_vexType_IpBit,
            &MatchComponent::_vexType,
            &Counter::_vexType,
            &CliConfig::_vexType,
            &_vexType_HwRuleProgrammingStatus,
            &Config::_vexType,
            &IpVersion::_vexType,
        }) {
      Vex::typeNodeIs(*type);
   }
   return true;
}();

} // namespace

} // namespace Flowspec
