// The descriptors of Kiln's values, registered when libkiln is loaded.
#include "Kiln/DumpContext.h"
#include "Kiln/UniqueId.h"
#include "Vex/ReflectTable.h"

namespace Kiln {

namespace {

constexpr Vex::Param idArgs[] = {{"origin", &Vex::Reflection::typeFn<std::uint64_t>},
                                 {"sequence", &Vex::Reflection::typeFn<std::uint64_t>}};

constexpr auto idRows = Vex::valueRows({
    Vex::field<&UniqueId::origin>("origin"),
    Vex::field<&UniqueId::sequence>("sequence"),
    Vex::field<&UniqueId::isUnset>("isUnset"),
    Vex::method<&UniqueId::toStrep>("toStrep"),
    Vex::method<&UniqueId::hash>("hash"),
});

// A dump context is a handle on a sink: copies share it. Through reflection
// it is made empty and in memory, and its value text is what it collected, so
// that a generic caller can call dumpState and read the dump.
constexpr auto contextRows = Vex::valueRows({
    Vex::method<&DumpContext::text>("text"),
    Vex::method<&DumpContext::clear>("clear"),
});

struct ContextMethods {
   static void* copy(void const* o) { return new DumpContext(*static_cast<DumpContext const*>(o)); }
   static void destroy(void* o) { delete static_cast<DumpContext*>(o); }
   static Vex::String toText(Vex::VexType const&, void const* o) {
      return Vex::valueToStrep(static_cast<DumpContext const*>(o)->text());
   }
   static bool equal(void const* a, void const* b) { return a == b; }
   static constexpr Vex::GenericIfMethods table{&copy,  &destroy, &toText, nullptr,
                                                &equal, nullptr,  nullptr};
};

} // namespace

constinit Vex::VexType const UniqueId::_vexType = Vex::valueDescriptor<UniqueId>({
    .name = "Kiln::UniqueId",
    .rows = idRows,
    .ctorArgs = idArgs,
    .construct = &Vex::Reflection::constructValue<UniqueId, std::uint64_t, std::uint64_t>,
});

constinit Vex::VexType const DumpContext::_vexType = [] {
   Vex::VexType t = Vex::valueDescriptor<DumpContext, ContextMethods::table>({
       .name = "Kiln::DumpContext",
       .rows = contextRows,
       .construct = &Vex::Reflection::constructValue<DumpContext>,
   });
   t.sizeFlags_ = sizeof(DumpContext);
   return t;
}();

namespace {

[[maybe_unused]] bool const registered = [] {
   Vex::typeNodeIs(UniqueId::_vexType);
   Vex::typeNodeIs(DumpContext::_vexType);
   return true;
}();

} // namespace

} // namespace Kiln
