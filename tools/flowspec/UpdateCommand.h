// tools/flowspec/UpdateCommand.h: flowspec update and flowspec mrt, the rules
// of BGP UPDATE messages and of MRT files (see UpdateCommand.cpp).
#pragma once

#include "Commands.h"

namespace FlowspecTool {

/// flowspec update HEX...|FILE [--json] [--redirect RT=VRF]...
int updateCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string updateHelp();

/// flowspec mrt FILE [--json] [--redirect RT=VRF]...
int mrtCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string mrtHelp();

} // namespace FlowspecTool
