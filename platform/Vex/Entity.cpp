#include "Vex/Entity.h"

namespace Vex {

Entity::~Entity() = default;

VexType const* Entity::fwkType() const noexcept { return nullptr; }

Name Entity::name() const { return Name(); }

void Entity::nameIsFromBackup(Name const&) {}

bool Entity::hasBackupSupport() const noexcept { return false; }

void Entity::dumpState(Kiln::DumpContext const&, unsigned) const {}

} // namespace Vex
