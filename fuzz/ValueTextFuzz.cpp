// Fuzz target: the value-text readers (what Vex::strepToValue runs) of every
// value that reads its value text back, on any text.
//
// The first byte picks the type (Fuzz::choose), the rest is the text. A
// reader must end in a value, Vex::Exception or Vex::RangeException, never a
// crash and never a read outside the text: the text is read in place from
// libFuzzer's buffer, a heap block of exactly the input's size. A value read
// must print a text that reads back to an equal value and prints the same
// text again (Fuzz::checkTextRoundTrip).
//
// Left out by construction, because their readers abort by design rather
// than refuse: MatchComponent and UnsupportedQual, whose text prints "None"
// for their collections and whose text constructors fail an assertion; and
// a FlowspecKey text whose address-family field is other than "", "ipv4" or
// "ipv6" (see flowspecKey below).
#include "FuzzSupport.h"

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/MatchOpVal.h"
#include "Flowspec/values/NumericalRange.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Ipkit/IntfId.h"
#include "Ipkit/IpGenPrefix.h"
#include "Ipkit/IpTos.h"
#include "Kiln/UniqueId.h"
#include "Pbr/ResolvedNexthopInfo.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace {

using namespace Flowspec;

template <class T>
std::optional<T> readText(char const* pos, char const* end) {
   try {
      return Fuzz::readWholeText<T>(pos, end);
   } catch (Vex::Exception const&) {
      return std::nullopt; // refused, as a reader may refuse
   }
}

template <class T>
void readOne(char const* pos, char const* end) {
   if (auto v = readText<T>(pos, end)) {
      if constexpr (std::is_floating_point_v<T>) {
         Fuzz::checkTextRoundTrip(*v, !std::isnan(*v));
      } else {
         Fuzz::checkTextRoundTrip(*v);
      }
   }
}

// The raw form, the key's value text, is read field by field up to "@":
// vrfId, addressFamily, the two prefixes, then one pair word per field.
// It is text this library writes, and its reader aborts on an address family
// other than "ipv4" or "ipv6" (an empty field keeps the default), so such a
// text is not handed to it.
//
// An empty pair field leaves its index without a pair, while the printer
// writes the word of every index from 0 to the pair count - 1 (0 where there
// is none): a key with a gap prints the gap as a 0 word and drops as many
// pairs from its end. Both are the rules of the raw form, so only a key with
// dense pairs must come back equal; any other comes back, after that one
// normalisation, to itself.
void flowspecKey(char const* pos, char const* end) {
   std::string_view text(pos, static_cast<std::size_t>(end - pos));
   std::string_view fields = text.substr(0, text.find(FlowspecKey::compEnd()));
   std::size_t const first = fields.find(FlowspecKey::compSeparator());
   if (first != std::string_view::npos) {
      std::string_view af = fields.substr(first + 1);
      af = af.substr(0, af.find(FlowspecKey::compSeparator()));
      if (!af.empty() && !Ipkit::addressFamilyFromText(af)) return;
   }
   std::optional<FlowspecKey> k = readText<FlowspecKey>(pos, end);
   if (!k) return;
   std::uint32_t expected = 0;
   bool dense = true;
   for (auto i = k->matchOpValIteratorConst(); i; ++i, ++expected)
      dense = dense && i.key().value() == expected;
   if (dense) {
      Fuzz::checkTextRoundTrip(*k);
   } else {
      FlowspecKey normal;
      Vex::strepToValue(valueToStrep(*k), normal);
      Fuzz::checkTextRoundTrip(normal);
   }
}

using Reader = void (*)(char const*, char const*);

// Grows at the end only: a seed's first byte names its type.
// clang-format off
constexpr Reader readers[] = {
   readOne<NumericalRange>,              // 0
   readOne<IpBitMask>,                   // 1
   readOne<TcpBitMask>,                  // 2
   readOne<TrafficRedirect>,             // 3
   readOne<CounterVersion>,              // 4
   readOne<IntfErrorKey>,                // 5
   readOne<MatchOpValIndex>,             // 6
   readOne<MatchOpVal>,                  // 7
   readOne<MatchOpValResult>,            // 8
   readOne<ActionFieldSet>,              // 9
   readOne<TrafficAction>,               // 10
   readOne<IpVersion>,                   // 11
   flowspecKey,                          // 12
   readOne<MatchCompType>,               // 13
   readOne<HwRuleProgrammingStatus>,     // 14
   readOne<IpBitMask::IpBit>,            // 15
   readOne<TcpBitMask::TcpBit>,          // 16
   readOne<Ipkit::IpGenPrefix>,          // 17
   readOne<Ipkit::IpGenAddr>,            // 18
   readOne<Ipkit::IpAddr>,               // 19
   readOne<Ipkit::Ip6Addr>,              // 20
   readOne<Ipkit::IntfId>,               // 21
   readOne<Ipkit::AddressFamily>,        // 22
   readOne<Ipkit::IpTos>,                // 23
   readOne<Ipkit::IpProtocolNumber>,     // 24
   readOne<Kiln::UniqueId>,              // 25
   readOne<Pbr::Via>,                    // 26
   readOne<Pbr::NexthopSet>,             // 27
   readOne<Pbr::ResolvedNexthopInfo>,    // 28
   readOne<Vex::String>,                 // 29
   readOne<Vrf::VrfIdMap::VrfId>,        // 30
   readOne<std::int64_t>,                // 31
   readOne<double>,                      // 32
   readOne<bool>,                        // 33
};
// clang-format on

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) return 0;
   Reader const read = readers[Fuzz::choose(data, std::size(readers))];
   auto const text = reinterpret_cast<char const*>(data);
   read(text + 1, text + size);
   return 0;
}
