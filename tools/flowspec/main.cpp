// flowspec: the flowspec data model put to work on rule files.
//
//   flowspec                   checks the shipped example rules (as demo)
//   flowspec check FILE        checks a rule file (see CheckCommand.cpp)
//   flowspec key TEXT          shows one rule key (see KeyCommand.cpp)
//   flowspec help [COMMAND]    help; also COMMAND --help
#include "CheckModel.h"
#include "Commands.h"
#include "ListenCommand.h"
#include "ManPage.h"
#include "NlriCommand.h"
#include "StateCommands.h"
#include "UpdateCommand.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

#ifndef FLOWSPEC_EXAMPLE_RULES
#define FLOWSPEC_EXAMPLE_RULES ""
#endif
#ifndef FLOWSPEC_VERSION
#define FLOWSPEC_VERSION "unknown"
#endif

namespace FlowspecTool {

char const* const toolVersion = FLOWSPEC_VERSION;

std::string exitStatusHelp() {
   return R"(Exit status:
  0  every line read and every rule programmed
  1  some line was refused: each gets FILE:LINE:COLUMN: why on standard
     error, and the other lines are still checked
  4  every line read, but some rule is infeasible or not programmed fully
     (check; 1 takes precedence over 4)
  2  usage error, or a file that cannot be read
  3  internal error of the tool
)";
}

// What the demo calls the example, wherever it was found.
constexpr char const* exampleName = "examples/rules.txt";

std::string toolHelp() {
   return R"(usage: flowspec [COMMAND [ARGUMENTS]]

Puts libFlowspecStatedbTypes to work on flowspec rules (RFC 8955, RFC 8956):
reads rules, builds their configuration, tests and sanitises them, and lets a
simulated hardware agent program them and report their status.

Commands:
  demo                    check the example rules shipped with the tool; what
                          flowspec does without a command
  check FILE|- [--sort file|key|precedence] [--verbose] [--dump] [--json]
                          check the rules of a rule file (- reads
                          standard input)
  key TEXT [--vrf N] [--af ipv4|ipv6]
                          every text form, pair, hash and log encoding of one
                          rule key
  nlri decode|encode ipv4|ipv6 HEX|KEY [--json]
                          the rule keys of flowspec NLRI, or the NLRI of a key
  update HEX...|FILE [--json] [--redirect RT=VRF]
                          the rules a BGP UPDATE announces and withdraws
  mrt FILE [--json] [--redirect RT=VRF]
                          the same for every UPDATE of an MRT file
  listen --peer ADDRESS AS [--port N] [--json] ...
                          receive rules from live BGP peers and program
                          them as they come and go
  serve --state DIR [FILE...]
                          publish the configuration of rule files to other
                          processes
  hw-agent --state DIR    program the served rules into the simulated
                          hardware and publish their status and counters
  show --state DIR [--json]
                          the served rules with their status
  watch --state DIR       print every change of the served trees
  types                   the types registered with the reflection layer
  describe TYPE           the attribute table of one registered type
  help [COMMAND]          this text, or the help of COMMAND

'flowspec COMMAND --help' tells more about a command, 'flowspec --version'
the version, and 'man flowspec' all of it.

)" + exitStatusHelp();
}

std::string demoHelp() {
   return std::string(R"(usage: flowspec demo

Checks the example rule file shipped with the tool, as 'flowspec check' does:
)") + exampleName +
          R"( of the source tree the tool was built from, or
else the copy installed beside the tool. The example's header describes the
rule file format; 'flowspec check --help' describes the output.
)";
}

namespace {

// Where the example rules are: the source tree the tool was built from, then
// the places an install or a build directory keep a copy, relative to the
// executable.
std::string findExample(char const* argv0) {
   namespace fs = std::filesystem;
   std::error_code ec;
   std::vector<fs::path> candidates;
   if (*FLOWSPEC_EXAMPLE_RULES) candidates.emplace_back(FLOWSPEC_EXAMPLE_RULES);
   fs::path exe = fs::read_symlink("/proc/self/exe", ec);
   if (ec && argv0) exe = fs::absolute(argv0, ec);
   if (!exe.empty()) {
      fs::path const dir = exe.parent_path();
      candidates.push_back(dir / "examples" / "rules.txt");
      candidates.push_back(dir / ".." / "share" / "flowspec" / "examples" / "rules.txt");
   }
   for (auto const& c : candidates) {
      if (fs::is_regular_file(c, ec)) return c.string();
   }
   return candidates.empty() ? std::string(exampleName) : candidates.front().string();
}

int demoCommand(Args const& args, char const* argv0, std::ostream& out, std::ostream& err) {
   if (!args.empty()) {
      return usageError("demo", "flowspec demo",
                        "takes no arguments; 'flowspec check FILE' checks a file of your own", err);
   }
   return checkFile(findExample(argv0), exampleName, CheckOptions{}, out, err);
}

struct Command {
   std::string_view name;
   std::string (*help)();
   int (*run)(Args const&, char const* argv0, std::ostream& out, std::ostream& err);
};

Command const commands[] = {
    {"demo", demoHelp, demoCommand},
    {"check", checkHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return checkCommand(a, o, e);
     }},
    {"key", keyHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return keyCommand(a, o, e);
     }},
    {"types", typesHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return typesCommand(a, o, e);
     }},
    {"describe", describeHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return describeCommand(a, o, e);
     }},
    {"update", updateHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return updateCommand(a, o, e);
     }},
    {"mrt", mrtHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return mrtCommand(a, o, e);
     }},
    {"listen", listenHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return listenCommand(a, o, e);
     }},
    {"nlri", nlriHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return nlriCommand(a, o, e);
     }},
    {"serve", serveHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return serveCommand(a, o, e);
     }},
    {"hw-agent", hwAgentHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return hwAgentCommand(a, o, e);
     }},
    {"show", showHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return showCommand(a, o, e);
     }},
    {"watch", watchHelp,
     [](Args const& a, char const*, std::ostream& o, std::ostream& e) {
        return watchCommand(a, o, e);
     }},
};

Command const* findCommand(std::string_view name) {
   for (Command const& c : commands) {
      if (c.name == name) return &c;
   }
   return nullptr;
}

int toolUsageError(std::string const& problem, std::ostream& err) {
   err << "flowspec: " << problem << "\n"
       << "usage: flowspec [COMMAND [ARGUMENTS]]\n"
       << "Run 'flowspec --help' for the commands.\n";
   return exitUsage;
}

int run(int argc, char** argv) {
   Args args(argv + (argc > 0 ? 1 : 0), argv + argc);
   char const* argv0 = argc > 0 ? argv[0] : nullptr;
   if (args.empty()) return demoCommand({}, argv0, std::cout, std::cerr);

   std::string_view const name = args.front();
   Args const rest(args.begin() + 1, args.end());
   if (name == "--version" && rest.empty()) {
      std::cout << "flowspec " << toolVersion << '\n';
      return exitOk;
   }
   if (name == "--man" && rest.empty()) {
      // The manual page, in roff, from the same texts as the help.
      std::cout << manPage();
      return exitOk;
   }
   if (name == "--help" || name == "-h" || name == "help") {
      if (name != "help" || rest.empty()) {
         if (!rest.empty()) return toolUsageError("--help takes no arguments", std::cerr);
         std::cout << toolHelp();
         return exitOk;
      }
      Command const* c = rest.size() == 1 ? findCommand(rest.front()) : nullptr;
      if (!c) return toolUsageError("help takes one command name", std::cerr);
      std::cout << c->help();
      return exitOk;
   }
   Command const* command = findCommand(name);
   if (!command) {
      std::string const what =
          name.size() > 1 && name[0] == '-' ? "unknown option '" : "unknown command '";
      return toolUsageError(what + std::string(name) + "'", std::cerr);
   }
   for (std::string_view a : rest) {
      if (a == "--help" || a == "-h") {
         std::cout << command->help();
         return exitOk;
      }
   }
   return command->run(rest, argv0, std::cout, std::cerr);
}

} // namespace

int usageError(std::string_view command, std::string_view usage, std::string const& problem,
               std::ostream& err) {
   err << "flowspec " << command << ": " << problem << "\n"
       << "usage: " << usage << "\n"
       << "Run 'flowspec " << command << " --help' for more.\n";
   return exitUsage;
}

} // namespace FlowspecTool

int main(int argc, char** argv) {
   try {
      return FlowspecTool::run(argc, argv);
   } catch (std::exception const& e) {
      // Every input the tool reads is checked before the library sees it;
      // reaching here is a bug of the tool, reported rather than crashed on.
      std::cerr << "flowspec: internal error: " << e.what() << '\n';
      return FlowspecTool::exitInternal;
   }
}
