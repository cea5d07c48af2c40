// What loading libFlowspecStatedbTypes does: the section of type names, and
// the module initialiser that registers the thirty type descriptors.
#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/framework/TypeNames.h"
#include "Vex/Assert.h"
#include "Vex/Reflect.h"

#include <iostream> // the stream library is initialised for this module before its use

namespace Flowspec {

namespace Internal {

#define FLOWSPEC_TYPE_NAME_TEXT(member, text) text,
[[gnu::section(".vex.type"), gnu::used]] constinit TypeNames const typeNames = {
   FLOWSPEC_TYPE_NAMES(FLOWSPEC_TYPE_NAME_TEXT)};
#undef FLOWSPEC_TYPE_NAME_TEXT

} // namespace Internal

namespace {

// The prefix of the namespaces the module's directories are named in.
Vex::String const namespacePrefix("ns-");

// The descriptors, registered in the reverse of the section's order. The
// platform libraries' descriptors they name in their fields are registered by
// those libraries, which the loader runs first; naming the VRF id's descriptor
// here keeps libvrf among this library's dependencies even where nothing else
// calls into it.
[[maybe_unused]] bool const registered = [] {
   VEX_ASSERT(Vex::typeByName(Vrf::VrfIdMap::_vexType_VrfId.name()) != nullptr);
   for (Vex::VexType const* type : {
           &_vexType_MatchCompType,     &Status::_vexType,
           &CounterVersion::_vexType,   &VrfRuleStatus::_vexType,
           &TrafficAction::_vexType,    &MatchOpValIndex::_vexType,
           &ActionFieldSet::_vexType,   &TcpBitMask::_vexType,
           &TcpBitMask::_vexType_TcpBit, &MatchOpValResult::_vexType,
           &TrafficRedirect::_vexType,  &IntfErrorKey::_vexType,
           &AfIntfColl::_vexType,       &UnsupportedQual::_vexType,
           &MatchOpVal::_vexType,       &FlowspecKey::_vexType,
           &NumericalRange::_vexType,   &InfeasibleRule::_vexType,
           &RuleConfig::_vexType,       &VrfRuleConfig::_vexType,
           &RuleStatus::_vexType,       &FlowspecUtil::_vexType,
           &IpBitMask::_vexType,        &IpBitMask::_vexType_IpBit,
           &MatchComponent::_vexType,   &Counter::_vexType,
           &CliConfig::_vexType,        &_vexType_HwRuleProgrammingStatus,
           &Config::_vexType,           &IpVersion::_vexType,
        }) {
      Vex::typeNodeIs(*type);
   }
   return true;
}();

} // namespace

} // namespace Flowspec
