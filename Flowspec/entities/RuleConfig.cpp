#include "Flowspec/entities/RuleConfig.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

#include <ostream>

namespace Flowspec {

Vex::AllocTrackSlot RuleConfig::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot RuleConfig::VexMatchSet::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot InfeasibleRule::vexAllocTrackTypeInfo_{nullptr};

namespace {

using T = MatchCompType;
constexpr std::uint8_t tcp = 6, udp = 17;

// The rule's ICMP protocol: ICMPv6 (58) for IPv6 rules, ICMP (1) otherwise.
std::uint8_t icmpProtocol(RuleConfig const& rule) {
   return rule.key().addressFamily() == Ipkit::ipv6 ? 58 : 1;
}

bool ipProtoContains(RuleConfig const& rule,
                     std::vector<Ipkit::IpProtocolNumber> const& protocols) {
   if (rule.matchSetSize() == 0 || !rule.matchSetHas(T::ipProto)) return true;
   MatchComponent const proto = rule.matchSet(T::ipProto);
   for (auto i = proto.numericalRangeIteratorConst(); i; ++i) {
      for (auto const& p : protocols) {
         if (i.key().contains(p.value())) return true;
      }
   }
   return false;
}

bool ipProtoAllows(RuleConfig const& rule, std::initializer_list<std::uint8_t> numbers) {
   std::vector<Ipkit::IpProtocolNumber> protocols;
   for (auto n : numbers)
      protocols.emplace_back(n);
   return ipProtoContains(rule, protocols);
}

// The first port kind the rule holds.
T firstPort(RuleConfig const& rule) {
   for (T t : {T::port, T::destPort, T::srcPort}) {
      if (rule.matchSetHas(t)) return t;
   }
   return T::invalid;
}

} // namespace

bool ruleConfigIpProtoContains(Vex::Ptr<RuleConfig const> const& rule,
                               std::vector<Ipkit::IpProtocolNumber>& protocols) {
   return ipProtoContains(*rule, protocols);
}

MatchCompType RuleConfig::infeasibleMatchInMatchSet() const {
   if (matchSetSize() == 0) return T::invalid;
   bool const icmp = matchSetHas(T::icmpType) || matchSetHas(T::icmpCode);
   bool const port = firstPort(*this) != T::invalid;
   T const icmpBlame = matchSetHas(T::icmpType) ? T::icmpType : T::icmpCode;
   if (matchSetHas(T::tcpFlags)) {
      if (icmp || !ipProtoAllows(*this, {tcp})) return T::tcpFlags;
   }
   if (icmp) {
      if (port || matchSetHas(T::tcpFlags)) return icmpBlame;
      if (!ipProtoAllows(*this, {icmpProtocol(*this)})) return icmpBlame;
   }
   if (port) {
      if (icmp || !ipProtoAllows(*this, {tcp, udp})) return firstPort(*this);
   }
   return T::invalid;
}

MatchCompType RuleConfig::sanitizeMatchSet() {
   if (T r = infeasibleMatchInMatchSet(); r != T::invalid) return r;
   MatchComponent w(T::ipProto);
   if (matchSetSize() == 0) return T::invalid;
   if (matchSetHas(T::tcpFlags)) {
      w.numericalRangeIs(NumericalRange(tcp, tcp), true);
      matchSetIs(w);
   }
   if (matchSetHas(T::icmpType) || matchSetHas(T::icmpCode)) {
      std::uint8_t p = icmpProtocol(*this);
      w.numericalRangeIs(NumericalRange(p, p), true);
      matchSetIs(w);
   }
   if (firstPort(*this) != T::invalid) {
      if (ipProtoAllows(*this, {tcp})) w.numericalRangeIs(NumericalRange(tcp, tcp), true);
      if (ipProtoAllows(*this, {udp})) w.numericalRangeIs(NumericalRange(udp, udp), true);
      matchSetIs(w);
   }
   return T::invalid;
}

void RuleConfig::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cruleKey: %s, ruleId: %d\n", key_.toStrepCli().c_str(),
            static_cast<int>(ruleId_));
   dumpLine(ctx, indent, "%*cmatchSets #%u\n", static_cast<unsigned>(matchSetSize()));
   for (auto i = matchSetIteratorConst(); i; ++i)
      i->value().dumpState(ctx, indent + 2);
   dumpLine(ctx, indent,
            "%*cactionFieldSet is %d, trafficAction is %d, trafficRedirect is (vrf=%d, "
            "addr=%s, copy=%d), trafficMarkingDscp is %d\n",
            static_cast<int>(actionFieldSet_.value()), static_cast<int>(trafficAction_.value()),
            static_cast<int>(trafficRedirect_.vrfId()),
            trafficRedirect_.addr().stringValue().c_str(), trafficRedirect_.copy() ? 1 : 0,
            static_cast<int>(trafficMarkingDscp_.value()));
}

std::ostream& operator<<(std::ostream& os, RuleConfig const* rule) {
   if (!rule) return os << "<null>";
   return os << "<matchSets=" << rule->matchSetSize()
             << ";actionFieldSet=" << rule->actionFieldSet() << '>';
}

void InfeasibleRule::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cruleKey: %s, ruleId: %d\n", key_.toStrepCli().c_str(),
            static_cast<int>(ruleId_));
   dumpLine(ctx, indent, "%*cmatchCompType is %d\n", static_cast<int>(matchCompType_));
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto ruleConfigRows = Vex::entityRows(
    Vex::identity<&RuleConfig::key>("ruleKey"),
    VEX_MEMBER_ROWS(RuleConfig, FLOWSPEC_RULE_CONFIG_MEMBERS),
    Vex::method<&RuleConfig::sanitizeMatchSet>("sanitizeMatchSet"),
    Vex::method<&RuleConfig::infeasibleMatchInMatchSet>("infeasibleMatchInMatchSet"),
    Vex::method<&RuleConfig::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(RuleConfigObserver, RuleConfig, FLOWSPEC_RULE_CONFIG_MEMBERS);

constexpr auto infeasibleRuleRows =
    Vex::entityRows(Vex::identity<&InfeasibleRule::key>("ruleKey"),
                    VEX_MEMBER_ROWS(InfeasibleRule, FLOWSPEC_INFEASIBLE_RULE_MEMBERS),
                    Vex::method<&InfeasibleRule::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(InfeasibleRuleObserver, InfeasibleRule, FLOWSPEC_INFEASIBLE_RULE_MEMBERS);

} // namespace
} // namespace Flowspec

constinit Vex::VexType const Flowspec::RuleConfig::_vexType =
    Vex::entityDescriptor<RuleConfig, RuleConfigObserver, &RuleConfig::RuleConfigIs>(
        ruleConfigRows);
constinit Vex::VexType const Flowspec::InfeasibleRule::_vexType =
    Vex::entityDescriptor<InfeasibleRule, InfeasibleRuleObserver,
                          &InfeasibleRule::InfeasibleRuleIs>(infeasibleRuleRows);
