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

constexpr Vex::CtorArg textArgs[] = {{"text", "Vex::String"}, {nullptr, nullptr}};
constexpr Vex::CtorArg intfArgs[] = {{"name", "Vex::String"}, {nullptr, nullptr}};
constexpr Vex::CtorArg byteArgs[] = {{"value", "U32"}, {nullptr, nullptr}};

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
Vex::VexType const& vexTypeOf(AddressFamily const*) { return _vexType_AddressFamily; }

constinit Vex::VexType const IntfId::_vexType = Vex::valueDescriptor<IntfId>(
   "Ipkit::IntfId", intfRows, intfArgs, &Vex::Reflection::constructValue<IntfId, Vex::String>);
constinit Vex::VexType const IpAddr::_vexType = Vex::valueDescriptor<IpAddr>(
   "Ipkit::IpAddr", ipAddrRows, textArgs, &Vex::Reflection::constructValue<IpAddr, Vex::String>);
constinit Vex::VexType const Ip6Addr::_vexType =
   Vex::valueDescriptor<Ip6Addr>("Ipkit::Ip6Addr", ip6AddrRows, textArgs,
                                 &Vex::Reflection::constructValue<Ip6Addr, Vex::String>);
constinit Vex::VexType const IpGenAddr::_vexType =
   Vex::valueDescriptor<IpGenAddr>("Ipkit::IpGenAddr", genAddrRows, textArgs,
                                   &Vex::Reflection::constructValue<IpGenAddr, Vex::String>);
constinit Vex::VexType const IpGenPrefix::_vexType =
   Vex::valueDescriptor<IpGenPrefix>("Ipkit::IpGenPrefix", prefixRows, textArgs,
                                     &Vex::Reflection::constructValue<IpGenPrefix, Vex::String>);
constinit Vex::VexType const IpTos::_vexType = Vex::valueDescriptor<IpTos>(
   "Ipkit::IpTos", tosRows, byteArgs, &Vex::Reflection::constructValue<IpTos, std::uint32_t>);
constinit Vex::VexType const IpProtocolNumber::_vexType =
   Vex::valueDescriptor<IpProtocolNumber>(
      "Ipkit::IpProtocolNumber", protoRows, byteArgs,
      &Vex::Reflection::constructValue<IpProtocolNumber, std::uint32_t>);

namespace {

[[maybe_unused]] bool const registered = [] {
   for (Vex::VexType const* t :
        {&_vexType_AddressFamily, &IntfId::_vexType, &IpAddr::_vexType, &Ip6Addr::_vexType,
         &IpGenAddr::_vexType, &IpGenPrefix::_vexType, &IpTos::_vexType,
         &IpProtocolNumber::_vexType}) {
      Vex::typeNodeIs(*t);
   }
   return true;
}();

} // namespace

} // namespace Ipkit
