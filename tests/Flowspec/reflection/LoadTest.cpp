// A program that knows only the framework loads the library at run time and
// finds its types, with their tables, through the registry alone.
#include "Vex/Reflect.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

TEST(Load, LoadingTheLibraryRegistersItsTypesWithTheFramework) {
   EXPECT_EQ(Vex::typeByName("Flowspec::RuleStatus"), nullptr) << "not loaded yet";
   void* library = dlopen(FLOWSPEC_LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
   ASSERT_NE(library, nullptr) << dlerror();

   Vex::VexType const* status = Vex::typeByName("Flowspec::RuleStatus");
   ASSERT_NE(status, nullptr);
   EXPECT_EQ(status->attributeCount(), 14u);
   EXPECT_EQ(status->base(), Vex::typeByName("Vex::Entity"));
   // The libraries it depends on were loaded, and registered, first.
   for (char const* name : {"Ipkit::IpGenPrefix", "Kiln::UniqueId", "Vrf::VrfIdMap::VrfId",
                            "Pbr::ResolvedNexthopInfo"}) {
      EXPECT_NE(Vex::typeByName(name), nullptr) << name;
   }

   // An entity made by name, changed and read by row number.
   Vex::GenericValue counter =
       Vex::construct(*Vex::typeByName("Flowspec::Counter"), {Vex::GenericValue(Vex::Name("c"))});
   counter.set("259", Vex::GenericValue(2.5));
   EXPECT_EQ(counter.get("timestamp").value<double>(), 2.5);
   EXPECT_EQ(counter.get("fullName").value<Vex::String>(), "c");
}
