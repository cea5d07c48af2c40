// The descriptors of the library's value types: one attribute table per type.
//
// Rows are numbered from 2 in table order (MatchOpValResult's toStrep is 16).
// A field is settable when its setter is given, read-only otherwise; a
// constant reads a static member; a method is called with the arguments its
// row describes. The enumerations' descriptors are next to their types.
#include "Flowspec/framework/TypeNames.h"
#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/MatchComponent.h"
#include "Flowspec/values/MatchOpVal.h"
#include "Flowspec/values/MatchOpValIndex.h"
#include "Flowspec/values/NumericalRange.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Flowspec/values/UnsupportedQual.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

using Internal::typeNames;
using Vex::constant;
using Vex::field;
using Vex::method;
using Vex::Reflection::constructValue;

/// The word of one flag of a flag set: the "<flag>_" constants.
template <unsigned Bit>
constexpr std::uint32_t flagBit() {
   return 1u << Bit;
}

// The key's separators are characters; reflection shows them as strings.
Vex::String compSeparatorText() {
   static constexpr char text[] = {FlowspecKey::compSeparator(), 0};
   return text;
}
Vex::String compEndText() {
   static constexpr char text[] = {FlowspecKey::compEnd(), 0};
   return text;
}

using IpMask = BitMask<IpBitMask>;
using TcpMask = BitMask<TcpBitMask>;
using PairBits = OperatorBits<MatchOpVal>;
using ResultBits = OperatorBits<MatchOpValResult>;

constexpr auto matchOpValIndexRows = Vex::valueRows({
   field<&MatchOpValIndex::value>("value"),
   constant<&MatchOpValIndex::min>("min"),
   constant<&MatchOpValIndex::max>("max"),
});

constexpr auto matchOpValRows = Vex::valueRows({
   field<&MatchOpVal::storage, &MatchOpVal::storageIs>("storage"),
   field<&MatchOpVal::matchType, &MatchOpVal::matchTypeIs>("matchType"),
   field<&MatchOpVal::op, &MatchOpVal::opIs>("op"),
   field<&MatchOpVal::val, &MatchOpVal::valIs>("val"),
   field<&PairBits::endOfList, &PairBits::endOfListIs>("endOfList"),
   field<&PairBits::andPrevious, &PairBits::andPreviousIs>("andPrevious"),
   field<&PairBits::len, &PairBits::lenIs>("len"),
   field<&PairBits::lt, &PairBits::ltIs>("lt"),
   field<&PairBits::gt, &PairBits::gtIs>("gt"),
   field<&PairBits::eq, &PairBits::eqIs>("eq"),
   field<&PairBits::invert, &PairBits::invertIs>("invert"),
   field<&PairBits::match, &PairBits::matchIs>("match"),
   field<&PairBits::byteLength>("byteLength"),
   method<&MatchOpVal::toStrep>("toStrep"),
});

constexpr auto matchOpValResultRows = Vex::valueRows({
   field<&MatchOpValResult::matchType, &MatchOpValResult::matchTypeIs>("matchType"),
   field<&MatchOpValResult::op, &MatchOpValResult::opIs>("op"),
   field<&MatchOpValResult::val32, &MatchOpValResult::val32Is>("val32"),
   field<&ResultBits::endOfList, &ResultBits::endOfListIs>("endOfList"),
   field<&ResultBits::andPrevious, &ResultBits::andPreviousIs>("andPrevious"),
   field<&ResultBits::len, &ResultBits::lenIs>("len"),
   field<&ResultBits::lt, &ResultBits::ltIs>("lt"),
   field<&ResultBits::gt, &ResultBits::gtIs>("gt"),
   field<&ResultBits::eq, &ResultBits::eqIs>("eq"),
   field<&ResultBits::invert, &ResultBits::invertIs>("invert"),
   field<&ResultBits::match, &ResultBits::matchIs>("match"),
   field<&MatchOpValResult::nextIndex, &MatchOpValResult::nextIndexIs>("nextIndex"),
   Vex::at(16, method<&MatchOpValResult::toStrep>("toStrep")),
});

constexpr auto flowspecKeyRows = Vex::valueRows({
   field<&FlowspecKey::vrfId, &FlowspecKey::vrfIdIs>("vrfId"),
   field<&FlowspecKey::addressFamily, &FlowspecKey::addressFamilyIs>("addressFamily"),
   field<&FlowspecKey::destPrefix, &FlowspecKey::destPrefixIs>("destPrefix"),
   field<&FlowspecKey::srcPrefix, &FlowspecKey::srcPrefixIs>("srcPrefix"),
   constant<&compSeparatorText>("compSeparator"),
   constant<&compEndText>("compEnd"),
   VEX_COLLECTION_ROW(FlowspecKey, matchOpVal, "Flowspec::MatchOpValIndex index"),
   method<&FlowspecKey::hash>("hash"),
   method<&FlowspecKey::compare>("compare", "Flowspec::FlowspecKey other"),
   method<&FlowspecKey::cmpPrefix>("cmpPrefix", "Ipkit::IpGenPrefix a, Ipkit::IpGenPrefix b"),
   method<&FlowspecKey::copyIn>("copyIn", "Flowspec::FlowspecKey other"),
   method<&FlowspecKey::copyInStr>("copyInStr", "Vex::String text"),
   method<&FlowspecKey::toStrep>("toStrep"),
   method<&FlowspecKey::toStrepCli>("toStrepCli"),
   method<&FlowspecKey::toStrepCliDetail>("toStrepCliDetail"),
   method<&FlowspecKey::copyInStrCli>("copyInStrCli", "Vex::String text"),
   method<&FlowspecKey::stringValue>("stringValue"),
   method<&FlowspecKey::copyInStringValue>("copyInStringValue", "Vex::String text"),
   method<&FlowspecKey::setOpVal>("setOpVal", "Flowspec::MatchOpValIndex index, "
                                              "Flowspec::MatchCompType mtype, U8 op, U32 val"),
   method<&FlowspecKey::getOptVal>("getOptVal", "Flowspec::MatchOpValIndex index"),
});

constexpr auto numericalRangeRows = Vex::valueRows({
   constant<&NumericalRange::min>("min"),
   constant<&NumericalRange::max>("max"),
   constant<&NumericalRange::invalidValue>("invalidValue"),
   field<&NumericalRange::rangeMin, &NumericalRange::rangeMinIs>("rangeMin"),
   field<&NumericalRange::rangeMax, &NumericalRange::rangeMaxIs>("rangeMax"),
   method<&NumericalRange::isRangeOverlap>("isRangeOverlap", "Flowspec::NumericalRange otherRange"),
   method<&NumericalRange::rangeIntersection>("rangeIntersection",
                                              "Flowspec::NumericalRange otherRange"),
   method<&NumericalRange::rangeUnion>("rangeUnion", "Flowspec::NumericalRange otherRange"),
   method<&NumericalRange::isValid>("isValid"),
   method<&NumericalRange::toStrep>("toStrep"),
   method<&NumericalRange::contains>("contains", "U32 value"),
   method<&NumericalRange::matchCompTypeMax>("matchCompTypeMax",
                                             "Flowspec::MatchCompType matchCompType"),
   method<&NumericalRange::hash>("hash"),
});

constexpr auto ipBitMaskRows = Vex::valueRows({
   field<&IpMask::matchAll, &IpMask::matchAllIs>("matchAll"),
   field<&IpMask::val, &IpMask::valIs>("val"),
   field<&IpMask::mask, &IpMask::maskIs>("mask"),
   method<&IpBitMask::isValid>("isValid"),
   constant<&IpBitMask::lastBit>("lastBit"),
   constant<&IpBitMask::maskForAllBits>("maskForAllBits"),
   constant<&IpBitMask::supportedIpBits>("supportedIpBits"),
   method<&IpMask::toStrep>("toStrep"),
   method<&IpMask::toStrepCli>("toStrepCli"),
   method<&IpMask::hash>("hash"),
});

constexpr auto tcpBitMaskRows = Vex::valueRows({
   field<&TcpMask::matchAll, &TcpMask::matchAllIs>("matchAll"),
   field<&TcpMask::val, &TcpMask::valIs>("val"),
   field<&TcpMask::mask, &TcpMask::maskIs>("mask"),
   method<&TcpBitMask::isValid>("isValid"),
   constant<&TcpBitMask::lastBit>("lastBit"),
   constant<&TcpBitMask::maskForAllBits>("maskForAllBits"),
   constant<&TcpBitMask::supportedTcpBits>("supportedTcpBits"),
   method<&TcpMask::toStrep>("toStrep"),
   method<&TcpMask::toStrepCli>("toStrepCli"),
   method<&TcpMask::hash>("hash"),
});

constexpr auto matchComponentRows = Vex::valueRows({
   Vex::identity<&MatchComponent::compType>("compType"),
   field<&MatchComponent::prefix, &MatchComponent::prefixIs>("prefix"),
   VEX_COLLECTION_ROW(MatchComponent, numericalRange, "Flowspec::NumericalRange key"),
   VEX_COLLECTION_ROW(MatchComponent, ipBitMask, "Flowspec::IpBitMask key"),
   VEX_COLLECTION_ROW(MatchComponent, tcpBitMask, "Flowspec::TcpBitMask key"),
   method<&MatchComponent::matchTypePrefix>("matchTypePrefix"),
   method<&MatchComponent::matchTypeNumericalRange>("matchTypeNumericalRange"),
   method<&MatchComponent::matchTypeBitMask>("matchTypeBitMask"),
   method<&MatchComponent::toStrep>("toStrep"),
   method<&MatchComponent::dumpState>("dumpState", "Kiln::DumpContext dumpCtx, U32 indentCount"),
});

// The flag sets: each flag, the whole word, then each flag's word.
#define FLOWSPEC_FLAG(T, flag) field<&T::flag, &T::flag##Is>(#flag)
#define FLOWSPEC_FLAG_WORD(flag, bit) constant<&flagBit<bit>>(#flag "_")

constexpr auto actionFieldSetRows = Vex::valueRows({
   FLOWSPEC_FLAG(ActionFieldSet, invalid),
   FLOWSPEC_FLAG(ActionFieldSet, trafficPermit),
   FLOWSPEC_FLAG(ActionFieldSet, trafficDrop),
   FLOWSPEC_FLAG(ActionFieldSet, trafficRate),
   FLOWSPEC_FLAG(ActionFieldSet, trafficAction),
   FLOWSPEC_FLAG(ActionFieldSet, trafficRedirect),
   FLOWSPEC_FLAG(ActionFieldSet, trafficMarking),
   FLOWSPEC_FLAG(ActionFieldSet, value),
   FLOWSPEC_FLAG_WORD(invalid, 0),
   FLOWSPEC_FLAG_WORD(trafficPermit, 1),
   FLOWSPEC_FLAG_WORD(trafficDrop, 2),
   FLOWSPEC_FLAG_WORD(trafficRate, 3),
   FLOWSPEC_FLAG_WORD(trafficAction, 4),
   FLOWSPEC_FLAG_WORD(trafficRedirect, 5),
   FLOWSPEC_FLAG_WORD(trafficMarking, 6),
});

constexpr auto trafficActionRows = Vex::valueRows({
   FLOWSPEC_FLAG(TrafficAction, sampleAndLog),
   FLOWSPEC_FLAG(TrafficAction, continueMatch),
   FLOWSPEC_FLAG(TrafficAction, value),
   FLOWSPEC_FLAG_WORD(sampleAndLog, 0),
   FLOWSPEC_FLAG_WORD(continueMatch, 1),
});

constexpr auto ipVersionRows = Vex::valueRows({
   FLOWSPEC_FLAG(IpVersion, ipv4),
   FLOWSPEC_FLAG(IpVersion, ipv6),
   FLOWSPEC_FLAG(IpVersion, value),
   FLOWSPEC_FLAG_WORD(ipv4, 0),
   FLOWSPEC_FLAG_WORD(ipv6, 1),
});

#undef FLOWSPEC_FLAG
#undef FLOWSPEC_FLAG_WORD

constexpr auto trafficRedirectRows = Vex::valueRows({
   field<&TrafficRedirect::vrfId, &TrafficRedirect::vrfIdIs>("vrfId"),
   field<&TrafficRedirect::addr, &TrafficRedirect::addrIs>("addr"),
   field<&TrafficRedirect::copy, &TrafficRedirect::copyIs>("copy"),
});

constexpr auto counterVersionRows = Vex::valueRows({
   field<&CounterVersion::counter, &CounterVersion::counterIs>("counter"),
   field<&CounterVersion::version, &CounterVersion::versionIs>("version"),
});

constexpr auto intfErrorKeyRows = Vex::valueRows({
   field<&IntfErrorKey::intfId, &IntfErrorKey::intfIdIs>("intfId"),
   field<&IntfErrorKey::addressFamily, &IntfErrorKey::addressFamilyIs>("addressFamily"),
   method<&IntfErrorKey::toStrep>("toStrep"),
   method<&IntfErrorKey::hash>("hash"),
});

constexpr auto unsupportedQualRows = Vex::valueRows({
   Vex::identity<&UnsupportedQual::af>("af"),
   VEX_COLLECTION_ROW(UnsupportedQual, qual, "Flowspec::MatchCompType key"),
   method<&UnsupportedQual::dumpState>("dumpState", "Kiln::DumpContext dumpCtx, U32 indentCount"),
});

constexpr auto flowspecUtilRows = Vex::valueRows({
   method<&FlowspecUtil::compTypeToLabel>("compTypeToLabel", "Flowspec::MatchCompType compType"),
   method<&FlowspecUtil::compTypeToDetailLabel>("compTypeToDetailLabel",
                                                "Flowspec::MatchCompType compType"),
   method<&FlowspecUtil::statusCodeToStrep>("statusCodeToStrep",
                                            "Flowspec::HwRuleProgrammingStatus status"),
});

// Constructor arguments: the fields, in the order the constructors take them.
constexpr Vex::CtorArg noArgs[] = {{nullptr, nullptr}};
constexpr Vex::CtorArg matchOpValIndexArgs[] = {{"value", "U16"}, {nullptr, nullptr}};
constexpr Vex::CtorArg matchOpValArgs[] = {{"storage", "U32"}, {nullptr, nullptr}};
constexpr Vex::CtorArg matchOpValResultArgs[] = {{"matchType", "Flowspec::MatchCompType"},
                                                 {"op", "U8"},
                                                 {"val32", "U32"},
                                                 {"nextIndex", "Flowspec::MatchOpValIndex"},
                                                 {nullptr, nullptr}};
constexpr Vex::CtorArg flowspecKeyArgs[] = {{"vrfId", "Vrf::VrfIdMap::VrfId"},
                                            {"addressFamily", "Ipkit::AddressFamily"},
                                            {"destPrefix", "Ipkit::IpGenPrefix"},
                                            {"srcPrefix", "Ipkit::IpGenPrefix"},
                                            {nullptr, nullptr}};
constexpr Vex::CtorArg numericalRangeArgs[] = {
   {"rangeMin", "U32"}, {"rangeMax", "U32"}, {nullptr, nullptr}};
constexpr Vex::CtorArg bitMaskArgs[] = {{"val", "U16"}, {"mask", "U16"}, {nullptr, nullptr}};
constexpr Vex::CtorArg matchComponentArgs[] = {{"compType", "Flowspec::MatchCompType"},
                                               {nullptr, nullptr}};
constexpr Vex::CtorArg flagSetArgs[] = {{"value", "U32"}, {nullptr, nullptr}};
constexpr Vex::CtorArg trafficRedirectArgs[] = {{"vrfId", "Vrf::VrfIdMap::VrfId"},
                                                {"addr", "Ipkit::IpGenAddr"},
                                                {"copy", "bool"},
                                                {nullptr, nullptr}};
constexpr Vex::CtorArg counterVersionArgs[] = {
   {"counter", "U64"}, {"version", "Kiln::UniqueId"}, {nullptr, nullptr}};
constexpr Vex::CtorArg intfErrorKeyArgs[] = {{"intfId", "Ipkit::IntfId"},
                                             {"addressFamily", "Ipkit::AddressFamily"},
                                             {nullptr, nullptr}};
constexpr Vex::CtorArg unsupportedQualArgs[] = {{"af", "Ipkit::AddressFamily"},
                                                {nullptr, nullptr}};

Vex::GenericValue flowspecKeyFromArgs(Vex::GenericArgs args) {
   Vex::Reflection::checkArgCount(args, 4);
   FlowspecKey key;
   key.vrfIdIs(args[0].value<Vrf::VrfIdMap::VrfId>());
   key.addressFamilyIs(args[1].value<Ipkit::AddressFamily>());
   key.destPrefixIs(args[2].value<Ipkit::IpGenPrefix>());
   key.srcPrefixIs(args[3].value<Ipkit::IpGenPrefix>());
   return Vex::GenericValue(key);
}

template <class Flags>
Vex::GenericValue flagSetFromArgs(Vex::GenericArgs args) {
   Vex::Reflection::checkArgCount(args, 1);
   Flags flags;
   flags.valueIs(args[0].value<std::uint32_t>());
   return Vex::GenericValue(flags);
}

// MatchOpValIndex's type-level operations: the null test and the addition.
int matchOpValIndexOp(Vex::GenericValue* result, void* object, Vex::AttrRow const* row,
                      Vex::AttrOp op, Vex::GenericArgs args) {
   if (row != nullptr) {
      return Vex::Reflection::attributeOp<MatchOpValIndex>(result, object, row, op, args);
   }
   MatchOpValIndex const& index = *static_cast<MatchOpValIndex const*>(object);
   switch (op) {
   case Vex::AttrOp::isNull: *result = Vex::GenericValue(!index); return Vex::attrOpDone;
   case Vex::AttrOp::add:
      Vex::Reflection::checkArgCount(args, 1);
      *result = Vex::GenericValue(index + args[0].value<MatchOpValIndex>());
      return Vex::attrOpDone;
   default: return Vex::attrOpNotAllowed;
   }
}

constexpr Vex::VexType withAttributeOp(Vex::VexType type, decltype(type.attributeOp_) op) {
   type.attributeOp_ = op;
   return type;
}

} // namespace

using Vex::valueDescriptor;

constinit Vex::VexType const MatchOpValIndex::_vexType = withAttributeOp(
   valueDescriptor<MatchOpValIndex>(typeNames.matchOpValIndex, matchOpValIndexRows,
                                    matchOpValIndexArgs,
                                    &constructValue<MatchOpValIndex, std::uint16_t>),
   &matchOpValIndexOp);
constinit Vex::VexType const MatchOpVal::_vexType =
   valueDescriptor<MatchOpVal>(typeNames.matchOpVal, matchOpValRows, matchOpValArgs,
                               &constructValue<MatchOpVal, std::uint32_t>);
constinit Vex::VexType const MatchOpValResult::_vexType = valueDescriptor<MatchOpValResult>(
   typeNames.matchOpValResult, matchOpValResultRows, matchOpValResultArgs,
   &constructValue<MatchOpValResult, MatchCompType, std::uint8_t, std::uint32_t,
                   MatchOpValIndex>);
constinit Vex::VexType const FlowspecKey::_vexType = valueDescriptor<FlowspecKey>(
   typeNames.flowspecKey, flowspecKeyRows, flowspecKeyArgs, &flowspecKeyFromArgs);
constinit Vex::VexType const NumericalRange::_vexType = valueDescriptor<NumericalRange>(
   typeNames.numericalRange, numericalRangeRows, numericalRangeArgs,
   &constructValue<NumericalRange, std::uint32_t, std::uint32_t>);
constinit Vex::VexType const IpBitMask::_vexType =
   valueDescriptor<IpBitMask>(typeNames.ipBitMask, ipBitMaskRows, bitMaskArgs,
                              &constructValue<IpBitMask, std::uint16_t, std::uint16_t>);
constinit Vex::VexType const TcpBitMask::_vexType =
   valueDescriptor<TcpBitMask>(typeNames.tcpBitMask, tcpBitMaskRows, bitMaskArgs,
                               &constructValue<TcpBitMask, std::uint16_t, std::uint16_t>);
constinit Vex::VexType const MatchComponent::_vexType =
   valueDescriptor<MatchComponent>(typeNames.matchComponent, matchComponentRows,
                                   matchComponentArgs,
                                   &constructValue<MatchComponent, MatchCompType>);
constinit Vex::VexType const ActionFieldSet::_vexType =
   valueDescriptor<ActionFieldSet>(typeNames.actionFieldSet, actionFieldSetRows, flagSetArgs,
                                   &flagSetFromArgs<ActionFieldSet>);
constinit Vex::VexType const TrafficAction::_vexType =
   valueDescriptor<TrafficAction>(typeNames.trafficAction, trafficActionRows, flagSetArgs,
                                  &flagSetFromArgs<TrafficAction>);
constinit Vex::VexType const IpVersion::_vexType = valueDescriptor<IpVersion>(
   typeNames.ipVersion, ipVersionRows, flagSetArgs, &flagSetFromArgs<IpVersion>);
constinit Vex::VexType const TrafficRedirect::_vexType = valueDescriptor<TrafficRedirect>(
   typeNames.trafficRedirect, trafficRedirectRows, trafficRedirectArgs,
   &constructValue<TrafficRedirect, Vrf::VrfIdMap::VrfId, Ipkit::IpGenAddr, bool>);
constinit Vex::VexType const CounterVersion::_vexType = valueDescriptor<CounterVersion>(
   typeNames.counterVersion, counterVersionRows, counterVersionArgs,
   &constructValue<CounterVersion, std::uint64_t, Kiln::UniqueId>);
constinit Vex::VexType const IntfErrorKey::_vexType = valueDescriptor<IntfErrorKey>(
   typeNames.intfErrorKey, intfErrorKeyRows, intfErrorKeyArgs,
   &constructValue<IntfErrorKey, Ipkit::IntfId, Ipkit::AddressFamily>);
constinit Vex::VexType const UnsupportedQual::_vexType = valueDescriptor<UnsupportedQual>(
   typeNames.unsupportedQual, unsupportedQualRows, unsupportedQualArgs,
   &constructValue<UnsupportedQual, Ipkit::AddressFamily>);
constinit Vex::VexType const FlowspecUtil::_vexType = valueDescriptor<FlowspecUtil>(
   typeNames.flowspecUtil, flowspecUtilRows, noArgs, &constructValue<FlowspecUtil>);

} // namespace Flowspec
