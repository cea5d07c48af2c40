// An outside program using the installed platform libraries.
#include "Ipkit/IpGenPrefix.h"
#include "Kiln/DumpContext.h"
#include "Kiln/UniqueId.h"
#include "Pbr/ResolvedNexthopInfo.h"
#include "Vex/HashMap2018.h"
#include "Vex/RbTreeMap.h"
#include "Vrf/VrfIdMap.h"

#include <cstdio>

int main() {
   Ipkit::IpGenPrefix p(Vex::String("10.1.2.3/8"));
   Kiln::DumpContext ctx;
   Kiln::objDumpPrintf(ctx, "%s %s", p.stringValue().c_str(),
                       Kiln::UniqueId::fresh().isUnset() ? "unset" : "fresh");
   Vrf::VrfIdMap vrfs;
   Pbr::ResolvedNexthopInfo info(Pbr::NexthopSet(0, false, false, "default", 0));
   bool ok = ctx.text() == "10.0.0.0/8 fresh" && vrfs.vrfIdIs("red") == 1 &&
             info.viaActiveSize() == 0;
   std::puts(ok ? "ok" : "unexpected");
   return ok ? 0 : 1;
}
