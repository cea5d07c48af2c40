#include "Flowspec/values/TrafficRedirect.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr auto trafficRedirectRows = Vex::valueRows(Vex::fieldRows<TrafficRedirect>());

} // namespace

constinit Vex::VexType const TrafficRedirect::_vexType =
   Vex::valueDescriptor<TrafficRedirect>(trafficRedirectRows);

} // namespace Flowspec
