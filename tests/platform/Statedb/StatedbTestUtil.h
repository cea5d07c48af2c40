// Helpers of the Statedb tests: a state directory per test, sample values of
// every attribute type the flowspec entities use, a generic exerciser that
// changes every attribute and collection of a tree through reflection, and
// a listener that records what a tree's observers hear.
#pragma once

#include "Flowspec/FlowspecStatedb.h"
#include "Kiln/DumpContext.h"
#include "Statedb/Mount.h"
#include "Statedb/Publisher.h"
#include "Statedb/TreeCodec.h"
#include "Vex/Reflect.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace StatedbTest {

/// A fresh directory under the temporary directory, removed at the end.
class StateDir {
 public:
   StateDir() {
      std::string tmpl = (std::filesystem::temp_directory_path() / "statedb-test-XXXXXX").string();
      char* made = ::mkdtemp(tmpl.data());
      EXPECT_NE(made, nullptr);
      path_ = tmpl;
   }
   ~StateDir() {
      std::error_code ec;
      std::filesystem::remove_all(path_, ec);
   }
   std::string const& path() const { return path_; }

 private:
   std::string path_;
};

inline Flowspec::FlowspecKey key(char const* cli, Vrf::VrfIdMap::VrfId vrf = 0) {
   Flowspec::FlowspecKey k;
   k.vrfIdIs(vrf);
   k.addressFamilyIs(Ipkit::ipv4);
   EXPECT_TRUE(k.copyInStrCli(cli)) << cli;
   return k;
}

template <class F>
F flags(std::uint32_t word) {
   F f;
   f.valueIs(word);
   return f;
}

/// Performs `op` on `row` of `v` with `args`.
inline Vex::GenericValue op(Vex::GenericValue const& v, Vex::AttrRow const& row, Vex::AttrOp code,
                            std::vector<Vex::GenericValue> const& args) {
   return v.op(row, code, args);
}

/// Sample values by type name: variant 1 and 2 differ; for a value keyed by
/// itself, variant 3 has variant 1's key with other contents.
inline Vex::GenericValue sample(Vex::VexType const& type, int v) {
   using namespace Flowspec;
   using G = Vex::GenericValue;
   static std::map<std::string, std::function<G(int)>> const table = {
       {"bool", [](int v) { return G(v == 1); }},
       {"U32", [](int v) { return G(std::uint32_t(v + 10)); }},
       {"U64", [](int v) { return G(std::uint64_t(v) << 40 | 5); }},
       {"float", [](int v) { return G(float(v) + 0.25f); }},
       {"double", [](int v) { return G(double(v) * 1000.5); }},
       {"Vex::String", [](int v) { return G(Vex::String(v == 1 ? "down" : "no TCAM")); }},
       {"Ipkit::AddressFamily", [](int v) { return G(v == 2 ? Ipkit::ipv6 : Ipkit::ipv4); }},
       {"Ipkit::IntfId", [](int v) { return G(Ipkit::IntfId(Vex::String("Ethernet" + std::to_string(v)))); }},
       {"Ipkit::IpTos", [](int v) { return G(Ipkit::IpTos(unsigned(v * 8))); }},
       {"Kiln::UniqueId", [](int) { return G(Kiln::UniqueId::fresh()); }},
       {"Flowspec::MatchCompType", [](int v) { return G(static_cast<MatchCompType>(v)); }},
       {"Flowspec::HwRuleProgrammingStatus",
        [](int v) { return G(static_cast<HwRuleProgrammingStatus>(v)); }},
       {"Flowspec::ActionFieldSet", [](int v) { return G(flags<ActionFieldSet>(v == 1 ? 2u : 0x44u)); }},
       {"Flowspec::TrafficAction", [](int v) { return G(flags<TrafficAction>(unsigned(v))); }},
       {"Flowspec::IpVersion", [](int v) { return G(flags<IpVersion>(unsigned(v))); }},
       {"Flowspec::TrafficRedirect",
        [](int v) {
           return G(TrafficRedirect(std::uint32_t(v), Ipkit::IpGenAddr(Vex::String("10.0.0." + std::to_string(v))), v == 2));
        }},
       {"Flowspec::FlowspecKey",
        [](int v) {
           return G(key(v == 1 ? "10.1.0.0/16;*;IP:=6;DP:=80|=443;" : "*;192.0.2.0/24;IP:=17;", 0));
        }},
       {"Flowspec::IntfErrorKey",
        [](int v) {
           return G(IntfErrorKey(Ipkit::IntfId(Vex::String("Ethernet" + std::to_string(v))),
                                 v == 2 ? Ipkit::ipv6 : Ipkit::ipv4));
        }},
       {"Flowspec::CounterVersion",
        [](int v) { return G(CounterVersion(std::uint64_t(v) * 1000, Kiln::UniqueId::fresh())); }},
       {"Pbr::ResolvedNexthopInfo",
        [](int v) {
           Pbr::ResolvedNexthopInfo info(Pbr::NexthopSet(std::uint32_t(v), true, false, "red", 0));
           info.viaActiveIs(Pbr::Via(Ipkit::IpGenAddr(Vex::String("10.9.0.1")),
                                     Ipkit::IntfId(Vex::String("Ethernet9")), std::uint32_t(v)));
           return G(info);
        }},
       {"Flowspec::MatchComponent",
        [](int v) {
           MatchComponent c(v == 2 ? MatchCompType::destPort : MatchCompType::ipProto);
           c.numericalRangeIs(NumericalRange(v == 3 ? 17u : 6u, v == 3 ? 17u : 6u), true);
           if (v == 2) c = MatchComponent(MatchCompType::destPort), c.numericalRangeIs(NumericalRange(80, 80), true);
           return G(c);
        }},
       {"Flowspec::UnsupportedQual",
        [](int v) {
           UnsupportedQual q(v == 2 ? Ipkit::ipv6 : Ipkit::ipv4);
           q.qualIs(MatchCompType::flowLabel, v == 3 ? "no field" : "no TCAM field");
           return G(q);
        }},
   };
   auto it = table.find(std::string(type.name()));
   if (it == table.end()) {
      ADD_FAILURE() << "no sample value of " << type.name();
      return {};
   }
   return it->second(v);
}

/// Changes every settable attribute twice, and every collection (two
/// members added, one changed, one deleted; children exercised in turn),
/// through reflection; returns the number of changes made.
inline std::size_t exercise(Vex::GenericValue const& entity, int depth = 0) {
   std::size_t changes = 0;
   using namespace Vex;
   VexType const& type = *entity.type();
   for (AttrRow const& row : type.attributes()) {
      if (row.has(attrSettable) && !row.has(attrIdentity)) {
         ++changes, op(entity, row, AttrOp::set, {sample(row.type(), 1)});
         ++changes, op(entity, row, AttrOp::set, {sample(row.type(), 2)});
      }
      if (!row.has(attrCollection)) continue;
      GenericValue k1 = sample(row.keyType(), 1), k2 = sample(row.keyType(), 2);
      if (row.has(attrChildren)) {
         ++changes;
         GenericValue c1 = op(entity, row, AttrOp::set, {k1});
         ++changes;
         GenericValue c2 = op(entity, row, AttrOp::set, {k2});
         changes += exercise(c1, depth + 1);
         changes += exercise(c2, depth + 1);
         ++changes, op(entity, row, AttrOp::del, {k2});
      } else if (row.has(attrMapped)) {
         ++changes, op(entity, row, AttrOp::set, {k1, sample(row.type(), 1)});
         ++changes, op(entity, row, AttrOp::set, {k2, sample(row.type(), 2)});
         ++changes, op(entity, row, AttrOp::set, {k1, sample(row.type(), 2)});
         ++changes, op(entity, row, AttrOp::del, {k2});
      } else if (row.has(attrElements)) {
         GenericValue const v2 = sample(row.type(), 2);
         ++changes, op(entity, row, AttrOp::set, {sample(row.type(), 1)});
         ++changes, op(entity, row, AttrOp::set, {v2});
         ++changes, op(entity, row, AttrOp::set, {sample(row.type(), 3)});
         for (auto m = entity.iterate(row.name); m; ++m) {
            if (m.value() == v2) ++changes, op(entity, row, AttrOp::del, {m.key()});
         }
      } else {
         ++changes, op(entity, row, AttrOp::set, {k1});
         ++changes, op(entity, row, AttrOp::set, {k2});
         ++changes, op(entity, row, AttrOp::del, {k2});
      }
   }
   return changes;
}

/// Records what the observers of a whole tree hear, following children as
/// they come: "<full name>.<row>(<key>)".
class Listener : public Statedb::TreeObserver {
 public:
   explicit Listener(Vex::Ptr<Vex::Entity const> const& root) : TreeObserver(*root) {}
   std::vector<std::string> heard;

 private:
   void onTreeChange(Vex::Entity const& e, Vex::AttrRow const& row,
                     Vex::GenericValue const& key) override {
      heard.push_back(std::string(Vex::entityFullName(e).c_str()) + "." + row.name + "(" +
                      (key.empty() ? "" : key.text().c_str()) + ")");
   }
};

inline std::string dump(Vex::Entity const& e) {
   Kiln::DumpContext ctx;
   e.dumpState(ctx, 0);
   return ctx.text().c_str();
}

} // namespace StatedbTest
