// An outside program using the installed libraries.
#include "Flowspec/FlowspecStatedb.h"
#include "Kiln/DumpContext.h"
#include "Pbr/ResolvedNexthopInfo.h"
#include "Vrf/VrfIdMap.h"

#include <cstdio>

int main() {
   Flowspec::MatchComponent c(Flowspec::MatchCompType::destPrefix);
   c.prefixIs(Ipkit::IpGenPrefix(Vex::String("10.1.2.3/8")));
   Kiln::DumpContext ctx;
   c.dumpState(ctx, 0);
   Vrf::VrfIdMap vrfs;
   Pbr::ResolvedNexthopInfo info(Pbr::NexthopSet(0, false, false, "default", 0));
   bool ok = ctx.text() == "compType is 1, prefix is 10.0.0.0/8\nnumericalRanges #0\n"
                           "ipBitMasks #0\ntcpBitMasks #0\n" &&
             Vex::enumTypeByName("Flowspec::MatchCompType") != nullptr &&
             vrfs.vrfIdIs("red") == 1 && info.viaActiveSize() == 0;
   std::puts(ok ? "ok" : "unexpected");
   return ok ? 0 : 1;
}
