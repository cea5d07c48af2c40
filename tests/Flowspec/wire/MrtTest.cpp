#include "Flowspec/wire/Mrt.h"

#include "WireTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Flowspec {
namespace {

using namespace WireTest;

constexpr char const* nlri4 = "0c 01 20 c0a80001 03 81 06 04 81 19";
constexpr char const* key4 = "192.168.0.1/32;*;IP:=6;P:=25;";

Bytes announce() {
   return update(attr(0x80, 14, "000185 00 00" + std::string(nlri4)) + "40010100" +
                 "40 02 06 02 01 0000fde9");
}
Bytes announce2ByteAs() {
   return update(attr(0x80, 14, "000185 00 00" + std::string(nlri4)) + "40010100" +
                 "40 02 04 02 01 fde9");
}
Bytes keepalive() {
   return bytes(std::string(32, 'f') + "0013 04");
}

// One record: timestamp 1000, the type and subtype, the body.
Bytes record(unsigned type, unsigned subtype, Bytes const& body) {
   Bytes r = bytes("000003e8" + num(type, 2) + num(subtype, 2) + num(body.size(), 4));
   r.insert(r.end(), body.begin(), body.end());
   return r;
}
// A BGP4MP_MESSAGE (2-byte AS numbers) between 10.0.0.1 and 10.0.0.2.
Bytes message2(Bytes const& m) {
   Bytes body = bytes("fde9 fdea 0000 0001 0a000001 0a000002");
   body.insert(body.end(), m.begin(), m.end());
   return record(16, 1, body);
}
// A BGP4MP_ET MESSAGE_AS4 over IPv6 between 2001:db8::1 and 2001:db8::2.
Bytes messageEt6(Bytes const& m) {
   Bytes body = bytes("0007a120 0000fde9 0000fdea 0000 0002 "
                      "20010db8000000000000000000000001 20010db8000000000000000000000002");
   body.insert(body.end(), m.begin(), m.end());
   return record(17, 4, body);
}

Bytes concat(std::vector<Bytes> const& parts) {
   Bytes out;
   for (Bytes const& p : parts)
      out.insert(out.end(), p.begin(), p.end());
   return out;
}

struct Walk {
   MrtSummary summary;
   std::vector<MrtUpdate> updates;
};
Walk walk(Bytes const& file) {
   Walk w;
   w.summary = walkMrt(file, {}, [&](MrtUpdate const& u) { w.updates.push_back(u); });
   return w;
}

TEST(Mrt, WalksBgp4mpMessagesAndSkipsTheRest) {
   Bytes const file = concat({
       mrtRecord(announce(), 1000, 65001, 65002),  // at 0
       record(13, 1, bytes("0a000001 0000 0000")), // TABLE_DUMP_V2: skipped
       record(16, 0, bytes("fde9 fdea 0000 0001 0a000001 0a000002 0001 0006")), // state
       message2(keepalive()),
       message2(announce2ByteAs()),
       messageEt6(announce()),
   });
   Walk const w = walk(file);
   EXPECT_EQ(w.summary.records, 6u);
   EXPECT_EQ(w.summary.updates, 3u);
   EXPECT_EQ(w.summary.otherMessages, 1u);
   EXPECT_EQ(w.summary.skippedRecords, 2u);
   EXPECT_TRUE(w.summary.errors.empty());
   ASSERT_EQ(w.updates.size(), 3u);

   MrtUpdate const& a = w.updates[0];
   EXPECT_EQ(a.offset, 0u);
   EXPECT_EQ(a.timestamp, 1000u);
   EXPECT_EQ(a.type, 16);
   EXPECT_EQ(a.subtype, 4);
   EXPECT_EQ(a.peerAs, 65001u);
   EXPECT_EQ(a.localAs, 65002u);
   EXPECT_EQ(a.peerAddress.stringValue(), "192.0.2.1");
   EXPECT_EQ(a.localAddress.stringValue(), "192.0.2.2");
   EXPECT_EQ(a.messageOffset, 32u);
   ASSERT_EQ(a.contents.announced.size(), 1u);
   EXPECT_EQ(a.contents.announced[0].key.toStrepCli(), key4);

   // The 2-byte subtype reads its UPDATE with 2-byte AS numbers.
   MrtUpdate const& b = w.updates[1];
   EXPECT_EQ(b.subtype, 1);
   EXPECT_EQ(b.peerAs, 65001u);
   EXPECT_EQ(b.contents.action, UpdateAction::accept);
   ASSERT_EQ(b.contents.announced.size(), 1u);

   MrtUpdate const& c = w.updates[2];
   EXPECT_EQ(c.type, 17);
   EXPECT_EQ(c.microseconds, 500000u);
   EXPECT_EQ(c.peerAddress.stringValue(), "2001:db8::1");
   EXPECT_EQ(c.messageOffset, c.offset + 12 + 4 + 12 + 32);
   EXPECT_EQ(c.contents.announced.size(), 1u);
}

TEST(Mrt, ProblemsPointIntoTheFile) {
   Bytes bad = announce();
   bad[bad.size() - 6] = 0x05; // the AS_PATH segment type
   Bytes const first = mrtRecord(announce(), 1, 1, 2);
   Bytes const file = concat({first, mrtRecord(bad, 2, 1, 2)});
   Walk const w = walk(file);
   ASSERT_EQ(w.updates.size(), 2u);
   UpdateContents const& u = w.updates[1].contents;
   EXPECT_EQ(u.action, UpdateAction::treatAsWithdraw);
   ASSERT_EQ(u.problems.size(), 1u);
   // AS_PATH starts 48 bytes into the message, the message 32 into its record.
   EXPECT_EQ(u.problems[0].offset, first.size() + 32 + 48);
   EXPECT_EQ(u.problems[0].reason, "AS_PATH has a segment of the undefined type 5");
}

TEST(Mrt, MalformedRecordsAreReportedAndSkipped) {
   Bytes const good = mrtRecord(announce(), 1, 1, 2);
   struct Case {
      char const* description;
      Bytes record;
      std::size_t offset; // from the record
      std::string reason;
   };
   std::vector<Case> const cases = {
       {"AS numbers cut", record(16, 4, bytes("0000fde9 0000")), 12,
        "the record ends inside its AS numbers, interface and family"},
       {"address family 3", record(16, 1, bytes("fde9 fdea 0000 0003 0a000001 0a000002")), 18,
        "the address family 3 is neither 1 nor 2"},
       {"addresses cut", record(16, 1, bytes("fde9 fdea 0000 0002 0a000001 0a000002")), 20,
        "the record ends inside its peer and local addresses"},
       {"microseconds cut", record(17, 1, bytes("0007")), 12,
        "the BGP4MP_ET record ends inside its microseconds"},
   };
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      Walk const w = walk(concat({good, c.record, good}));
      EXPECT_EQ(w.summary.records, 3u);
      EXPECT_EQ(w.summary.updates, 2u);
      ASSERT_EQ(w.summary.errors.size(), 1u);
      EXPECT_EQ(w.summary.errors[0], (MrtError{good.size() + c.offset, c.reason}));
   }
}

// Every prefix of a file of three records: whole records are read, and the
// cut one is reported where it starts (a header cut short) or at its length
// field (a body cut short). A message cut inside a record whose length was
// made to agree is read as far as it goes.
TEST(Mrt, EveryPrefixOfAFileIsReadAsFarAsItGoes) {
   std::vector<Bytes> const records = {mrtRecord(announce(), 1, 1, 2), message2(keepalive()),
                                       messageEt6(announce())};
   Bytes const file = concat(records);
   std::vector<std::size_t> starts{0};
   for (Bytes const& r : records)
      starts.push_back(starts.back() + r.size());
   for (std::size_t n = 0; n < file.size(); ++n) {
      SCOPED_TRACE("prefix of " + std::to_string(n) + " bytes");
      Bytes const cut(file.begin(), file.begin() + long(n));
      Walk const w = walk(cut);
      std::size_t whole = 0;
      while (starts[whole + 1] <= n)
         ++whole;
      EXPECT_EQ(w.summary.records, whole);
      if (n == starts[whole]) {
         EXPECT_TRUE(w.summary.errors.empty());
         continue;
      }
      ASSERT_EQ(w.summary.errors.size(), 1u);
      std::size_t const start = starts[whole];
      if (n - start < 12) {
         EXPECT_EQ(w.summary.errors[0].offset, start);
         EXPECT_EQ(w.summary.errors[0].reason, "the file ends " + std::to_string(n - start) +
                                                   " bytes into a 12-byte record header");
      } else {
         EXPECT_EQ(w.summary.errors[0].offset, start + 8);
      }
   }
   // The last record's message cut at every length, its record length made
   // to agree: never a read outside, every problem inside the file.
   Bytes const last = records[2];
   for (std::size_t n = 12; n < last.size(); ++n) {
      Bytes r(last.begin(), last.begin() + long(n));
      std::size_t const len = n - 12;
      for (unsigned i = 0; i < 4; ++i)
         r[8 + i] = std::uint8_t(len >> (8 * (3 - i)));
      Walk const w = walk(r);
      EXPECT_EQ(w.summary.records, 1u);
      for (MrtUpdate const& u : w.updates) {
         EXPECT_NE(u.contents.action, UpdateAction::accept);
         for (UpdateProblem const& p : u.contents.problems)
            EXPECT_LE(p.offset, n);
      }
      for (MrtError const& e : w.summary.errors)
         EXPECT_LE(e.offset, n);
   }
}

} // namespace
} // namespace Flowspec
