// A writer changes every attribute and collection of every entity type
// through reflection; the mirror in a reader ends equal (dump text and
// reflection walk) and its observers hear the same callbacks in the same
// order.
#include "StatedbTestUtil.h"

#include "Statedb/TreeCodec.h"

using namespace StatedbTest;

namespace {

struct Case {
   char const* description;
   char const* type;
   char const* name;
};

void roundTrip(Case const& c, bool grouped) {
   SCOPED_TRACE(c.description);
   StateDir dir;
   Vex::VexType const& type = *Vex::typeByName(c.type);
   std::string const leaf = std::string(c.name).substr(std::string(c.name).rfind('/') + 1);
   Vex::GenericValue root = Vex::construct(type, {Vex::GenericValue(Vex::Name(leaf))});
   Vex::Ptr<Vex::Entity> writerRoot(root.entity());
   Statedb::Publisher pub(writerRoot, {.stateDir = dir.path(), .name = c.name});
   auto mount = Statedb::Mount::mountIs(type, {.stateDir = dir.path(), .name = c.name});
   EXPECT_EQ(mount->state(), Statedb::MountState::syncing);
   auto synced = [&] {
      pub.service(0);
      return mount->state() == Statedb::MountState::live && mount->lastSequence() == pub.sequence();
   };
   ASSERT_TRUE(mount->waitFor(synced, 5000)) << mount->lastError();

   Listener local(writerRoot), remote(mount->root());
   std::size_t changes = 0;
   if (grouped) {
      Statedb::Publisher::Batch batch(pub);
      changes = exercise(root);
   } else {
      changes = exercise(root);
   }
   ASSERT_TRUE(mount->waitFor(synced, 5000)) << mount->lastError();
   EXPECT_GE(local.heard.size(), 6u);
   EXPECT_EQ(remote.heard, local.heard);
   EXPECT_EQ(dump(*mount->root()), dump(*writerRoot));
   std::string why;
   EXPECT_TRUE(Statedb::sameTree(*mount->root(), *writerRoot, &why)) << why;
   EXPECT_EQ(mount->lastError(), "");
   if (grouped) {
      EXPECT_EQ(pub.sequence(), 1u) << "one batch";
   } else {
      EXPECT_EQ(pub.sequence(), changes)
          << "one batch per change" << ::testing::PrintToString(local.heard);
   }
}

Case const cases[] = {
    {"the configuration tree: VRFs, rules, infeasible rules, interfaces", "Flowspec::Config",
     "flowspec/config"},
    {"the status tree: VRF statuses, rule statuses, interfaces per family, errors",
     "Flowspec::Status", "flowspec/status"},
    {"the counters: snapshots per key", "Flowspec::Counter", "flowspec/counter"},
    {"the command-line configuration", "Flowspec::CliConfig", "flowspec/cli"},
};

} // namespace

TEST(StatedbRoundTrip, EveryEntityTypeAndAttributeOneBatchPerChange) {
   for (Case const& c : cases)
      roundTrip(c, false);
}

TEST(StatedbRoundTrip, EveryEntityTypeAndAttributeInOneBatch) {
   for (Case const& c : cases)
      roundTrip(c, true);
}

TEST(StatedbRoundTrip, DeleteAllAndASecondReaderThatJoinsLate) {
   using namespace Flowspec;
   StateDir dir;
   auto config = Config::ConfigIs("config");
   Statedb::Publisher pub(config, {.stateDir = dir.path(), .name = "flowspec/config"});
   auto first = Statedb::Mount::mountIs(Config::_vexType,
                                        {.stateDir = dir.path(), .name = "flowspec/config"});
   auto inStep = [&](Statedb::Mount& m) {
      return [&] {
         pub.service(0);
         return m.state() == Statedb::MountState::live && m.lastSequence() == pub.sequence();
      };
   };
   ASSERT_TRUE(first->waitFor(inStep(*first), 5000));
   Listener heard(first->root());
   auto vrf = config->vrfRuleConfigIs(3);
   for (char const* k : {"10.3.0.0/16;*;", "10.1.0.0/16;*;", "10.2.0.0/16;*;"}) {
      auto rule = vrf->ruleIs(key(k, 3));
      MatchComponent c(MatchCompType::ipProto);
      c.numericalRangeIs(NumericalRange(6, 6), true);
      rule->matchSetIs(c);
      rule->matchSetIs(MatchComponent(MatchCompType::destPort));
   }
   vrf->ruleIs(key("10.1.0.0/16;*;", 3))->matchSetDelAll();
   vrf->ruleDelAll();
   ASSERT_TRUE(first->waitFor(inStep(*first), 5000));
   auto mirror = Vex::ptrCast<Config const>(first->root());
   ASSERT_TRUE(mirror->vrfRuleConfig(3));
   EXPECT_EQ(mirror->vrfRuleConfig(3)->ruleSize(), 0u);
   // The deletions, in key order, each heard once.
   std::vector<std::string> tail(heard.heard.end() - 5, heard.heard.end());
   EXPECT_EQ(tail, (std::vector<std::string>{"config/3/3;ipv4;10.1.0.0/16;;@.matchSet(ipProto)",
                                             "config/3/3;ipv4;10.1.0.0/16;;@.matchSet(destPort)",
                                             "config/3.rule(3;ipv4;10.1.0.0/16;;@)",
                                             "config/3.rule(3;ipv4;10.2.0.0/16;;@)",
                                             "config/3.rule(3;ipv4;10.3.0.0/16;;@)"}))
       << ::testing::PrintToString(heard.heard);

   auto second = Statedb::Mount::mountIs(Config::_vexType,
                                         {.stateDir = dir.path(), .name = "flowspec/config"});
   ASSERT_TRUE(second->waitFor(inStep(*second), 5000));
   EXPECT_EQ(second->snapshotsApplied(), 1u);
   EXPECT_EQ(second->batchesApplied(), 0u);
   std::string why;
   EXPECT_TRUE(Statedb::sameTree(*second->root(), *config, &why)) << why;
   EXPECT_EQ(pub.readerCount(), 2u);
}
