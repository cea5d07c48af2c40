#include "Vex/Notifiee.h"
#include "Vex/Entity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A minimal entity with one observer class, shaped like the real ones.
class Widget : public Vex::Entity {
 public:
   class NotifieeConst : public Vex::NotifieeBase {
    public:
      void notifierIs(Vex::Ptr<Widget const> const& w) { notifierEntityIs(w.get()); }
      Vex::Ptr<Widget const> notifier() const {
         return static_cast<Widget const*>(notifierEntity());
      }
      virtual void onSize() {}
      virtual void onPart(int) {}
   };
   void sizeIs(int s) {
      if (s == size_) return;
      size_ = s;
      if (!notifieeList().empty()) notifieeList().visit<NotifieeConst>([](auto& n) { n.onSize(); });
   }
   void partNotify(int key) {
      notifieeList().visit<NotifieeConst>([key](auto& n) { n.onPart(key); });
   }
   int size_ = 0;
};

struct Recorder : Widget::NotifieeConst {
   Recorder(std::string name, std::vector<std::string>* log) : name(std::move(name)), log(log) {}
   void onSize() override {
      log->push_back(name + ".onSize");
      // A copy: the action may replace itself while it runs.
      if (auto act = action) act();
   }
   void onPart(int key) override { log->push_back(name + ".onPart(" + std::to_string(key) + ")"); }
   std::string name;
   std::vector<std::string>* log;
   std::function<void()> action;
};

} // namespace

TEST(NotifieeList, VisitsInAttachOrderWithAndWithoutKey) {
   Vex::Ptr<Widget> w = new Widget;
   std::vector<std::string> log;
   Recorder a("a", &log), b("b", &log);
   a.notifierIs(w), b.notifierIs(w), a.notifierIs(w); // again: no second attachment
   EXPECT_EQ(w->notifieeList().size(), 2u);
   EXPECT_TRUE(a.notifier() == w);
   w->sizeIs(3);
   w->sizeIs(3); // equal value: nobody is told
   w->partNotify(7);
   EXPECT_EQ(log, (std::vector<std::string>{"a.onSize", "b.onSize", "a.onPart(7)", "b.onPart(7)"}));
   a.notifierIs(nullptr);
   EXPECT_FALSE(a.notifier());
   EXPECT_EQ(w->notifieeList().size(), 1u);
}

TEST(NotifieeList, ObserversMayDetachThemselvesOrOthersDuringAVisit) {
   Vex::Ptr<Widget> w = new Widget;
   std::vector<std::string> log;
   Recorder a("a", &log), b("b", &log), c("c", &log);
   for (auto* r : {&a, &b, &c})
      r->notifierIs(w);
   a.action = [&] { a.notifierIs(nullptr); }; // itself
   b.action = [&] { c.notifierIs(nullptr); }; // the next one, not yet called
   w->sizeIs(1);
   EXPECT_EQ(log, (std::vector<std::string>{"a.onSize", "b.onSize"}));
   EXPECT_EQ(w->notifieeList().size(), 1u);

   // Destroying an observer during a visit detaches it safely.
   log.clear();
   auto d = std::make_unique<Recorder>("d", &log);
   auto e = std::make_unique<Recorder>("e", &log);
   d->notifierIs(w), e->notifierIs(w);
   b.action = [&] { d.reset(); };
   w->sizeIs(2);
   EXPECT_EQ(log, (std::vector<std::string>{"b.onSize", "e.onSize"}));
}

TEST(NotifieeList, NestedVisitsAndAttachDuringAVisitAreSafe) {
   Vex::Ptr<Widget> w = new Widget;
   std::vector<std::string> log;
   Recorder a("a", &log), b("b", &log), late("late", &log);
   a.notifierIs(w), b.notifierIs(w);
   a.action = [&] {
      a.action = nullptr;
      w->partNotify(1);      // nested visit
      late.notifierIs(w);    // appended: the outer visit reaches it
      b.notifierIs(nullptr); // the outer visit's next one goes
   };
   w->sizeIs(5);
   EXPECT_EQ(log,
             (std::vector<std::string>{"a.onSize", "a.onPart(1)", "b.onPart(1)", "late.onSize"}));
}

// Visits in progress are kept per thread, not per list: a change to one
// entity's list must move only the visits of that list.
TEST(NotifieeList, VisitsOfDifferentEntitiesKeepToTheirOwnLists) {
   Vex::Ptr<Widget> w1 = new Widget, w2 = new Widget;
   std::vector<std::string> log;
   Recorder a("a", &log), b("b", &log), c("c", &log), y("y", &log), z("z", &log);
   a.notifierIs(w1);
   b.notifierIs(w2), c.notifierIs(w2);
   a.action = [&] {
      a.action = nullptr;
      y.notifierIs(w2); // w1's visit has run out, but y is not w1's
      w2->sizeIs(1);    // nested: b moves c over to w1, then y is called
      z.notifierIs(w1); // after c
   };
   b.action = [&] {
      b.action = nullptr;
      c.notifierIs(w1); // w2's visit skips it, w1's reaches it
   };
   w1->sizeIs(1);
   EXPECT_EQ(
       log, (std::vector<std::string>{"a.onSize", "b.onSize", "y.onSize", "c.onSize", "z.onSize"}));
   EXPECT_EQ(w1->notifieeList().size(), 3u);
   EXPECT_EQ(w2->notifieeList().size(), 2u);
   EXPECT_TRUE(c.notifier() == w1);
   // Detaching the first, a middle and the last observer keeps the order.
   log.clear();
   Recorder d("d", &log);
   d.notifierIs(w1);
   a.notifierIs(nullptr), z.notifierIs(nullptr);
   w1->sizeIs(2);
   d.notifierIs(nullptr);
   w1->partNotify(4);
   EXPECT_EQ(log, (std::vector<std::string>{"c.onSize", "d.onSize", "c.onPart(4)"}));
}

TEST(NotifieeList, ExceptionsFromCallbacksLeaveTheListUsable) {
   Vex::Ptr<Widget> w = new Widget;
   std::vector<std::string> log;
   Recorder a("a", &log), b("b", &log);
   a.notifierIs(w), b.notifierIs(w);
   a.action = [] { throw std::runtime_error("observer failed"); };
   EXPECT_THROW(w->sizeIs(1), std::runtime_error);
   a.action = nullptr;
   log.clear();
   w->sizeIs(2);
   EXPECT_EQ(log, (std::vector<std::string>{"a.onSize", "b.onSize"}));
}

TEST(Entity, DestructionDetachesObserversWithoutCallingThem) {
   std::vector<std::string> log;
   Recorder a("a", &log);
   {
      Vex::Ptr<Widget> w = new Widget;
      a.notifierIs(w);
      EXPECT_TRUE(a.notifierEntity() == w.get());
   }
   EXPECT_EQ(a.notifierEntity(), nullptr);
   EXPECT_TRUE(log.empty());
   // The observer can attach elsewhere afterwards.
   Vex::Ptr<Widget> other = new Widget;
   a.notifierIs(other);
   other->sizeIs(1);
   EXPECT_EQ(log, (std::vector<std::string>{"a.onSize"}));
}

TEST(Entity, ParentLinkNotificationSwitchAndDefaults) {
   Vex::Ptr<Widget> root = new Widget;
   Vex::Ptr<Widget> child = new Widget;
   EXPECT_EQ(child->parent(), nullptr);
   child->parentIs(root.get());
   EXPECT_EQ(child->parent(), root.get());
   EXPECT_EQ(root->refCount(), 1u) << "the parent link holds no reference";
   child->parentIs(nullptr);
   EXPECT_EQ(child->parent(), nullptr);

   EXPECT_FALSE(root->hasNotificationActive());
   root->hasNotificationActiveIs(true);
   EXPECT_TRUE(root->hasNotificationActive());
   root->nameIsFromBackup("ignored");
   EXPECT_EQ(root->name(), "") << "no name, and a name from a backup is ignored";
   EXPECT_FALSE(root->hasBackupSupport());
   EXPECT_EQ(root->fwkType(), &Vex::Entity::_vexType)
       << "an entity type without a descriptor of its own";
}

TEST(NotifieeList, AnObserverMayDropTheLastReferenceInsideItsCallback) {
   // The first observer drops the only reference in its callback. The visit
   // holds the entity, so the second observer is still told and the entity
   // goes when the visit ends (without the hold, the visit writes into the
   // freed list: ASan reports a heap use after free).
   std::vector<std::string> log;
   Recorder a("a", &log), b("b", &log);
   Vex::Ptr<Widget> last = new Widget;
   a.notifierIs(last), b.notifierIs(last);
   Widget* raw = last.get();
   a.action = [&last] { last = nullptr; };
   raw->sizeIs(5);
   EXPECT_EQ(log, (std::vector<std::string>{"a.onSize", "b.onSize"}));
   EXPECT_EQ(a.notifierEntity(), nullptr) << "destroyed after the visit, observers detached";
   EXPECT_EQ(b.notifierEntity(), nullptr);
}
