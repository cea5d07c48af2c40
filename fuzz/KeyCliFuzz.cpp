// Fuzz target: FlowspecKey::copyInStrCli, the parser of rule keys typed on
// the command line, on any bytes.
//
// It must return true or false and nothing else: no crash, no exception, no
// assertion. Both trace levels it writes (2, why it failed; 8, what it
// parses) are on, into a sink that drops the lines, so that building every
// message is exercised too.
//
// When it accepts a text, the key must print in every text form, and:
//
//   - the command line: printing the key (toStrepCli) and parsing that gives
//     a key k2 whose pairs are the first key's after the normalisation below;
//     printing k2 gives the same text again, and parsing that gives k2.
//     Exact equality of the first key and k2 does not hold, because the
//     printer cannot say everything the parser accepts:
//       * "&" before the first number of a component sets andPrevious on it,
//         and the printer opens every component with its label instead;
//       * the last number of a component gets endOfList only when it ends
//         the field, so a trailing "&" or "|" leaves the bit clear, while the
//         printer ends every component with a number;
//       * two components of the same type in a row ("DP:=80;DP:=443") are
//         printed as one ("DP:=80|=443"), so only the last keeps endOfList;
//       * strtol reads numbers above 0xffffffff, which the key keeps as 4-byte
//         values of their low 32 bits; printed, the low bits alone may take
//         fewer bytes;
//       * a component without numbers ("IT:") stores nothing and prints
//         nothing.
//     So the comparison is of both walks (getOptVal from index 0) after
//     clearing andPrevious where a component starts, setting endOfList
//     exactly where one ends (the type changes or the walk does) and taking
//     the length from the value, and the printed texts must then be fixed
//     points.
//   - the raw form (toStrep, copyInStr) and the value text (valueToStrep,
//     strepToValue) give back the key itself: they print every pair word.
//   - the full string value (stringValue, copyInStringValue) of the key in
//     VRF 0, IPv4, gives back that key after the normalisation above. Its
//     reader asserts on text it cannot read; text this library wrote must
//     never make it.
//   - the attribute log gives back the key itself, and equal keys hash
//     equally and are not ordered before each other.
//
// The strict parser (parseKeyCli) reads the same bytes. What it accepts, the
// lenient one accepts as the very same key; printed, it reads back strictly
// as that key and prints the same text again. What it refuses has a column
// within the text (or just past it) and a message.
#include "FuzzSupport.h"

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/FlowspecKeyParse.h"
#include "Vex/Trace.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace Flowspec;

struct Pair {
   MatchCompType type;
   std::uint8_t op;
   std::uint32_t val32;
   bool operator==(Pair const&) const = default;
};

std::vector<Pair> walk(FlowspecKey const& k) {
   std::vector<Pair> pairs;
   MatchOpValResult const end;
   for (MatchOpValResult r = k.getOptVal(0); !(r == end); r = k.getOptVal(r.nextIndex()))
      pairs.push_back({r.matchType(), r.op(), r.val32()});
   return pairs;
}

// The pairs as the printed text says them (see above).
std::vector<Pair> normalised(std::vector<Pair> pairs) {
   for (std::size_t i = 0; i < pairs.size(); ++i) {
      MatchOpValResult r(pairs[i].type, pairs[i].op, pairs[i].val32, {});
      bool const first = i == 0 || pairs[i - 1].type != pairs[i].type;
      bool const last = i + 1 == pairs.size() || pairs[i + 1].type != pairs[i].type;
      if (first) r.andPreviousIs(false);
      r.endOfListIs(last);
      r.lenIs(r.val32() > 65535 ? 2 : r.val32() > 255 ? 1 : 0);
      pairs[i].op = r.op();
   }
   return pairs;
}

std::string describe(std::vector<Pair> const& pairs) {
   std::string s;
   for (Pair const& p : pairs)
      s += MatchOpValResult(p.type, p.op, p.val32, {}).toStrep().str();
   return s;
}

FlowspecKey parsed(Vex::String const& text, char const* what) {
   FlowspecKey k;
   FUZZ_CHECK(k.copyInStrCli(text), std::string(what) + " " + Fuzz::printable(text.view()));
   return k;
}

void checkAccepted(Vex::String const& text, FlowspecKey const& k1) {
   std::string const where = "parsing " + Fuzz::printable(text.view());
   Vex::String const t1 = k1.toStrepCli();
   (void)k1.toStrepCliDetail();

   // The command line, up to the normalisation.
   FlowspecKey k2 = parsed(t1, "the parser refuses what the printer wrote:");
   FUZZ_CHECK(k2.destPrefix() == k1.destPrefix() && k2.srcPrefix() == k1.srcPrefix(), where);
   std::vector<Pair> const want = normalised(walk(k1)), got = walk(k2);
   FUZZ_CHECK(got == want, where + " then " + Fuzz::printable(t1.view()) + ": " + describe(got) +
                               " instead of " + describe(want));
   Vex::String const t2 = k2.toStrepCli();
   FUZZ_CHECK(t2 == t1, Fuzz::printable(t1.view()) + " prints as " + Fuzz::printable(t2.view()));
   FlowspecKey const k3 = parsed(t2, "the parser refuses what the printer wrote:");
   FUZZ_CHECK(k3 == k2, where);
   FUZZ_CHECK(k3.hash() == k2.hash() && !(k3 < k2) && !(k2 < k3), where);

   // The raw form and the value text: exact.
   FlowspecKey raw;
   raw.copyInStr(k1.toStrep());
   FUZZ_CHECK(raw == k1, where + ": raw form " + k1.toStrep().str());
   Fuzz::checkTextRoundTrip(k1);

   // The full string value goes through this parser once more.
   k2.vrfIdIs(0);
   k2.addressFamilyIs(Ipkit::ipv4);
   FlowspecKey full;
   full.copyInStringValue(k2.stringValue());
   FUZZ_CHECK(full == k2, where + ": string value " + k2.stringValue().str());

   Fuzz::checkLogRoundTrip(k1);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
   Vex::traceSinkIs([](Vex::TraceLine const&) {});
   Vex::traceLevelsIs("Flowspec", 1u << 2 | 1u << 8);
   return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   Vex::String const text(reinterpret_cast<char const*>(data), size);
   FlowspecKey k;
   bool const lenient = k.copyInStrCli(text);
   if (lenient) checkAccepted(text, k);

   KeyParseResult const strict = parseKeyCli(text.view());
   std::string const where = "strictly parsing " + Fuzz::printable(text.view());
   if (!strict) {
      FUZZ_CHECK(strict.error().column >= 1 && strict.error().column <= size + 1 &&
                     !strict.error().message.empty(),
                 where + ": column " + std::to_string(strict.error().column));
      return 0;
   }
   FUZZ_CHECK(lenient && k == strict.key(), where + ": the lenient parser disagrees");
   Vex::String const printed = strict.key().toStrepCli();
   KeyParseResult const again = parseKeyCli(printed.view());
   FUZZ_CHECK(again && again.key() == strict.key() && again.key().toStrepCli() == printed,
              where + ": " + Fuzz::printable(printed.view()) + " does not read back");
   return 0;
}
