#include "Flowspec/values/MatchOpValIndex.h"

#include <ostream>

namespace Flowspec {

Vex::String valueToStrep(MatchOpValIndex i) {
   return "Value('Flowspec::MatchOpValIndex', ** {'value': " + Vex::valueToStrep(i.value()) +
          "})";
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, MatchOpValIndex& i) {
   Vex::expectLiteral(pos, end, "Value('Flowspec::MatchOpValIndex', ** {'value': ");
   std::uint16_t v = 0;
   Vex::readField(pos, end, "value", v);
   Vex::expectLiteral(pos, end, "})");
   i = MatchOpValIndex::checked(v);
}

std::ostream& operator<<(std::ostream& os, MatchOpValIndex i) { return os << valueToStrep(i); }

} // namespace Flowspec
