#include "Flowspec/values/TrafficRedirect.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr auto trafficRedirectRows = Vex::valueRows({
    Vex::field<&TrafficRedirect::vrfId, &TrafficRedirect::vrfIdIs>("vrfId"),
    Vex::field<&TrafficRedirect::addr, &TrafficRedirect::addrIs>("addr"),
    Vex::field<&TrafficRedirect::copy, &TrafficRedirect::copyIs>("copy"),
});

constexpr Vex::CtorArg trafficRedirectArgs[] = {{"vrfId", "Vrf::VrfIdMap::VrfId"},
                                                {"addr", "Ipkit::IpGenAddr"},
                                                {"copy", "bool"},
                                                {nullptr, nullptr}};

} // namespace

constinit Vex::VexType const TrafficRedirect::_vexType =
    Vex::valueDescriptor<TrafficRedirect>(
        vexTypeName, trafficRedirectRows, trafficRedirectArgs,
        &Vex::Reflection::constructValue<TrafficRedirect, Vrf::VrfIdMap::VrfId,
                                         Ipkit::IpGenAddr, bool>);

} // namespace Flowspec
