#include "Flowspec/values/TrafficRedirect.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr auto trafficRedirectRows = Vex::valueRows({
    Vex::field<&TrafficRedirect::vrfId, &TrafficRedirect::vrfIdIs>("vrfId"),
    Vex::field<&TrafficRedirect::addr, &TrafficRedirect::addrIs>("addr"),
    Vex::field<&TrafficRedirect::copy, &TrafficRedirect::copyIs>("copy"),
});

} // namespace

constinit Vex::VexType const TrafficRedirect::_vexType =
   Vex::valueDescriptor<TrafficRedirect>(trafficRedirectRows);

} // namespace Flowspec
