// Reflection: what a generic program finds after loading the library — the
// registered descriptors, their tables with names and numbers, generic
// values, generic access to entities, and the type-name section of the file.
#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/framework/Trace.h"
#include "Vex/NboAttrLog.h"
#include "Vex/Reflect.h"

#include <gtest/gtest.h>

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Vex::AttrOp;
using Vex::GenericValue;
using Vex::VexType;

// The type names in the order of the library file's section.
std::vector<std::string> const sectionOrder = {"Flowspec::IpVersion",
                                               "Flowspec::Config",
                                               "Flowspec::HwRuleProgrammingStatus",
                                               "Flowspec::CliConfig",
                                               "Flowspec::Counter",
                                               "Flowspec::MatchComponent",
                                               "Flowspec::IpBitMask::IpBit",
                                               "Flowspec::IpBitMask",
                                               "Flowspec::FlowspecUtil",
                                               "Flowspec::RuleStatus",
                                               "Flowspec::VrfRuleConfig",
                                               "Flowspec::RuleConfig",
                                               "Flowspec::InfeasibleRule",
                                               "Flowspec::NumericalRange",
                                               "Flowspec::FlowspecKey",
                                               "Flowspec::MatchOpVal",
                                               "Flowspec::UnsupportedQual",
                                               "Flowspec::AfIntfColl",
                                               "Flowspec::IntfErrorKey",
                                               "Flowspec::TrafficRedirect",
                                               "Flowspec::MatchOpValResult",
                                               "Flowspec::TcpBitMask::TcpBit",
                                               "Flowspec::TcpBitMask",
                                               "Flowspec::ActionFieldSet",
                                               "Flowspec::MatchOpValIndex",
                                               "Flowspec::TrafficAction",
                                               "Flowspec::VrfRuleStatus",
                                               "Flowspec::CounterVersion",
                                               "Flowspec::Status",
                                               "Flowspec::MatchCompType"};

VexType const& type(char const* name) {
   VexType const* t = Vex::typeByName(name);
   EXPECT_NE(t, nullptr) << name;
   return *t;
}

// "name:number ..." of a type's rows.
std::string rows(VexType const& t) {
   std::string out;
   for (Vex::AttrRow const& r : t.attributes()) {
      out += (out.empty() ? "" : " ") + std::string(r.name) + ":" + std::to_string(r.number);
   }
   return out;
}

// Rows named `names`, numbered from `first`.
std::string numbered(std::string const& names, unsigned first) {
   std::istringstream in(names);
   std::string out, name;
   while (in >> name)
      out += (out.empty() ? "" : " ") + name + ":" + std::to_string(first++);
   return out;
}

std::string const entityBase = "name:130 fullName:141 parent:138 parentAttrName:139 entity:143";

Flowspec::FlowspecKey cliKey(char const* text) {
   Flowspec::FlowspecKey k;
   k.addressFamilyIs(Ipkit::ipv4);
   EXPECT_TRUE(k.copyInStrCli(text)) << text;
   return k;
}

// One value of every readable type of the library, and of two platform ones.
std::vector<GenericValue> sampleValues() {
   using namespace Flowspec;
   return {
       GenericValue(NumericalRange(80, 88)),
       GenericValue(TcpBitMask(0x2, 0x12)),
       GenericValue(IpBitMask(0x2, 0x2)),
       GenericValue(TrafficRedirect(3, Ipkit::IpGenAddr(Vex::String("10.0.0.1")), true)),
       GenericValue(CounterVersion(9, Kiln::UniqueId(1, 2))),
       GenericValue(IntfErrorKey(Ipkit::IntfId(Vex::String("Ethernet1")), Ipkit::ipv6)),
       GenericValue(MatchOpValIndex(5)),
       GenericValue(MatchOpVal(0x00810006)),
       GenericValue(MatchOpValResult(MatchCompType::destPort, 0x81, 443, MatchOpValIndex(1))),
       GenericValue(cliKey("10.0.0.0/8;*;IP:=6;DP:>=80&<=88;")),
       GenericValue(ActionFieldSet(ActionFieldSet::trafficRate_)),
       GenericValue(TrafficAction(TrafficAction::continueMatch_)),
       GenericValue(IpVersion(IpVersion::ipv6_)),
       GenericValue(MatchCompType::tcpFlags),
       GenericValue(Ipkit::IpGenPrefix(Vex::String("2001:db8::/32"))),
   };
}

} // namespace

TEST(Reflection, LoadingRegistersTheThirtyTypesInReverseSectionOrder) {
   std::vector<VexType const*> all = Vex::registeredTypes();
   auto first = std::find(all.begin(), all.end(), Vex::typeByName("Flowspec::MatchCompType"));
   ASSERT_NE(first, all.end());
   ASSERT_GE(std::distance(first, all.end()), 30);
   for (std::size_t i = 0; i < 30; ++i) {
      EXPECT_EQ(first[i]->name(), sectionOrder[29 - i]) << "registration " << i;
   }
   // The platform's types are there too, registered by their own libraries.
   for (char const* name :
        {"Vex::Entity", "Vex::String", "Vex::Name", "U64", "U32", "U16", "U8", "bool", "float",
         "double", "Ipkit::IntfId", "Ipkit::AddressFamily", "Ipkit::IpGenPrefix",
         "Ipkit::IpGenAddr", "Ipkit::IpTos", "Kiln::UniqueId", "Kiln::DumpContext",
         "Vrf::VrfIdMap::VrfId", "Pbr::ResolvedNexthopInfo"}) {
      EXPECT_NE(Vex::typeByName(name), nullptr) << name;
   }
   EXPECT_EQ(Vex::typeByName("Flowspec::Nothing"), nullptr);
   EXPECT_EQ(&type("Flowspec::FlowspecKey"), &Flowspec::FlowspecKey::_vexType);
   EXPECT_EQ(&type("Flowspec::MatchCompType"), &Flowspec::_vexType_MatchCompType);
   EXPECT_EQ(&type("Flowspec::TcpBitMask::TcpBit"), &Flowspec::TcpBitMask::_vexType_TcpBit);
}

TEST(Reflection, DescriptorsNameTheirBaseKindCountsAndConstructorArguments) {
   for (char const* name :
        {"Flowspec::Config", "Flowspec::CliConfig", "Flowspec::Counter", "Flowspec::Status",
         "Flowspec::VrfRuleStatus", "Flowspec::RuleStatus", "Flowspec::AfIntfColl",
         "Flowspec::VrfRuleConfig", "Flowspec::RuleConfig", "Flowspec::InfeasibleRule"}) {
      VexType const& t = type(name);
      EXPECT_EQ(t.base(), &Vex::Entity::_vexType) << name;
      EXPECT_EQ(t.kind(), Vex::TypeKind::entity) << name;
      EXPECT_NE(t.newEntityForAttrLog_, nullptr) << name;
      EXPECT_NE(t.notifiee_, nullptr) << name;
   }
   EXPECT_EQ(type("Flowspec::RuleStatus").attributeCount(), 14u);
   EXPECT_EQ(type("Flowspec::Status").attributeCount(), 10u);
   EXPECT_EQ(type("Flowspec::VrfRuleStatus").attributeCount(), 10u);
   EXPECT_EQ(type("Flowspec::AfIntfColl").attributeCount(), 7u);
   EXPECT_EQ(type("Flowspec::Counter").attributeCount(), 7u);
   EXPECT_EQ(type("Flowspec::HwRuleProgrammingStatus").attributeCount(), 7u);
   EXPECT_EQ(type("Flowspec::NumericalRange").base(), nullptr);
   EXPECT_EQ(type("Flowspec::NumericalRange").kind(), Vex::TypeKind::value);
   EXPECT_EQ(type("Flowspec::MatchCompType").kind(), Vex::TypeKind::enumeration);

   // Only the four named roots have a directory creator; only parents a child hook.
   for (std::string const& name : sectionOrder) {
      bool root = name == "Flowspec::Config" || name == "Flowspec::CliConfig" ||
                  name == "Flowspec::Status" || name == "Flowspec::Counter";
      EXPECT_EQ(type(name.c_str()).newEntityForDir_ != nullptr, root) << name;
      bool parent = name == "Flowspec::Config" || name == "Flowspec::Status" ||
                    name == "Flowspec::VrfRuleConfig" || name == "Flowspec::VrfRuleStatus";
      EXPECT_EQ(type(name.c_str()).childAttrLogIs_ != nullptr, parent) << name;
   }

   auto args = [](char const* name) {
      std::string out;
      for (Vex::CtorArg const& a : type(name).ctorArgs()) {
         out += std::string("(") + a.name + ", " + std::string(a.typeName()) + ")";
      }
      return out;
   };
   EXPECT_EQ(args("Flowspec::Status"), "(name, Vex::Name)");
   EXPECT_EQ(args("Flowspec::RuleConfig"), "(key, Flowspec::FlowspecKey)");
   EXPECT_EQ(args("Flowspec::CounterVersion"), "(counter, U64)(version, Kiln::UniqueId)");
}

TEST(Reflection, EveryTableIsNumberedAndReachableByNameAndNumber) {
   for (std::string const& name : sectionOrder) {
      SCOPED_TRACE(name);
      VexType const& t = type(name.c_str());
      std::set<std::uint32_t> numbers;
      std::set<std::string> names;
      for (Vex::AttrRow const& r : t.attributes()) {
         EXPECT_TRUE(numbers.insert(r.number).second) << "number " << r.number << " twice";
         EXPECT_TRUE(names.insert(r.name).second) << "name " << r.name << " twice";
         EXPECT_EQ(t.attribute(r.name), &r) << r.name;
         EXPECT_EQ(t.attributeNumbered(r.number), &r) << r.name;
         // A collection names its key; a method names each argument; both
         // with registered types.
         if (r.has(Vex::attrCollection)) {
            ASSERT_EQ(r.params.size(), 1u) << r.name;
            EXPECT_NE(r.keyType, nullptr) << r.name;
         } else if (!r.has(Vex::attrMethod)) {
            EXPECT_TRUE(r.params.empty()) << r.name;
         }
         for (Vex::Param const& p : r.params) {
            EXPECT_NE(std::string(p.name), "") << r.name;
            EXPECT_NE(Vex::typeByName(p.typeName()), nullptr) << r.name << " " << p.typeName();
         }
      }
      for (Vex::CtorArg const& a : t.ctorArgs()) {
         EXPECT_NE(Vex::typeByName(a.typeName()), nullptr) << a.name;
      }
      EXPECT_EQ(t.attribute("noSuchRow"), nullptr);

      // Numbering: entities after their five base rows from 258, values from 2,
      // both in table order; enumerations by value.
      std::vector<Vex::AttrRow> const rowList(t.attributes().begin(), t.attributes().end());
      if (t.kind() == Vex::TypeKind::entity) {
         ASSERT_GE(rowList.size(), 5u);
         std::string base;
         for (std::size_t i = 0; i < 5; ++i) {
            base += (i ? " " : "") + std::string(rowList[i].name) + ":" +
                    std::to_string(rowList[i].number);
         }
         EXPECT_EQ(base, entityBase);
         for (std::size_t i = 5; i < rowList.size(); ++i)
            EXPECT_EQ(rowList[i].number, 253 + i);
      } else if (t.kind() == Vex::TypeKind::value) {
         for (std::size_t i = 0; i < rowList.size(); ++i) {
            if (name == "Flowspec::MatchOpValResult" && rowList[i].name == std::string("toStrep")) {
               EXPECT_EQ(rowList[i].number, 16u);
            } else {
               EXPECT_EQ(rowList[i].number, 2 + i) << rowList[i].name;
            }
         }
      } else {
         Vex::EnumType const* e = Vex::enumTypeByName(name);
         ASSERT_NE(e, nullptr);
         ASSERT_EQ(e->enumeratorCount(), rowList.size());
         for (std::size_t i = 0; i < rowList.size(); ++i) {
            EXPECT_EQ(std::string(rowList[i].name), e->enumerator(i).name);
            EXPECT_EQ(rowList[i].number, e->enumerator(i).value);
         }
      }
   }
}

TEST(Reflection, EverySettableRowOfAValueTakesBackWhatItReads) {
   std::vector<GenericValue> const samples = sampleValues();
   std::set<std::string> covered;
   for (GenericValue const& v : samples) {
      SCOPED_TRACE(std::string(v.type()->name()));
      covered.insert(std::string(v.type()->name()));
      for (Vex::AttrRow const& r : v.type()->attributes()) {
         if (!r.has(Vex::attrSettable)) continue;
         GenericValue copy = v;
         GenericValue const read = copy.get(r.name);
         copy.set(r.name, read);
         EXPECT_EQ(copy, v) << r.name;
         EXPECT_EQ(copy.get(r.name), read) << r.name;
      }
   }
   // Every value type with a settable row has a sample.
   for (std::string const& name : sectionOrder) {
      VexType const& t = type(name.c_str());
      if (t.kind() != Vex::TypeKind::value) continue;
      bool settable = false;
      for (Vex::AttrRow const& r : t.attributes())
         settable = settable || r.has(Vex::attrSettable);
      if (settable && name != "Flowspec::MatchComponent") {
         EXPECT_TRUE(covered.count(name)) << name;
      }
   }
}

TEST(Reflection, AFewTablesAsGoldenValues) {
   auto entity = [](std::string const& own) { return entityBase + " " + numbered(own, 258); };
   EXPECT_EQ(rows(type("Flowspec::RuleConfig")),
             entity("ruleKey ruleId matchSet actionFieldSet trafficRateLimit trafficAction "
                    "trafficRedirect trafficMarkingDscp sanitizeMatchSet "
                    "infeasibleMatchInMatchSet dumpState"));
   EXPECT_EQ(rows(type("Flowspec::Status")),
             entity("vrfRuleStatus counterUpdateTime flowspecSupported unsupportedQual dumpState"));
   EXPECT_EQ(rows(type("Flowspec::RuleStatus")),
             entity("key ruleKey statusCode errorReason packetCount version "
                    "resolvedNexthopInfo isProgrammed dumpState"));
   EXPECT_EQ(rows(type("Flowspec::MatchOpValIndex")), "value:2 min:3 max:4");
   EXPECT_EQ(rows(type("Flowspec::MatchOpValResult")),
             numbered("matchType op val32 endOfList andPrevious len lt gt eq invert match "
                      "nextIndex",
                      2) +
                 " toStrep:16");
   EXPECT_EQ(rows(type("Flowspec::NumericalRange")),
             numbered("min max invalidValue rangeMin rangeMax isRangeOverlap "
                      "rangeIntersection rangeUnion isValid toStrep contains "
                      "matchCompTypeMax hash",
                      2));
   EXPECT_EQ(rows(type("Flowspec::ActionFieldSet")),
             numbered("invalid trafficPermit trafficDrop trafficRate trafficAction "
                      "trafficRedirect trafficMarking value invalid_ trafficPermit_ "
                      "trafficDrop_ trafficRate_ trafficAction_ trafficRedirect_ "
                      "trafficMarking_",
                      2));
   EXPECT_EQ(rows(type("Flowspec::HwRuleProgrammingStatus")),
             "unprocessed:0 programmed:1 programmedWithFailures:2 unsupportedMatch:3 "
             "unsupportedTcamProfile:4 unsupportedAction:5 resourceExhausted:6");
   EXPECT_EQ(type("Flowspec::MatchCompType").attributeNumbered(13)->name, std::string("flowLabel"));
   EXPECT_EQ(type("Flowspec::TcpBitMask::TcpBit").attributeNumbered(8)->name, std::string("tcpNs"));
   EXPECT_EQ(type("Flowspec::FlowspecKey").attribute("setOpVal")->paramsText(),
             "Flowspec::MatchOpValIndex index, Flowspec::MatchCompType mtype, U8 op, U32 val");
   EXPECT_EQ(type("Flowspec::Config").attribute("vrfRuleConfig")->paramsText(),
             "Vrf::VrfIdMap::VrfId key");
   EXPECT_EQ(type("Flowspec::ActionFieldSet").attribute("trafficRate_")->number, 13u);

   // Row roles.
   VexType const& rule = type("Flowspec::RuleConfig");
   EXPECT_TRUE(rule.attribute("ruleKey")->has(Vex::attrIdentity));
   EXPECT_TRUE(rule.attribute("ruleId")->has(Vex::attrSettable));
   EXPECT_TRUE(rule.attribute("matchSet")->has(Vex::attrCollection));
   EXPECT_TRUE(rule.attribute("dumpState")->has(Vex::attrMethod));
   EXPECT_EQ(rule.attribute("dumpState")->paramsText(),
             "Kiln::DumpContext dumpCtx, U32 indentCount");
   EXPECT_TRUE(type("Flowspec::RuleStatus").attribute("isProgrammed")->has(Vex::attrReadOnly));
   EXPECT_TRUE(type("Flowspec::NumericalRange").attribute("max")->has(Vex::attrConstant));
}

TEST(Reflection, ValuesPrintReadBackAndTravelThroughTheLog) {
   VexType const& rangeType = type("Flowspec::NumericalRange");
   GenericValue range = Vex::construct(rangeType, {GenericValue(80u), GenericValue(88u)});
   EXPECT_EQ(range.text(),
             "Value('Flowspec::NumericalRange', ** {'rangeMin': 80, 'rangeMax': 88})");
   EXPECT_EQ(GenericValue::fromText(rangeType, range.text().view()), range);
   EXPECT_EQ(range.value<Flowspec::NumericalRange>(), Flowspec::NumericalRange(80, 88));

   // Every readable value of the library reads back what it prints, and every
   // logged one reads back what it writes.
   std::vector<GenericValue> const samples = sampleValues();
   for (GenericValue const& v : samples) {
      SCOPED_TRACE(std::string(v.type()->name()));
      EXPECT_TRUE(v.type()->has(Vex::typeReadable));
      EXPECT_EQ(GenericValue::fromText(*v.type(), v.text().view()), v) << v.text();
      auto out = Vex::NboAttrLog::Out::OutIs();
      v.toLog(out);
      Vex::NboAttrLog::In in(out->bytes().data(), out->bytes().size());
      EXPECT_EQ(GenericValue::fromLog(*v.type(), in), v);
   }

   // Enumerations print their enumerator and read a name or a number.
   GenericValue tcp(Flowspec::MatchCompType::tcpFlags);
   EXPECT_EQ(tcp.text(), "tcpFlags");
   EXPECT_EQ(GenericValue::fromText(*tcp.type(), "9"), tcp);
   EXPECT_EQ(GenericValue(static_cast<Flowspec::MatchCompType>(40)).text(), "40");
   EXPECT_THROW(GenericValue::fromText(*tcp.type(), "tcpFlag"), Vex::Exception);

   // A component's text cannot be read back, and says so instead of aborting.
   GenericValue component{Flowspec::MatchComponent(Flowspec::MatchCompType::dscp)};
   EXPECT_FALSE(component.type()->has(Vex::typeReadable));
   EXPECT_THROW(GenericValue::fromText(*component.type(), component.text().view()), Vex::Exception);

   // A string argument stands for the value its text reads as.
   EXPECT_EQ(GenericValue(Vex::String("'10.0.0.0/8'")).value<Ipkit::IpGenPrefix>(),
             Ipkit::IpGenPrefix(Vex::String("10.0.0.0/8")));
   EXPECT_THROW(GenericValue(5u).value<Vex::String>(), Vex::Exception);
   EXPECT_THROW(Vex::construct(rangeType, {GenericValue(1u)}), Vex::Exception);
}

TEST(Reflection, RowsAreReadWrittenAndCalledWithTheTypesOwnChecks) {
   GenericValue range(Flowspec::NumericalRange(1, 5));
   EXPECT_EQ(range.get("rangeMax").value<std::uint32_t>(), 5u);
   EXPECT_EQ(range.get("5").value<std::uint32_t>(), 1u) << "row 5 is rangeMin";
   EXPECT_EQ(range.get("max").value<std::uint32_t>(), 0xffffffu);
   EXPECT_TRUE(range.call("contains", {GenericValue(3u)}).value<bool>());
   EXPECT_EQ(range.call("matchCompTypeMax", {GenericValue(Flowspec::MatchCompType::dscp)})
                 .value<std::uint32_t>(),
             63u);
   EXPECT_EQ(range.call("rangeUnion", {GenericValue(Flowspec::NumericalRange(4, 9))})
                 .value<Flowspec::NumericalRange>(),
             Flowspec::NumericalRange(1, 9));
   range.set("rangeMax", GenericValue(7u));
   EXPECT_EQ(range.value<Flowspec::NumericalRange>().rangeMax(), 7u);
   try {
      range.set("rangeMin", GenericValue(0x1000001u));
      ADD_FAILURE() << "no range error";
   } catch (Vex::RangeException const& e) {
      EXPECT_STREQ(e.what(), "NumericalRange::rangeMin < NumericalRange::min or > "
                             "NumericalRange::invalidValue not allowed");
   }
   EXPECT_THROW(range.set("max", GenericValue(1u)), Vex::Exception) << "a constant";
   EXPECT_THROW(range.get("noSuchRow"), Vex::Exception);

   // The status codes of genericIfAttributeOp, and MatchOpValIndex's own
   // operations.
   VexType const& indexType = type("Flowspec::MatchOpValIndex");
   Flowspec::MatchOpValIndex index(2047);
   GenericValue result;
   auto op = [&](Vex::AttrRow const* row, AttrOp o, std::vector<GenericValue> const& args = {}) {
      return indexType.attributeOp_(&result, &index, row, o, args);
   };
   EXPECT_EQ(op(indexType.attributeNumbered(2), AttrOp::get), 0);
   EXPECT_EQ(result.value<std::uint16_t>(), 2047);
   EXPECT_EQ(op(indexType.attributeNumbered(3), AttrOp::get), 0);
   EXPECT_EQ(result.value<std::uint16_t>(), 0);
   EXPECT_EQ(op(indexType.attributeNumbered(4), AttrOp::get), 0);
   EXPECT_EQ(result.value<std::uint16_t>(), 2047);
   for (std::uint32_t n : {2, 3, 4}) {
      EXPECT_EQ(op(indexType.attributeNumbered(n), AttrOp::set, {GenericValue(std::uint16_t(1))}),
                1);
   }
   Vex::AttrRow foreign = *type("Flowspec::MatchOpVal").attributeNumbered(10);
   EXPECT_EQ(op(&foreign, AttrOp::get), 2) << "row 10 is not MatchOpValIndex's";
   EXPECT_EQ(op(nullptr, AttrOp::isNull), 0);
   EXPECT_TRUE(result.value<bool>());
   index = Flowspec::MatchOpValIndex(3);
   EXPECT_EQ(op(nullptr, AttrOp::add, {GenericValue(Flowspec::MatchOpValIndex(4))}), 0);
   EXPECT_EQ(result.value<Flowspec::MatchOpValIndex>(), Flowspec::MatchOpValIndex(7));
   Flowspec::NumericalRange plain;
   EXPECT_EQ(
       type("Flowspec::NumericalRange").attributeOp_(&result, &plain, nullptr, AttrOp::isNull, {}),
       1);

   // Collections of a value: the key's pairs by index.
   GenericValue key(cliKey("*;*;DP:=80;"));
   Vex::GenericIterator pairs = key.iterate("matchOpVal");
   ASSERT_EQ(pairs.size(), 1u);
   EXPECT_EQ(pairs.key().value<Flowspec::MatchOpValIndex>(), Flowspec::MatchOpValIndex(0));
   EXPECT_EQ(key.call("toStrepCli").text(), "'*;*;DP:=80;'");
   EXPECT_EQ(
       GenericValue(Flowspec::FlowspecUtil())
           .call("statusCodeToStrep", {GenericValue(Flowspec::HwRuleProgrammingStatus::programmed)})
           .value<Vex::String>(),
       Flowspec::FlowspecUtil().statusCodeToStrep(Flowspec::HwRuleProgrammingStatus::programmed));
}

namespace {

struct Recorder : Vex::GenericNotifiee {
   std::vector<std::string> heard;
   void onAttribute(Vex::Entity const&, Vex::AttrRow const& row, GenericValue const& key) override {
      heard.push_back(std::string(row.name) + (key.empty() ? "" : "(" + key.text().str() + ")"));
   }
};

} // namespace

TEST(Reflection, EntitiesAreBuiltChangedObservedAndWalkedGenerically) {
   GenericValue config = Vex::construct(type("Flowspec::Config"), {GenericValue(Vex::Name("cfg"))});
   ASSERT_NE(config.entity(), nullptr);
   EXPECT_TRUE(config.entity()->hasNotificationActive());
   EXPECT_EQ(config.type(), &Flowspec::Config::_vexType);
   EXPECT_EQ(config.get("name").value<Vex::Name>(), Vex::Name("cfg"));

   Recorder recorder;
   auto observer = config.observe(recorder);
   config.set("enabledIntfAll", GenericValue(true));
   config.set("enabledIntfAll", GenericValue(true)); // equal: nobody is told
   EXPECT_THROW(config.set("enabledIntf", GenericValue(Vex::String("'Ethernet1'"))), Vex::Exception)
       << "a value per key needs the key and the value";
   std::vector<GenericValue> intfArgs = {GenericValue(Ipkit::IntfId(Vex::String("Ethernet1"))),
                                         GenericValue(true)};
   config.op(*config.type()->attribute("enabledIntf"), AttrOp::set, intfArgs);
   GenericValue vrf = config.op(*config.type()->attribute("vrfRuleConfig"), AttrOp::set,
                                std::vector<GenericValue>{GenericValue(5u)});
   EXPECT_EQ(recorder.heard, (std::vector<std::string>{"enabledIntfAll", "enabledIntf('Ethernet1')",
                                                       "vrfRuleConfig(5)"}));

   // The child: its parent, its place, and its full name.
   ASSERT_EQ(vrf.type(), &Flowspec::VrfRuleConfig::_vexType);
   EXPECT_EQ(vrf.get("parent").entity(), config.entity());
   EXPECT_EQ(vrf.get("parentAttrName").value<Vex::String>(), "vrfRuleConfig");
   EXPECT_EQ(vrf.get("fullName").value<Vex::String>(), "cfg/5");
   EXPECT_EQ(vrf.get("entity"), vrf);
   EXPECT_TRUE(vrf.call("empty").value<bool>());

   // A rule: made through the collection, changed through its setters.
   Flowspec::FlowspecKey key = cliKey("10.0.0.0/8;*;DP:=80;");
   GenericValue rule = vrf.op(*vrf.type()->attribute("rule"), AttrOp::set,
                              std::vector<GenericValue>{GenericValue(key)});
   EXPECT_EQ(rule.get("ruleKey").value<Flowspec::FlowspecKey>(), key);
   Flowspec::MatchComponent port(Flowspec::MatchCompType::destPort);
   port.numericalRangeIs(Flowspec::NumericalRange(80, 80), true);
   rule.set("matchSet", GenericValue(port));
   EXPECT_EQ(rule.call("sanitizeMatchSet").value<Flowspec::MatchCompType>(),
             Flowspec::MatchCompType::invalid);
   EXPECT_EQ(rule.iterate("matchSet").size(), 2u) << "sanitising added the protocol match";
   Kiln::DumpContext ctx;
   rule.call("dumpState", {GenericValue(ctx), GenericValue(0u)});
   Kiln::DumpContext direct;
   rule.entity()->dumpState(direct, 0);
   EXPECT_EQ(ctx.text(), direct.text());
   EXPECT_FALSE(vrf.call("empty").value<bool>());

   Vex::GenericIterator members = config.iterate("vrfRuleConfig");
   ASSERT_EQ(members.size(), 1u);
   EXPECT_EQ(members.key().value<std::uint32_t>(), 5u);
   EXPECT_EQ(members.value(), vrf);

   GenericValue removed = config.del("vrfRuleConfig", GenericValue(5u));
   EXPECT_EQ(removed, vrf);
   EXPECT_EQ(vrf.get("parent").entity(), nullptr);
   EXPECT_EQ(recorder.heard.back(), "vrfRuleConfig(5)");
   observer.reset();
   config.set("enabledIntfAll", GenericValue(false));
   EXPECT_EQ(recorder.heard.size(), 4u) << "a destroyed observer hears nothing";
}

TEST(Reflection, EntitiesAreCreatedForDirectoriesAndFromTheAttributeLog) {
   VexType const& status = type("Flowspec::Status");
   Vex::Ptr<Vex::Entity> root = status.newEntityForDir_(Vex::Name("hw"), nullptr);
   ASSERT_TRUE(root);
   EXPECT_EQ(root->fwkType(), &status);
   EXPECT_EQ(root->name(), Vex::Name("hw"));
   EXPECT_TRUE(root->hasNotificationActive());

   auto out = Vex::NboAttrLog::Out::OutIs();
   out << Vex::String("counters");
   Vex::NboAttrLog::In in(out->bytes().data(), out->bytes().size());
   Vex::Ptr<Vex::Entity> counter = type("Flowspec::Counter").newEntityForAttrLog_(in);
   EXPECT_EQ(counter->name(), Vex::Name("counters"));

   // A child announced in the log is made in its parent's collection.
   auto childOut = Vex::NboAttrLog::Out::OutIs();
   childOut << std::uint32_t(12);
   Vex::NboAttrLog::In childIn(childOut->bytes().data(), childOut->bytes().size());
   Vex::Ptr<Vex::Entity> vrf =
       status.childAttrLogIs_(*root, *status.attribute("vrfRuleStatus"), childIn);
   auto* typed = static_cast<Flowspec::Status*>(root.get());
   EXPECT_EQ(typed->vrfRuleStatus(12).get(), vrf.get());
   EXPECT_EQ(vrf->parent(), root.get());
}

TEST(Reflection, TheTraceHandleIsMadeOnceUnderConcurrentFirstCalls) {
   std::vector<Vex::TraceHandle const*> seen(8);
   std::vector<std::thread> threads;
   for (std::size_t i = 0; i < seen.size(); ++i) {
      threads.emplace_back([&seen, i] { seen[i] = &Flowspec::defaultTraceHandle(); });
   }
   for (auto& t : threads)
      t.join();
   for (auto const* h : seen)
      EXPECT_EQ(h, seen[0]);
   EXPECT_EQ(&Flowspec::defaultTraceHandle(), seen[0]);
}

TEST(Reflection, TheLibraryFileCarriesTheTypeNamesInItsSection) {
   std::ifstream file(FLOWSPEC_LIBRARY_FILE, std::ios::binary);
   ASSERT_TRUE(file) << FLOWSPEC_LIBRARY_FILE;
   std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
   ASSERT_GE(bytes.size(), sizeof(Elf64_Ehdr));
   Elf64_Ehdr header;
   std::memcpy(&header, bytes.data(), sizeof header);
   ASSERT_EQ(header.e_ident[EI_CLASS], ELFCLASS64);
   auto section = [&](std::size_t i) {
      Elf64_Shdr s;
      std::memcpy(&s, bytes.data() + header.e_shoff + i * header.e_shentsize, sizeof s);
      return s;
   };
   Elf64_Shdr const names = section(header.e_shstrndx);
   std::string contents;
   Elf64_Shdr found{};
   for (std::size_t i = 0; i < header.e_shnum; ++i) {
      Elf64_Shdr s = section(i);
      if (std::string(bytes.data() + names.sh_offset + s.sh_name) == ".vex.type") {
         found = s;
         contents.assign(bytes.data() + s.sh_offset, s.sh_size);
      }
   }
   ASSERT_FALSE(contents.empty()) << "no section .vex.type";
   EXPECT_EQ(found.sh_flags & SHF_WRITE, 0u) << "read-only";
   EXPECT_EQ(found.sh_addr % 4, 0u);
   std::size_t at = 0;
   for (std::string const& name : sectionOrder) {
      EXPECT_EQ(at % 4, 0u) << name;
      ASSERT_LT(at, contents.size()) << name;
      EXPECT_EQ(std::string(contents.c_str() + at), name);
      at += name.size() + 1;
      while (at < contents.size() && at % 4 != 0)
         EXPECT_EQ(contents[at++], '\0');
   }
   EXPECT_EQ(at, contents.size()) << "nothing else in the section";
   // The descriptors carry these very names.
   EXPECT_STREQ(type("Flowspec::Status").name_, "Flowspec::Status");
}
