// tools/flowspec/UpdateCommand.h: flowspec update and flowspec mrt, the rules
// of BGP UPDATE messages and of MRT files (see UpdateCommand.cpp).
#pragma once

#include "Commands.h"

#include "Flowspec/wire/ActionCodec.h"

#include <cstdint>

namespace FlowspecTool {

/// flowspec update HEX...|FILE [--json] [--redirect RT=VRF]...
int updateCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string updateHelp();

/// flowspec mrt FILE [--json] [--redirect RT=VRF]...
int mrtCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string mrtHelp();

/// The actions in the words of a rule file: "drop", "rate 9600 sample",
/// "redirect vrf 5"; "none" when there are none.
std::string actionsText(Flowspec::RuleActions const& actions);

/// A decimal number of at most `max`, digits only.
bool readNumber(std::string_view text, std::uint64_t max, std::uint64_t& out);

/// "RT=VRF" (65000:100=5, 192.0.2.1:100=5, 4200000000:100=5) into `table`;
/// false, and `table` unchanged, when the text is not one.
bool readRedirect(std::string_view text, Flowspec::RouteTargetVrfs& table);

} // namespace FlowspecTool
