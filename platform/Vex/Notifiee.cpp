#include "Vex/Notifiee.h"

#include "Vex/Entity.h"

namespace Vex {

VisitHold::VisitHold(Entity const* entity) noexcept
    : held_(entity && entity->refCount() > 0 ? entity : nullptr) {
   if (held_) held_->newRef();
}

VisitHold::~VisitHold() {
   if (held_) held_->delRef();
}

NotifieeBase::~NotifieeBase() {
   if (list_) list_->detach(*this);
}

Entity const* NotifieeBase::notifierEntity() const noexcept {
   return list_ ? list_->owner() : nullptr;
}

void NotifieeBase::notifierEntityIs(Entity const* e) noexcept {
   if (e == notifierEntity()) return;
   if (list_) list_->detach(*this);
   if (e) e->notifieeList().attach(*this);
}

void NotifieeList::attach(NotifieeBase& n) noexcept {
   if (n.list_ == this) return;
   if (n.list_) n.list_->detach(n);
   n.list_ = this;
   n.prev_ = tail_;
   n.next_ = nullptr;
   (tail_ ? tail_->next_ : head_) = &n;
   tail_ = &n;
   // Visits that have run out of observers continue with the new one.
   for (Cursor* c = cursors_; c; c = c->outer) {
      if (!c->next) c->next = &n;
   }
}

void NotifieeList::detach(NotifieeBase& n) noexcept {
   if (n.list_ != this) return;
   for (Cursor* c = cursors_; c; c = c->outer) {
      if (c->next == &n) c->next = n.next_;
   }
   (n.prev_ ? n.prev_->next_ : head_) = n.next_;
   (n.next_ ? n.next_->prev_ : tail_) = n.prev_;
   n.list_ = nullptr;
   n.prev_ = n.next_ = nullptr;
}

void NotifieeList::detachAll() noexcept {
   while (head_)
      detach(*head_);
}

} // namespace Vex
