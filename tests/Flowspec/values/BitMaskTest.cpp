#include "Flowspec/values/BitMask.h"

#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Vex/Hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Flowspec;

namespace {
template <class M>
class BitMaskTest : public ::testing::Test {};
using Masks = ::testing::Types<IpBitMask, TcpBitMask>;
TYPED_TEST_SUITE(BitMaskTest, Masks);

template <class M>
M anyOf(std::uint16_t val, std::uint16_t mask) {
   M m(val, mask);
   m.matchAllIs(false);
   return m;
}
} // namespace

TYPED_TEST(BitMaskTest, DefaultExaminesNothingAndIsNotValid) {
   using M = TypeParam;
   M m;
   EXPECT_TRUE(m.matchAll());
   EXPECT_EQ(m.val(), 0u);
   EXPECT_EQ(m.mask(), 0u);
   EXPECT_TRUE(!m);
   EXPECT_FALSE(m.isValid());
   EXPECT_FALSE(M(0xffff, 0).isValid()) << "val alone does not make it valid";
   EXPECT_FALSE(!anyOf<M>(0, 0));
   M const built(0x1, 0x3); // val first, matchAll true
   m.valIs(0x1);
   m.maskIs(0x3);
   EXPECT_EQ(m, built);
   EXPECT_TRUE(built.matchAll());
   EXPECT_EQ(M::maskForAllBits, (1u << (M::lastBit + 1)) - 1);
}

TYPED_TEST(BitMaskTest, EqualityOrderAndHashSeeAllThreeFields) {
   using M = TypeParam;
   // Ascending: matchAll false first, then by val, then by mask.
   std::vector<M> const ascending = {
       anyOf<M>(0, 0), anyOf<M>(0xffff, 0xffff), M(0, 0), M(0, 1), M(0, 0xffff), M(1, 0),
       M(2, 1),        M(0xffff, 0xffff)};
   for (std::size_t i = 0; i < ascending.size(); ++i) {
      for (std::size_t j = 0; j < ascending.size(); ++j) {
         EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << ", " << j;
         EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << ", " << j;
      }
   }
   std::vector<M> sorted(ascending.rbegin(), ascending.rend());
   std::sort(sorted.begin(), sorted.end());
   EXPECT_TRUE(sorted == ascending);

   auto mixed = [](bool matchAll, std::uint16_t val, std::uint16_t mask) {
      Vex::HashAccumulator h;
      h.mixBool(matchAll);
      h.mixU16(val);
      h.mixU16(mask);
      return h.result();
   };
   EXPECT_EQ(M(0x12, 0x3f).hash(), mixed(true, 0x12, 0x3f));
   EXPECT_EQ(anyOf<M>(0x12, 0x3f).hash(), mixed(false, 0x12, 0x3f));
}

TYPED_TEST(BitMaskTest, TextsLeaveOutMatchAllAndBitsOutsideTheVocabulary) {
   using M = TypeParam;
   EXPECT_EQ(M(0x12, 0x3f).toStrep(), "<value:0x12;mask:0x3f>");
   EXPECT_EQ(anyOf<M>(0x12, 0x3f).toStrep(), "<value:0x12;mask:0x3f>");
   EXPECT_EQ(M().toStrep(), "<value:0x0;mask:0x0>");
   EXPECT_EQ(M(0xffff, 0xabcd).toStrep(), "<value:0xffff;mask:0xabcd>");

   auto const above = static_cast<std::uint16_t>(~M::maskForAllBits);
   EXPECT_EQ(M().toStrepCli(), "");
   EXPECT_EQ(M(0xffff, above).toStrepCli(), "");
   EXPECT_EQ(anyOf<M>(0x1, 0x1).toStrepCli(), M(0x1, 0x1).toStrepCli());
   EXPECT_EQ(M(0x1, 0x1 | above).toStrepCli(), M(0x1, 0x1).toStrepCli());
   EXPECT_EQ(M(0xffff, 0x1).toStrepCli(), M(0x1, 0x1).toStrepCli());
}

TEST(IpBitMask, ConstantsAndCliText) {
   EXPECT_EQ(IpBitMask::maskForAllBits, 0xfu);
   EXPECT_EQ(IpBitMask::supportedIpBits, 0x2u);
   EXPECT_EQ(IpBitMask(0x2, 0x2).toStrepCli(), "is-fragment:1");
   EXPECT_EQ(IpBitMask(0x5, 0xf).toStrepCli(),
             "DF:1,is-fragment:0,first-fragment:1,last-fragment:0");
   EXPECT_EQ(IpBitMask(0x8, 0x18).toStrepCli(), "last-fragment:1");
}

TEST(IpBitMask, ValidityFollowsWhatAFragmentCanBe) {
   struct Case {
      std::uint16_t val, mask;
      bool valid;
      char const* why;
   };
   // clang-format off
   Case const cases[] = {
      {0x0, 0x0, false, "nothing examined"},
      {0x8, 0xa, false, "not a fragment, yet the last fragment"},
      {0x4, 0x6, false, "not a fragment, yet the first fragment"},
      {0x0, 0xe, true,  "not a fragment, neither first nor last"},
      {0xc, 0x2, true,  "not a fragment; val bits outside the mask do not count"},
      {0xc, 0xc, false, "both first and last"},
      {0xe, 0xe, false, "a fragment, both first and last"},
      {0xa, 0xe, true,  "a fragment, the last"},
      {0x4, 0xc, true,  "first, not last"},
      {0xe, 0x2, true,  "a fragment; first and last not examined"},
      {0x0, 0x1, true,  "don't-fragment alone"},
      {0x0, 0x10, true, "a bit above lastFragment makes the mask non-zero"},
   };
   // clang-format on
   for (Case const& c : cases) {
      EXPECT_EQ(IpBitMask(c.val, c.mask).isValid(), c.valid) << c.why;
      EXPECT_EQ(anyOf<IpBitMask>(c.val, c.mask).isValid(), c.valid) << "any of: " << c.why;
   }
}

TEST(TcpBitMask, ConstantsCliTextAndValidity) {
   EXPECT_EQ(TcpBitMask::maskForAllBits, 0x1ffu);
   EXPECT_EQ(TcpBitMask::supportedTcpBits, 0x3fu);
   EXPECT_EQ(TcpBitMask(0x02, 0x12).toStrepCli(), "SYN:1,ACK:0");
   EXPECT_EQ(TcpBitMask(0x000, 0x1ff).toStrepCli(),
             "FIN:0,SYN:0,RST:0,PSH:0,ACK:0,URG:0,ECE:0,CWR:0,NS:0");
   EXPECT_EQ(TcpBitMask(0x1ff, 0x1ff).toStrepCli(),
             "FIN:1,SYN:1,RST:1,PSH:1,ACK:1,URG:1,ECE:1,CWR:1,NS:1");
   EXPECT_EQ(TcpBitMask(0x080, 0x180).toStrepCli(), "CWR:1,NS:0");
   // Valid exactly when something is examined: isValid is the mask word.
   EXPECT_EQ(TcpBitMask(0, 0x100).isValid(), 0x100u);
   EXPECT_EQ(TcpBitMask(0x1ff, 0x1ff).isValid(), 0x1ffu);
}
