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

namespace Internal {
thread_local VisitCursor* visitCursors = nullptr;
}

NotifieeBase::~NotifieeBase() {
   if (notifier_) notifier_->notifieeList().detach(*this);
}

Entity const* NotifieeBase::notifierEntity() const noexcept {
   return notifier_;
}

void NotifieeBase::notifierEntityIs(Entity const* e) noexcept {
   if (e == notifier_) return;
   if (notifier_) notifier_->notifieeList().detach(*this);
   if (e) e->notifieeList().attach(*e, *this);
}

void NotifieeList::attach(Entity const& owner, NotifieeBase& n) noexcept {
   if (n.notifier_ == &owner) return;
   if (n.notifier_) n.notifier_->notifieeList().detach(n);
   n.notifier_ = &owner;
   n.next_ = nullptr;
   if (head_) {
      NotifieeBase* const tail = head_->prev_;
      tail->next_ = &n;
      n.prev_ = tail;
   } else {
      head_ = &n;
   }
   head_->prev_ = &n;
   // Visits of this list that have run out of observers continue with the
   // new one.
   for (Internal::VisitCursor* c = Internal::visitCursors; c; c = c->outer) {
      if (c->list == this && !c->next) c->next = &n;
   }
}

void NotifieeList::detach(NotifieeBase& n) noexcept {
   if (!n.notifier_ || &n.notifier_->notifieeList() != this) return;
   for (Internal::VisitCursor* c = Internal::visitCursors; c; c = c->outer) {
      if (c->next == &n) c->next = n.next_;
   }
   if (&n == head_) {
      head_ = n.next_;
      if (head_) head_->prev_ = n.prev_;
   } else {
      n.prev_->next_ = n.next_;
      (n.next_ ? n.next_->prev_ : head_->prev_) = n.prev_;
   }
   n.notifier_ = nullptr;
   n.prev_ = n.next_ = nullptr;
}

void NotifieeList::detachAll() noexcept {
   while (head_)
      detach(*head_);
}

} // namespace Vex
