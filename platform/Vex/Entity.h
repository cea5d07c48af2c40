// Vex/Entity.h: the base of every entity.
//
// An entity is a long-lived, reference-counted state object with an identity,
// attributes and collections that tell observers about every change. This
// base holds what all entities share: the parent link (a plain pointer set by
// the parent's collection, null at a root or once removed), the per-entity
// notification switch, the observer list, and the virtual operations that
// the framework calls.
//
// Entities are not copyable and are always held through Vex::Ptr. Destroying
// an entity detaches its remaining observers without calling them.
#pragma once

#include "Vex/Notifiee.h"
#include "Vex/Ptr.h"
#include "Vex/String.h"

namespace Kiln {
class DumpContext;
}

namespace Vex {

class VexType;

class Entity : public PtrInterface {
 public:
   Entity(Entity const&) = delete;
   Entity& operator=(Entity const&) = delete;

   /// The entity whose collection holds this one, or null.
   Entity* parent() const noexcept { return parent_; }
   void parentIs(Entity* parent) noexcept { parent_ = parent; }

   /// The per-entity notification switch; static creators turn it on.
   bool hasNotificationActive() const noexcept { return notificationActive_; }
   void hasNotificationActiveIs(bool on) noexcept { notificationActive_ = on; }

   /// The observers attached to this entity (also to a const one).
   NotifieeList& notifieeList() const noexcept { return notifieeList_; }

   /// The descriptor of the framework's entity base, "Vex::Entity".
   static VexType const _vexType;

   /// The entity's registered type descriptor: its own type's, or
   /// Vex::Entity's for a type that has none.
   virtual VexType const* fwkType() const noexcept;
   /// A named entity's name; empty for an entity identified by a key.
   virtual Name name() const;
   /// Replaces a named entity's name without telling observers; nothing for
   /// an entity identified by a key.
   virtual void nameIsFromBackup(Name const& name);
   /// Whether the entity is restored from backups: false unless overridden.
   virtual bool hasBackupSupport() const noexcept;
   /// Writes the entity's debug dump at indentation `indent`; nothing here.
   virtual void dumpState(Kiln::DumpContext const& context, unsigned indent) const;

 protected:
   Entity() noexcept = default;
   ~Entity() override;

 private:
   // First, so that it sits beside the reference count: an entity is 32
   // bytes (virtual table, count, this switch, parent, observer list).
   bool notificationActive_ = false;
   Entity* parent_ = nullptr;
   mutable NotifieeList notifieeList_;
};

static_assert(sizeof(void*) != 8 || sizeof(Entity) == 32, "an entity is 32 bytes");

} // namespace Vex
