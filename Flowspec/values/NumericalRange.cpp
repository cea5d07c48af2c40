#include "Flowspec/values/NumericalRange.h"

#include "Vex/Assert.h"
#include "Vex/Exception.h"
#include "Vex/Hash.h"
#include "Vex/ReflectTable.h"

#include <algorithm>
#include <string>

namespace Flowspec {

namespace {
char const* const orderMessage = "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed";
char const* const minMessage =
    "NumericalRange::rangeMin < NumericalRange::min or > NumericalRange::invalidValue not allowed";
char const* const maxMessage =
    "NumericalRange::rangeMax < NumericalRange::min or > NumericalRange::invalidValue not allowed";
} // namespace

NumericalRange::NumericalRange(std::uint32_t rangeMin, std::uint32_t rangeMax)
    : rangeMin_(rangeMin), rangeMax_(rangeMax) {
   if (rangeMin > rangeMax) throw Vex::RangeException(orderMessage);
   if (rangeMin > invalidValue) throw Vex::RangeException(minMessage);
   if (rangeMax > invalidValue) throw Vex::RangeException(maxMessage);
}

void NumericalRange::rangeMinIs(std::uint32_t v) {
   if (v > invalidValue) throw Vex::RangeException(minMessage);
   rangeMin_ = v;
}

void NumericalRange::rangeMaxIs(std::uint32_t v) {
   if (v > invalidValue) throw Vex::RangeException(maxMessage);
   rangeMax_ = v;
}

bool NumericalRange::isRangeOverlap(NumericalRange const& otherRange) const {
   VEX_ASSERT(isValid() && otherRange.isValid());
   return !(otherRange.rangeMin_ > rangeMax_ || otherRange.rangeMax_ < rangeMin_);
}

NumericalRange NumericalRange::rangeIntersection(NumericalRange const& otherRange) const {
   if (!isRangeOverlap(otherRange)) return NumericalRange(invalidValue, invalidValue);
   return NumericalRange(std::max(rangeMin_, otherRange.rangeMin_),
                         std::min(rangeMax_, otherRange.rangeMax_));
}

NumericalRange NumericalRange::rangeUnion(NumericalRange const& otherRange) const {
   if (!isRangeOverlap(otherRange)) return NumericalRange(invalidValue, invalidValue);
   return NumericalRange(std::min(rangeMin_, otherRange.rangeMin_),
                         std::max(rangeMax_, otherRange.rangeMax_));
}

std::uint32_t NumericalRange::matchCompTypeMax(MatchCompType matchCompType) {
   VEX_ASSERT_TEXT(!isBitfieldType(matchCompType) && matchCompType != MatchCompType::destPrefix &&
                       matchCompType != MatchCompType::srcPrefix,
                   "!isBitfieldType( matchCompType ) && matchCompType != destPrefix() && "
                   "matchCompType != srcPrefix()");
   // Only invalid and the range kinds pass the assertion: each has its limit.
   return matchCompTypeInfo(matchCompType)->max;
}

std::uint32_t NumericalRange::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(rangeMin_);
   h.mixU32(rangeMax_);
   return h.result();
}

Vex::String NumericalRange::toStrep() const {
   return Vex::String("[ " + std::to_string(rangeMin_) + ", " + std::to_string(rangeMax_) + " ]");
}

// --- Reflection ----------------------------------------------------------------

namespace {

constexpr auto numericalRangeRows = Vex::valueRows(
    Vex::constant<&NumericalRange::min>("min"), Vex::constant<&NumericalRange::max>("max"),
    Vex::constant<&NumericalRange::invalidValue>("invalidValue"), Vex::fieldRows<NumericalRange>(),
    Vex::method<&NumericalRange::isRangeOverlap, "otherRange">("isRangeOverlap"),
    Vex::method<&NumericalRange::rangeIntersection, "otherRange">("rangeIntersection"),
    Vex::method<&NumericalRange::rangeUnion, "otherRange">("rangeUnion"),
    Vex::method<&NumericalRange::isValid>("isValid"),
    Vex::method<&NumericalRange::toStrep>("toStrep"),
    Vex::method<&NumericalRange::contains, "value">("contains"),
    Vex::method<&NumericalRange::matchCompTypeMax, "matchCompType">("matchCompTypeMax"),
    Vex::method<&NumericalRange::hash>("hash"));

} // namespace

constinit Vex::VexType const NumericalRange::_vexType =
    Vex::valueDescriptor<NumericalRange>(numericalRangeRows);

} // namespace Flowspec
