// tools/flowspec/ManPage.h: the flowspec(1) manual page.
#pragma once

#include <string>

namespace FlowspecTool {

/// The manual page in roff (man(7)), made from the help texts of the tool
/// and its commands, so that the grammar, the capability table and the exit
/// statuses are written once. The build writes it to flowspec.1 with
/// `flowspec --man`, and installs it.
std::string manPage();

} // namespace FlowspecTool
