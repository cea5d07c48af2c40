#include "Vex/Hash.h"

#include <gtest/gtest.h>

#include <set>

TEST(HashAccumulator, IsDeterministicAndSeesWidthAndOrder) {
   auto hashOf = [](auto mix) {
      Vex::HashAccumulator h;
      mix(h);
      return h.result();
   };
   auto a = hashOf([](auto& h) {
      h.mixU32(80);
      h.mixU32(443);
   });
   EXPECT_EQ(a, hashOf([](auto& h) {
                h.mixU32(80);
                h.mixU32(443);
             }));
   // The order of mixing and the declared widths are part of the hash.
   EXPECT_NE(a, hashOf([](auto& h) {
                h.mixU32(443);
                h.mixU32(80);
             }));
   EXPECT_NE(hashOf([](auto& h) { h.mixU8(1); }), hashOf([](auto& h) { h.mixU16(1); }));
   EXPECT_NE(hashOf([](auto& h) { h.mixU16(1); }), hashOf([](auto& h) { h.mixU32(1); }));
   EXPECT_NE(hashOf([](auto&) {}), hashOf([](auto& h) { h.mixU32(0); }));
   // Bytes hash like the same bytes mixed four at a time, little end first.
   unsigned char bytes[5] = {1, 2, 3, 4, 5};
   EXPECT_EQ(hashOf([&](auto& h) { h.mixBytes(bytes, 5); }), hashOf([](auto& h) {
                h.mixU32(0x04030201);
                h.mixU8(5);
             }));
   // result() reads without changing the accumulator.
   Vex::HashAccumulator h;
   h.mixU64(0x0123456789abcdefULL);
   EXPECT_EQ(h.result(), h.result());
}

TEST(HashAccumulator, SpreadsSmallNumbersOverTheTopBits) {
   // The hashed collections pick buckets by the top bits.
   std::set<std::uint32_t> tops;
   for (std::uint32_t i = 0; i < 64; ++i)
      tops.insert(Vex::HashTraits<std::uint32_t>::hash(i) >> 26);
   EXPECT_GT(tops.size(), 30u);
}

TEST(BitReverse, ReversesAllThirtyTwoBits) {
   EXPECT_EQ(Vex::bitReverse(0), 0u);
   EXPECT_EQ(Vex::bitReverse(1), 0x80000000u);
   EXPECT_EQ(Vex::bitReverse(0x80000000u), 1u);
   EXPECT_EQ(Vex::bitReverse(0x00ffffffu), 0xffffff00u);
   EXPECT_EQ(Vex::bitReverse(0x12345678u), 0x1e6a2c48u);
   for (std::uint32_t v : {0u, 7u, 0xdeadbeefu, 0xffffffffu}) {
      EXPECT_EQ(Vex::bitReverse(Vex::bitReverse(v)), v);
   }
   static_assert(Vex::bitReverse(2) == 0x40000000u);
}
