// The tool as three processes (serve, hw-agent, show) and a watcher. Each
// publishes or mounts trees by name in a state directory:
//
//   | name             | tree     | written by      | read by                  |
//   |------------------|----------|-----------------|--------------------------|
//   | flowspec/config  | Config   | serve           | hw-agent, show, watch    |
//   | flowspec/status  | Status   | hw-agent        | show, watch              |
//   | flowspec/counter | Counter  | hw-agent        | watch                    |
#include "StateCommands.h"

#include "CheckModel.h"
#include "HwAgent.h"
#include "RuleFile.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Statedb/Mount.h"
#include "Statedb/Publisher.h"
#include "Statedb/TreeCodec.h"
#include "Vex/Reflect.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <sstream>

namespace FlowspecTool {

namespace {

volatile std::sig_atomic_t stopRequested = 0;

void onStop(int) {
   stopRequested = 1;
}

void stopOnSignals() {
   stopRequested = 0;
   std::signal(SIGINT, onStop);
   std::signal(SIGTERM, onStop);
}

struct StateArgs {
   std::string stateDir;
   std::vector<std::string> files;
   bool json = false;
   int runMs = -1; ///< --for MS: stop after this long (tests and demos)
   Statedb::JournalOptions journal{};
};

/// "batch", "never" or "interval:MS".
bool fsyncPolicy(std::string_view text, Statedb::JournalOptions& o) {
   if (text == "batch") {
      o.fsync = Statedb::FsyncPolicy::everyBatch;
   } else if (text == "never") {
      o.fsync = Statedb::FsyncPolicy::never;
   } else if (text.starts_with("interval:") && text.size() > 9) {
      int const ms = std::atoi(std::string(text.substr(9)).c_str());
      if (ms <= 0) return false;
      o.fsync = Statedb::FsyncPolicy::interval;
      o.interval = std::chrono::milliseconds(ms);
   } else {
      return false;
   }
   return true;
}

/// Reads --state DIR, --json (when allowed), --for MS and files (when
/// allowed); false after an error on `err`.
bool parse(Args const& args, StateArgs& a, bool files, bool json, std::ostream& err) {
   for (std::size_t i = 0; i < args.size(); ++i) {
      std::string_view const arg = args[i];
      if ((arg == "--state" || arg == "--for") && i + 1 < args.size()) {
         if (arg == "--state") {
            a.stateDir = std::string(args[++i]);
         } else {
            a.runMs = std::atoi(std::string(args[++i]).c_str());
         }
      } else if (files && arg == "--fsync" && i + 1 < args.size()) {
         if (!fsyncPolicy(args[++i], a.journal)) {
            err << "flowspec: --fsync takes batch, interval:MS or never\n";
            return false;
         }
      } else if (json && arg == "--json") {
         a.json = true;
      } else if (files && !arg.starts_with("--")) {
         a.files.emplace_back(arg);
      } else {
         err << "flowspec: unexpected argument '" << arg << "'\n";
         return false;
      }
   }
   if (a.stateDir.empty()) {
      err << "flowspec: --state DIR is required\n";
      return false;
   }
   return true;
}

bool timeLeft(std::chrono::steady_clock::time_point start, int runMs) {
   if (stopRequested) return false;
   return runMs < 0 || std::chrono::steady_clock::now() - start < std::chrono::milliseconds(runMs);
}

Statedb::MountOptions mountOf(std::string const& dir, char const* name) {
   return {.stateDir = dir, .name = name};
}

} // namespace

// ---- serve ------------------------------------------------------------------

std::string serveHelp() {
   return R"(usage: flowspec serve --state DIR [FILE...] [--fsync POLICY] [--for MS]

Publishes the configuration (Config) as flowspec/config in the state
directory DIR: first what its journal holds (a restarted serve comes back
with its rules), then the rules of each FILE, one batch per file. Readers
connect to DIR/flowspec/config.sock; the journal is
DIR/flowspec/config.journal beside it. --fsync says when batches reach
the disk: batch (each batch before readers get it; the default),
interval:MS (at most MS milliseconds after it), or never (when the kernel
writes it back); a killed serve loses nothing under any policy, a machine
that loses power may lose the last interval. Runs until interrupted (or for
MS milliseconds).
)";
}

int serveCommand(Args const& args, std::ostream& out, std::ostream& err) {
   StateArgs a;
   if (!parse(args, a, true, false, err)) return exitUsage;
   stopOnSignals();
   try {
      auto config = Flowspec::Config::ConfigIs("config");
      Statedb::PublishOptions options{.stateDir = a.stateDir, .name = "flowspec/config"};
      options.journalOptions = a.journal;
      Statedb::Publisher pub(config, options);
      int refused = 0;
      for (std::string const& file : a.files) {
         std::ifstream in(file);
         if (!in) {
            err << "flowspec: cannot read " << file << "\n";
            return exitUsage;
         }
         std::stringstream text;
         text << in.rdbuf();
         RuleFile rules = readRuleFile(text.str(), file);
         for (Refusal const& r : rules.refusals) {
            err << r.text(file) << "\n";
            ++refused;
         }
         Statedb::Publisher::Batch batch(pub);
         for (RuleLine const& line : rules.rules)
            configureRule(*config, line);
      }
      std::size_t rules = 0;
      for (auto v = config->vrfRuleConfigIteratorConst(); v; ++v)
         rules += v.ptr()->ruleSize();
      out << "serving " << rules << " rules at " << pub.socketPath() << " (sequence "
          << pub.sequence() << ", " << refused << " lines refused)" << std::endl;
      auto const start = std::chrono::steady_clock::now();
      while (timeLeft(start, a.runMs))
         pub.service(100);
      return refused ? exitRefused : exitOk;
   } catch (Vex::Exception const& e) {
      err << "flowspec: " << e.what() << "\n";
      return exitInternal;
   }
}

// ---- hw-agent ---------------------------------------------------------------

std::string hwAgentHelp() {
   return R"(usage: flowspec hw-agent --state DIR [--for MS]

Mounts flowspec/config from the state directory DIR, programs its rules
into the simulated hardware (the model 'flowspec check --help' describes)
as they arrive, and publishes the outcome as flowspec/status (Status) and
the counters as flowspec/counter (Counter). Waits for serve when it is not
running yet, and follows it when it restarts.
)";
}

int hwAgentCommand(Args const& args, std::ostream& out, std::ostream& err) {
   StateArgs a;
   if (!parse(args, a, false, false, err)) return exitUsage;
   stopOnSignals();
   try {
      auto mount = Statedb::Mount::mountIs(Flowspec::Config::_vexType,
                                           mountOf(a.stateDir, "flowspec/config"));
      auto status = Flowspec::Status::StatusIs("status");
      auto counter = Flowspec::Counter::CounterIs("counter");
      Statedb::PublishOptions statusOptions{.stateDir = a.stateDir, .name = "flowspec/status"};
      statusOptions.journal = false;
      Statedb::PublishOptions counterOptions{.stateDir = a.stateDir, .name = "flowspec/counter"};
      counterOptions.journal = false;
      Statedb::Publisher statusPub(status, statusOptions);
      Statedb::Publisher counterPub(counter, counterOptions);
      HwAgent agent(Vex::ptrCast<Flowspec::Config const>(mount->root()), status, counter);
      bool pending = false;
      mount->onAppliedIs([&](std::uint64_t) { pending = true; });
      mount->onStateIs([&](Statedb::MountState s) {
         out << "flowspec/config " << Statedb::mountStateText(s) << std::endl;
      });
      auto const start = std::chrono::steady_clock::now();
      while (timeLeft(start, a.runMs)) {
         Statedb::serviceAll({mount.get(), &statusPub, &counterPub}, 100);
         if (pending) {
            pending = false;
            Statedb::Publisher::Batch s(statusPub), c(counterPub);
            agent.run();
         }
      }
      return exitOk;
   } catch (Vex::Exception const& e) {
      err << "flowspec: " << e.what() << "\n";
      return exitInternal;
   }
}

// ---- show -------------------------------------------------------------------

std::string showHelp() {
   return R"(usage: flowspec show --state DIR [--json]

Mounts flowspec/config and flowspec/status from the state directory DIR
and prints each rule, VRF by VRF in key order, with the status the hardware
agent gave it ("Not programmed yet" while it has none). --json prints the
same as one JSON object.
)";
}

namespace {

std::string jsonText(std::string_view s) {
   std::string o = "\"";
   for (char c : s) {
      if (c == '"' || c == '\\') o += '\\';
      o += c;
   }
   return o + "\"";
}

/// Mounts `name` and waits (bounded) until it is live.
std::unique_ptr<Statedb::Mount> mountLive(Vex::VexType const& type, std::string const& dir,
                                          char const* name) {
   auto m = Statedb::Mount::mountIs(type, mountOf(dir, name));
   m->waitFor([&] { return m->state() == Statedb::MountState::live; }, 2000);
   return m;
}

} // namespace

int showCommand(Args const& args, std::ostream& out, std::ostream& err) {
   StateArgs a;
   if (!parse(args, a, false, true, err)) return exitUsage;
   try {
      auto configMount = mountLive(Flowspec::Config::_vexType, a.stateDir, "flowspec/config");
      auto statusMount = mountLive(Flowspec::Status::_vexType, a.stateDir, "flowspec/status");
      if (configMount->state() != Statedb::MountState::live) {
         err << "flowspec: no configuration is served in " << a.stateDir << "\n";
         return exitRefused;
      }
      auto config = Vex::ptrCast<Flowspec::Config const>(configMount->root());
      auto status = Vex::ptrCast<Flowspec::Status const>(statusMount->root());
      Flowspec::FlowspecUtil util;
      bool first = true;
      if (a.json) out << "{\"rules\": [";
      for (auto v = config->vrfRuleConfigIteratorConst(); v; ++v) {
         auto vrfStatus = status->vrfRuleStatus(v.key());
         for (auto r = v.ptr()->ruleIteratorConst(); r; ++r) {
            auto rs = vrfStatus ? vrfStatus->ruleStatus(r.key()) : nullptr;
            std::string const text =
                rs ? util.statusCodeToStrep(rs->statusCode()).c_str() : "Not programmed yet";
            std::string const reason = rs ? rs->errorReason().c_str() : "";
            std::string const key = r.key().toStrepCli().c_str();
            if (a.json) {
               out << (first ? "" : ",") << "\n  {\"vrf\": " << v.key()
                   << ", \"key\": " << jsonText(key) << ", \"ruleId\": " << r.ptr()->ruleId()
                   << ", \"status\": " << jsonText(text) << ", \"reason\": " << jsonText(reason)
                   << "}";
            } else {
               out << "vrf " << v.key() << "  " << key << "  " << text
                   << (reason.empty() ? "" : ": ") << reason << "\n";
            }
            first = false;
         }
      }
      if (a.json) {
         out << "\n], \"config\": " << jsonText(Statedb::mountStateText(configMount->state()))
             << ", \"configSequence\": " << configMount->lastSequence()
             << ", \"status\": " << jsonText(Statedb::mountStateText(statusMount->state()))
             << ", \"statusSequence\": " << statusMount->lastSequence() << "}\n";
      } else {
         out << "config " << Statedb::mountStateText(configMount->state()) << " at sequence "
             << configMount->lastSequence() << ", status "
             << Statedb::mountStateText(statusMount->state()) << " at sequence "
             << statusMount->lastSequence() << "\n";
      }
      return exitOk;
   } catch (Vex::Exception const& e) {
      err << "flowspec: " << e.what() << "\n";
      return exitInternal;
   }
}

// ---- watch ------------------------------------------------------------------

std::string watchHelp() {
   return R"(usage: flowspec watch --state DIR [--for MS]

Mounts flowspec/config, flowspec/status and flowspec/counter from the
state directory DIR and prints every change as its observers hear it, one
line each: the entity, the attribute or collection, the member's key, and
the new value (or "deleted"). Also prints each change of a mount's state.
)";
}

namespace {

/// Prints what the observers of a whole mirror tree hear.
class Printer : public Statedb::TreeObserver {
 public:
   Printer(std::ostream& out, Vex::Ptr<Vex::Entity const> const& root)
       : TreeObserver(*root), out_(out) {}

 private:
   void onTreeChange(Vex::Entity const& e, Vex::AttrRow const& row,
                     Vex::GenericValue const& key) override {
      out_ << Vex::entityFullName(e) << " " << row.name;
      if (!row.has(Vex::attrCollection)) {
         out_ << " = " << Statedb::rowGet(e, row).text() << std::endl;
         return;
      }
      out_ << "[" << key.text() << "]";
      Vex::GenericValue present;
      row.access(Vex::AttrOp::has, const_cast<Vex::Entity*>(&e), &present, {&key, 1});
      if (!present.value<bool>()) {
         out_ << " deleted" << std::endl;
      } else if (row.has(Vex::attrChildren)) {
         out_ << " created" << std::endl;
      } else {
         out_ << " = " << Statedb::rowGet(e, row, &key).text() << std::endl;
      }
   }
   std::ostream& out_;
};

} // namespace

int watchCommand(Args const& args, std::ostream& out, std::ostream& err) {
   StateArgs a;
   if (!parse(args, a, false, false, err)) return exitUsage;
   stopOnSignals();
   try {
      struct Watched {
         char const* name;
         Vex::VexType const& type;
      };
      Watched const watched[] = {{"flowspec/config", Flowspec::Config::_vexType},
                                 {"flowspec/status", Flowspec::Status::_vexType},
                                 {"flowspec/counter", Flowspec::Counter::_vexType}};
      std::vector<std::unique_ptr<Statedb::Mount>> mounts;
      std::vector<std::unique_ptr<Printer>> printers;
      std::vector<Statedb::Endpoint*> endpoints;
      for (Watched const& w : watched) {
         mounts.push_back(Statedb::Mount::mountIs(w.type, mountOf(a.stateDir, w.name)));
         printers.push_back(std::make_unique<Printer>(out, mounts.back()->root()));
         std::string const name = w.name;
         Statedb::Mount* m = mounts.back().get();
         m->onStateIs([&out, name, m](Statedb::MountState s) {
            out << name << " " << Statedb::mountStateText(s);
            if (s == Statedb::MountState::disconnected && !m->lastError().empty()) {
               out << " (" << m->lastError() << ")";
            }
            out << std::endl;
         });
         endpoints.push_back(m);
      }
      auto const start = std::chrono::steady_clock::now();
      while (timeLeft(start, a.runMs))
         Statedb::serviceAll(endpoints, 100);
      return exitOk;
   } catch (Vex::Exception const& e) {
      err << "flowspec: " << e.what() << "\n";
      return exitInternal;
   }
}

} // namespace FlowspecTool
