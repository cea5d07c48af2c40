// The descriptors of Pbr's values, registered when libpbr is loaded.
#include "Pbr/NexthopSet.h"
#include "Pbr/ResolvedNexthopInfo.h"
#include "Pbr/Via.h"
#include "Vex/ReflectTable.h"

namespace Pbr {

namespace {

using Vex::field;
using Vex::method;

template <class T>
constexpr Vex::TypeFn type = &Vex::Reflection::typeFn<T>;

constexpr Vex::Param viaArgs[] = {{"addr", type<Ipkit::IpGenAddr>},
                                  {"intf", type<Ipkit::IntfId>},
                                  {"weight", type<std::uint32_t>}};
constexpr Vex::Param setArgs[] = {{"groupId", type<std::uint32_t>},
                                  {"recursive", type<bool>},
                                  {"drop", type<bool>},
                                  {"vrfName", type<Vex::String>},
                                  {"ttl", type<std::uint32_t>}};
constexpr Vex::Param infoArgs[] = {{"nexthopSet", type<NexthopSet>}};

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
    method<&ResolvedNexthopInfo::viaActiveIs, "via">("viaActiveIs"),
    method<&ResolvedNexthopInfo::viaActiveDel, "via">("viaActiveDel"),
    method<&ResolvedNexthopInfo::viaActiveHas, "via">("viaActiveHas"),
    method<&ResolvedNexthopInfo::viaActiveSize>("viaActiveSize"),
});

} // namespace

constinit Vex::VexType const Via::_vexType = Vex::valueDescriptor<Via>({
    .name = "Pbr::Via",
    .rows = viaRows,
    .ctorArgs = viaArgs,
    .construct =
        &Vex::Reflection::constructValue<Via, Ipkit::IpGenAddr, Ipkit::IntfId, std::uint32_t>,
});
constinit Vex::VexType const NexthopSet::_vexType = Vex::valueDescriptor<NexthopSet>({
    .name = "Pbr::NexthopSet",
    .rows = setRows,
    .ctorArgs = setArgs,
    .construct = &Vex::Reflection::constructValue<NexthopSet, std::uint32_t, bool, bool,
                                                  Vex::String, std::uint32_t>,
});
constinit Vex::VexType const ResolvedNexthopInfo::_vexType =
    Vex::valueDescriptor<ResolvedNexthopInfo>({
        .name = "Pbr::ResolvedNexthopInfo",
        .rows = infoRows,
        .ctorArgs = infoArgs,
        .construct = &Vex::Reflection::constructValue<ResolvedNexthopInfo, NexthopSet>,
    });

namespace {

[[maybe_unused]] bool const registered = [] {
   for (Vex::VexType const* t :
        {&Via::_vexType, &NexthopSet::_vexType, &ResolvedNexthopInfo::_vexType}) {
      Vex::typeNodeIs(*t);
   }
   return true;
}();

} // namespace

} // namespace Pbr
