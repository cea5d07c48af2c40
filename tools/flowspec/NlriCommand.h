// tools/flowspec/NlriCommand.h: flowspec nlri decode|encode, the flowspec
// NLRI of RFC 8955 and RFC 8956 to rule keys and back.
#pragma once

#include "Commands.h"

namespace FlowspecTool {

/// flowspec nlri decode ipv4|ipv6 HEX [--json]
/// flowspec nlri encode ipv4|ipv6 KEY [--json]
int nlriCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string nlriHelp();

} // namespace FlowspecTool
