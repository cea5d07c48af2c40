#include "Vex/Enum.h"

#include "Vex/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace Paint {
// Numbers deliberately neither sorted nor contiguous in declaration order.
enum class Colour : std::uint32_t { red = 0, blue = 7, green = 1 };
Vex::EnumType const& vexEnumType(Colour) {
   static Vex::EnumType const type("Paint::Colour", {{"red", 0}, {"blue", 7}, {"green", 1}});
   return type;
}
enum class Shade : std::uint32_t { light = 0 };
Vex::EnumType const& vexEnumType(Shade) {
   static Vex::EnumType const type("Paint::Shade", {{"light", 0}});
   return type;
}
enum class Unhooked : std::uint32_t { only = 0 };
enum class Narrow : std::uint8_t { only = 0 };
Vex::EnumType const& vexEnumType(Narrow);
} // namespace Paint

namespace {
using Paint::Colour;

template <class F>
std::string raisedMessage(F&& f) {
   try {
      f();
   } catch (Vex::Exception const& e) {
      return e.what();
   }
   return "(nothing raised)";
}

static_assert(Vex::RegisteredEnum<Colour>);
static_assert(!Vex::RegisteredEnum<Paint::Unhooked>, "no hook");
static_assert(!Vex::RegisteredEnum<Paint::Narrow>, "not 32 bits wide");
static_assert(!Vex::RegisteredEnum<std::uint32_t>, "not an enumeration");
} // namespace

TEST(EnumType, LooksUpBothWaysInDeclarationOrder) {
   Vex::EnumType const& t = vexEnumType(Colour{});
   EXPECT_EQ(t.name(), "Paint::Colour");
   ASSERT_EQ(t.enumeratorCount(), 3u);
   EXPECT_EQ(std::string(t.enumerator(1).name), "blue");
   EXPECT_EQ(t.enumerator(1).value, 7u);
   EXPECT_EQ(std::pair(t.value("blue"), t.value("green")), std::pair(7u, 1u));
   EXPECT_EQ(t.name(7), "blue");
   EXPECT_EQ(t.name(0), "red");
   EXPECT_EQ(t.instance(7), 7u);
   EXPECT_EQ(std::pair(t.has(1), t.has(2)), std::pair(true, false));
   EXPECT_EQ(t.nameOrNumber(7) + t.nameOrNumber(2) + "|" + t.nameOrNumber(0xffffffff),
             "blue2|4294967295");
}

TEST(EnumType, UnknownNumbersAndNamesRaiseWithTheirText) {
   Vex::EnumType const& t = vexEnumType(Colour{});
   std::string const prefix = "Paint::Colour has no enumerator ";
   EXPECT_EQ(raisedMessage([&] { t.name(2); }), prefix + "with the value 2");
   EXPECT_EQ(raisedMessage([&] { t.instance(8); }), prefix + "with the value 8");
   std::pair<char const*, char const*> const names[] = {
       {"Red", "'Red'"}, {"re", "'re'"}, {"", "''"}, {"it's\n", "'it\\'s\\n'"}};
   for (auto const& n : names)
      EXPECT_EQ(raisedMessage([&] { t.value(n.first); }), prefix + "named " + n.second);
}

TEST(EnumType, ConstructionRegistersUnderTheQualifiedName) {
   Vex::EnumType const& colour = vexEnumType(Colour{});
   Vex::EnumType const& shade = vexEnumType(Paint::Shade{}); // made here, after Colour
   EXPECT_EQ(Vex::enumTypeByName("Paint::Colour"), &colour);
   EXPECT_EQ(Vex::enumTypeByName("Paint::Shade"), &shade);
   EXPECT_EQ(Vex::enumTypeByName("Paint::colour"), nullptr);
   EXPECT_EQ(Vex::enumTypeByName("Colour"), nullptr);
   auto const all = Vex::enumTypes();
   auto const colourAt = std::find(all.begin(), all.end(), &colour);
   EXPECT_EQ(std::count(all.begin(), all.end(), &colour), 1);
   EXPECT_LT(colourAt, std::find(all.begin(), all.end(), &shade)) << "registration order";
}

TEST(EnumType, HookGivesInstanceNameAndStreamOutput) {
   EXPECT_EQ(Vex::enumInstance<Colour>(7u), Colour::blue);
   EXPECT_EQ(Vex::enumInstance<Colour>("green"), Colour::green);
   EXPECT_EQ(raisedMessage([] { Vex::enumInstance<Colour>(2u); }),
             "Paint::Colour has no enumerator with the value 2");
   EXPECT_EQ(raisedMessage([] { Vex::enumInstance<Colour>("Blue"); }),
             "Paint::Colour has no enumerator named 'Blue'");
   EXPECT_EQ(Vex::enumName(Colour::blue), "blue");
   EXPECT_EQ(Vex::enumName(static_cast<Colour>(9)), "9");
   std::ostringstream os;
   Vex::writeEnum(os, Colour::green) << '|';
   Vex::writeEnum(os, static_cast<Colour>(3));
   EXPECT_EQ(os.str(), "green|3");
}

TEST(EnumTypeDeathTest, DuplicateNumbersOrNamesAbort) {
   EXPECT_DEATH(Vex::EnumType("Paint::Twice", {{"a", 1}, {"b", 1}}),
                "Assertion failed: enumerators_\\[i\\]\\.value != enumerators_\\[j\\]\\.value");
   EXPECT_DEATH(Vex::EnumType("Paint::Twice", {{"a", 1}, {"a", 2}}),
                "Assertion failed: std::string_view\\(enumerators_\\[i\\]\\.name\\) != "
                "enumerators_\\[j\\]\\.name");
}
