// tools/flowspec/Commands.h: the commands of the flowspec tool.
//
// Each command takes the words after its name, writes its results to `out`
// and its complaints to `err`, and returns the process's exit status:
//   0  done, every input accepted
//   1  some input was refused (and reported on `err`)
//   2  usage error, or a file that cannot be read
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace FlowspecTool {

using Args = std::vector<std::string_view>;

inline constexpr int exitOk = 0;
inline constexpr int exitRefused = 1;
inline constexpr int exitUsage = 2;

/// flowspec key TEXT [--vrf N] [--af ipv4|ipv6]
int keyCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string keyHelp();

/// flowspec check FILE [--dump] [--json]
int checkCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string checkHelp();

/// flowspec types
int typesCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string typesHelp();

/// flowspec describe TYPE
int describeCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string describeHelp();

/// Checks the rule file at `path`, calling it `shownName` in what it
/// prints. What check FILE does once its arguments are read.
int checkFile(std::string const& path, std::string const& shownName, bool dump,
              bool json, std::ostream& out, std::ostream& err);

/// The part of the help texts that describes a rule key's command-line form.
extern char const* const keyGrammarHelp;

/// Writes "flowspec <command>: <problem>", the command's usage line and a
/// pointer to its help to `err`, and returns exitUsage.
int usageError(std::string_view command, std::string_view usage,
               std::string const& problem, std::ostream& err);

} // namespace FlowspecTool
