// The value text and the attribute-log encoding of every value type: exact
// texts and bytes, round trips through both, truncated and corrupted records,
// and the writers' refusal of members that equal their sequence's terminator.
#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/MatchComponent.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Flowspec/values/UnsupportedQual.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

using namespace Flowspec;
using FlowspecTest::indexRangeMessage;
using FlowspecTest::raisedMessage;
using Bytes = std::vector<unsigned char>;
using T = MatchCompType;

namespace {

Bytes hex(std::string_view h) {
   Bytes b;
   for (std::size_t i = 0; i < h.size(); ++i)
      if (h[i] != ' ')
         b.push_back(std::uint8_t(std::stoul(std::string(h.substr(i++, 2)), nullptr, 16)));
   return b;
}

template <class V>
Bytes logOf(V const& v) {
   auto out = Vex::NboAttrLog::Out::OutIs();
   Vex::nboWrite(out, v);
   return out->bytes();
}

// Reads one V from exactly `b`: the reader must take every byte.
template <class V>
V fromLog(Bytes const& b) {
   Vex::NboAttrLog::In in(b.data(), b.size());
   V v = Vex::nboRead<V>(in);
   EXPECT_TRUE(in.atEnd()) << in.remaining() << " bytes left";
   return v;
}

// Each proper prefix of `b`, in a buffer of its own, is refused.
template <class V>
void expectEveryPrefixRefused(Bytes const& b, std::string const& what) {
   for (std::size_t n = 0; n < b.size(); ++n) {
      Bytes const prefix(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(n));
      Vex::NboAttrLog::In in(prefix.data(), prefix.size());
      EXPECT_THROW((void)Vex::nboRead<V>(in), Vex::Exception) << what << ", " << n;
   }
}

// The message raised reading `text` as a V.
template <class V, class E = Vex::Exception>
std::string readError(std::string const& text) {
   return raisedMessage<E>([&] {
      V v;
      Vex::strepToValue(Vex::String(text), v);
   });
}

template <class M>
M anyOf(std::uint16_t val, std::uint16_t mask) {
   M m(val, mask);
   m.matchAllIs(false);
   return m;
}

// ---- the table: values with their exact text and log bytes ---------------

template <class V>
struct Sample {
   char const* what;
   V value;
   std::string text;
   Bytes bytes;
};
template <class V>
struct Tag {};
#define SAMPLES(V) std::vector<Sample<V>> samples(Tag<V>)

std::string form(char const* type, std::string const& fields) {
   return "Value('Flowspec::" + std::string(type) + "', ** {" + fields + "})";
}
std::string flags(char const* type, std::vector<char const*> names, unsigned bits) {
   std::string f;
   for (std::size_t i = 0; i < names.size(); ++i)
      f += (i ? ", '" : "'") + std::string(names[i]) + (bits >> i & 1 ? "': True" : "': False");
   return form(type, f);
}

// clang-format off
SAMPLES(MatchOpValIndex) {
   return {{"null index", {}, form("MatchOpValIndex", "'value': 2047"), hex("07ff")},
           {"index 12", 12, form("MatchOpValIndex", "'value': 12"), hex("000c")}};
}
SAMPLES(MatchOpVal) {
   return {{"destPort =80, end of list", MatchOpVal(0x05910050),
            form("MatchOpVal", "'storage': 93388880"), hex("05910050")}};
}
SAMPLES(MatchOpValResult) {
   return {{"4-byte destPort", MatchOpValResult(T::destPort, 0x91, 0x12345678, 3),
            form("MatchOpValResult", "'matchType': destPort, 'op': 145, 'val32': 305419896, "
                 "'nextIndex': " + form("MatchOpValIndex", "'value': 3")),
            hex("00000005 91 12345678 0003")}};
}
SAMPLES(NumericalRange) {
   return {{"default", {}, form("NumericalRange", "'rangeMin': 16777216, 'rangeMax': 16777216"),
            hex("01000000 01000000")},
           {"80 to 443", NumericalRange(80, 443),
            form("NumericalRange", "'rangeMin': 80, 'rangeMax': 443"), hex("00000050 000001bb")}};
}
SAMPLES(IpBitMask) {
   return {{"any of", anyOf<IpBitMask>(0x2, 0x3),
            form("IpBitMask", "'matchAll': False, 'val': 2, 'mask': 3"), hex("00 0002 0003")}};
}
SAMPLES(TcpBitMask) {
   return {{"SYN set, ACK clear", TcpBitMask(0x12, 0x3f),
            form("TcpBitMask", "'matchAll': True, 'val': 18, 'mask': 63"), hex("01 0012 003f")}};
}
SAMPLES(ActionFieldSet) {
   std::vector<char const*> const names = {"invalid", "trafficPermit", "trafficDrop",
      "trafficRate", "trafficAction", "trafficRedirect", "trafficMarking"};
   ActionFieldSet some, all;
   some.valueIs(0x25);
   all.valueIs(0x7f);
   return {{"bits 0, 2 and 5", some, flags("ActionFieldSet", names, 0x25), hex("00000025")},
           {"all seven", all, flags("ActionFieldSet", names, 0x7f), hex("0000007f")}};
}
SAMPLES(TrafficAction) {
   return {{"continueMatch", TrafficAction::continueMatch_,
            flags("TrafficAction", {"sampleAndLog", "continueMatch"}, 2), hex("00000002")}};
}
SAMPLES(IpVersion) {
   return {{"ipv4", IpVersion::ipv4_, flags("IpVersion", {"ipv4", "ipv6"}, 1), hex("00000001")}};
}
SAMPLES(TrafficRedirect) {
   return {{"default", {}, form("TrafficRedirect", "'vrfId': 16777215, 'addr': '', 'copy': False"),
            hex("00ffffff 00000000 00")},
           {"IPv4 copy", TrafficRedirect(7, Ipkit::IpGenAddr(Vex::String("10.0.0.1")), true),
            form("TrafficRedirect", "'vrfId': 7, 'addr': '10.0.0.1', 'copy': True"),
            hex("00000007 00000001 0a000001 01")}};
}
SAMPLES(CounterVersion) {
   return {{"counted", CounterVersion(0x0102030405060708, Kiln::UniqueId(0x3f2a9c0d11e8b702, 42)),
            form("CounterVersion", "'counter': 72623859790382856, 'version': '3f2a9c0d11e8b702.42'"),
            hex("0102030405060708 3f2a9c0d11e8b702 000000000000002a")}};
}
SAMPLES(IntfErrorKey) {
   return {{"Ethernet1 IPv6", IntfErrorKey(Ipkit::IntfId(Vex::String("Ethernet1")), Ipkit::ipv6),
            form("IntfErrorKey", "'intfId': 'Ethernet1', 'addressFamily': ipv6"),
            hex("00000009 457468 65726e 657431 00000002")}};
}
SAMPLES(FlowspecKey) {
   FlowspecKey k;
   k.vrfIdIs(0);
   k.addressFamilyIs(Ipkit::ipv4);
   k.destPrefixIs(Ipkit::IpGenPrefix(Vex::String("10.0.0.0/8")));
   k.matchOpValIs(MatchOpValIndex(0), MatchOpVal(0x05110050)); // destPort =80
   k.matchOpValIs(MatchOpValIndex(1), MatchOpVal(0x059101bb)); // |=443, end of list
   return {{"no pairs: four fields and the index 2047", {}, ";;;;@",
            hex("00ffffff 00000000 0000000000 0000000000 07ff")},
           {"pairs at 0 and 1", k, "0;ipv4;10.0.0.0/8;;85000272;93389243;@",
            hex("00000000 00000001 00000001 0a000000 08 0000000000 "
                "0000 05110050 0001 059101bb 07ff")}};
}
SAMPLES(MatchComponent) {
   auto text = [](char const* kind) {
      return form("MatchComponent", "'compType': " + std::string(kind) + ", 'prefix': '', "
                  "'numericalRange': None, 'ipBitMask': None, 'tcpBitMask': None");
   };
   std::string const ends = " 01000000 01000000 01 0000 0000 01 0000 0000";
   MatchComponent port(T::destPort), frag(T::fragment);
   port.numericalRangeIs(NumericalRange(80, 443), true);
   frag.ipBitMaskIs(anyOf<IpBitMask>(0x2, 0x2), false);
   frag.tcpBitMaskIs(TcpBitMask(0x2, 0x2), true);
   return {{"empty sets: type, prefix, three terminators", MatchComponent(T::tcpFlags),
            text("tcpFlags"), hex("00000009 0000000000" + ends)},
           {"one range", port, text("destPort"),
            hex("00000005 0000000000 00000050 000001bb 01" + ends)},
           {"one mask in each mask set", frag, text("fragment"),
            hex("0000000c 0000000000 01000000 01000000 00 0002 0002 00 01 0000 0000 "
                "01 0002 0002 01 01 0000 0000")}};
}
SAMPLES(UnsupportedQual) {
   UnsupportedQual q(Ipkit::ipv6);
   q.qualIs(T::tcpFlags, Vex::String("no TCAM field"));
   return {{"no entries: af and the key 0", UnsupportedQual(Ipkit::ipv4),
            form("UnsupportedQual", "'af': ipv4, 'qual': None"), hex("00000001 00000000")},
           {"one entry", q, form("UnsupportedQual", "'af': ipv6, 'qual': None"),
            hex("00000002 00000009 0000000d 6e6f205443414d206669656c64 00000000")}};
}
// clang-format on

// The value text of these is output only; a key streams its string value.
template <class V>
constexpr bool readsText =
    !std::is_same_v<V, MatchComponent> && !std::is_same_v<V, UnsupportedQual>;
template <class V>
constexpr bool streamsValueText = !std::is_same_v<V, FlowspecKey>;

template <class V>
class ValueEncodingTest : public ::testing::Test {};
using Values =
    ::testing::Types<MatchOpValIndex, MatchOpVal, MatchOpValResult, NumericalRange, IpBitMask,
                     TcpBitMask, ActionFieldSet, TrafficAction, IpVersion, TrafficRedirect,
                     CounterVersion, IntfErrorKey, FlowspecKey, MatchComponent, UnsupportedQual>;
TYPED_TEST_SUITE(ValueEncodingTest, Values);

} // namespace

TYPED_TEST(ValueEncodingTest, TextAndLogAreExactReadBackWholeAndRefuseTruncation) {
   using V = TypeParam;
   for (auto const& s : samples(Tag<V>())) {
      SCOPED_TRACE(s.what);
      EXPECT_EQ(valueToStrep(s.value), s.text);
      if constexpr (streamsValueText<V>) {
         std::ostringstream os;
         os << s.value;
         EXPECT_EQ(os.str(), s.text);
      }
      if constexpr (readsText<V>) {
         V read{}, kept{};
         Vex::strepToValue(Vex::String(s.text), read);
         EXPECT_EQ(read, s.value);
         for (std::string const& bad : {s.text + " ", s.text + s.text})
            EXPECT_THROW(Vex::strepToValue(Vex::String(bad), kept), Vex::Exception);
         EXPECT_EQ(kept, V{}) << "a refused text changes nothing";
      }
      EXPECT_EQ(logOf(s.value), s.bytes);
      EXPECT_EQ(fromLog<V>(s.bytes), s.value);
      expectEveryPrefixRefused<V>(s.bytes, s.what);
   }
}

TEST(ValueText, EnumerationsUseTheirRegisteredNames) {
   std::ostringstream os;
   os << valueToStrep(T::tcpFlags) << ' ' << HwRuleProgrammingStatus::programmedWithFailures << ' '
      << valueToStrep(IpBitMask::IpBit::isFragment) << ' ' << TcpBitMask::TcpBit::tcpNs;
   EXPECT_EQ(os.str(), "tcpFlags programmedWithFailures isFragment tcpNs");

   auto sweep = [](auto e, std::size_t count) {
      using E = decltype(e);
      Vex::EnumType const& type = vexEnumType(e);
      ASSERT_EQ(type.enumeratorCount(), count) << type.name();
      for (std::size_t i = 0; i < count; ++i) {
         auto const& en = type.enumerator(i);
         E const want = static_cast<E>(en.value);
         EXPECT_EQ(valueToStrep(want), en.name);
         E byName{}, byNumber{};
         Vex::strepToValue(Vex::String(en.name), byName);
         Vex::strepToValue(Vex::String(std::to_string(en.value)), byNumber);
         EXPECT_EQ(byName, want) << en.name;
         EXPECT_EQ(byNumber, want) << en.name;
         EXPECT_EQ(fromLog<E>(logOf(want)), want);
         EXPECT_EQ(logOf(want), hex("000000 0" + std::string(1, "0123456789abcdef"[en.value])));
      }
      E kept{};
      EXPECT_THROW(Vex::strepToValue(Vex::String("bogus"), kept), Vex::Exception);
      EXPECT_EQ(kept, E{});
   };
   sweep(T{}, 14);
   sweep(HwRuleProgrammingStatus{}, 7);
   sweep(IpBitMask::IpBit{}, 4);
   sweep(TcpBitMask::TcpBit{}, 9);
}

TEST(ValueText, FieldErrorsNameTheFieldAndChecksAfterReadingDoNot) {
   using Range = Vex::RangeException;
   auto range = [](std::string const& min, std::string const& max) {
      return form("NumericalRange", "'rangeMin': " + min + ", 'rangeMax': " + max);
   };
   auto result = [](std::string const& type, std::string const& next) {
      return form("MatchOpValResult", "'matchType': " + type +
                                          ", 'op': 0, 'val32': 0, 'nextIndex': " +
                                          form("MatchOpValIndex", "'value': " + next));
   };
   EXPECT_EQ((readError<NumericalRange, Range>(range("5", "3"))),
             "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed");
   EXPECT_EQ((readError<NumericalRange, Range>(range("16777217", "16777218"))),
             "NumericalRange::rangeMin < NumericalRange::min or > "
             "NumericalRange::invalidValue not allowed");
   EXPECT_EQ((readError<MatchOpValResult, Range>(result("tcpFlags", "2048"))),
             "field 'nextIndex': " + indexRangeMessage);
   EXPECT_EQ(readError<NumericalRange>(range("abc", "3")),
             "field 'rangeMin': expected an unsigned number at 'abc, \\'rangeMax\\': 3})'");
   EXPECT_EQ(readError<MatchOpValResult>(result("bogus", "0")),
             "field 'matchType': Flowspec::MatchCompType has no enumerator named 'bogus'");
   EXPECT_TRUE(readError<TrafficAction>(form("TrafficAction", "'sampleAndLog': True, "
                                                              "'continueMatch': yes"))
                   .starts_with("field 'continueMatch': "));
   EXPECT_TRUE(readError<IpBitMask>(form("TcpBitMask", "'matchAll': True, 'val': 0, 'mask': 0"))
                   .starts_with("expected \"Value('Flowspec::IpBitMask', ** {\" at "));
}

TEST(ValueText, CollectionHoldersPrintOnlyAndFlowspecUtilIsEmpty) {
   MatchComponent c(T::port);
   UnsupportedQual q;
   EXPECT_DEATH(Vex::strepToValue(valueToStrep(c), c),
                "Assertion failed: !\"No String constructor for MatchComponent - has "
                "collection\"");
   EXPECT_DEATH(Vex::strepToValue(valueToStrep(q), q),
                "Assertion failed: !\"No String constructor for UnsupportedQual - has "
                "collection\"");
   c.numericalRangeIs(NumericalRange(1, 2), true);
   c.tcpBitMaskIs(TcpBitMask(1, 1), false);
   EXPECT_EQ(valueToStrep(c), valueToStrep(MatchComponent(T::port))) << "sets print None";

   FlowspecUtil util;
   EXPECT_EQ(valueToStrep(util), "");
   Vex::strepToValue(Vex::String(), util);
   EXPECT_THROW(Vex::strepToValue(Vex::String("x"), util), Vex::Exception);
}

TEST(ValueLogEncoding, CorruptedRecordsAreRefused) {
   struct Case {
      char const* what;
      std::function<void(Vex::NboAttrLog::In&)> read;
      Bytes bytes;
      std::string rangeMessage; // empty: any Vex::Exception
   };
   auto as = [](auto v) {
      return [](Vex::NboAttrLog::In& in) { (void)Vex::nboRead<decltype(v)>(in); };
   };
   std::string const noPrefix = " 0000000000 ";
   // clang-format off
   std::vector<Case> const cases = {
       {"key index 2048", as(FlowspecKey()),
        hex("00ffffff 00000000" + noPrefix + noPrefix + "0800"), indexRangeMessage},
       {"index 2048", as(MatchOpValIndex()), hex("0800"), indexRangeMessage},
       {"nextIndex 2048", as(MatchOpValResult()), hex("00000005 00 00000000 0800"),
        indexRangeMessage},
       {"flags above 0x7f", as(ActionFieldSet()), hex("00000080"),
        "ActionFieldSet::value > 0x7f not allowed"},
       {"flags above 0x3", as(TrafficAction()), hex("00000004"),
        "TrafficAction::value > 0x3 not allowed"},
       {"flags above 0x3", as(IpVersion()), hex("00000004"),
        "IpVersion::value > 0x3 not allowed"},
       {"range out of order", as(NumericalRange()), hex("00000005 00000003"),
        "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed"},
       {"bool byte 2 in a mask", as(IpBitMask()), hex("02 0000 0001"), ""},
       {"bool byte 2 in a set", as(MatchComponent(T::port)),
        hex("00000004" + noPrefix + "00000001 00000002 02"), ""},
       {"a range repeats", as(MatchComponent(T::port)),
        hex("00000004" + noPrefix + "00000001 00000002 01 00000001 00000002 00 "
            "01000000 01000000 01 0000 0000 01 0000 0000"), ""},
       {"a kind repeats", as(UnsupportedQual()),
        hex("00000001 00000009 00000001 61 00000009 00000001 62 00000000"), ""},
   };
   // clang-format on
   for (Case const& c : cases) {
      Vex::NboAttrLog::In in(c.bytes.data(), c.bytes.size());
      if (c.rangeMessage.empty())
         EXPECT_THROW(c.read(in), Vex::Exception) << c.what;
      else
         EXPECT_EQ(raisedMessage<Vex::RangeException>([&] { c.read(in); }), c.rangeMessage)
             << c.what;
   }
}

TEST(ValueLogEncoding, KeyPairsAndFullSetsReadBackInOrder) {
   FlowspecKey const key = fromLog<FlowspecKey>(samples(Tag<FlowspecKey>())[1].bytes);
   std::vector<std::pair<std::uint16_t, std::uint32_t>> pairs;
   for (auto i = key.matchOpValIteratorConst(); i; ++i)
      pairs.emplace_back(i.key().value(), i.value().storage());
   EXPECT_EQ(pairs, (decltype(pairs){{0, 0x05110050}, {1, 0x059101bb}}));

   MatchComponent c(T::tcpFlags);
   for (std::uint16_t v = 0; v < 5; ++v) {
      c.numericalRangeIs(NumericalRange(v, v + 10u), v % 2);
      c.ipBitMaskIs(anyOf<IpBitMask>(v, 0xf), v % 2);
      c.tcpBitMaskIs(TcpBitMask(v, 0x1ff), !(v % 2));
   }
   EXPECT_EQ(fromLog<MatchComponent>(logOf(c)), c);
   expectEveryPrefixRefused<MatchComponent>(logOf(c), "five members per set");

   UnsupportedQual q(Ipkit::ipv4);
   for (T kind : {T::flowLabel, T::destPrefix, T::fragment, T::dscp})
      q.qualIs(kind, stringValue(kind));
   EXPECT_EQ(fromLog<UnsupportedQual>(logOf(q)), q);
   expectEveryPrefixRefused<UnsupportedQual>(logOf(q), "four entries");
}

TEST(ValueLogEncoding, WritingAMemberEqualToItsTerminatorAborts) {
   auto out = Vex::NboAttrLog::Out::OutIs();
   char const* const death =
       "Default key not supported in collection inside nominal\nAssertion failed: ";
   FlowspecKey key;
   key.matchOpValIs(MatchOpValIndex(0), MatchOpVal(1));
   key.matchOpValIs(MatchOpValIndex(2047), MatchOpVal(1));
   EXPECT_DEATH(out << key, death);

   MatchComponent ranges(T::port), ipMasks(T::fragment), tcpMasks(T::tcpFlags);
   ranges.numericalRangeIs(NumericalRange(1, 2), true);
   ranges.numericalRangeIs(NumericalRange(), true);
   ipMasks.ipBitMaskIs(IpBitMask(), false);
   tcpMasks.tcpBitMaskIs(TcpBitMask(), true);
   EXPECT_DEATH(out << ranges, death);
   EXPECT_DEATH(out << ipMasks, death);
   EXPECT_DEATH(out << tcpMasks, death);

   UnsupportedQual q(Ipkit::ipv6);
   q.qualIs(T::invalid, Vex::String("never"));
   EXPECT_DEATH(out << q, death);
}
