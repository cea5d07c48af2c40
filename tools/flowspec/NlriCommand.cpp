// flowspec nlri: flowspec NLRI bytes to rule keys and back (Flowspec/wire).
#include "NlriCommand.h"

#include "Commands.h"
#include "Hex.h"
#include "Json.h"
#include "RuleFile.h"

#include "Flowspec/wire/NlriCodec.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace FlowspecTool {

namespace {

constexpr std::string_view nlriUsage = "flowspec nlri decode ipv4|ipv6 HEX [--json]\n"
                                       "       flowspec nlri encode ipv4|ipv6 KEY [--json]";

int usage(std::string const& problem, std::ostream& err) {
   return usageError("nlri", nlriUsage, problem, err);
}

// The pairs of `key`, component by component as the wire carries them.
void jsonComponents(JsonWriter& j, Flowspec::FlowspecKey const& key) {
   auto openComponent = [&j](unsigned type) {
      j.beginObject();
      j.member("type", type);
      j.member("name", Flowspec::componentTypeInfo(type).name);
   };
   j.key("components");
   j.beginArray();
   for (auto [type, prefix] : {std::pair{1u, &key.destPrefix()}, {2u, &key.srcPrefix()}}) {
      if (prefix->isEmpty()) continue;
      openComponent(type);
      j.member("prefix", prefix->stringValue().view());
      j.endObject();
   }
   unsigned open = 0; // the type of the component being written
   Flowspec::MatchOpValResult const end;
   for (auto r = key.getOptVal(Flowspec::MatchOpValIndex(0)); !(r == end);
        r = key.getOptVal(r.nextIndex())) {
      auto const type = static_cast<unsigned>(r.matchType());
      if (type != open) {
         if (open) {
            j.endArray();
            j.endObject();
         }
         open = type;
         openComponent(type);
         j.key("operators");
         j.beginArray();
      }
      char op[8];
      std::snprintf(op, sizeof op, "0x%02x", r.op());
      j.beginObject();
      j.member("op", op);
      j.member("value", r.val32());
      j.endObject();
      if (r.endOfList()) {
         j.endArray();
         j.endObject();
         open = 0;
      }
   }
   if (open) {
      j.endArray();
      j.endObject();
   }
   j.endArray();
}

int decode(Ipkit::AddressFamily af, std::string_view family, std::string_view text, bool json,
           std::ostream& out, std::ostream& err) {
   auto bytes = parseHex(text);
   if (!bytes) {
      return usage("HEX is an even number of hexadecimal digits, not '" + printable(text) + "'",
                   err);
   }
   std::vector<std::pair<std::size_t, std::size_t>> spans; // each NLRI's bytes
   std::vector<Flowspec::FlowspecKey> keys;
   std::optional<Flowspec::NlriError> error;
   for (std::size_t offset = 0; offset < bytes->size();) {
      Flowspec::FlowspecKey key;
      std::size_t const start = offset;
      error = Flowspec::decodeOneNlri(*bytes, offset, af, key);
      if (error) break;
      spans.emplace_back(start, offset);
      keys.push_back(std::move(key));
   }
   if (!json) {
      for (auto const& k : keys)
         out << k.toStrepCli() << '\n';
   } else {
      JsonWriter j(out);
      j.beginObject();
      j.member("family", family);
      j.key("keys");
      j.beginArray();
      for (std::size_t i = 0; i < keys.size(); ++i) {
         j.beginObject();
         j.member("key", keys[i].toStrepCli().view());
         j.member("offset", spans[i].first);
         j.member("nlri", hexText(std::span(*bytes).subspan(spans[i].first,
                                                            spans[i].second - spans[i].first)));
         jsonComponents(j, keys[i]);
         j.endObject();
      }
      j.endArray();
      j.key("error");
      if (error) {
         j.beginObject();
         j.member("offset", error->offset);
         j.member("component", error->component);
         j.member("reason", Flowspec::nlriReasonText(error->reason));
         j.member("message", Flowspec::nlriErrorMessage(*error));
         j.endObject();
      } else {
         j.null();
      }
      j.endObject();
      j.end();
   }
   if (error) {
      err << "flowspec nlri: " << Flowspec::nlriErrorMessage(*error) << '\n';
      return exitRefused;
   }
   return exitOk;
}

int encode(Ipkit::AddressFamily af, std::string_view family, std::string_view text, bool json,
           std::ostream& out, std::ostream& err) {
   // The strict reader, as for `flowspec key` and rule files: a refusal
   // names its column and why.
   Flowspec::KeyParseResult parsed = Flowspec::parseKeyCli(text, af);
   if (!parsed) {
      printKeyParseError("nlri", text, parsed.error(), err);
      return exitRefused;
   }
   Flowspec::FlowspecKey& key = parsed.key();
   std::vector<std::uint8_t> bytes;
   if (auto error = Flowspec::encodeNlri(key, bytes)) {
      err << "flowspec nlri: " << Flowspec::nlriEncodeErrorMessage(*error) << '\n';
      return exitRefused;
   }
   if (!json) {
      out << hexText(bytes) << '\n';
      return exitOk;
   }
   JsonWriter j(out);
   j.beginObject();
   j.member("family", family);
   j.member("key", key.toStrepCli().view());
   j.member("nlri", hexText(bytes));
   j.member("length", bytes.size());
   jsonComponents(j, key);
   j.endObject();
   j.end();
   return exitOk;
}

} // namespace

std::string nlriHelp() {
   return R"(usage: flowspec nlri decode ipv4|ipv6 HEX [--json]
       flowspec nlri encode ipv4|ipv6 KEY [--json]

Flowspec NLRI as BGP carries them (RFC 8955 for IPv4, RFC 8956 for IPv6),
each with its length field, in hexadecimal.

decode  reads HEX, one or more NLRI of the family, and prints each rule key in
        its command-line form, one per line. Hex digits may be of either case,
        with blanks or colons between bytes. An NLRI the decoder refuses stops
        it: the keys before it are printed, and "offset N: reason" (the byte
        offset in HEX) goes to standard error.
encode  reads KEY, a rule key in the command-line form ('flowspec key --help'
        describes it), and prints its NLRI in lower-case hexadecimal, the
        length field included.

--json  prints a JSON object instead: the family, and per key its command-line
        form, offset, NLRI bytes and components (prefixes, and operators with
        their operator byte and value); decode adds "error", null or the
        offset, component, reason and message of the refusal.

Exit status: 0 done; 1 the NLRI or the key was refused (why goes to standard
error); 2 usage error.
)";
}

int nlriCommand(Args const& args, std::ostream& out, std::ostream& err) {
   bool json = false;
   std::vector<std::string_view> words;
   for (std::string_view a : args) {
      if (a == "--json") {
         json = true;
      } else if (a.size() > 1 && a[0] == '-' && a != "-") {
         return usage("unknown option '" + printable(a) + "'", err);
      } else {
         words.push_back(a);
      }
   }
   if (words.empty()) return usage("decode or encode?", err);
   std::string_view const what = words[0];
   if (what != "decode" && what != "encode") {
      return usage("decode or encode, not '" + printable(what) + "'", err);
   }
   if (words.size() < 2) return usage("which address family, ipv4 or ipv6?", err);
   std::string_view const family = words[1];
   Ipkit::AddressFamily af;
   if (family == "ipv4") {
      af = Ipkit::ipv4;
   } else if (family == "ipv6") {
      af = Ipkit::ipv6;
   } else {
      return usage("the address family is ipv4 or ipv6, not '" + printable(family) + "'", err);
   }
   if (words.size() != 3) {
      return usage(words.size() < 3 ? (what == "decode" ? "which NLRI?" : "which key?")
                                    : "one argument after the family; quote one that "
                                      "holds blanks",
                   err);
   }
   return what == "decode" ? decode(af, family, words[2], json, out, err)
                           : encode(af, family, words[2], json, out, err);
}

} // namespace FlowspecTool
