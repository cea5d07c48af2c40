// The descriptors of Pbr's values, registered when libpbr is loaded.
#include "Pbr/NexthopSet.h"
#include "Pbr/ResolvedNexthopInfo.h"
#include "Pbr/Via.h"
#include "Vex/ReflectTable.h"

namespace Pbr {

namespace {

using Vex::field;
using Vex::method;

constexpr Vex::CtorArg viaArgs[] = {
   {"addr", "Ipkit::IpGenAddr"}, {"intf", "Ipkit::IntfId"}, {"weight", "U32"}, {nullptr, nullptr}};
constexpr Vex::CtorArg setArgs[] = {{"groupId", "U32"},       {"recursive", "bool"},
                                    {"drop", "bool"},         {"vrfName", "Vex::String"},
                                    {"ttl", "U32"},           {nullptr, nullptr}};
constexpr Vex::CtorArg infoArgs[] = {{"nexthopSet", "Pbr::NexthopSet"}, {nullptr, nullptr}};

constexpr auto viaRows = Vex::valueRows({
   field<&Via::addr, &Via::addrIs>("addr"),
   field<&Via::intf, &Via::intfIs>("intf"),
   field<&Via::weight, &Via::weightIs>("weight"),
   method<&Via::toStrep>("toStrep"),
   method<&Via::hash>("hash"),
});
constexpr auto setRows = Vex::valueRows({
   field<&NexthopSet::groupId, &NexthopSet::groupIdIs>("groupId"),
   field<&NexthopSet::recursive, &NexthopSet::recursiveIs>("recursive"),
   field<&NexthopSet::drop, &NexthopSet::dropIs>("drop"),
   field<&NexthopSet::vrfName, &NexthopSet::vrfNameIs>("vrfName"),
   field<&NexthopSet::ttl, &NexthopSet::ttlIs>("ttl"),
   method<&NexthopSet::toStrepCli>("toStrepCli"),
   method<&NexthopSet::hash>("hash"),
});
constexpr auto infoRows = Vex::valueRows({
   field<&ResolvedNexthopInfo::nexthopSet, &ResolvedNexthopInfo::nexthopSetIs>("nexthopSet"),
   method<&ResolvedNexthopInfo::viaActiveIs>("viaActiveIs", "Pbr::Via via"),
   method<&ResolvedNexthopInfo::viaActiveDel>("viaActiveDel", "Pbr::Via via"),
   method<&ResolvedNexthopInfo::viaActiveHas>("viaActiveHas", "Pbr::Via via"),
   method<&ResolvedNexthopInfo::viaActiveSize>("viaActiveSize"),
});

} // namespace

constinit Vex::VexType const Via::_vexType = Vex::valueDescriptor<Via>(
   "Pbr::Via", viaRows, viaArgs,
   &Vex::Reflection::constructValue<Via, Ipkit::IpGenAddr, Ipkit::IntfId, std::uint32_t>);
constinit Vex::VexType const NexthopSet::_vexType = Vex::valueDescriptor<NexthopSet>(
   "Pbr::NexthopSet", setRows, setArgs,
   &Vex::Reflection::constructValue<NexthopSet, std::uint32_t, bool, bool, Vex::String,
                                    std::uint32_t>);
constinit Vex::VexType const ResolvedNexthopInfo::_vexType =
   Vex::valueDescriptor<ResolvedNexthopInfo>(
      "Pbr::ResolvedNexthopInfo", infoRows, infoArgs,
      &Vex::Reflection::constructValue<ResolvedNexthopInfo, NexthopSet>);

namespace {

[[maybe_unused]] bool const registered = [] {
   for (Vex::VexType const* t : {&Via::_vexType, &NexthopSet::_vexType,
                                 &ResolvedNexthopInfo::_vexType}) {
      Vex::typeNodeIs(*t);
   }
   return true;
}();

} // namespace

} // namespace Pbr
