#include "Statedb/Frame.h"
#include "Statedb/Crc32c.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(StatedbCrc32c, KnownValuesAndContinuation) {
   struct {
      char const* description;
      std::string data;
      std::uint32_t crc;
   } const cases[] = {
       {"empty", "", 0},
       {"the check string", "123456789", 0xE3069283u},
       {"32 zero bytes (RFC 3720 B.4)", std::string(32, '\0'), 0x8A9136AAu},
       {"32 bytes of 0xff (RFC 3720 B.4)", std::string(32, '\xff'), 0x62A8AB43u},
   };
   for (auto const& c : cases) {
      EXPECT_EQ(Statedb::crc32c(c.data.data(), c.data.size()), c.crc) << c.description;
      // In two pieces, at every cut.
      for (std::size_t cut = 0; cut <= c.data.size(); ++cut) {
         std::uint32_t const head = Statedb::crc32c(c.data.data(), cut);
         EXPECT_EQ(Statedb::crc32c(c.data.data() + cut, c.data.size() - cut, head), c.crc)
             << c.description << " cut at " << cut;
      }
   }
}

TEST(StatedbFrame, EncodeParseAndEveryTruncation) {
   std::vector<unsigned char> const body = {1, 2, 3, 4, 5};
   auto frame = Statedb::encodeFrame(Statedb::FrameKind::batch, 0x0102030405060708ull, body);
   ASSERT_EQ(frame->size(), 13u + 5u + 4u);
   EXPECT_EQ((std::vector<unsigned char>(frame->begin(), frame->begin() + 13)),
             (std::vector<unsigned char>{0, 0, 0, 18, 3, 1, 2, 3, 4, 5, 6, 7, 8}));

   Statedb::FrameParser whole;
   whole.append(frame->data(), frame->size());
   Statedb::Frame f;
   ASSERT_TRUE(whole.next(f));
   EXPECT_EQ(f.kind, Statedb::FrameKind::batch);
   EXPECT_EQ(f.sequence, 0x0102030405060708ull);
   EXPECT_EQ(std::vector<unsigned char>(f.body.begin(), f.body.end()), body);
   EXPECT_FALSE(whole.next(f));
   EXPECT_NO_THROW(whole.checkEnd());

   // Every prefix: no frame, and the end says it was cut short.
   for (std::size_t n = 1; n < frame->size(); ++n) {
      Statedb::FrameParser p;
      p.append(frame->data(), n);
      EXPECT_FALSE(p.next(f)) << n;
      EXPECT_EQ(p.pending(), n);
      try {
         p.checkEnd();
         ADD_FAILURE() << "prefix of " << n << " bytes accepted";
      } catch (Statedb::FrameError const& e) {
         EXPECT_EQ(std::string(e.what()), "Statedb: truncated frame at offset 0 (" +
                                              std::to_string(n) + " bytes of an incomplete frame)");
      }
   }
   // Byte by byte, it comes out whole once.
   Statedb::FrameParser bytewise;
   int frames = 0;
   for (unsigned char b : *frame) {
      bytewise.append(&b, 1);
      while (bytewise.next(f))
         ++frames;
   }
   EXPECT_EQ(frames, 1);
}

TEST(StatedbFrame, DamagedFramesAreRefusedWithAClearError) {
   std::vector<unsigned char> const body = {9, 9, 9};
   auto good = Statedb::encodeFrame(Statedb::FrameKind::batch, 7, body);
   // Every single bit flipped after the length field fails the CRC check.
   for (std::size_t i = 4; i < good->size(); ++i) {
      for (int bit = 0; bit < 8; ++bit) {
         auto bad = *good;
         bad[i] ^= static_cast<unsigned char>(1 << bit);
         Statedb::FrameParser p;
         p.append(bad.data(), bad.size());
         Statedb::Frame f;
         try {
            p.next(f);
            ADD_FAILURE() << "flip at " << i << "." << bit << " accepted";
         } catch (Statedb::FrameError const& e) {
            EXPECT_EQ(std::string(e.what()),
                      "Statedb: frame at offset 0 fails its CRC-32C check; refused");
         }
      }
   }
   struct {
      char const* description;
      std::uint32_t length;
      char const* message;
   } const lengths[] = {
       {"shorter than kind, sequence and crc", 12,
        "Statedb: frame at offset 0 has length 12, outside [13, 1024]"},
       {"zero", 0, "Statedb: frame at offset 0 has length 0, outside [13, 1024]"},
       {"past the bound", 1025, "Statedb: frame at offset 0 has length 1025, outside [13, 1024]"},
   };
   for (auto const& c : lengths) {
      unsigned char head[4] = {
          static_cast<unsigned char>(c.length >> 24), static_cast<unsigned char>(c.length >> 16),
          static_cast<unsigned char>(c.length >> 8), static_cast<unsigned char>(c.length)};
      Statedb::FrameParser p(1024);
      p.append(head, 4);
      Statedb::Frame f;
      try {
         p.next(f);
         ADD_FAILURE() << c.description;
      } catch (Statedb::FrameError const& e) {
         EXPECT_EQ(std::string(e.what()), c.message) << c.description;
      }
   }
   // A good CRC around an unknown kind.
   auto odd = Statedb::encodeFrame(static_cast<Statedb::FrameKind>(9), 1, body);
   Statedb::FrameParser p;
   p.append(odd->data(), odd->size());
   Statedb::Frame f;
   EXPECT_THROW(p.next(f), Statedb::FrameError);
}
