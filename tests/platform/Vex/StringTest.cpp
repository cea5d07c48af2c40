#include "Vex/String.h"

#include "Vex/Exception.h"

#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>

TEST(String, ComparesWithStringsNamesAndLiterals) {
   Vex::String a = "abc";
   Vex::Name n = "abd";
   std::string s = "abc";
   EXPECT_EQ(a, s);
   EXPECT_EQ(a, "abc");
   EXPECT_EQ("abc", a);
   EXPECT_NE(a, n);
   EXPECT_LT(a, n);
   EXPECT_LT(a, "abd");
   EXPECT_FALSE(n < a);
   EXPECT_LT(Vex::String(""), "a");
   EXPECT_EQ(Vex::String(static_cast<char const*>(nullptr)), "");
   // Bytes after a NUL count.
   EXPECT_NE(Vex::String(std::string("a\0b", 3)), Vex::String("a"));
   EXPECT_EQ(Vex::String(std::string("a\0b", 3)).size(), 3u);
}

TEST(String, CopiesAreIndependentAndPrintWhole) {
   Vex::String a = "x";
   Vex::String b = a;
   b += "y";
   EXPECT_EQ(a, "x");
   EXPECT_EQ(b, "xy");
   EXPECT_EQ(a + b, "xxy");
   std::ostringstream os;
   os << Vex::String(std::string("p\0q", 3)) << Vex::Name("!");
   EXPECT_EQ(os.str(), std::string("p\0q!", 4));
   EXPECT_TRUE(Vex::String().empty());
   EXPECT_STREQ(Vex::Name("n").c_str(), "n");
}

TEST(String, EqualStringsHashEqually) {
   EXPECT_EQ(Vex::String("Ethernet1").hash(), Vex::Name("Ethernet1").hash());
   EXPECT_NE(Vex::String("Ethernet1").hash(), Vex::String("Ethernet2").hash());
   EXPECT_NE(Vex::String("").hash(), Vex::String(std::string(1, '\0')).hash());
   std::unordered_set<Vex::String> set{"a", "b", "a"};
   EXPECT_EQ(set.size(), 2u);
}

TEST(Exception, WhatIsExactlyTheMessage) {
   try {
      throw Vex::RangeException("NumericalRange::rangeMin > NumericalRange::rangeMax not allowed");
   } catch (Vex::Exception const& e) {
      EXPECT_STREQ(e.what(), "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed");
      EXPECT_NE(dynamic_cast<Vex::RangeException const*>(&e), nullptr);
   }
}
