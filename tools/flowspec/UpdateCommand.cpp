// flowspec update and flowspec mrt: the flowspec rules of BGP UPDATE messages,
// given as hex or a file, or recorded in an MRT file.
#include "CheckModel.h"
#include "Commands.h"

#include "Hex.h"
#include "Json.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/wire/Mrt.h"
#include "Flowspec/wire/Update.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace FlowspecTool {

namespace {

using Flowspec::FlowspecRoute;
using Flowspec::MatchCompType;
using Flowspec::UpdateContents;
using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view updateUsage =
    "flowspec update HEX...|FILE [--json] [--redirect RT=VRF]...";
constexpr std::string_view mrtUsage = "flowspec mrt FILE [--json] [--redirect RT=VRF]...";

constexpr char const* outputHelp =
    R"(For each rule announced it prints the key in its command-line form, the
family and SAFI (with the route distinguisher of SAFI 134), the actions (in
the words of a rule file: drop, permit, rate N, redirect vrf N, redirect
ADDRESS, copy, dscp N, sample, continue; none when the UPDATE carries none),
the verdict of the feasibility test and the match set derived from the key,
sanitised as 'flowspec check' sanitises it; then each withdrawn key. Rules
are read as RFC 8955 and RFC 8956 say, malformed messages handled as RFC
7606 says: the first line of each UPDATE names the handling (accept,
attribute discard, treat-as-withdraw, AFI/SAFI disable, session reset), and
each malformation goes to standard error as 'offset N: reason', N counted
from the start of the input.

Options:
  --json              print the same as JSON
  --redirect RT=VRF   a redirect to route target RT (RFC 8955 section 7.4:
                      65000:100, 192.0.2.1:100, or 4200000000:100 for a
                      4-byte AS) is a redirect to VRF id VRF; repeatable.
                      Without it a redirect is not taken, and a note says so
)";

// ---- reading the input ----------------------------------------------------------

bool readFile(std::string const& path, Bytes& out, std::string& why) {
   std::error_code ec;
   if (std::filesystem::is_directory(path, ec)) {
      why = "it is a directory";
      return false;
   }
   std::ifstream in(path, std::ios::binary);
   if (!in) {
      why = std::strerror(errno);
      return false;
   }
   out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
   if (in.bad()) {
      why = "read error";
      return false;
   }
   return true;
}

// ---- a rule as check shows it ------------------------------------------------------

std::string familyText(Ipkit::AddressFamily af) {
   std::ostringstream os;
   os << af;
   return os.str();
}

std::string rdText(FlowspecRoute const& r) {
   // RFC 4364 section 4.2: type 0 AS2:number, 1 IPv4:number, 2 AS4:number.
   std::uint64_t const rd = r.routeDistinguisher;
   unsigned const type = unsigned(rd >> 48);
   std::uint64_t const value = rd & 0xffffffffffffULL;
   switch (type) {
   case 0:
      return std::to_string(value >> 32) + ":" + std::to_string(value & 0xffffffff);
   case 1: {
      Ipkit::IpGenAddr const a{Ipkit::IpAddr(std::uint32_t(value >> 16))};
      return a.stringValue().str() + ":" + std::to_string(value & 0xffff);
   }
   case 2:
      return std::to_string(value >> 16) + ":" + std::to_string(value & 0xffff);
   default:
      return "type " + std::to_string(type) + " " + std::to_string(value);
   }
}

std::string detailLabel(MatchCompType t) {
   return Flowspec::FlowspecUtil().compTypeToDetailLabel(t).str();
}

// What a rule's configuration makes of a route: its match set from the key,
// the feasibility test and the sanitising, as flowspec check does them.
struct RuleView {
   bool feasible = true;
   MatchCompType blame = MatchCompType::invalid;
   std::vector<std::pair<std::string, std::vector<std::string>>> matchSet;
   std::string error; // the key's match set could not be derived
};

RuleView viewOf(FlowspecRoute const& r) {
   RuleView v;
   std::vector<Flowspec::MatchComponent> components;
   try {
      components = Flowspec::matchSetFromKey(r.key);
   } catch (std::exception const& e) {
      v.error = e.what();
      v.feasible = false;
      return v;
   }
   Vex::Ptr<Flowspec::RuleConfig> rule = Flowspec::RuleConfig::RuleConfigIs(r.key);
   for (auto const& c : components)
      rule->matchSetIs(c);
   v.blame = rule->infeasibleMatchInMatchSet();
   // A component that accepts nothing makes the rule infeasible too.
   if (v.blame == MatchCompType::invalid) v.blame = componentMatchingNothing(*rule);
   v.feasible = v.blame == MatchCompType::invalid;
   if (v.feasible) rule->sanitizeMatchSet();
   for (auto i = rule->matchSetIteratorConst(); i; ++i) {
      Flowspec::MatchComponent const& c = i.value();
      std::vector<std::string> values;
      if (c.matchTypePrefix()) values.push_back(c.prefix().stringValue().str());
      for (auto n = c.numericalRangeIteratorConst(); n; ++n)
         values.push_back(n.key().toStrep().str());
      auto const mask = [&](auto const& m) {
         values.push_back(std::string(m.matchAll() ? "ALL (" : "ANY (") + m.toStrepCli().str() +
                          ")");
      };
      for (auto n = c.tcpBitMaskIteratorConst(); n; ++n)
         mask(n.key());
      for (auto n = c.ipBitMaskIteratorConst(); n; ++n)
         mask(n.key());
      // The sets iterate in an order of their own: print them sorted.
      std::sort(values.begin(), values.end(), [](std::string const& a, std::string const& b) {
         return a.size() != b.size() ? a.size() < b.size() : a < b;
      });
      v.matchSet.emplace_back(detailLabel(c.compType()), std::move(values));
   }
   return v;
}

} // namespace

// The actions in the words of a rule file.
std::string actionsText(Flowspec::RuleActions const& a) {
   Flowspec::ActionFieldSet const f = a.actionFieldSet;
   Flowspec::TrafficRedirect const& redirect = a.trafficRedirect;
   std::vector<std::string> words;
   if (f.trafficDrop()) words.push_back("drop");
   if (f.trafficPermit()) words.push_back("permit");
   if (f.trafficRate()) {
      std::ostringstream os;
      os << "rate " << a.trafficRateLimit;
      if (a.rateUnit == Flowspec::RateUnit::packets) os << " packets";
      words.push_back(os.str());
   }
   if (f.trafficRedirect()) {
      std::string w = "redirect ";
      if (redirect.vrfId() != Vrf::VrfIdMap::noVrfId) {
         w += "vrf " + std::to_string(redirect.vrfId());
      } else {
         w += redirect.addr().stringValue().str();
      }
      if (redirect.copy()) w += " copy";
      words.push_back(w);
   }
   if (f.trafficMarking()) words.push_back("dscp " + std::to_string(a.trafficMarkingDscp.value()));
   if (a.trafficAction.sampleAndLog()) words.push_back("sample");
   if (a.trafficAction.continueMatch()) words.push_back("continue");
   std::string text;
   for (auto const& w : words)
      text += (text.empty() ? "" : " ") + w;
   return text.empty() ? "none" : text;
}

namespace {

// ---- text ---------------------------------------------------------------------------

void printRoute(FlowspecRoute const& r, bool announced, std::ostream& out) {
   out << "  " << r.key.toStrepCli() << '\n';
   out << "    family     " << familyText(r.key.addressFamily()) << ", SAFI " << unsigned(r.safi);
   if (r.safi == Flowspec::safiFlowspecVpn) out << ", RD " << rdText(r);
   out << '\n';
   if (!announced) return;
   out << "    actions    " << actionsText(r.actions) << '\n';
   RuleView const v = viewOf(r);
   if (!v.error.empty()) {
      out << "    verdict    the key has no match set: " << v.error << '\n';
      return;
   }
   out << "    verdict    "
       << (v.feasible ? std::string("feasible") : "infeasible: " + detailLabel(v.blame)) << '\n';
   out << "    match set";
   if (v.matchSet.empty()) out << "  any packet";
   out << '\n';
   for (auto const& [label, values] : v.matchSet) {
      out << "      " << label << ':';
      for (auto const& value : values)
         out << ' ' << value;
      out << '\n';
   }
}

void printContents(UpdateContents const& u, std::ostream& out) {
   out << "handling: " << Flowspec::updateActionText(u.action) << '\n';
   for (auto const& n : u.notes)
      out << "note: offset " << n.offset << ": " << n.reason << '\n';
   out << "announced: " << u.announced.size() << '\n';
   for (FlowspecRoute const& r : u.announced)
      printRoute(r, true, out);
   out << "withdrawn: " << u.withdrawn.size() << '\n';
   for (FlowspecRoute const& r : u.withdrawn)
      printRoute(r, false, out);
}

// ---- JSON
// -----------------------------------------------------------------------------

void jsonRoute(JsonWriter& j, FlowspecRoute const& r, bool announced) {
   j.beginObject();
   j.member("key", r.key.toStrepCli().view());
   j.member("family", familyText(r.key.addressFamily()));
   j.member("safi", r.safi);
   j.key("routeDistinguisher");
   if (r.safi == Flowspec::safiFlowspecVpn) {
      j.value(rdText(r));
   } else {
      j.null();
   }
   if (announced) {
      Flowspec::RuleActions const& a = r.actions;
      Flowspec::ActionFieldSet const f = a.actionFieldSet;
      Flowspec::TrafficRedirect const& redirect = a.trafficRedirect;
      j.key("actions");
      j.beginObject();
      j.member("drop", f.trafficDrop());
      j.member("permit", f.trafficPermit());
      j.key("rate");
      if (f.trafficRate()) {
         j.value(static_cast<std::uint64_t>(a.trafficRateLimit));
      } else {
         j.null();
      }
      j.key("rateUnit");
      if (f.trafficRate()) {
         j.value(a.rateUnit == Flowspec::RateUnit::packets ? "packets" : "bytes");
      } else {
         j.null();
      }
      j.key("redirect");
      if (f.trafficRedirect()) {
         j.beginObject();
         j.key("vrf");
         if (redirect.vrfId() == Vrf::VrfIdMap::noVrfId) {
            j.null();
         } else {
            j.value(std::uint64_t(redirect.vrfId()));
         }
         j.key("address");
         if (redirect.addr().isUnspecified()) {
            j.null();
         } else {
            j.value(redirect.addr().stringValue().view());
         }
         j.member("copy", redirect.copy());
         j.endObject();
      } else {
         j.null();
      }
      j.key("dscp");
      if (f.trafficMarking()) {
         j.value(std::uint64_t(a.trafficMarkingDscp.value()));
      } else {
         j.null();
      }
      j.member("sample", a.trafficAction.sampleAndLog());
      j.member("continue", a.trafficAction.continueMatch());
      j.endObject();
      RuleView const v = viewOf(r);
      j.member("feasible", v.feasible);
      j.key("infeasibleMatch");
      if (!v.feasible && v.error.empty()) {
         j.value(detailLabel(v.blame));
      } else {
         j.null();
      }
      j.key("matchSet");
      j.beginArray();
      for (auto const& [label, values] : v.matchSet) {
         j.beginObject();
         j.member("component", label);
         j.key("values");
         j.beginArray();
         for (auto const& value : values)
            j.value(value);
         j.endArray();
         j.endObject();
      }
      j.endArray();
   }
   j.endObject();
}

void jsonContents(JsonWriter& j, UpdateContents const& u) {
   j.member("handling", Flowspec::updateActionText(u.action));
   j.key("problems");
   j.beginArray();
   for (auto const& p : u.problems) {
      j.beginObject();
      j.member("offset", p.offset);
      j.member("handling", Flowspec::updateActionText(p.action));
      j.member("reason", p.reason);
      j.endObject();
   }
   j.endArray();
   j.key("notes");
   j.beginArray();
   for (auto const& n : u.notes) {
      j.beginObject();
      j.member("offset", n.offset);
      j.member("reason", n.reason);
      j.endObject();
   }
   j.endArray();
   j.key("announced");
   j.beginArray();
   for (FlowspecRoute const& r : u.announced)
      jsonRoute(j, r, true);
   j.endArray();
   j.key("withdrawn");
   j.beginArray();
   for (FlowspecRoute const& r : u.withdrawn)
      jsonRoute(j, r, false);
   j.endArray();
}

void reportProblems(UpdateContents const& u, std::ostream& err) {
   for (auto const& p : u.problems)
      err << "offset " << p.offset << ": " << p.reason << '\n';
}

} // namespace

// A whole decimal number up to `max`.
bool readNumber(std::string_view text, std::uint64_t max, std::uint64_t& out) {
   if (text.empty() || text.size() > 10) return false;
   out = 0;
   for (char c : text) {
      if (c < '0' || c > '9') return false;
      out = out * 10 + std::uint64_t(c - '0');
   }
   return out <= max;
}

// "RT=VRF": a route target in one of its three forms (RFC 8955 section 7.4:
// 2-byte AS:4-byte number, IPv4:2-byte number, 4-byte AS:2-byte number, the
// last for an AS above 65535) and the VRF id it redirects to.
bool readRedirect(std::string_view text, Flowspec::RouteTargetVrfs& table) {
   std::size_t const eq = text.find('=');
   std::size_t const colon = text.find(':');
   if (eq == std::string_view::npos || colon == std::string_view::npos || colon > eq) {
      return false;
   }
   std::string_view const global = text.substr(0, colon);
   std::string_view const local = text.substr(colon + 1, eq - colon - 1);
   std::uint64_t g = 0, l = 0, vrf = 0;
   if (!readNumber(text.substr(eq + 1), Vrf::VrfIdMap::noVrfId - 1, vrf)) return false;
   Flowspec::RouteTarget rt;
   if (global.find('.') != std::string_view::npos) {
      try {
         Ipkit::IpAddr const a{Vex::String(std::string(global))};
         rt = {Flowspec::RouteTarget::Form::ipv4, a.value(), 0};
      } catch (Vex::Exception const&) {
         return false;
      }
      if (!readNumber(local, 0xffff, l)) return false;
   } else if (!readNumber(global, 0xffffffff, g)) {
      return false;
   } else if (g > 0xffff) {
      rt = {Flowspec::RouteTarget::Form::as4, std::uint32_t(g), 0};
      if (!readNumber(local, 0xffff, l)) return false;
   } else {
      rt = {Flowspec::RouteTarget::Form::as2, std::uint32_t(g), 0};
      if (!readNumber(local, 0xffffffff, l)) return false;
   }
   rt.local = std::uint32_t(l);
   table[rt] = Vrf::VrfIdMap::VrfId(vrf);
   return true;
}

namespace {

// The words of a command: its operands, --json and --redirect RT=VRF.
bool readArgs(Args const& args, std::string_view command, std::string_view usage,
              std::vector<std::string>& operands, bool& json, Flowspec::UpdateOptions& options,
              std::ostream& err, int& status) {
   for (std::size_t i = 0; i < args.size(); ++i) {
      std::string_view const a = args[i];
      if (a == "--json") {
         json = true;
      } else if (a == "--redirect") {
         if (i + 1 == args.size() || !readRedirect(args[i + 1], options.routeTargets)) {
            status = usageError(command, usage,
                                "--redirect takes RT=VRF, as 65000:100=5, "
                                "192.0.2.1:100=5 or 4200000000:100=5",
                                err);
            return false;
         }
         ++i;
      } else if (a.size() > 1 && a[0] == '-') {
         status = usageError(command, usage, "unknown option '" + std::string(a) + "'", err);
         return false;
      } else {
         operands.emplace_back(a);
      }
   }
   if (operands.empty()) {
      status =
          usageError(command, usage,
                     command == "mrt" ? "which MRT file?" : "which UPDATE (hex or file)?", err);
      return false;
   }
   return true;
}

} // namespace

std::string updateHelp() {
   return std::string(
              R"(usage: flowspec update HEX...|FILE [--json] [--redirect RT=VRF]...

Reads one BGP UPDATE message (RFC 4271 section 4.3, from its 16-byte marker
on), given as hex on the command line (in one word or several) or as a file
holding hex or the raw bytes, and prints the flowspec rules it announces (MP_REACH_NLRI of AFI 1 or
2, SAFI 133 or 134, with the actions of its EXTENDED_COMMUNITIES) and the
keys it withdraws (MP_UNREACH_NLRI).

)") + outputHelp +
          R"(
Exit status: 0 the message was read and nothing in it was malformed; 1 it
was malformed (it is still shown as handled); 2 usage error or a file that
cannot be read.
)";
}

std::string mrtHelp() {
   return std::string(R"(usage: flowspec mrt FILE [--json] [--redirect RT=VRF]...

Reads an MRT file (RFC 6396) and prints the flowspec rules of each BGP UPDATE
it recorded in a BGP4MP_MESSAGE or BGP4MP_MESSAGE_AS4 record (and their
_LOCAL and BGP4MP_ET forms); other records and messages are counted. A
record that cannot be read is reported as 'offset N: reason'; a record cut
short ends the file.

)") + outputHelp +
          R"(
Exit status: 0 every record and UPDATE was read and nothing was malformed; 1
something was; 2 usage error or a file that cannot be read.
)";
}

int updateCommand(Args const& args, std::ostream& out, std::ostream& err) {
   std::vector<std::string> operands;
   bool json = false;
   int status = exitOk;
   Flowspec::UpdateOptions options;
   if (!readArgs(args, "update", updateUsage, operands, json, options, err, status)) return status;
   // Several words are one hex text split by blanks.
   std::string operand;
   for (auto const& o : operands)
      operand += o;
   Bytes message;
   std::error_code ec;
   if (operands.size() == 1 && std::filesystem::exists(operand, ec)) {
      std::string why;
      Bytes file;
      if (!readFile(operand, file, why)) {
         err << "flowspec update: cannot read " << operand << ": " << why << '\n';
         return exitUsage;
      }
      // A file of hex text, or the message itself.
      auto hex =
          parseHex(std::string_view(reinterpret_cast<char const*>(file.data()), file.size()));
      message = hex && !hex->empty() ? std::move(*hex) : std::move(file);
   } else if (auto hex = parseHex(operand); hex && !hex->empty()) {
      message = std::move(*hex);
   } else {
      return usageError("update", updateUsage, "'" + operand + "' is neither a file nor hex digits",
                        err);
   }
   UpdateContents const u = Flowspec::readUpdate(message, options);
   reportProblems(u, err);
   if (json) {
      JsonWriter j(out);
      j.beginObject();
      j.member("bytes", message.size());
      jsonContents(j, u);
      j.endObject();
      j.end();
   } else {
      out << "UPDATE of " << message.size() << " bytes\n";
      printContents(u, out);
   }
   return u.problems.empty() ? exitOk : exitRefused;
}

int mrtCommand(Args const& args, std::ostream& out, std::ostream& err) {
   std::vector<std::string> operands;
   bool json = false;
   int status = exitOk;
   Flowspec::UpdateOptions options;
   if (!readArgs(args, "mrt", mrtUsage, operands, json, options, err, status)) {
      return status;
   }
   if (operands.size() > 1) return usageError("mrt", mrtUsage, "one MRT file at a time", err);
   std::string const& path = operands.front();
   Bytes file;
   std::string why;
   if (!readFile(path, file, why)) {
      err << "flowspec mrt: cannot read " << path << ": " << why << '\n';
      return exitUsage;
   }
   std::vector<Flowspec::MrtUpdate> updates;
   Flowspec::MrtSummary const s = Flowspec::walkMrt(
       file, options, [&](Flowspec::MrtUpdate const& u) { updates.push_back(u); });
   bool malformed = !s.errors.empty();
   for (auto const& u : updates) {
      reportProblems(u.contents, err);
      malformed = malformed || !u.contents.problems.empty();
   }
   for (auto const& e : s.errors)
      err << "offset " << e.offset << ": " << e.reason << '\n';
   auto const peer = [](Flowspec::MrtUpdate const& u) { return u.peerAddress.stringValue().str(); };
   if (json) {
      JsonWriter j(out);
      j.beginObject();
      j.member("file", path);
      j.member("records", s.records);
      j.key("updates");
      j.beginArray();
      for (auto const& u : updates) {
         j.beginObject();
         j.member("offset", u.offset);
         j.member("time", u.timestamp);
         j.member("peer", peer(u));
         j.member("peerAs", u.peerAs);
         jsonContents(j, u.contents);
         j.endObject();
      }
      j.endArray();
      j.member("otherMessages", s.otherMessages);
      j.member("skippedRecords", s.skippedRecords);
      j.key("errors");
      j.beginArray();
      for (auto const& e : s.errors) {
         j.beginObject();
         j.member("offset", e.offset);
         j.member("reason", e.reason);
         j.endObject();
      }
      j.endArray();
      j.endObject();
      j.end();
   } else {
      auto const count = [](std::size_t n, std::string const& thing) {
         return std::to_string(n) + " " + thing + (n == 1 ? "" : "s");
      };
      out << path << ": " << count(s.records, "record") << ", " << count(s.updates, "UPDATE")
          << ", " << count(s.otherMessages, "other BGP message") << ", "
          << count(s.skippedRecords, "other record") << " skipped, "
          << count(s.errors.size(), "unreadable record") << "\n";
      for (auto const& u : updates) {
         out << "\nUPDATE at offset " << u.offset << ", time " << u.timestamp << ", peer "
             << peer(u) << " AS " << u.peerAs << '\n';
         printContents(u.contents, out);
      }
   }
   return malformed ? exitRefused : exitOk;
}

} // namespace FlowspecTool
