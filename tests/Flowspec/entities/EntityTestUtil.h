// tests/Flowspec/entities/EntityTestUtil.h: helpers shared by the entity
// tests: rule keys from their command-line text, interface ids, dumps into a
// string, and live allocation counts per type.
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Ipkit/IntfId.h"
#include "Kiln/DumpContext.h"
#include "Vex/AllocTrack.h"
#include "Vex/Entity.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
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

} // namespace EntityTest
