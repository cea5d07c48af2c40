#include "Ipkit/IntfId.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using Ipkit::IntfId;
using namespace IpkitTest;

namespace {
IntfId intf(char const* name) {
   return IntfId(Vex::String(name));
}
} // namespace

TEST(IntfId, AcceptsPrintableNamesUpTo255Bytes) {
   EXPECT_TRUE(IntfId().isEmpty());
   EXPECT_EQ(intf(""), IntfId());
   for (char const* name : {"Ethernet1", "Ethernet1/1.100", "Port-Channel10", "a", "!~'\\"}) {
      EXPECT_EQ(intf(name).stringValue(), name);
      std::ostringstream os;
      os << intf(name);
      EXPECT_EQ(os.str(), name);
   }
   std::string const longest(255, 'x');
   EXPECT_EQ(IntfId(longest).stringValue(), longest);

   struct {
      char const* description;
      Vex::String name;
      char const* message;
   } const invalid[] = {
       {"blank", "Ethernet 1", "invalid interface name 'Ethernet 1': a blank at byte 8"},
       {"leading blank", " Ethernet1", "invalid interface name ' Ethernet1': a blank at byte 0"},
       {"tab", "Ethernet1\t",
        "invalid interface name 'Ethernet1\\t': control character 0x09 at byte 9"},
       {"NUL", Vex::String("eth\0", 4),
        "invalid interface name 'eth\\x00': control character 0x00 at byte 3"},
       {"DEL", "eth\x7f", "invalid interface name 'eth\\x7f': control character 0x7f at byte 3"},
       {"non-ASCII", "eth\xc3\xa9",
        "invalid interface name 'eth\xc3\xa9': non-ASCII byte 0xc3 at byte 3"},
       {"256 bytes", std::string(256, 'x'),
        "invalid interface name of 256 bytes: longer than 255 bytes"},
   };
   for (auto const& c : invalid) {
      EXPECT_EQ(messageOf([&] { IntfId{c.name}; }), c.message) << c.description;
   }
}

TEST(IntfId, OrdersByteWiseAndHashesByValue) {
   expectStrictOrder(std::vector<IntfId>{IntfId(), intf("Ethernet1"), intf("Ethernet10"),
                                         intf("Ethernet2"), intf("ethernet1")});
   EXPECT_EQ(intf("Vlan100").hash(), IntfId(Vex::String("Vlan") + "100").hash());
}

TEST(IntfId, ValueTextAndLogRoundTrip) {
   expectValueText(IntfId(), "''");
   expectValueText(intf("Ethernet1"), "'Ethernet1'");
   expectValueText(intf("it's\\"), "'it\\'s\\\\'");
   expectValueTextRefused("'Ethernet 1'", intf("Ethernet1"));
   expectValueTextRefused("'eth\\n'", intf("Ethernet1"));
   expectValueTextRefused("Ethernet1", intf("Ethernet1"));

   expectLogForm(IntfId(), {0, 0, 0, 0});
   expectLogForm(intf("Et1"), {0, 0, 0, 3, 'E', 't', '1'});
   for (Bytes const& bad : {Bytes{0, 0, 0, 2, 'a', ' '}, Bytes{0, 0, 0, 1, 0x80},
                            Bytes{0, 0, 1, 0}}) { // 256 claimed, none there
      EXPECT_THROW(readLog<IntfId>(bad), Vex::Exception);
   }
   Bytes tooLong{0, 0, 1, 0};
   tooLong.resize(4 + 256, 'x');
   EXPECT_EQ(messageOf([&] { readLog<IntfId>(tooLong); }),
             "invalid interface name of 256 bytes: longer than 255 bytes");
}
