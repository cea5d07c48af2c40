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
using FlowspecTest::TraceCapture;

namespace {

// Evaluated while the test program's statics are initialised, after the
// library's own: loading the library alone must register the enumerations.
bool const registeredAtLoad = Vex::enumTypeByName("Flowspec::MatchCompType") &&
                              Vex::enumTypeByName("Flowspec::HwRuleProgrammingStatus") &&
                              Vex::enumTypeByName("Flowspec::IpBitMask::IpBit") &&
                              Vex::enumTypeByName("Flowspec::TcpBitMask::TcpBit");

// The enumerators are numbered 0, 1, ... in the order of `names`; both
// conversions, the registered table, stringValue and stream output agree,
// and the first number and a name outside the table raise.
template <class E, class ByNumber, class ByName>
void expectEnumeration(std::string const& qualifiedName, std::vector<std::string> const& names,
                       ByNumber byNumber, ByName byName) {
   SCOPED_TRACE(qualifiedName);
   Vex::EnumType const* type = Vex::enumTypeByName(qualifiedName);
   ASSERT_NE(type, nullptr);
   EXPECT_EQ(type, &vexEnumType(E{}));
   ASSERT_EQ(type->enumeratorCount(), names.size());
   for (std::uint32_t i = 0; i < names.size(); ++i) {
      EXPECT_EQ(type->enumerator(i).name, names[i]);
      EXPECT_EQ(type->enumerator(i).value, i);
      EXPECT_EQ(byNumber(i), static_cast<E>(i)) << names[i];
      EXPECT_EQ(byName(Vex::String(names[i])), static_cast<E>(i)) << names[i];
      EXPECT_EQ(stringValue(static_cast<E>(i)), Vex::String(names[i]));
      std::ostringstream os;
      os << static_cast<E>(i);
      EXPECT_EQ(os.str(), names[i]);
   }
   auto const past = static_cast<std::uint32_t>(names.size());
   EXPECT_EQ(raisedMessage<Vex::Exception>([&] { byNumber(past); }),
             qualifiedName + " has no enumerator with the value " + std::to_string(past));
   EXPECT_EQ(raisedMessage<Vex::Exception>([&] { byName("bogus"); }),
             qualifiedName + " has no enumerator named 'bogus'");
   // Printing never fails: a number outside the table prints as itself.
   EXPECT_EQ(stringValue(static_cast<E>(past)), Vex::String(std::to_string(past)));
}

} // namespace

TEST(MatchCompType, EnumerationsAreRegisteredWhenTheLibraryLoads) {
   EXPECT_TRUE(registeredAtLoad);
}

TEST(MatchCompType, NumbersNamesAndLookupsOfAllFourEnumerations) {
   EXPECT_EQ(numComponentTypes, 14u);
   EXPECT_EQ(MatchCompType{}, MatchCompType::invalid);
   EXPECT_EQ(HwRuleProgrammingStatus{}, HwRuleProgrammingStatus::unprocessed);
   expectEnumeration<MatchCompType>(
      "Flowspec::MatchCompType",
      {"invalid", "destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort",
       "icmpType", "icmpCode", "tcpFlags", "packetLength", "dscp", "fragment", "flowLabel"},
      [](unsigned v) { return MatchCompTypeInstance(v); },
      [](Vex::String const& n) { return MatchCompTypeInstance(n); });
   expectEnumeration<HwRuleProgrammingStatus>(
      "Flowspec::HwRuleProgrammingStatus",
      {"unprocessed", "programmed", "programmedWithFailures", "unsupportedMatch",
       "unsupportedTcamProfile", "unsupportedAction", "resourceExhausted"},
      [](unsigned v) { return HwRuleProgrammingStatusInstance(v); },
      [](Vex::String const& n) { return HwRuleProgrammingStatusInstance(n); });
   expectEnumeration<IpBitMask::IpBit>(
      "Flowspec::IpBitMask::IpBit",
      {"dontFragment", "isFragment", "firstFragment", "lastFragment"},
      [](unsigned v) { return IpBitMask::IpBitInstance(v); },
      [](Vex::String const& n) { return IpBitMask::IpBitInstance(n); });
   expectEnumeration<TcpBitMask::TcpBit>(
      "Flowspec::TcpBitMask::TcpBit",
      {"tcpFin", "tcpSyn", "tcpRst", "tcpPsh", "tcpAck", "tcpUrg", "tcpEce", "tcpCwr", "tcpNs"},
      [](unsigned v) { return TcpBitMask::TcpBitInstance(v); },
      [](Vex::String const& n) { return TcpBitMask::TcpBitInstance(n); });
}

TEST(MatchCompType, NamesAreExactEnumeratorNamesNotLabels) {
   EXPECT_EQ(stringValue(MatchCompType::tcpFlags), "tcpFlags");
   for (char const* notAName : {"TcpFlags", "TCP", "tcpFlags ", "", "4"}) {
      EXPECT_EQ(raisedMessage<Vex::Exception>([&] { MatchCompTypeInstance(Vex::String(notAName)); }),
                "Flowspec::MatchCompType has no enumerator named '" + std::string(notAName) + "'");
   }
   EXPECT_EQ(raisedMessage<Vex::Exception>([] { MatchCompTypeInstance(0xffffffffu); }),
             "Flowspec::MatchCompType has no enumerator with the value 4294967295");
}

TEST(MatchCompType, GetCompTypeMatchesTheFirstShortLabelThatPrefixesTheText) {
   struct Case {
      char const* text;
      MatchCompType expected;
      char const* why;
   };
   Case const cases[] = {
      {"", MatchCompType::invalid, "empty text"},
      {"INVALID", MatchCompType::invalid, "the invalid label is never tried"},
      {"D", MatchCompType::invalid, "shorter than every D label"},
      {"P", MatchCompType::port, "the one-letter label"},
      {"PROTO", MatchCompType::port, "P is tried before every later label"},
      {"Packet", MatchCompType::port, "only the first letter counts"},
      {"IP", MatchCompType::ipProto, "exact label"},
      {"IPv6 17", MatchCompType::ipProto, "IP followed by anything"},
      {"I", MatchCompType::invalid, "shorter than IP, IT and IC"},
      {"IT 3", MatchCompType::icmpType, "label followed by its values"},
      {"ICMP", MatchCompType::icmpCode, "IC prefixes ICMP"},
      {"DP80", MatchCompType::destPort, "label then value"},
      {"SP", MatchCompType::srcPort, "exact label"},
      {"TCP", MatchCompType::tcpFlags, "exact label"},
      {"TCPx", MatchCompType::tcpFlags, "TCP followed by anything"},
      {"TC", MatchCompType::invalid, "shorter than TCP"},
      {"LEN", MatchCompType::packetLength, "exact label"},
      {"LE", MatchCompType::invalid, "shorter than LEN"},
      {"DSCP", MatchCompType::dscp, "DP does not match DS"},
      {"DSC", MatchCompType::invalid, "shorter than DSCP"},
      {"FRAG", MatchCompType::fragment, "all four letters"},
      {"FRA", MatchCompType::invalid, "FRAG needs four letters, FL fails"},
      {"FLAGS", MatchCompType::flowLabel, "FRAG fails, FL matches"},
      {"F", MatchCompType::invalid, "shorter than FRAG and FL"},
      {"ip", MatchCompType::invalid, "labels are case-sensitive"},
      {" IP", MatchCompType::invalid, "no blanks are skipped"},
   };
   for (Case const& c : cases) {
      EXPECT_EQ(getCompType(c.text), c.expected) << '"' << c.text << "\": " << c.why;
   }
}

TEST(MatchCompType, IsBitfieldTypeForEveryKindAndBeyond) {
   TraceCapture capture(0);
   for (std::uint32_t t = 0; t < numComponentTypes; ++t) {
      bool const expected = t == 9 || t == 12;
      EXPECT_EQ(isBitfieldType(static_cast<MatchCompType>(t)), expected) << t;
   }
   // Values outside the enumeration count as bit-field kinds.
   for (std::uint32_t t : {14u, 1000u, 0xffffffffu}) {
      EXPECT_TRUE(isBitfieldType(static_cast<MatchCompType>(t))) << t;
   }
   EXPECT_TRUE(capture.lines.empty()) << "no trace while tracing is off";
}

TEST(MatchCompType, InvalidKindTracesOnlyWhenLevelTwoIsOn) {
   {
      TraceCapture progressOnly(1u << 8);
      EXPECT_FALSE(isBitfieldType(MatchCompType::invalid));
      EXPECT_TRUE(progressOnly.lines.empty());
   }
   TraceCapture failures(1u << 2);
   for (std::uint32_t t = 1; t <= 14; ++t) isBitfieldType(static_cast<MatchCompType>(t));
   EXPECT_TRUE(failures.lines.empty()) << "only the invalid kind traces";
   EXPECT_FALSE(isBitfieldType(MatchCompType::invalid));
   FlowspecTest::expectInvalidKindTrace(failures.lines);
}
