// Flowspec/values/CounterVersion.h: a rule's packet counter with the version
// of the rule programming it belongs to.
//
//   | field   | type            | default             |
//   |---------|-----------------|---------------------|
//   | counter | unsigned 64-bit | 0                   |
//   | version | Kiln::UniqueId  | the unset unique id |
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Kiln/UniqueId.h"

#include <cstdint>
#include <tuple>

namespace Vex {
class VexType;
}

namespace Flowspec {

class CounterVersion {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr char vexTypeName[] = "Flowspec::CounterVersion";
   static constexpr auto vexFields() {
      using C = CounterVersion;
      return std::tuple{Vex::valueField("counter", &C::counter, &C::counterIs),
                        Vex::valueField("version", &C::version, &C::versionIs)};
   }

   CounterVersion() = default;
   CounterVersion(std::uint64_t counter, Kiln::UniqueId const& version) noexcept
       : counter_(counter), version_(version) {}
   /// Read the value text or the log (u64 counter, version).
   CounterVersion(Vex::TextIter& pos, Vex::TextIter end)
       : CounterVersion(Vex::fieldsFromStrep<CounterVersion>(pos, end)) {}
   CounterVersion(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : CounterVersion(Vex::fieldsFromLog<CounterVersion>(*in)) {}

   std::uint64_t counter() const noexcept { return counter_; }
   Kiln::UniqueId const& version() const noexcept { return version_; }
   void counterIs(std::uint64_t c) noexcept { counter_ = c; }
   void versionIs(Kiln::UniqueId const& v) noexcept { version_ = v; }

   /// counter, then version.
   friend bool operator==(CounterVersion const&, CounterVersion const&) = default;
   /// True when counter is 0 and version is unset.
   bool operator!() const noexcept { return *this == CounterVersion(); }

 private:
   std::uint64_t counter_ = 0;
   Kiln::UniqueId version_;
};

} // namespace Flowspec
