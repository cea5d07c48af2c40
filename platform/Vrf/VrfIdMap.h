// Vrf/VrfIdMap.h: the numeric ids of VRFs.
//
// A VRF is known by its name in configuration and by a small number in the
// state that refers to it. A VrfIdMap assigns those numbers and translates
// between the two.
//
//   Vrf::VrfIdMap map;                        // knows "default" -> 0
//   auto red = map.vrfIdIs("red");            // 1
//   assert(map.vrfIdIs("red") == red);        // the same name keeps its id
//   assert(*map.vrfName(red) == "red");
//   map.vrfDel("red");                        // vrfId("red") is now empty
#pragma once

#include "Vex/String.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>

namespace Vex {
class VexType;
}

namespace Vrf {

class VrfIdMap {
 public:
   /// The id of a VRF. A plain unsigned 32-bit number: it prints as its
   /// decimal value, and its value text (Vex::valueToStrep, sequenceToValue)
   /// and its attribute-log encoding (a u32) are those Vex provides for
   /// std::uint32_t, so it needs nothing of its own.
   using VrfId = std::uint32_t;
   /// The descriptor "Vrf::VrfIdMap::VrfId". Being std::uint32_t, a VrfId
   /// reached through reflection is a "U32"; this names it in constructor
   /// arguments.
   static Vex::VexType const _vexType_VrfId;
   /// Returns _vexType_VrfId: the descriptor function reflection tables give
   /// where a VrfId argument, key or field must be named as one.
   static Vex::VexType const& vrfIdType();

   /// The id of the VRF named "default", known to every map.
   static constexpr VrfId defaultVrfId = 0;
   /// Stands for "no VRF"; never assigned to a name.
   static constexpr VrfId noVrfId = 0x00FFFFFF;
   /// The highest id a map assigns unless told a lower limit.
   static constexpr VrfId maxVrfId = noVrfId - 1;

   /// A map that knows only "default" and assigns ids 1 to `lastId`. A
   /// `lastId` above maxVrfId raises Vex::RangeException.
   explicit VrfIdMap(VrfId lastId = maxVrfId);

   /// The id of `name`, assigning one when the name has none. Ids are handed
   /// out in increasing order from 1; an id freed by vrfDel is handed out
   /// again only once the ids above it are in use (the search wraps around to
   /// 1), so a stale id does not soon come to mean another VRF.
   /// Raises Vex::Exception for a name that is empty or holds anything but
   /// printable ASCII other than the blank, and Vex::RangeException when every
   /// id is in use.
   VrfId vrfIdIs(Vex::String const& name);
   /// The id of `name`, or nothing when it has none.
   std::optional<VrfId> vrfId(Vex::String const& name) const;
   /// The name with id `id`, or nothing when no name has it.
   std::optional<Vex::String> vrfName(VrfId id) const;
   /// Forgets `name` and frees its id; does nothing for a name that has no id.
   /// Raises Vex::Exception for "default", which always exists.
   void vrfDel(Vex::String const& name);

   /// The number of names with an id, "default" included.
   std::size_t size() const noexcept { return ids_.size(); }

   // A map is a plain value: not locked, used by one thread at a time.

 private:
   std::unordered_map<Vex::String, VrfId> ids_;
   std::map<VrfId, Vex::String> names_; // ordered, to find free ids quickly
   VrfId lastId_;
   VrfId next_ = 1; // where the search for a free id starts
};

} // namespace Vrf
