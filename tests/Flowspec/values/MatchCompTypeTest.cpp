#include "Flowspec/values/MatchCompType.h"

#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/TcpBitMask.h"
#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using namespace Flowspec;
using FlowspecTest::raisedMessage;

namespace {

// Evaluated while the test program's statics are initialised, after the
// library's own: loading the library alone must register the enumerations.
bool const registeredAtLoad = Vex::enumTypeByName("Flowspec::MatchCompType") &&
                              Vex::enumTypeByName("Flowspec::HwRuleProgrammingStatus") &&
                              Vex::enumTypeByName("Flowspec::IpBitMask::IpBit") &&
                              Vex::enumTypeByName("Flowspec::TcpBitMask::TcpBit");

// The enumerators are numbered 0, 1, ... in the order of `names`: the
// registered table, both conversions, stringValue and stream output agree,
// and the next number and an unknown name raise with the framework's text.
template <class E, class ByNumber, class ByName>
void expectEnumeration(std::string const& qualifiedName, std::vector<std::string> const& names,
                       ByNumber byNumber, ByName byName) {
   SCOPED_TRACE(qualifiedName);
   Vex::EnumType const* type = Vex::enumTypeByName(qualifiedName);
   ASSERT_EQ(type, &vexEnumType(E{}));
   ASSERT_EQ(type->enumeratorCount(), names.size());
   for (std::uint32_t i = 0; i < names.size(); ++i) {
      EXPECT_EQ(type->enumerator(i).name, names[i]);
      EXPECT_EQ(type->enumerator(i).value, i);
      EXPECT_EQ(byNumber(i), static_cast<E>(i)) << names[i];
      EXPECT_EQ(byName(Vex::String(names[i])), static_cast<E>(i)) << names[i];
      EXPECT_EQ(stringValue(static_cast<E>(i)), Vex::String(names[i]));
      EXPECT_EQ((std::ostringstream() << static_cast<E>(i)).str(), names[i]);
   }
   auto const next = static_cast<std::uint32_t>(names.size());
   EXPECT_EQ(raisedMessage<Vex::Exception>([&] { byNumber(next); }),
             qualifiedName + " has no enumerator with the value " + std::to_string(next));
   EXPECT_EQ(raisedMessage<Vex::Exception>([&] { byName("Invalid"); }),
             qualifiedName + " has no enumerator named 'Invalid'");
   // Printing never fails: a number outside the table prints as itself.
   EXPECT_EQ(stringValue(static_cast<E>(next)), Vex::String(std::to_string(next)));
}

// The conversions by number and by name of enumeration E.
#define INSTANCE(f) [](unsigned v) { return f(v); }, [](Vex::String const& n) { return f(n); }
} // namespace

TEST(MatchCompType, AllFourEnumerationsHaveTheirNumbersAndNames) {
   EXPECT_TRUE(registeredAtLoad);
   EXPECT_EQ(MatchCompType{}, MatchCompType::invalid);
   EXPECT_EQ(HwRuleProgrammingStatus{}, HwRuleProgrammingStatus::unprocessed);
   expectEnumeration<MatchCompType>("Flowspec::MatchCompType",
                                    {"invalid", "destPrefix", "srcPrefix", "ipProto", "port",
                                     "destPort", "srcPort", "icmpType", "icmpCode", "tcpFlags",
                                     "packetLength", "dscp", "fragment", "flowLabel"},
                                    INSTANCE(MatchCompTypeInstance));
   expectEnumeration<HwRuleProgrammingStatus>(
       "Flowspec::HwRuleProgrammingStatus",
       {"unprocessed", "programmed", "programmedWithFailures", "unsupportedMatch",
        "unsupportedTcamProfile", "unsupportedAction", "resourceExhausted"},
       INSTANCE(HwRuleProgrammingStatusInstance));
   expectEnumeration<IpBitMask::IpBit>(
       "Flowspec::IpBitMask::IpBit",
       {"dontFragment", "isFragment", "firstFragment", "lastFragment"},
       INSTANCE(IpBitMask::IpBitInstance));
   expectEnumeration<TcpBitMask::TcpBit>(
       "Flowspec::TcpBitMask::TcpBit",
       {"tcpFin", "tcpSyn", "tcpRst", "tcpPsh", "tcpAck", "tcpUrg", "tcpEce", "tcpCwr", "tcpNs"},
       INSTANCE(TcpBitMask::TcpBitInstance));
#undef INSTANCE
}

TEST(MatchCompType, GetCompTypeTakesTheFirstShortLabelThatPrefixesTheText) {
   using enum MatchCompType;
   struct Case {
      char const* text;
      MatchCompType expected;
      char const* why;
   };
   // clang-format off
   Case const cases[] = {
      {"", invalid, "empty text"},              {"INVALID", invalid, "invalid is never tried"},
      {"D", invalid, "shorter than DP"},        {"P", port, "the one-letter label"},
      {"PROTO", port, "P is tried first"},      {"IPv6 17", ipProto, "IP and anything"},
      {"I", invalid, "shorter than IP"},        {"IT 3", icmpType, "label, then values"},
      {"ICMP", icmpCode, "IC prefixes ICMP"},   {"DP80", destPort, "label, then a value"},
      {"SP", srcPort, "exact label"},           {"TCPx", tcpFlags, "TCP and anything"},
      {"TC", invalid, "shorter than TCP"},      {"LEN", packetLength, "exact label"},
      {"DSCP", dscp, "DP does not match DS"},   {"DSC", invalid, "shorter than DSCP"},
      {"FRAG", fragment, "all four letters"},   {"FRA", invalid, "FRAG needs four"},
      {"FLAGS", flowLabel, "FRAG fails, FL not"}, {"ip", invalid, "case-sensitive"},
      {" IP", invalid, "no blank is skipped"},
   };
   // clang-format on
   for (Case const& c : cases) {
      EXPECT_EQ(getCompType(c.text), c.expected) << '"' << c.text << "\": " << c.why;
   }
}

TEST(MatchCompType, IsBitfieldTypeOnlyForMasksAndValuesBeyondTheKinds) {
   FlowspecTest::TraceCapture capture(0);
   for (std::uint32_t t :
        {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 14u, 1000u, 0xffffffffu})
      EXPECT_EQ(isBitfieldType(static_cast<MatchCompType>(t)), t == 9 || t == 12 || t > 13) << t;
   EXPECT_TRUE(capture.lines.empty()) << "no trace while tracing is off";
}

TEST(MatchCompType, InvalidKindTracesOnlyWhenLevelTwoIsOn) {
   {
      FlowspecTest::TraceCapture progressOnly(1u << 8);
      EXPECT_FALSE(isBitfieldType(MatchCompType::invalid));
      EXPECT_TRUE(progressOnly.lines.empty());
   }
   FlowspecTest::TraceCapture failures(1u << 2);
   for (std::uint32_t t = 1; t <= 14; ++t)
      isBitfieldType(static_cast<MatchCompType>(t));
   EXPECT_TRUE(failures.lines.empty()) << "only the invalid kind traces";
   EXPECT_FALSE(isBitfieldType(MatchCompType::invalid));
   FlowspecTest::expectInvalidKindTrace(failures.lines);
}
