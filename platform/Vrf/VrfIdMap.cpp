#include "Vrf/VrfIdMap.h"

#include "Vex/Exception.h"
#include "Vex/ValueText.h"

#include <string>

namespace Vrf {

namespace {

char const defaultVrfName[] = "default";

void checkName(Vex::String const& name) {
   if (name.empty()) throw Vex::Exception("VRF name must not be empty");
   for (char c : name) {
      auto u = static_cast<unsigned char>(c);
      if (u <= 0x20 || u >= 0x7f) {
         throw Vex::Exception("VRF name " + Vex::valueToStrep(name) +
                              " must be printable ASCII without blanks");
      }
   }
}

} // namespace

VrfIdMap::VrfIdMap(VrfId lastId) : lastId_(lastId) {
   if (lastId > maxVrfId) {
      throw Vex::RangeException("VrfIdMap: the last id " + std::to_string(lastId) + " lies above " +
                                std::to_string(maxVrfId));
   }
   ids_.emplace(defaultVrfName, defaultVrfId);
   names_.emplace(defaultVrfId, defaultVrfName);
}

VrfIdMap::VrfId VrfIdMap::vrfIdIs(Vex::String const& name) {
   if (auto it = ids_.find(name); it != ids_.end()) return it->second;
   checkName(name);
   // names_ holds "default" at 0 besides the assigned ids 1 to lastId_.
   if (names_.size() - 1 >= lastId_) {
      throw Vex::RangeException("VrfIdMap: no VRF id is free for " + Vex::valueToStrep(name) +
                                ", all " + std::to_string(lastId_) + " are in use");
   }
   // The first free id from next_ on; past lastId_ the search starts again
   // at 1, where it must succeed since some id is free.
   auto firstFreeFrom = [this](VrfId id) {
      auto it = names_.lower_bound(id);
      for (; it != names_.end() && it->first == id; ++it)
         ++id;
      return id;
   };
   VrfId id = firstFreeFrom(next_);
   if (id > lastId_) id = firstFreeFrom(1);
   auto named = names_.emplace(id, name).first;
   try {
      ids_.emplace(name, id);
   } catch (...) {
      names_.erase(named); // keep the two maps the same when memory runs out
      throw;
   }
   next_ = id + 1;
   return id;
}

std::optional<VrfIdMap::VrfId> VrfIdMap::vrfId(Vex::String const& name) const {
   if (auto it = ids_.find(name); it != ids_.end()) return it->second;
   return std::nullopt;
}

std::optional<Vex::String> VrfIdMap::vrfName(VrfId id) const {
   if (auto it = names_.find(id); it != names_.end()) return it->second;
   return std::nullopt;
}

void VrfIdMap::vrfDel(Vex::String const& name) {
   if (name == defaultVrfName) {
      throw Vex::Exception("VRF 'default' cannot be deleted");
   }
   auto it = ids_.find(name);
   if (it == ids_.end()) return;
   names_.erase(it->second);
   ids_.erase(it);
}

} // namespace Vrf
