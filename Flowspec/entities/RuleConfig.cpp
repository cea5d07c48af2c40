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

// Whether `proto` (the rule's ipProto component; null when it has none)
// allows one of `numbers`.
bool protoAllows(MatchComponent const* proto, std::initializer_list<std::uint32_t> numbers) {
   if (!proto) return true;
   for (auto i = proto->numericalRangeIteratorConst(); i; ++i) {
      for (std::uint32_t n : numbers) {
         if (i.key().contains(n)) return true;
      }
   }
   return false;
}

// The kinds a match set holds, from one walk in type order, and its ipProto
// component.
class Present {
 public:
   explicit Present(RuleConfig const& rule) {
      for (auto i = rule.matchSetIteratorConst(); i; ++i) {
         MatchComponent const& c = i.value();
         T const t = c.compType();
         if (static_cast<std::uint32_t>(t) < 32) kinds_ |= 1u << static_cast<std::uint32_t>(t);
         if (t == T::ipProto) proto_ = &c;
      }
   }
   bool has(T t) const noexcept { return kinds_ >> static_cast<std::uint32_t>(t) & 1; }
   bool icmp() const noexcept { return has(T::icmpType) || has(T::icmpCode); }
   // The first port kind held, or invalid.
   T firstPort() const noexcept {
      for (T t : {T::port, T::destPort, T::srcPort}) {
         if (has(t)) return t;
      }
      return T::invalid;
   }
   MatchComponent const* proto() const noexcept { return proto_; }

 private:
   std::uint32_t kinds_ = 0;
   MatchComponent const* proto_ = nullptr;
};

MatchCompType infeasibleIn(RuleConfig const& rule, Present const& in) {
   if (rule.matchSetSize() == 0) return T::invalid;
   bool const icmp = in.icmp();
   T const port = in.firstPort();
   T const icmpBlame = in.has(T::icmpType) ? T::icmpType : T::icmpCode;
   if (in.has(T::tcpFlags)) {
      if (icmp || !protoAllows(in.proto(), {tcp})) return T::tcpFlags;
   }
   if (icmp) {
      if (port != T::invalid || in.has(T::tcpFlags)) return icmpBlame;
      if (!protoAllows(in.proto(), {icmpProtocol(rule)})) return icmpBlame;
   }
   if (port != T::invalid) {
      if (icmp || !protoAllows(in.proto(), {tcp, udp})) return port;
   }
   return T::invalid;
}

// The protocols sanitising narrows the ipProto component to, each a range of
// one number, in the order they are added.
class Protocols {
 public:
   void add(std::uint8_t p) noexcept {
      for (std::size_t i = 0; i < size_; ++i) {
         if (numbers_[i] == p) return;
      }
      numbers_[size_++] = p;
   }
   // Whether `c` (null: absent) is already the ipProto component of exactly
   // these protocols, as MatchComponent's == would find it.
   bool heldBy(MatchComponent const* c) const {
      if (!c || !(c->prefix() == Ipkit::IpGenPrefix()) || c->ipBitMaskSize() != 0 ||
          c->tcpBitMaskSize() != 0 || c->numericalRangeSize() != size_) {
         return false;
      }
      for (std::size_t i = 0; i < size_; ++i) {
         NumericalRange const r(numbers_[i], numbers_[i]);
         if (!c->numericalRange(r)) return false;
      }
      return true;
   }
   MatchComponent component() const {
      MatchComponent w(T::ipProto);
      for (std::size_t i = 0; i < size_; ++i)
         w.numericalRangeIs(NumericalRange(numbers_[i], numbers_[i]), true);
      return w;
   }

 private:
   // tcp, udp and one ICMP protocol at most.
   std::uint8_t numbers_[4] = {};
   std::size_t size_ = 0;
};

} // namespace

bool ruleConfigIpProtoContains(Vex::Ptr<RuleConfig const> const& rule,
                               std::vector<Ipkit::IpProtocolNumber>& protocols) {
   if (rule->matchSetSize() == 0) return true;
   MatchComponent const* proto = rule->matchSetFind(T::ipProto);
   if (!proto) return true;
   for (auto i = proto->numericalRangeIteratorConst(); i; ++i) {
      for (auto const& p : protocols) {
         if (i.key().contains(p.value())) return true;
      }
   }
   return false;
}

MatchComponent const* RuleConfig::matchSetFind(MatchCompType type) const noexcept {
   return matchSet_.find(type);
}

MatchCompType RuleConfig::infeasibleMatchInMatchSet() const {
   return infeasibleIn(*this, Present(*this));
}

MatchCompType RuleConfig::sanitizeMatchSet() {
   Present const in(*this);
   if (T r = infeasibleIn(*this, in); r != T::invalid) return r;
   if (matchSetSize() == 0) return T::invalid;
   // Each step stores the protocols gathered so far, as one ipProto
   // component; storing an equal component changes nothing and tells no one,
   // so the component is only built when it differs.
   Protocols w;
   auto store = [&] {
      if (!w.heldBy(matchSetFind(T::ipProto))) matchSetIs(w.component());
   };
   if (in.has(T::tcpFlags)) {
      w.add(tcp);
      store();
   }
   if (in.icmp()) {
      w.add(icmpProtocol(*this));
      store();
   }
   if (in.firstPort() != T::invalid) {
      MatchComponent const* proto = matchSetFind(T::ipProto);
      if (protoAllows(proto, {tcp})) w.add(tcp);
      if (protoAllows(proto, {udp})) w.add(udp);
      store();
   }
   return T::invalid;
}

void RuleConfig::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cruleKey: %s, ruleId: %d\n", key_.toStrepCli().c_str(),
            static_cast<int>(ruleId_));
   dumpLine(ctx, indent, "%*cmatchSets #%u\n", static_cast<unsigned>(matchSetSize()));
   for (auto i = matchSetIteratorConst(); i; ++i)
      i.value().dumpState(ctx, indent + 2);
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
