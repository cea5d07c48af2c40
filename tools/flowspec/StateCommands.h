// tools/flowspec/StateCommands.h: the tool as separate processes that share
// their trees through Statedb: serve, hw-agent, show and watch.
#pragma once

#include "Commands.h"

namespace FlowspecTool {

int serveCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string serveHelp();
int hwAgentCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string hwAgentHelp();
int showCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string showHelp();
int watchCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string watchHelp();

} // namespace FlowspecTool
