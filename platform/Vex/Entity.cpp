#include "Vex/Entity.h"
#include "Vex/Reflect.h"

namespace Vex {

Entity::~Entity() = default;

VexType const* Entity::fwkType() const noexcept {
   return &_vexType;
}

Name Entity::name() const {
   return Name();
}

void Entity::nameIsFromBackup(Name const&) {}

bool Entity::hasBackupSupport() const noexcept {
   return false;
}

void Entity::dumpState(Kiln::DumpContext const&, unsigned) const {}

} // namespace Vex
