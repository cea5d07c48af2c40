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
   Entity const* notifier_ = nullptr;
   // In a list: the next observer (null for the last), and the previous one
   // (for the first, the last: the list keeps only its head).
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

namespace Internal {
/// A visit in progress on this thread: the list it walks and the observer it
/// calls next. Nested visits stack; detaching and attaching adjust them.
struct VisitCursor {
   NotifieeList const* list;
   NotifieeBase* next;
   VisitCursor* outer;
};
/// The innermost visit in progress on this thread.
extern thread_local VisitCursor* visitCursors;
} // namespace Internal

/// One pointer: every entity holds a list, and most have no observer. The
/// observers' own links make the list (the first one's previous link is the
/// last, so appending is O(1)), each observer knows its entity, and the
/// visits in progress are kept per thread rather than in every list.
class NotifieeList {
 public:
   NotifieeList() noexcept = default;
   NotifieeList(NotifieeList const&) = delete;
   NotifieeList& operator=(NotifieeList const&) = delete;
   /// Detaches every observer, calling none.
   ~NotifieeList() { detachAll(); }

   bool empty() const noexcept { return head_ == nullptr; }
   /// The number of observers, counted: lists are short, and every entity
   /// holds one, so it keeps no count.
   std::size_t size() const noexcept {
      std::size_t n = 0;
      for (NotifieeBase const* p = head_; p; p = p->next_)
         ++n;
      return n;
   }

   /// Appends `n` as an observer of `owner` (whose list this is), first
   /// detaching it from any list it is in.
   void attach(Entity const& owner, NotifieeBase& n) noexcept;
   /// Removes `n` from this list; nothing when it is not in it.
   void detach(NotifieeBase& n) noexcept;
   /// Removes every observer without calling any.
   void detachAll() noexcept;

   /// Calls `f(static_cast<N&>(observer))` on each observer in turn.
   template <class N, class F>
   void visit(F&& f);

 private:
   struct CursorGuard {
      Internal::VisitCursor* cursor;
      ~CursorGuard() { Internal::visitCursors = cursor->outer; }
   };

   NotifieeBase* head_ = nullptr;
};

template <class N, class F>
void NotifieeList::visit(F&& f) {
   if (!head_) return;
   // Declared first, released last: the entity, and so this list, outlive
   // the cursor guard.
   VisitHold hold(head_->notifier_);
   Internal::VisitCursor cursor{this, head_, Internal::visitCursors};
   Internal::visitCursors = &cursor;
   CursorGuard guard{&cursor};
   while (NotifieeBase* n = cursor.next) {
      cursor.next = n->next_;
      f(static_cast<N&>(*n));
   }
}

} // namespace Vex
