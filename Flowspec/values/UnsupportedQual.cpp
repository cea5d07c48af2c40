#include "Flowspec/values/UnsupportedQual.h"

#include "Flowspec/framework/Dump.h"
#include "Flowspec/values/FlowspecUtil.h"

namespace Flowspec {

void UnsupportedQual::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cAF %s\n", Ipkit::valueToStrep(af_).c_str());
   FlowspecUtil const util;
   for (auto i = qual_.iterator(); i; ++i) {
      dumpLine(ctx, indent + 2, "%*c%s --> %s\n", util.compTypeToLabel(i.key()).c_str(),
               i.value().c_str());
   }
}

} // namespace Flowspec
