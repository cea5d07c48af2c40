#include "Vex/Enum.h"

#include "Vex/Assert.h"
#include "Vex/Exception.h"
#include "Vex/ValueText.h"

#include <cstdint>
#include <mutex>
#include <string>

namespace Vex {

namespace {
struct Registry {
   std::mutex mutex;
   std::vector<EnumType const*> types;
};
Registry& registry() {
   static Registry* r = new Registry; // never destroyed: types outlive exit
   return *r;
}
} // namespace

EnumType::EnumType(char const* qualifiedName, std::span<Enumerator const> enumerators)
    : name_(qualifiedName), enumerators_(enumerators.begin(), enumerators.end()) {
   for (std::size_t i = 0; i < enumerators_.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
         VEX_ASSERT(enumerators_[i].value != enumerators_[j].value);
         VEX_ASSERT(std::string_view(enumerators_[i].name) != enumerators_[j].name);
      }
   }
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   r.types.push_back(this);
}

EnumType::Enumerator const* EnumType::find(std::uint32_t value) const noexcept {
   for (auto const& e : enumerators_) {
      if (e.value == value) return &e;
   }
   return nullptr;
}

std::uint32_t EnumType::value(std::string_view name) const {
   for (auto const& e : enumerators_) {
      if (name == e.name) return e.value;
   }
   std::string quoted;
   appendQuoted(quoted, name);
   throw Exception(name_ + " has no enumerator named " + quoted);
}

String EnumType::name(std::uint32_t value) const {
   if (auto e = find(value)) return e->name;
   throw Exception(name_ + " has no enumerator with the value " + std::to_string(value));
}

std::uint32_t EnumType::instance(std::uint32_t value) const {
   if (!find(value)) name(value);
   return value;
}

String EnumType::nameOrNumber(std::uint32_t value) const {
   if (auto e = find(value)) return e->name;
   return String(std::to_string(value));
}

std::uint32_t EnumType::readText(char const*& pos, char const* end) const {
   auto isWord = [](char c, bool first) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
             (!first && c >= '0' && c <= '9');
   };
   if (pos != end && isWord(*pos, true)) {
      char const* start = pos;
      while (pos != end && isWord(*pos, false))
         ++pos;
      try {
         return value(std::string_view(start, static_cast<std::size_t>(pos - start)));
      } catch (...) {
         pos = start;
         throw;
      }
   }
   if (pos != end && (*pos == '-' || (*pos >= '0' && *pos <= '9'))) {
      return static_cast<std::uint32_t>(readSigned(pos, end, INT32_MIN, UINT32_MAX));
   }
   parseError("an enumerator of " + name_.str(), pos, end);
}

EnumType const* enumTypeByName(String const& qualifiedName) {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   for (auto t : r.types) {
      if (t->name() == qualifiedName) return t;
   }
   return nullptr;
}

std::vector<EnumType const*> enumTypes() {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   return r.types;
}

} // namespace Vex
