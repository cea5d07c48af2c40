// tests/Flowspec/entities/EntityTestUtil.h: helpers shared by the entity
// tests: rule keys from their command-line text, interface ids, dumps into a
// string, live allocation counts per type, and one generic callback recorder.
#pragma once

#include "Flowspec/entities/Config.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/RuleConfig.h"
#include "Flowspec/entities/Status.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Ipkit/IntfId.h"
#include "Kiln/DumpContext.h"
#include "Vex/AllocTrack.h"
#include "Vex/Entity.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace EntityTest {

/// What observers heard, one entry per callback, in order.
using Calls = std::vector<std::string>;

/// The key of command-line text `cli` in `vrf` for `af`.
inline Flowspec::FlowspecKey key(char const* cli, Ipkit::AddressFamily af = Ipkit::ipv4,
                                 Vrf::VrfIdMap::VrfId vrf = 7) {
   Flowspec::FlowspecKey k;
   k.vrfIdIs(vrf);
   k.addressFamilyIs(af);
   EXPECT_TRUE(k.copyInStrCli(cli)) << cli;
   return k;
}

inline std::string cli(Flowspec::FlowspecKey const& k) {
   return k.toStrepCli().str();
}

inline Ipkit::IntfId intf(char const* name) {
   return Ipkit::IntfId(Vex::String(name));
}

inline std::string dump(Vex::Entity const& e, unsigned indent) {
   Kiln::DumpContext ctx;
   e.dumpState(ctx, indent);
   return ctx.text().str();
}

/// `text` with `width` blanks before each of its lines.
inline std::string indented(std::string const& text, std::size_t width) {
   std::string out;
   for (std::size_t at = 0; at < text.size();) {
      auto const end = text.find('\n', at) + 1;
      out.append(width, ' ').append(text, at, end - at);
      at = end;
   }
   return out;
}

/// The number of live objects of each type X, in the order given.
template <class... X>
std::vector<std::uint64_t> live() {
   return {Vex::allocTrackCounts(X::vexAllocTrackTypeInfo_).live()...};
}

/// Text for whatever a callback reports: keys as command-line text, interfaces
/// and strings as they are, families by name, enums as numbers.
template <class T>
std::string str(T const& v) {
   if constexpr (std::is_convertible_v<T const&, std::string>)
      return v;
   else if constexpr (std::is_same_v<T, Flowspec::FlowspecKey>)
      return cli(v);
   else if constexpr (std::is_same_v<T, Ipkit::IntfId>)
      return v.stringValue().str();
   else if constexpr (std::is_same_v<T, Ipkit::AddressFamily>)
      return Ipkit::valueToStrep(v).str();
   else if constexpr (requires { v.toStrep().str(); })
      return v.toStrep().str();
   else if constexpr (requires { v.str(); })
      return v.str();
   else if constexpr (std::is_enum_v<T>)
      return std::to_string(unsigned(v));
   else {
      std::ostringstream os;
      os << v;
      return os.str();
   }
}

/// An observer of type N that appends one line per callback to a log: its own,
/// or one shared with other recorders, so that the order across entities shows.
template <class N>
struct Rec : N {
   Calls calls, &log = calls;
   Rec() = default;
   explicit Rec(Calls& shared) : log(shared) {}
   template <class P>
   explicit Rec(P const& p) {
      this->notifierIs(p);
   }
   template <class P>
   Rec(Calls& shared, P const& p) : log(shared) {
      this->notifierIs(p);
   }
   auto const& e() const { return *this->notifier(); }
   template <class... A>
   void add(A const&... a) {
      log.push_back((std::string() + ... + str(a)));
   }
};

// Recorders of each entity; attribute callbacks record the value the entity
// holds when they are called.
#define ENTITY_TEST_ON(call, ...)                                                                  \
   void call() override {                                                                          \
      say(#call "=", __VA_ARGS__);                                                                 \
   }
#define ENTITY_TEST_ON_KEY(call, K)                                                                \
   void call(K k) override {                                                                       \
      say(#call "(", k, ")");                                                                      \
   }
struct RuleConfigRec : Rec<Flowspec::RuleConfig::NotifieeConst> {
   using Rec::Rec;
   bool detachInCallback = false;
   ENTITY_TEST_ON(onRuleId, e().ruleId())
   ENTITY_TEST_ON_KEY(onMatchSet, Flowspec::MatchCompType)
   ENTITY_TEST_ON(onActionFieldSet, unsigned(e().actionFieldSet().value()))
   ENTITY_TEST_ON(onTrafficRateLimit, e().trafficRateLimit())
   ENTITY_TEST_ON(onTrafficAction, unsigned(e().trafficAction().value()))
   ENTITY_TEST_ON(onTrafficRedirect, e().trafficRedirect().vrfId())
   ENTITY_TEST_ON(onTrafficMarkingDscp, unsigned(e().trafficMarkingDscp().value()))
   void say(auto const&... a) {
      add(a...);
      if (detachInCallback) notifierIs(nullptr);
   }
};
#define ENTITY_TEST_REC(Name, Entity, ...)                                                         \
   struct Name : Rec<Flowspec::Entity::NotifieeConst> {                                            \
      using Rec::Rec;                                                                              \
      void say(auto const&... a) { add(a...); }                                                    \
      __VA_ARGS__                                                                                  \
   };
ENTITY_TEST_REC(InfeasibleRec, InfeasibleRule,
                ENTITY_TEST_ON(onRuleId, e().ruleId())
                    ENTITY_TEST_ON(onMatchCompType, e().matchCompType()))
ENTITY_TEST_REC(VrfConfigRec, VrfRuleConfig,
                ENTITY_TEST_ON_KEY(onRule, Flowspec::FlowspecKey const&)
                    ENTITY_TEST_ON_KEY(onInfeasibleRule, Flowspec::FlowspecKey const&))
ENTITY_TEST_REC(ConfigRec, Config,
                ENTITY_TEST_ON_KEY(onEnabledIntf, Ipkit::IntfId const&)
                    ENTITY_TEST_ON(onEnabledIntfAll, e().enabledIntfAll())
                        ENTITY_TEST_ON_KEY(onVrfRuleConfig, Vrf::VrfIdMap::VrfId))
ENTITY_TEST_REC(CliConfigRec, CliConfig,
                ENTITY_TEST_ON_KEY(onEnabledIntf, Ipkit::IntfId const&)
                    ENTITY_TEST_ON(onCounterUpdateRequestTime, e().counterUpdateRequestTime()))
ENTITY_TEST_REC(
    CounterRec, Counter,
    ENTITY_TEST_ON(onTimestamp, e().timestamp()) void onSnapshot(Flowspec::FlowspecKey const& k)
        override {
           auto const cv = e().snapshot(k);
           add("onSnapshot(", k, ")=", cv.counter(), "@", cv.version());
        })
ENTITY_TEST_REC(
    RuleStatusRec, RuleStatus,
    ENTITY_TEST_ON(onStatusCode, e().statusCode()) ENTITY_TEST_ON(onErrorReason, e().errorReason())
        ENTITY_TEST_ON(onPacketCount, e().packetCount()) ENTITY_TEST_ON(onVersion, e().version())
            ENTITY_TEST_ON(onResolvedNexthopInfo, e().resolvedNexthopInfo().viaActiveSize()))
ENTITY_TEST_REC(VrfStatusRec, VrfRuleStatus,
                ENTITY_TEST_ON_KEY(onActiveIntfPerAf, Ipkit::AddressFamily)
                    ENTITY_TEST_ON_KEY(onIntfError, Flowspec::IntfErrorKey const&)
                        ENTITY_TEST_ON_KEY(onRuleStatus, Flowspec::FlowspecKey const&))
ENTITY_TEST_REC(StatusRec, Status,
                ENTITY_TEST_ON_KEY(onVrfRuleStatus, Vrf::VrfIdMap::VrfId)
                    ENTITY_TEST_ON(onCounterUpdateTime, e().counterUpdateTime())
                        ENTITY_TEST_ON(onFlowspecSupported, e().flowspecSupported())
                            ENTITY_TEST_ON_KEY(onUnsupportedQual, Ipkit::AddressFamily))
ENTITY_TEST_REC(IntfRec, AfIntfColl, ENTITY_TEST_ON_KEY(onIntf, Ipkit::IntfId const&))

} // namespace EntityTest

/// Child collection `attr` of entity `p`: creating twice gives one child, linked
/// to `p`; an absent key finds and deletes nothing; notify re-announces;
/// deleting hands the child back unlinked, still holding what `fill` gave it
/// (`kept`). Observers of `p` hear: create, notify, delete.
#define EXPECT_CHILDREN(p, attr, k, absent, fill, kept)                                            \
   do {                                                                                            \
      EXPECT_EQ(p->attr##Del(absent), nullptr);                                                    \
      auto const c = p->attr##Is(k);                                                               \
      EXPECT_EQ(p->attr##Is(k), c);                                                                \
      EXPECT_EQ(p->attr(k), c);                                                                    \
      EXPECT_EQ(p->attr(absent), nullptr);                                                         \
      EXPECT_TRUE(p->attr##Has(k) && c->hasNotificationActive());                                  \
      EXPECT_EQ(c->parent(), p.get());                                                             \
      fill;                                                                                        \
      p->attr##Notify(k);                                                                          \
      EXPECT_EQ(p->attr##Del(k), c);                                                               \
      EXPECT_EQ(c->parent(), nullptr);                                                             \
      EXPECT_FALSE(p->attr##Has(k));                                                               \
      EXPECT_TRUE(kept) << #kept;                                                                  \
   } while (0)
