// Vex/Notifiee.h: observer lists.
//
// Every entity keeps a list of the observers attached to it (its
// Vex::NotifieeList). An observer class derives from Vex::NotifieeBase; the
// entity's own `X::NotifieeConst` adds the callbacks and the typed
// `notifierIs`/`notifier`. An observer is in at most one list; destroying it
// detaches it.
//
// Visiting calls a function on each attached observer, in the order they were
// attached. A visit is safe against any change of the list made by the
// callbacks: an observer may detach itself or any other (a detached observer
// that was not yet called is not called), attach others (they are appended
// and called by the visits in progress), or start a nested visit.
//
// A visit also holds a reference on the entity it visits for as long as it
// runs (Vex::VisitHold): an observer may drop the last reference to the
// entity it observes from inside its callback, and the entity is then
// destroyed when the visit ends, not while the visit still walks its list.
//
//   list.visit<Rule::NotifieeConst>([](auto& n) { n.onRuleId(); });
//   list.visit<Rule::NotifieeConst>([&](auto& n) { n.onMatchSet(type); });
#pragma once

#include <cstddef>

namespace Vex {

class Entity;
class NotifieeList;

class NotifieeBase {
 public:
   NotifieeBase(NotifieeBase const&) = delete;
   NotifieeBase& operator=(NotifieeBase const&) = delete;

   /// The entity observed, or null when detached.
   Entity const* notifierEntity() const noexcept;

 protected:
   NotifieeBase() noexcept = default;
   /// Detaches from the list, if any.
   virtual ~NotifieeBase();

   /// Detaches from the current entity's list and attaches to `e`'s (null:
   /// only detaches). Attaching to the entity already observed changes
   /// nothing.
   void notifierEntityIs(Entity const* e) noexcept;

 private:
   friend class NotifieeList;
   NotifieeList* list_ = nullptr;
   NotifieeBase* prev_ = nullptr;
   NotifieeBase* next_ = nullptr;
};

/// Holds a reference on an entity while it lives, when the entity is held
/// through Vex::Ptr at all (an entity with no reference, being built or
/// living outside a Ptr, is left alone). Visits and delete-all walks use it
/// so that the entity they walk outlives the walk.
class VisitHold {
 public:
   explicit VisitHold(Entity const* entity) noexcept;
   ~VisitHold();
   VisitHold(VisitHold const&) = delete;
   VisitHold& operator=(VisitHold const&) = delete;

 private:
   Entity const* held_;
};

class NotifieeList {
 public:
   explicit NotifieeList(Entity const* owner) noexcept : owner_(owner) {}
   NotifieeList(NotifieeList const&) = delete;
   NotifieeList& operator=(NotifieeList const&) = delete;
   /// Detaches every observer, calling none.
   ~NotifieeList() { detachAll(); }

   Entity const* owner() const noexcept { return owner_; }
   bool empty() const noexcept { return head_ == nullptr; }
   /// The number of observers, counted: lists are short, and every entity
   /// holds one, so it keeps no count.
   std::size_t size() const noexcept {
      std::size_t n = 0;
      for (NotifieeBase const* p = head_; p; p = p->next_)
         ++n;
      return n;
   }

   /// Appends `n`, first detaching it from any list it is in.
   void attach(NotifieeBase& n) noexcept;
   /// Removes `n` from this list; nothing when it is not in it.
   void detach(NotifieeBase& n) noexcept;
   /// Removes every observer without calling any.
   void detachAll() noexcept;

   /// Calls `f(static_cast<N&>(observer))` on each observer in turn.
   template <class N, class F>
   void visit(F&& f);

 private:
   // A visit in progress: the observer it calls next. Nested visits stack.
   struct Cursor {
      NotifieeBase* next;
      Cursor* outer;
   };
   struct CursorGuard {
      NotifieeList* list;
      Cursor* cursor;
      ~CursorGuard() { list->cursors_ = cursor->outer; }
   };

   Entity const* owner_;
   NotifieeBase* head_ = nullptr;
   NotifieeBase* tail_ = nullptr;
   Cursor* cursors_ = nullptr;
};

template <class N, class F>
void NotifieeList::visit(F&& f) {
   // Declared first, released last: the list outlives the cursor guard.
   VisitHold hold(owner_);
   Cursor cursor{head_, cursors_};
   cursors_ = &cursor;
   CursorGuard guard{this, &cursor};
   while (NotifieeBase* n = cursor.next) {
      cursor.next = n->next_;
      f(static_cast<N&>(*n));
   }
}

} // namespace Vex
