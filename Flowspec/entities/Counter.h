// Flowspec/entities/Counter.h: the latest packet count of each rule.
//
// A named root holding, per rule key, the counter and the version of the
// rule it belongs to (hashed by FlowspecKey::hash, matched by key
// equality), and the time of the snapshot. Follows the entity pattern
// (Vex/EntityPattern.h): snapshotIs(key, cv) is silent when an equal value is
// stored and otherwise tells onSnapshot(key); snapshotDel(key) returns the
// removed value (a default CounterVersion, silently, when absent). It has no
// debug dump.
#pragma once

#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Vex/AllocTrack.h"
#include "Vex/EntityPattern.h"
#include "Vex/HashMap2018.h"

namespace Vex {
class VexType;
}

namespace Flowspec {

/// Counter's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_COUNTER_MEMBERS(T, ATTRIBUTE, COLLECTION)                                         \
   COLLECTION(T, snapshot, Snapshot, FlowspecKey, "key")                                           \
   ATTRIBUTE(T, timestamp, Timestamp, double, 0.0)

class Counter : public Vex::NamedEntity, public Vex::AllocTracked<Counter> {
 public:
   VEX_ENTITY_DECLARATIONS(Counter, "Flowspec::Counter", FLOWSPEC_COUNTER_MEMBERS, Vex::Name const&)

   /// The node that holds one rule's key and counter.
   class VexSnapshot : public Vex::MapNode<FlowspecKey, CounterVersion, Vex::HashLink>,
                       public Vex::AllocTracked<VexSnapshot> {
    public:
      using MapNode::MapNode;
      static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
      static constexpr char vexTypeName[] = "Flowspec::Counter::VexSnapshot";
   };

   explicit Counter(Vex::Name const& name) : NamedEntity(name) {}

   VEX_MAP_COLLECTION(snapshot, Snapshot, FlowspecKey, CounterVersion, snapshot_)
   FLOWSPEC_COUNTER_MEMBERS(Counter, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)

 private:
   Vex::MapCollection<VexSnapshot, FlowspecKey, CounterVersion,
                      Vex::HashMap2018<VexSnapshot, FlowspecKey, CounterVersion>>
       snapshot_;
   FLOWSPEC_COUNTER_MEMBERS(Counter, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
};

} // namespace Flowspec
