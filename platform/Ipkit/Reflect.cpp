// The descriptors of Ipkit's values, registered when libipkit is loaded.
#include "Ipkit/AddressFamily.h"
#include "Ipkit/IntfId.h"
#include "Ipkit/IpAddr.h"
#include "Ipkit/IpGenAddr.h"
#include "Ipkit/IpGenPrefix.h"
#include "Ipkit/IpTos.h"
#include "Vex/ReflectTable.h"

namespace Ipkit {

namespace {

using Vex::field;
using Vex::method;

constexpr Vex::EnumType::Enumerator afEnumerators[] = {{"ipunknown", 0}, {"ipv4", 1}, {"ipv6", 2}};
constexpr auto& afRows = Vex::enumRowsOf<afEnumerators>;

constexpr Vex::Param textArgs[] = {{"text", &Vex::Reflection::typeFn<Vex::String>}};
constexpr Vex::Param intfArgs[] = {{"name", &Vex::Reflection::typeFn<Vex::String>}};
constexpr Vex::Param byteArgs[] = {{"value", &Vex::Reflection::typeFn<std::uint32_t>}};

/// A value built from one argument of type A.
template <class T, class A>
constexpr Vex::VexType descriptor(char const* name, std::span<Vex::AttrRow const> rows,
                                  std::span<Vex::Param const> args) {
   return Vex::valueDescriptor<T>({.name = name,
                                   .rows = rows,
                                   .ctorArgs = args,
                                   .construct = &Vex::Reflection::constructValue<T, A>});
}

constexpr auto intfRows = Vex::valueRows({
    field<&IntfId::stringValue>("stringValue"),
    field<&IntfId::isEmpty>("isEmpty"),
    method<&IntfId::hash>("hash"),
});
constexpr auto ipAddrRows = Vex::valueRows({
    field<&IpAddr::value>("value"),
    method<&IpAddr::stringValue>("stringValue"),
    method<&IpAddr::hash>("hash"),
});
constexpr auto ip6AddrRows = Vex::valueRows({
    method<&Ip6Addr::stringValue>("stringValue"),
    method<&Ip6Addr::hash>("hash"),
});
constexpr auto genAddrRows = Vex::valueRows({
    field<&IpGenAddr::af>("af"),
    field<&IpGenAddr::isUnspecified>("isUnspecified"),
    method<&IpGenAddr::stringValue>("stringValue"),
    method<&IpGenAddr::hash>("hash"),
});
constexpr auto prefixRows = Vex::valueRows({
    field<&IpGenPrefix::af>("af"),
    field<&IpGenPrefix::addr>("addr"),
    field<&IpGenPrefix::len>("len"),
    field<&IpGenPrefix::isEmpty>("isEmpty"),
    method<&IpGenPrefix::stringValue>("stringValue"),
    method<&IpGenPrefix::hash>("hash"),
});
constexpr auto tosRows = Vex::valueRows({
    field<&IpTos::value>("value"),
    method<&IpTos::hash>("hash"),
});
constexpr auto protoRows = Vex::valueRows({
    field<&IpProtocolNumber::value>("value"),
    method<&IpProtocolNumber::hash>("hash"),
});

} // namespace

constinit Vex::VexType const _vexType_AddressFamily =
    Vex::enumDescriptor<AddressFamily>("Ipkit::AddressFamily", afRows);
Vex::VexType const& vexTypeOf(AddressFamily const*) {
   return _vexType_AddressFamily;
}

constinit Vex::VexType const IntfId::_vexType =
    descriptor<IntfId, Vex::String>("Ipkit::IntfId", intfRows, intfArgs);
constinit Vex::VexType const IpAddr::_vexType =
    descriptor<IpAddr, Vex::String>("Ipkit::IpAddr", ipAddrRows, textArgs);
constinit Vex::VexType const Ip6Addr::_vexType =
    descriptor<Ip6Addr, Vex::String>("Ipkit::Ip6Addr", ip6AddrRows, textArgs);
constinit Vex::VexType const IpGenAddr::_vexType =
    descriptor<IpGenAddr, Vex::String>("Ipkit::IpGenAddr", genAddrRows, textArgs);
constinit Vex::VexType const IpGenPrefix::_vexType =
    descriptor<IpGenPrefix, Vex::String>("Ipkit::IpGenPrefix", prefixRows, textArgs);
constinit Vex::VexType const IpTos::_vexType =
    descriptor<IpTos, std::uint32_t>("Ipkit::IpTos", tosRows, byteArgs);
constinit Vex::VexType const IpProtocolNumber::_vexType =
    descriptor<IpProtocolNumber, std::uint32_t>("Ipkit::IpProtocolNumber", protoRows, byteArgs);

namespace {

[[maybe_unused]] bool const registered = [] {
   for (Vex::VexType const* t : {&_vexType_AddressFamily, &IntfId::_vexType, &IpAddr::_vexType,
                                 &Ip6Addr::_vexType, &IpGenAddr::_vexType, &IpGenPrefix::_vexType,
                                 &IpTos::_vexType, &IpProtocolNumber::_vexType}) {
      Vex::typeNodeIs(*t);
   }
   return true;
}();

} // namespace

} // namespace Ipkit
