#include "Vex/NboAttrLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using Vex::NboAttrLog::In;
using Vex::NboAttrLog::Out;

namespace {
std::vector<unsigned char> sample() {
   auto out = Out::OutIs();
   out << true << std::uint8_t(0xab) << std::uint16_t(0x1234) << std::uint32_t(0xdeadbeef)
       << std::uint64_t(0x0102030405060708ULL) << std::int32_t(-2) << 1.5f << -0.25
       << Vex::String("Et1");
   return out->bytes();
}
} // namespace

TEST(NboAttrLog, WritesNetworkByteOrder) {
   std::vector<unsigned char> const expected = {
       0x01, 0xab, 0x12, 0x34, 0xde, 0xad, 0xbe, 0xef, 0x01, 0x02, 0x03, 0x04, 0x05,
       0x06, 0x07, 0x08, 0xff, 0xff, 0xff, 0xfe, 0x3f, 0xc0, 0x00, 0x00, 0xbf, 0xd0,
       0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 'E',  't',  '1'};
   EXPECT_EQ(sample(), expected);
}

TEST(NboAttrLog, ReadsBackWhatWasWritten) {
   auto bytes = sample();
   In in(bytes.data(), bytes.size());
   EXPECT_TRUE(in.nextbool());
   EXPECT_EQ(in.nextU8(), 0xab);
   EXPECT_EQ(in.nextU16(), 0x1234);
   EXPECT_EQ(in.nextU32(), 0xdeadbeefu);
   EXPECT_EQ(in.nextU64(), 0x0102030405060708ULL);
   EXPECT_EQ(in.nextS32(), -2);
   EXPECT_EQ(in.nextFloat(), 1.5f);
   EXPECT_EQ(in.nextDouble(), -0.25);
   EXPECT_EQ(in.nextString(), "Et1");
   EXPECT_TRUE(in.atEnd());
   EXPECT_EQ(in.offset(), bytes.size());
}

TEST(NboAttrLog, EveryTruncationRaisesAndNothingReadsOutside) {
   auto bytes = sample();
   auto readAll = [](In& in) {
      in.nextbool(), in.nextU8(), in.nextU16(), in.nextU32(), in.nextU64(), in.nextS32();
      in.nextFloat(), in.nextDouble(), in.nextString();
   };
   for (std::size_t n = 0; n < bytes.size(); ++n) {
      // A copy of exactly n bytes, so the sanitizers see any read beyond.
      std::vector<unsigned char> prefix(bytes.begin(), bytes.begin() + n);
      In in(prefix.data(), prefix.size());
      EXPECT_THROW(readAll(in), Vex::Exception) << "prefix of " << n << " bytes";
   }
   try {
      std::vector<unsigned char> two = {0x00, 0x01};
      In in(two.data(), two.size());
      in.nextU32();
      FAIL();
   } catch (Vex::Exception const& e) {
      EXPECT_STREQ(e.what(), "NboAttrLog::In: reading 4 bytes at offset 0 runs past the end "
                             "of the 2-byte record");
   }
}

TEST(NboAttrLog, RefusesBadBoolsAndOverlongStrings) {
   std::vector<unsigned char> badBool = {0x02};
   In in1(badBool.data(), badBool.size());
   EXPECT_THROW(in1.nextbool(), Vex::Exception);
   // A length far beyond the record must not allocate or read.
   std::vector<unsigned char> hugeString = {0xff, 0xff, 0xff, 0xf0, 'a'};
   In in2(hugeString.data(), hugeString.size());
   EXPECT_THROW(in2.nextString(), Vex::Exception);
}

TEST(NboAttrLog, GenericReadAndWriteCoverEnumsAndScalars) {
   enum class Colour : std::uint32_t { red = 7 };
   auto out = Out::OutIs();
   Vex::nboWrite(out, Colour::red);
   Vex::nboWrite(out, std::uint16_t(3));
   Vex::nboWrite(out, Vex::Name("n"));
   In in(out->bytes().data(), out->bytes().size());
   EXPECT_EQ(Vex::nboRead<Colour>(in), Colour::red);
   EXPECT_EQ(Vex::nboRead<std::uint16_t>(in), 3);
   EXPECT_EQ(Vex::nboRead<Vex::Name>(in), "n");
   EXPECT_TRUE(in.atEnd());
}
