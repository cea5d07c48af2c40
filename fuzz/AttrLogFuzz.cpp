// Fuzz target: every attribute-log reader of the library and of the platform
// values it holds, on any bytes.
//
// The first byte picks the reader (Fuzz::choose), the rest is the record. A
// reader must end in a value, Vex::Exception or Vex::RangeException, never a
// crash and never a read outside the record (libFuzzer hands over a heap block
// of exactly the input's size, so AddressSanitizer sees one byte too many).
// A value read must write bytes that read back to an equal value
// (Fuzz::checkLogRoundTrip), and where the type also reads its value text,
// the text of the value must read back to it too: whatever one process
// accepts from the log, another can print and read.
//
// Writers abort when a member of a collection equals the terminator of its
// sequence (a FlowspecKey pair at index 2047, a MatchComponent range or mask
// equal to the default, an UnsupportedQual entry under `invalid`). The
// readers stop at that very member, so a value they hand back never holds
// one: writing what was read stays off that path by construction.
#include "FuzzSupport.h"

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/MatchComponent.h"
#include "Flowspec/values/MatchOpVal.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Flowspec/values/UnsupportedQual.h"
#include "Ipkit/IntfId.h"
#include "Ipkit/IpGenPrefix.h"
#include "Ipkit/IpTos.h"
#include "Kiln/UniqueId.h"
#include "Pbr/ResolvedNexthopInfo.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace {

using namespace Flowspec;

// Whether a key read from the log can also go through its value text (the
// raw form). The raw form prints pairs 0 to count - 1, so a key with a gap in
// its indices loses the pairs past the gap; and its reader aborts on an
// address family other than ipv4 and ipv6 (it reads text this library wrote,
// which never holds one). Both are the rules of that text form; the log may
// carry any index below 2047 and any family.
bool rawFormRoundTrips(FlowspecKey const& k) {
   std::uint32_t expected = 0;
   for (auto i = k.matchOpValIteratorConst(); i; ++i, ++expected)
      if (i.key().value() != expected) return false;
   auto const af = k.addressFamily();
   return af == Ipkit::ipunknown || af == Ipkit::ipv4 || af == Ipkit::ipv6;
}

template <class T>
void readOne(Vex::NboAttrLog::In& in) {
   std::optional<T> read;
   try {
      read.emplace(Vex::nboRead<T>(in));
   } catch (Vex::Exception const&) {
      return; // refused, as a reader may refuse; Vex::RangeException is one
   }
   // From here nothing may raise: an exception would escape and count as a
   // crash.
   T const& v = *read;
   Fuzz::checkLogRoundTrip(v);
   // MatchComponent and UnsupportedQual print "None" for their collections
   // and their text readers abort by design: they are printed, never read.
   if constexpr (std::is_same_v<T, MatchComponent> || std::is_same_v<T, UnsupportedQual>) {
      (void)Fuzz::textOf(v);
   } else if constexpr (std::is_same_v<T, FlowspecKey>) {
      (void)Fuzz::textOf(v);
      if (rawFormRoundTrips(v)) Fuzz::checkTextRoundTrip(v);
   } else {
      Fuzz::checkTextRoundTrip(v);
   }
}

using Reader = void (*)(Vex::NboAttrLog::In&);

// Grows at the end only: a seed's first byte names its reader.
// clang-format off
constexpr Reader readers[] = {
   readOne<FlowspecKey>,             // 0
   readOne<MatchComponent>,          // 1
   readOne<UnsupportedQual>,         // 2
   readOne<MatchOpValResult>,        // 3
   readOne<MatchOpValIndex>,         // 4
   readOne<MatchOpVal>,              // 5
   readOne<NumericalRange>,          // 6
   readOne<IpBitMask>,               // 7
   readOne<TcpBitMask>,              // 8
   readOne<ActionFieldSet>,          // 9
   readOne<TrafficAction>,           // 10
   readOne<IpVersion>,               // 11
   readOne<TrafficRedirect>,         // 12
   readOne<CounterVersion>,          // 13
   readOne<IntfErrorKey>,            // 14
   readOne<MatchCompType>,           // 15
   readOne<HwRuleProgrammingStatus>, // 16
   readOne<Ipkit::IpGenPrefix>,      // 17
   readOne<Ipkit::IpGenAddr>,        // 18
   readOne<Ipkit::IpAddr>,           // 19
   readOne<Ipkit::Ip6Addr>,          // 20
   readOne<Ipkit::IntfId>,           // 21
   readOne<Ipkit::AddressFamily>,    // 22
   readOne<Ipkit::IpTos>,            // 23
   readOne<Ipkit::IpProtocolNumber>, // 24
   readOne<Kiln::UniqueId>,          // 25
   readOne<Pbr::Via>,                // 26
   readOne<Pbr::NexthopSet>,         // 27
   readOne<Pbr::ResolvedNexthopInfo>, // 28
   readOne<Vex::String>,             // 29
};
// clang-format on

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) return 0;
   Reader const read = readers[Fuzz::choose(data, std::size(readers))];
   Vex::NboAttrLog::In in(data + 1, size - 1);
   read(in);
   return 0;
}
