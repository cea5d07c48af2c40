// tools/flowspec/ListenCommand.h: flowspec listen, the rules of live BGP
// peers programmed as they come and go (see ListenCommand.cpp).
#pragma once

#include "Commands.h"

namespace FlowspecTool {

/// flowspec listen --peer ADDRESS AS... [--port N] [--bind ADDRESS] ...
int listenCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string listenHelp();

} // namespace FlowspecTool
