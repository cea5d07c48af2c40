#include "Flowspec/values/MatchOpValIndex.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

// --- Reflection ----------------------------------------------------------------

namespace {

constexpr auto matchOpValIndexRows =
    Vex::valueRows(Vex::fieldRows<MatchOpValIndex>(), Vex::constant<&MatchOpValIndex::min>("min"),
                   Vex::constant<&MatchOpValIndex::max>("max"));

} // namespace

int MatchOpValIndex::vexTypeOp(Vex::GenericValue* result, MatchOpValIndex& index, Vex::AttrOp op,
                               Vex::GenericArgs args) {
   switch (op) {
   case Vex::AttrOp::isNull:
      *result = Vex::GenericValue(!index);
      return Vex::attrOpDone;
   case Vex::AttrOp::add:
      Vex::Reflection::checkArgCount(args, 1);
      *result = Vex::GenericValue(index + args[0].value<MatchOpValIndex>());
      return Vex::attrOpDone;
   default:
      return Vex::attrOpNotAllowed;
   }
}

constinit Vex::VexType const MatchOpValIndex::_vexType =
    Vex::valueDescriptor<MatchOpValIndex>(matchOpValIndexRows);

} // namespace Flowspec
