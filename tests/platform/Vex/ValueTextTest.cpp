#include "Vex/ValueText.h"

#include <gtest/gtest.h>

#include <cmath>

using Vex::String;

TEST(ValueText, PrimitivesPrintInTheirValueText) {
   EXPECT_EQ(Vex::valueToStrep(true), "True");
   EXPECT_EQ(Vex::valueToStrep(false), "False");
   EXPECT_EQ(Vex::valueToStrep(std::uint32_t(16777216)), "16777216");
   EXPECT_EQ(Vex::valueToStrep(std::uint8_t(200)), "200");
   EXPECT_EQ(Vex::valueToStrep(std::int32_t(-7)), "-7");
   EXPECT_EQ(Vex::valueToStrep(std::uint64_t(18446744073709551615ULL)), "18446744073709551615");
   EXPECT_EQ(Vex::valueToStrep(0.5), "0.5");
   EXPECT_EQ(Vex::valueToStrep(0.1f), "0.1");
   EXPECT_EQ(Vex::valueToStrep(String("it's")), "'it\\'s'");
   EXPECT_EQ(Vex::valueToStrep(String("a\\b\n\t\r\x01\x7f")), "'a\\\\b\\n\\t\\r\\x01\\x7f'");
   EXPECT_EQ(Vex::valueToStrep(String("")), "''");
}

TEST(ValueText, PrimitivesReadBackWhatTheyPrint) {
   auto roundTrip = [](auto v) {
      decltype(v) back{};
      Vex::strepToValue(Vex::valueToStrep(v), back);
      return back;
   };
   EXPECT_EQ(roundTrip(true), true);
   EXPECT_EQ(roundTrip(std::uint16_t(65535)), 65535);
   EXPECT_EQ(roundTrip(std::int64_t(-9223372036854775807LL - 1)), -9223372036854775807LL - 1);
   EXPECT_EQ(roundTrip(1e300), 1e300);
   EXPECT_EQ(roundTrip(0.1f), 0.1f);
   EXPECT_TRUE(std::isinf(roundTrip(INFINITY)));
   String tricky(std::string("q'\\\"\n\x00\xff z", 10));
   EXPECT_EQ(roundTrip(tricky), tricky);
   EXPECT_EQ(roundTrip(Vex::Name("cfg")), "cfg");
}

TEST(ValueText, RefusesMalformedTextSayingWhatAndWhere) {
   struct Case {
      char const* description;
      char const* text;
      char const* message;
   };
   auto failU8 = [](char const* text) {
      std::uint8_t v = 9;
      try {
         Vex::strepToValue(text, v);
      } catch (Vex::Exception const& e) {
         EXPECT_EQ(v, 9) << "value changed on error";
         return std::string(e.what());
      }
      return std::string("no error");
   };
   Case const cases[] = {
       {"above the type's range", "256", "expected a number no greater than 255 at '256'"},
       {"a sign", "-1", "expected an unsigned number at '-1'"},
       {"empty", "", "expected an unsigned number at the end of the text"},
       {"trailing text", "12x", "expected the end of the text at 'x'"},
       {"blank first", " 1", "expected an unsigned number at ' 1'"},
       {"huge", "99999999999999999999999", "expected a number no greater than 255 at"},
   };
   for (auto const& c : cases) {
      EXPECT_EQ(failU8(c.text).rfind(c.message, 0), 0u) << c.description << ": " << failU8(c.text);
   }

   bool b = false;
   EXPECT_THROW(Vex::strepToValue("Truth", b), Vex::Exception);
   EXPECT_THROW(Vex::strepToValue("yes", b), Vex::Exception);
   String s;
   EXPECT_THROW(Vex::strepToValue("'open", s), Vex::Exception);
   EXPECT_THROW(Vex::strepToValue("'bad \\q'", s), Vex::Exception);
   EXPECT_THROW(Vex::strepToValue("'\\x4'", s), Vex::Exception);
   EXPECT_THROW(Vex::strepToValue("\"double\"", s), Vex::Exception);
   std::int8_t i8 = 0;
   EXPECT_THROW(Vex::strepToValue("-129", i8), Vex::Exception);
   Vex::strepToValue("-128", i8);
   EXPECT_EQ(i8, -128);
   double d = 0;
   EXPECT_THROW(Vex::strepToValue("x1.5", d), Vex::Exception);
}

TEST(ValueText, FieldReaderNamesTheFieldAndLiteralsAdvance) {
   String text = "Value('T', ** {'rangeMin': abc})";
   Vex::TextIter pos = text.begin();
   Vex::expectLiteral(pos, text.end(), "Value('T', ** {");
   Vex::expectLiteral(pos, text.end(), "'rangeMin': ");
   std::uint32_t v = 0;
   try {
      Vex::readField(pos, text.end(), "rangeMin", v);
      FAIL();
   } catch (Vex::Exception const& e) {
      EXPECT_STREQ(e.what(), "field 'rangeMin': expected an unsigned number at 'abc})'");
   }
   Vex::TextIter p2 = text.begin();
   EXPECT_FALSE(Vex::tryLiteral(p2, text.end(), "Value('U'"));
   EXPECT_EQ(p2, text.begin());
   try {
      Vex::expectLiteral(p2, text.end(), "Value('NumericalRange', ** {");
      FAIL();
   } catch (Vex::Exception const& e) {
      EXPECT_STREQ(
          e.what(),
          "expected \"Value('NumericalRange', ** {\" at 'Value(\\'T\\', ** {\\'rangeMin'...");
   }
}
