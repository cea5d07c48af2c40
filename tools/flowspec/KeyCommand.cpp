// flowspec key: every text form, pair, hash and log encoding of one rule key.
#include "Commands.h"

#include "RuleFile.h"

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/FlowspecKeyParse.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/MatchOpVal.h"
#include "Flowspec/values/NumericalRange.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Vex/NboAttrLog.h"

#include <array>
#include <cstdio>
#include <string>

namespace FlowspecTool {

namespace {

// "FIN 1, SYN 2, ...": the bits of a bit mask and their values.
template <class Bit, std::size_t n>
std::string bitList(Bit const (&bits)[n]) {
   std::string list;
   for (std::size_t b = 0; b < n; ++b)
      list += std::string(b ? ", " : "") + bits[b].cliName + " " + std::to_string(1U << b);
   return list;
}

} // namespace

std::string keyGrammarHelp() {
   Flowspec::FlowspecUtil const util;
   std::string text = R"(A rule key in the command-line form is DEST;SOURCE;COMPONENT;... where DEST
and SOURCE are prefixes (10.1.0.0/16, 2001:db8::/32) or * for any address,
and each COMPONENT is LABEL:VALUES. The components come in this order, each
at most once:
)";
   for (auto t = std::uint32_t(Flowspec::MatchCompType::ipProto); t < Flowspec::numComponentTypes;
        ++t) {
      auto const kind = Flowspec::MatchCompType(t);
      std::string const label = util.compTypeToLabel(kind).str();
      std::string const detail = util.compTypeToDetailLabel(kind).str();
      std::uint32_t const max =
          Flowspec::isBitfieldType(kind)
              ? (kind == Flowspec::MatchCompType::tcpFlags ? Flowspec::TcpBitMask::maskForAllBits
                                                           : Flowspec::IpBitMask::maskForAllBits)
              : Flowspec::NumericalRange::matchCompTypeMax(kind);
      char row[96];
      std::snprintf(row, sizeof row, "  %-5s %-16s %s 0 to %u%s\n", label.c_str(), detail.c_str(),
                    Flowspec::isBitfieldType(kind) ? "bit mask" : "number  ", max,
                    kind == Flowspec::MatchCompType::flowLabel ? " (IPv6 only)" : "");
      text += row;
   }
   return text +
          wrapped("Numeric components compare with <, > and = (in that order, together as in >=) "
                  "and join the comparisons with & (and) or | (or): DP:>=1000&<=2000|=80. A "
                  "number needs an operator. TCP flags and fragments are bit masks: =MASK wants "
                  "all bits of MASK set, a bare MASK any of them, ! negates: TCP:=2&!=16 is SYN "
                  "without ACK. TCP bits: " +
                      bitList(Flowspec::TcpBitMask::bitTable) +
                      "; fragment bits: " + bitList(Flowspec::IpBitMask::bitTable) +
                      ". Numbers are decimal (without leading zeros) or hexadecimal (0x12).",
                  0);
}

std::string keyHelp() {
   return std::string(R"(usage: flowspec key TEXT [--vrf N] [--af ipv4|ipv6]

Reads TEXT, a rule key in the command-line form, with Flowspec::parseKeyCli
and prints what the library makes of it:
  command line   toStrepCli, the form TEXT is written in
  detail         toStrepCliDetail, the form for people
  string value   stringValue: VRF, address family and the command-line form
  raw            toStrep: VRF, family, prefixes and the stored words
  value text     valueToStrep, the raw form as the value text reads it
  hash           hash(), the hash of counter collections
  pairs          each stored MatchOpVal: index, word and its fields
  walk           each MatchOpValResult from getOptVal, following nextIndex
  attribute log  the key's attribute-log encoding, in hexadecimal

Options:
  --vrf N        the key's VRF id, 0 to 16777214 (by default none)
  --af FAMILY    the key's address family, ipv4 or ipv6 (by default none);
                 its prefixes must be of this family

)") + keyGrammarHelp() +
          R"(
Exit status: 0 the key was read; 1 the parser refused it (the column and
the reason go to standard error); 2 usage error.
)";
}

namespace {

constexpr std::string_view keyUsage = "flowspec key TEXT [--vrf N] [--af ipv4|ipv6]";

std::string hex32(std::uint32_t v) {
   char text[16];
   std::snprintf(text, sizeof text, "0x%08x", v);
   return text;
}

void line(std::ostream& out, std::string_view label, std::string_view value) {
   out << label << std::string(label.size() < 15 ? 15 - label.size() : 1, ' ') << value << '\n';
}

void printKey(Flowspec::FlowspecKey const& key, std::ostream& out) {
   line(out, "command line", key.toStrepCli().view());
   line(out, "detail", key.toStrepCliDetail().view());
   line(out, "string value", key.stringValue().view());
   line(out, "raw", key.toStrep().view());
   line(out, "value text", Flowspec::valueToStrep(key).view());
   line(out, "hash", hex32(key.hash()));

   line(out, "pairs", std::to_string(key.matchOpVals()));
   for (auto i = key.matchOpValIteratorConst(); i; ++i) {
      std::string index = std::to_string(i.key().value());
      out << "  " << std::string(index.size() < 4 ? 4 - index.size() : 0, ' ') << index << "  "
          << hex32(i.value().storage()) << "  " << i.value().toStrep() << '\n';
   }

   out << "walk\n";
   Flowspec::MatchOpValResult const end;
   for (Flowspec::MatchOpValResult r = key.getOptVal(Flowspec::MatchOpValIndex(0)); !(r == end);
        r = key.getOptVal(r.nextIndex())) {
      out << "  " << r.toStrep() << '\n';
   }

   auto log = Vex::NboAttrLog::Out::OutIs();
   log << key;
   std::vector<unsigned char> const& bytes = log->bytes();
   line(out, "attribute log", std::to_string(bytes.size()) + " bytes");
   for (std::size_t at = 0; at < bytes.size(); at += 16) {
      char offset[32];
      std::snprintf(offset, sizeof offset, "  %04zx ", at);
      out << offset;
      for (std::size_t i = at; i < at + 16 && i < bytes.size(); ++i) {
         char b[4];
         std::snprintf(b, sizeof b, " %02x", bytes[i]);
         out << (i == at + 8 ? " " : "") << b;
      }
      out << '\n';
   }
}

} // namespace

int keyCommand(Args const& args, std::ostream& out, std::ostream& err) {
   std::string_view text;
   bool haveText = false;
   Vrf::VrfIdMap::VrfId vrfId = Vrf::VrfIdMap::noVrfId;
   Ipkit::AddressFamily af = Ipkit::ipunknown;
   for (std::size_t i = 0; i < args.size(); ++i) {
      std::string_view a = args[i];
      if (a == "--vrf" || a == "--af") {
         if (i + 1 == args.size()) {
            return usageError("key", keyUsage, std::string(a) + " needs a value", err);
         }
         std::string_view v = args[++i];
         if (a == "--af") {
            if (auto known = Ipkit::addressFamilyFromText(v)) {
               af = *known;
            } else {
               return usageError("key", keyUsage,
                                 "the address family is ipv4 or ipv6, not '" + std::string(v) + "'",
                                 err);
            }
            continue;
         }
         std::uint64_t id = 0;
         bool ok = !v.empty() && v.size() <= 8;
         for (char c : v) {
            ok = ok && c >= '0' && c <= '9';
            if (ok) id = id * 10 + static_cast<unsigned>(c - '0');
         }
         if (!ok || id > Vrf::VrfIdMap::maxVrfId) {
            return usageError("key", keyUsage,
                              "the VRF id is a number from 0 to " +
                                  std::to_string(Vrf::VrfIdMap::maxVrfId) + ", not '" +
                                  std::string(v) + "'",
                              err);
         }
         vrfId = static_cast<Vrf::VrfIdMap::VrfId>(id);
      } else if (a.size() > 1 && a[0] == '-') {
         return usageError("key", keyUsage, "unknown option '" + std::string(a) + "'", err);
      } else if (haveText) {
         return usageError("key", keyUsage, "one key at a time; quote a key that holds blanks",
                           err);
      } else {
         text = a;
         haveText = true;
      }
   }
   if (!haveText) return usageError("key", keyUsage, "which key?", err);

   Flowspec::KeyParseResult parsed = Flowspec::parseKeyCli(text, af);
   if (!parsed) {
      printKeyParseError("key", text, parsed.error(), err);
      return exitRefused;
   }
   Flowspec::FlowspecKey& key = parsed.key();
   key.vrfIdIs(vrfId);
   printKey(key, out);
   return exitOk;
}

void printKeyParseError(std::string_view command, std::string_view text,
                        Flowspec::KeyParseError const& error, std::ostream& err) {
   // The text, and a caret under the column at fault.
   err << "flowspec " << command << ": column " << error.column << ": " << error.message << "\n  "
       << printable(text) << "\n  "
       << std::string(printable(text.substr(0, error.column - 1)).size(), ' ') << "^\n";
}

} // namespace FlowspecTool
