// The descriptors of the library's entities: one attribute table per entity,
// and the observer that carries each entity's callbacks to a reflection
// observer.
//
// Every table starts with the five rows all entities have (name 130,
// fullName 141, parent 138, parentAttrName 139, entity 143); the entity's own
// rows follow, numbered from 258 in table order. Attributes are written
// through the entity's own setters, so their checks and notifications apply.
#include "Flowspec/entities/Config.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/RuleConfig.h"
#include "Flowspec/entities/RuleStatus.h"
#include "Flowspec/entities/Status.h"
#include "Flowspec/entities/VrfRuleConfig.h"
#include "Flowspec/framework/Factories.h"
#include "Flowspec/framework/TypeNames.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

using Internal::typeNames;
using Vex::field;
using Vex::method;

constexpr char const* dumpArgs = "Kiln::DumpContext dumpCtx, U32 indentCount";

constexpr auto configRows = Vex::entityRows({
   VEX_COLLECTION_ROW(Config, enabledIntf, "Ipkit::IntfId key"),
   field<&Config::enabledIntfAll, &Config::enabledIntfAllIs>("enabledIntfAll"),
   VEX_COLLECTION_ROW(Config, vrfRuleConfig, "Vrf::VrfIdMap::VrfId key"),
   method<&Config::dumpState>("dumpState", dumpArgs),
});

constexpr auto cliConfigRows = Vex::entityRows({
   VEX_COLLECTION_ROW(CliConfig, enabledIntf, "Ipkit::IntfId key"),
   field<&CliConfig::counterUpdateRequestTime, &CliConfig::counterUpdateRequestTimeIs>(
      "counterUpdateRequestTime"),
});

constexpr auto vrfRuleConfigRows = Vex::entityRows({
   Vex::identity<&VrfRuleConfig::vrfId>("vrfId"),
   VEX_COLLECTION_ROW(VrfRuleConfig, rule, "Flowspec::FlowspecKey key"),
   VEX_COLLECTION_ROW(VrfRuleConfig, infeasibleRule, "Flowspec::FlowspecKey key"),
   method<&VrfRuleConfig::empty>("empty"),
   method<&VrfRuleConfig::dumpState>("dumpState", dumpArgs),
});

constexpr auto ruleConfigRows = Vex::entityRows({
   Vex::identity<&RuleConfig::key>("ruleKey"),
   field<&RuleConfig::ruleId, &RuleConfig::ruleIdIs>("ruleId"),
   VEX_COLLECTION_ROW(RuleConfig, matchSet, "Flowspec::MatchCompType compType"),
   field<&RuleConfig::actionFieldSet, &RuleConfig::actionFieldSetIs>("actionFieldSet"),
   field<&RuleConfig::trafficRateLimit, &RuleConfig::trafficRateLimitIs>("trafficRateLimit"),
   field<&RuleConfig::trafficAction, &RuleConfig::trafficActionIs>("trafficAction"),
   field<&RuleConfig::trafficRedirect, &RuleConfig::trafficRedirectIs>("trafficRedirect"),
   field<&RuleConfig::trafficMarkingDscp, &RuleConfig::trafficMarkingDscpIs>(
      "trafficMarkingDscp"),
   method<&RuleConfig::sanitizeMatchSet>("sanitizeMatchSet"),
   method<&RuleConfig::infeasibleMatchInMatchSet>("infeasibleMatchInMatchSet"),
   method<&RuleConfig::dumpState>("dumpState", dumpArgs),
});

constexpr auto infeasibleRuleRows = Vex::entityRows({
   Vex::identity<&InfeasibleRule::key>("ruleKey"),
   field<&InfeasibleRule::ruleId, &InfeasibleRule::ruleIdIs>("ruleId"),
   field<&InfeasibleRule::matchCompType, &InfeasibleRule::matchCompTypeIs>("matchCompType"),
   method<&InfeasibleRule::dumpState>("dumpState", dumpArgs),
});

constexpr auto statusRows = Vex::entityRows({
   VEX_COLLECTION_ROW(Status, vrfRuleStatus, "Vrf::VrfIdMap::VrfId key"),
   field<&Status::counterUpdateTime, &Status::counterUpdateTimeIs>("counterUpdateTime"),
   field<&Status::flowspecSupported, &Status::flowspecSupportedIs>("flowspecSupported"),
   VEX_COLLECTION_ROW(Status, unsupportedQual, "Ipkit::AddressFamily af"),
   method<&Status::dumpState>("dumpState", dumpArgs),
});

constexpr auto vrfRuleStatusRows = Vex::entityRows({
   Vex::identity<&VrfRuleStatus::vrfId>("vrfId"),
   VEX_COLLECTION_ROW(VrfRuleStatus, activeIntfPerAf, "Ipkit::AddressFamily key"),
   VEX_COLLECTION_ROW(VrfRuleStatus, intfError, "Flowspec::IntfErrorKey key"),
   VEX_COLLECTION_ROW(VrfRuleStatus, ruleStatus, "Flowspec::FlowspecKey key"),
   method<&VrfRuleStatus::dumpState>("dumpState", dumpArgs),
});

constexpr auto ruleStatusRows = Vex::entityRows({
   Vex::identity<&RuleStatus::key>("key"),
   field<&RuleStatus::key>("ruleKey"),
   field<&RuleStatus::statusCode, &RuleStatus::statusCodeIs>("statusCode"),
   field<&RuleStatus::errorReason, &RuleStatus::errorReasonIs>("errorReason"),
   field<&RuleStatus::packetCount, &RuleStatus::packetCountIs>("packetCount"),
   field<&RuleStatus::version, &RuleStatus::versionIs>("version"),
   field<&RuleStatus::resolvedNexthopInfo, &RuleStatus::resolvedNexthopInfoIs>(
      "resolvedNexthopInfo"),
   field<&RuleStatus::isProgrammed>("isProgrammed"),
   method<&RuleStatus::dumpState>("dumpState", dumpArgs),
});

constexpr auto afIntfCollRows = Vex::entityRows({
   Vex::identity<&AfIntfColl::af>("af"),
   VEX_COLLECTION_ROW(AfIntfColl, intf, "Ipkit::IntfId key"),
});

constexpr auto counterRows = Vex::entityRows({
   VEX_COLLECTION_ROW(Counter, snapshot, "Flowspec::FlowspecKey key"),
   field<&Counter::timestamp, &Counter::timestampIs>("timestamp"),
});

constexpr Vex::CtorArg nameArgs[] = {{"name", "Vex::Name"}, {nullptr, nullptr}};
constexpr Vex::CtorArg vrfIdArgs[] = {{"key", "Vrf::VrfIdMap::VrfId"}, {nullptr, nullptr}};
constexpr Vex::CtorArg keyArgs[] = {{"key", "Flowspec::FlowspecKey"}, {nullptr, nullptr}};
constexpr Vex::CtorArg afArgs[] = {{"key", "Ipkit::AddressFamily"}, {nullptr, nullptr}};

// --- Observers ----------------------------------------------------------------

/// An observer of T, in T's own observer class, that tells a reflection
/// observer which row changed.
template <class T>
class Observer : public T::NotifieeConst, public Vex::ObserverHandle {
 public:
   Observer(Vex::Ptr<Vex::Entity> const& entity, Vex::GenericNotifiee& observer)
       : observer_(observer) {
      this->notifierIs(Vex::Ptr<T const>(static_cast<T const*>(entity.get())));
   }

   static std::unique_ptr<Vex::ObserverHandle> make(Vex::Ptr<Vex::Entity> const& entity,
                                                    Vex::GenericNotifiee& observer);

 protected:
   void tell(char const* row) { tell(row, Vex::GenericValue()); }
   template <class K>
   void tell(char const* row, K const& key) {
      tell(row, Vex::GenericValue(key));
   }
   void tell(char const* row, Vex::GenericValue const& key) {
      Vex::Entity const* e = this->notifierEntity();
      if (e) observer_.onAttribute(*e, *T::_vexType.attribute(row), key);
   }

 private:
   Vex::GenericNotifiee& observer_;
};

template <class T>
struct ObserverOf;

#define FLOWSPEC_TELL(X, x)                                                                 \
   void on##X() override { tell(#x); }
#define FLOWSPEC_TELL_KEY(X, x, Key)                                                        \
   void on##X(Key key) override { tell(#x, key); }

template <>
struct ObserverOf<Config> : Observer<Config> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(EnabledIntf, enabledIntf, Ipkit::IntfId const&)
   FLOWSPEC_TELL(EnabledIntfAll, enabledIntfAll)
   FLOWSPEC_TELL_KEY(VrfRuleConfig, vrfRuleConfig, Vrf::VrfIdMap::VrfId)
};
template <>
struct ObserverOf<CliConfig> : Observer<CliConfig> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(EnabledIntf, enabledIntf, Ipkit::IntfId const&)
   FLOWSPEC_TELL(CounterUpdateRequestTime, counterUpdateRequestTime)
};
template <>
struct ObserverOf<VrfRuleConfig> : Observer<VrfRuleConfig> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(Rule, rule, FlowspecKey const&)
   FLOWSPEC_TELL_KEY(InfeasibleRule, infeasibleRule, FlowspecKey const&)
};
template <>
struct ObserverOf<RuleConfig> : Observer<RuleConfig> {
   using Observer::Observer;
   FLOWSPEC_TELL(RuleId, ruleId)
   FLOWSPEC_TELL_KEY(MatchSet, matchSet, MatchCompType)
   FLOWSPEC_TELL(ActionFieldSet, actionFieldSet)
   FLOWSPEC_TELL(TrafficRateLimit, trafficRateLimit)
   FLOWSPEC_TELL(TrafficAction, trafficAction)
   FLOWSPEC_TELL(TrafficRedirect, trafficRedirect)
   FLOWSPEC_TELL(TrafficMarkingDscp, trafficMarkingDscp)
};
template <>
struct ObserverOf<InfeasibleRule> : Observer<InfeasibleRule> {
   using Observer::Observer;
   FLOWSPEC_TELL(RuleId, ruleId)
   FLOWSPEC_TELL(MatchCompType, matchCompType)
};
template <>
struct ObserverOf<Status> : Observer<Status> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(VrfRuleStatus, vrfRuleStatus, Vrf::VrfIdMap::VrfId)
   FLOWSPEC_TELL(CounterUpdateTime, counterUpdateTime)
   FLOWSPEC_TELL(FlowspecSupported, flowspecSupported)
   FLOWSPEC_TELL_KEY(UnsupportedQual, unsupportedQual, Ipkit::AddressFamily)
};
template <>
struct ObserverOf<VrfRuleStatus> : Observer<VrfRuleStatus> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(ActiveIntfPerAf, activeIntfPerAf, Ipkit::AddressFamily)
   FLOWSPEC_TELL_KEY(IntfError, intfError, IntfErrorKey const&)
   FLOWSPEC_TELL_KEY(RuleStatus, ruleStatus, FlowspecKey const&)
};
template <>
struct ObserverOf<RuleStatus> : Observer<RuleStatus> {
   using Observer::Observer;
   FLOWSPEC_TELL(StatusCode, statusCode)
   FLOWSPEC_TELL(ErrorReason, errorReason)
   FLOWSPEC_TELL(PacketCount, packetCount)
   FLOWSPEC_TELL(Version, version)
   FLOWSPEC_TELL(ResolvedNexthopInfo, resolvedNexthopInfo)
};
template <>
struct ObserverOf<AfIntfColl> : Observer<AfIntfColl> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(Intf, intf, Ipkit::IntfId const&)
};
template <>
struct ObserverOf<Counter> : Observer<Counter> {
   using Observer::Observer;
   FLOWSPEC_TELL_KEY(Snapshot, snapshot, FlowspecKey const&)
   FLOWSPEC_TELL(Timestamp, timestamp)
};

#undef FLOWSPEC_TELL
#undef FLOWSPEC_TELL_KEY

template <class T>
std::unique_ptr<Vex::ObserverHandle> Observer<T>::make(Vex::Ptr<Vex::Entity> const& entity,
                                                       Vex::GenericNotifiee& observer) {
   return std::make_unique<ObserverOf<T>>(entity, observer);
}

} // namespace

using Vex::entityDescriptor;

constinit Vex::VexType const Config::_vexType =
   entityDescriptor<Config, &configFactory, &Config::ConfigIs>(
      typeNames.config, configRows, nameArgs, &Observer<Config>::make);
constinit Vex::VexType const CliConfig::_vexType =
   entityDescriptor<CliConfig, &cliConfigFactory, &CliConfig::CliConfigIs>(
      typeNames.cliConfig, cliConfigRows, nameArgs, &Observer<CliConfig>::make);
constinit Vex::VexType const VrfRuleConfig::_vexType =
   entityDescriptor<VrfRuleConfig, &vrfRuleConfigFactory>(
      typeNames.vrfRuleConfig, vrfRuleConfigRows, vrfIdArgs, &Observer<VrfRuleConfig>::make);
constinit Vex::VexType const RuleConfig::_vexType = entityDescriptor<RuleConfig, &ruleConfigFactory>(
   typeNames.ruleConfig, ruleConfigRows, keyArgs, &Observer<RuleConfig>::make);
constinit Vex::VexType const InfeasibleRule::_vexType =
   entityDescriptor<InfeasibleRule, &InfeasibleRule::InfeasibleRuleIs>(
      typeNames.infeasibleRule, infeasibleRuleRows, keyArgs, &Observer<InfeasibleRule>::make);
constinit Vex::VexType const Status::_vexType =
   entityDescriptor<Status, &statusFactory, &Status::StatusIs>(
      typeNames.status, statusRows, nameArgs, &Observer<Status>::make);
constinit Vex::VexType const VrfRuleStatus::_vexType =
   entityDescriptor<VrfRuleStatus, &vrfRuleStatusFactory>(
      typeNames.vrfRuleStatus, vrfRuleStatusRows, vrfIdArgs, &Observer<VrfRuleStatus>::make);
constinit Vex::VexType const RuleStatus::_vexType = entityDescriptor<RuleStatus, &ruleStatusFactory>(
   typeNames.ruleStatus, ruleStatusRows, keyArgs, &Observer<RuleStatus>::make);
constinit Vex::VexType const AfIntfColl::_vexType = entityDescriptor<AfIntfColl, &afIntfCollFactory>(
   typeNames.afIntfColl, afIntfCollRows, afArgs, &Observer<AfIntfColl>::make);
constinit Vex::VexType const Counter::_vexType =
   entityDescriptor<Counter, &counterFactory, &Counter::CounterIs>(
      typeNames.counter, counterRows, nameArgs, &Observer<Counter>::make);

} // namespace Flowspec
