#include "Kiln/UniqueId.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <unordered_set>
#include <vector>

using Kiln::UniqueId;

TEST(UniqueId, FreshIdsAreDistinctAcrossThreadsAndNeverUnset) {
   EXPECT_TRUE(UniqueId().isUnset());
   EXPECT_FALSE(UniqueId(0, 1).isUnset());
   UniqueId a = UniqueId::fresh(), b = UniqueId::fresh();
   EXPECT_LT(a, b); // one thread: made later sorts later
   EXPECT_EQ(a.origin(), b.origin());
   EXPECT_NE(a.origin(), 0u);

   constexpr int threads = 8, perThread = 20000;
   std::vector<std::vector<UniqueId>> made(threads);
   std::vector<std::thread> workers;
   for (int t = 0; t < threads; ++t) {
      workers.emplace_back([&made, t] {
         for (int i = 0; i < perThread; ++i)
            made[t].push_back(UniqueId::fresh());
      });
   }
   for (auto& w : workers)
      w.join();
   std::unordered_set<UniqueId> all;
   for (auto const& ids : made)
      all.insert(ids.begin(), ids.end());
   EXPECT_EQ(all.size(), std::size_t(threads) * perThread);
   EXPECT_FALSE(all.contains(UniqueId()));
}

TEST(UniqueId, OrderAndHashFollowBothFields) {
   EXPECT_LT(UniqueId(1, 9), UniqueId(2, 1)); // origin first
   EXPECT_LT(UniqueId(2, 1), UniqueId(2, 3)); // then sequence
   EXPECT_EQ(UniqueId(2, 3).hash(), UniqueId(2, 3).hash());
   EXPECT_NE(UniqueId(2, 3).hash(), UniqueId(3, 2).hash());
}

TEST(UniqueId, TextIsExactAndRoundTrips) {
   UniqueId id(0x3f2a9c0d11e8b702ULL, 42);
   EXPECT_EQ(id.toStrep(), "3f2a9c0d11e8b702.42");
   EXPECT_EQ(valueToStrep(id), "'3f2a9c0d11e8b702.42'");
   EXPECT_EQ(UniqueId().toStrep(), "0000000000000000.0");
   EXPECT_EQ(UniqueId(UINT64_MAX, UINT64_MAX).toStrep(), "ffffffffffffffff.18446744073709551615");
   std::ostringstream os;
   os << id;
   EXPECT_EQ(os.str(), "3f2a9c0d11e8b702.42");

   for (UniqueId v :
        {UniqueId(), UniqueId(1, 0), UniqueId(UINT64_MAX, UINT64_MAX), UniqueId::fresh()}) {
      UniqueId back(5, 6);
      Vex::strepToValue(valueToStrep(v), back);
      EXPECT_EQ(back, v) << valueToStrep(v);
   }
   UniqueId upper;
   Vex::strepToValue("'ABCDEF0123456789.5'", upper);
   EXPECT_EQ(upper, UniqueId(0xabcdef0123456789ULL, 5));
}

TEST(UniqueId, MalformedTextIsRefusedAndLeavesTheValue) {
   struct Case {
      char const* text;
      char const* message;
   };
   Case const cases[] = {
       {"0000000000000002.3", "expected a quoted UniqueId such as "
                              "'3f2a9c0d11e8b702.42' at '0000000000000002.3'"},
       {"'000000000000002.3'", "expected 16 hexadecimal digits for the UniqueId "
                               "origin at '000000000000002.3\\''"},
       {"'00000000000000002.3'",
        "expected \".\" after the 16 digits of the UniqueId origin at '2.3\\''"},
       {"'0000000000000002.-3'", "expected the decimal sequence of the UniqueId at '-3\\''"},
       {"'0000000000000002.18446744073709551616'",
        "expected a number no greater than 18446744073709551615 "
        "at '18446744073709551616\\''"},
   };
   for (auto const& c : cases) {
      UniqueId id(5, 6);
      try {
         Vex::strepToValue(c.text, id);
         ADD_FAILURE() << c.text << ": accepted";
      } catch (Vex::Exception const& e) {
         EXPECT_STREQ(e.what(), c.message);
      }
      EXPECT_EQ(id, UniqueId(5, 6)) << c.text;
   }
   std::string const valid = "'3f2a9c0d11e8b702.42'";
   for (std::size_t n = 0; n < valid.size(); ++n) {
      UniqueId id(5, 6);
      EXPECT_THROW(Vex::strepToValue(valid.substr(0, n), id), Vex::Exception) << n;
      EXPECT_EQ(id, UniqueId(5, 6)) << n;
   }
}

TEST(UniqueId, LogRoundTripAndTruncation) {
   UniqueId id(0x0102030405060708ULL, 0x1112131415161718ULL);
   auto out = Vex::NboAttrLog::Out::OutIs();
   out << id;
   std::vector<unsigned char> const expected = {
       0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // origin
       0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, // sequence
   };
   ASSERT_EQ(out->bytes(), expected);
   Vex::NboAttrLog::In in(expected.data(), expected.size());
   EXPECT_EQ(Vex::nboRead<UniqueId>(in), id);
   EXPECT_TRUE(in.atEnd());

   for (std::size_t n = 0; n < expected.size(); ++n) {
      Vex::NboAttrLog::In cut(expected.data(), n);
      EXPECT_THROW(Vex::nboRead<UniqueId>(cut), Vex::Exception) << n << " bytes";
   }
}
