// Vex/Ptr.h: intrusive reference counting.
//
// Vex::PtrInterface is the base of every reference-counted object; the count
// lives in the object. Vex::Ptr<T> holds one reference: copying it adds one,
// destroying it drops one, and the object is destroyed when the last goes.
//
// Counts are plain integers by default. Vex::ptrThreadSafeIs(true) makes every
// count in the process atomic, so that objects may be shared between threads.
// Switch the mode before objects are shared; the entity state itself is never
// locked (one thread at a time uses an entity tree).
//
//   struct Rule : Vex::PtrInterface { int id = 0; };
//   Vex::Ptr<Rule> r = new Rule;      // count 1
//   Vex::Ptr<Rule const> c = r;       // count 2
//   r = nullptr;                      // count 1; c keeps the rule alive
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace Vex {

/// Turns atomic reference counts on or off for the whole process.
void ptrThreadSafeIs(bool on) noexcept;
/// Whether reference counts are atomic.
bool ptrThreadSafe() noexcept;

namespace Internal {
extern std::atomic<bool> ptrThreadSafe_;
}

class PtrInterface {
 public:
   /// The number of references held on this object.
   std::uint32_t refCount() const noexcept { return refs_.load(std::memory_order_relaxed); }

   /// Adds a reference. For Vex::Ptr and intrusive containers.
   void newRef() const noexcept {
      if (Internal::ptrThreadSafe_.load(std::memory_order_relaxed)) {
         refs_.fetch_add(1, std::memory_order_relaxed);
      } else {
         refs_.store(refs_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
      }
   }
   /// Drops a reference; the last one destroys the object (onZeroReferences).
   void delRef() const noexcept {
      std::uint32_t left;
      if (Internal::ptrThreadSafe_.load(std::memory_order_relaxed)) {
         left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
      } else {
         left = refs_.load(std::memory_order_relaxed) - 1;
         refs_.store(left, std::memory_order_relaxed);
      }
      if (left == 0) {
         // From here the object is being destroyed. References taken and
         // dropped during its destruction (an observer reading notifier() in
         // a callback the destructor triggers) must not reach zero again.
         refs_.store(destroyingCount, std::memory_order_relaxed);
         onZeroReferences();
      }
   }

 protected:
   PtrInterface() noexcept : refs_(0) {}
   /// A copy is a new object: it starts without references.
   PtrInterface(PtrInterface const&) noexcept : refs_(0) {}
   PtrInterface& operator=(PtrInterface const&) noexcept { return *this; }
   virtual ~PtrInterface();

   /// Called when the last reference goes. Deletes the object; a destructor
   /// that throws terminates the process.
   virtual void onZeroReferences() const noexcept;

 private:
   static constexpr std::uint32_t destroyingCount = 1U << 30;
   mutable std::atomic<std::uint32_t> refs_;
};

template <class T>
class Ptr {
 public:
   using element_type = T;

   constexpr Ptr() noexcept = default;
   constexpr Ptr(std::nullptr_t) noexcept {}
   Ptr(T* p) noexcept : p_(p) {
      if (p_) p_->newRef();
   }
   Ptr(Ptr const& o) noexcept : Ptr(o.p_) {}
   Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
   template <class U>
   requires std::is_convertible_v<U*, T*> Ptr(Ptr<U> const& o)
   noexcept : Ptr(static_cast<T*>(o.get())) {}
   template <class U>
   requires std::is_convertible_v<U*, T*> Ptr(Ptr<U>&& o)
   noexcept : p_(o.release()) {}
   ~Ptr() {
      if (p_) p_->delRef();
   }

   Ptr& operator=(Ptr o) noexcept {
      std::swap(p_, o.p_);
      return *this;
   }

   T* get() const noexcept { return p_; }
   T* operator->() const noexcept { return p_; }
   T& operator*() const noexcept { return *p_; }
   bool operator!() const noexcept { return p_ == nullptr; }
   explicit operator bool() const noexcept { return p_ != nullptr; }

   /// Gives up the reference without dropping it; the caller owns it now.
   T* release() noexcept { return std::exchange(p_, nullptr); }
   /// Takes over a reference the caller already holds (no newRef).
   static Ptr adopt(T* p) noexcept {
      Ptr r;
      r.p_ = p;
      return r;
   }

   template <class U>
   bool operator==(Ptr<U> const& o) const noexcept {
      return p_ == o.get();
   }
   bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }

 private:
   T* p_ = nullptr;
};

/// The same object seen as a U (static conversion; the caller knows the type).
template <class U, class T>
Ptr<U> ptrCast(Ptr<T> const& p) noexcept {
   return Ptr<U>(static_cast<U*>(p.get()));
}
/// The same object as a U, or null when it is not one.
template <class U, class T>
Ptr<U> dynamicPtrCast(Ptr<T> const& p) noexcept {
   return Ptr<U>(dynamic_cast<U*>(p.get()));
}

} // namespace Vex

template <class T>
struct std::hash<Vex::Ptr<T>> {
   std::size_t operator()(Vex::Ptr<T> const& p) const noexcept { return std::hash<T*>()(p.get()); }
};
