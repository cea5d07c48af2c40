#include "Vex/Ptr.h"

namespace Vex {

namespace Internal {
std::atomic<bool> ptrThreadSafe_{false};
}

void ptrThreadSafeIs(bool on) noexcept {
   Internal::ptrThreadSafe_.store(on, std::memory_order_seq_cst);
}

bool ptrThreadSafe() noexcept {
   return Internal::ptrThreadSafe_.load(std::memory_order_relaxed);
}

PtrInterface::~PtrInterface() = default;

void PtrInterface::onZeroReferences() const noexcept {
   delete this;
}

} // namespace Vex
