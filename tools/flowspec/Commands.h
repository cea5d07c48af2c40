// tools/flowspec/Commands.h: the commands of the flowspec tool.
//
// Each command takes the words after its name, writes its results to `out`
// and its complaints to `err`, and returns the process's exit status
// (exitStatusHelp() explains them to users).
#pragma once

#include "Flowspec/values/FlowspecKeyParse.h"

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace FlowspecTool {

using Args = std::vector<std::string_view>;

/// Done: every input read and, for check, every rule programmed.
inline constexpr int exitOk = 0;
/// Some input was refused (and reported on `err`).
inline constexpr int exitRefused = 1;
/// A usage error, or a file that cannot be read.
inline constexpr int exitUsage = 2;
/// An internal error of the tool.
inline constexpr int exitInternal = 3;
/// check: every line read, but some rule is infeasible or not programmed
/// fully.
inline constexpr int exitNotProgrammed = 4;

/// What the exit statuses mean, for the help texts and the manual.
std::string exitStatusHelp();
/// The tool's version.
extern char const* const toolVersion;

/// The tool's own help and that of `flowspec demo`.
std::string toolHelp();
std::string demoHelp();

/// flowspec key TEXT [--vrf N] [--af ipv4|ipv6]
int keyCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string keyHelp();

/// flowspec check FILE|- [--sort ORDER] [--verbose] [--dump] [--json]
int checkCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string checkHelp();

/// flowspec types
int typesCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string typesHelp();

/// flowspec describe TYPE
int describeCommand(Args const& args, std::ostream& out, std::ostream& err);
std::string describeHelp();

struct CheckOptions;
/// Checks the rule file at `path` ("-": standard input), calling it
/// `shownName` in what it prints. What check FILE does once its arguments
/// are read.
int checkFile(std::string const& path, std::string const& shownName, CheckOptions const& options,
              std::ostream& out, std::ostream& err);

/// The part of the help texts that describes a rule key's command-line form.
std::string keyGrammarHelp();

/// Writes "flowspec <command>: <problem>", the command's usage line and a
/// pointer to its help to `err`, and returns exitUsage.
int usageError(std::string_view command, std::string_view usage, std::string const& problem,
               std::ostream& err);

/// Writes "flowspec <command>: column N: <message>", then `text` with a
/// caret under column N, to `err`.
void printKeyParseError(std::string_view command, std::string_view text,
                        Flowspec::KeyParseError const& error, std::ostream& err);

} // namespace FlowspecTool
