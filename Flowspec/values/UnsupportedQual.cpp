#include "Flowspec/values/UnsupportedQual.h"

#include "Flowspec/framework/Dump.h"
#include "Flowspec/framework/LogSequence.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

UnsupportedQual::UnsupportedQual(Vex::TextIter&, Vex::TextIter) : af_() {
   VEX_ASSERT_TEXT(false, "!\"No String constructor for UnsupportedQual - has collection\"");
}

UnsupportedQual::UnsupportedQual(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : af_(Vex::nboRead<Ipkit::AddressFamily>(*in)) {
   while (true) {
      auto kind = Vex::nboRead<MatchCompType>(*in);
      if (kind == MatchCompType::invalid) return;
      Vex::String text = in->nextString();
      if (qual_.has(kind)) {
         throw Vex::Exception("UnsupportedQual: the kind " + stringValue(kind) + " repeats");
      }
      qual_.is(kind, text);
   }
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 UnsupportedQual const& q) {
   Vex::nboWrite(out, q.af_);
   for (auto i = q.qual_.iterator(); i; ++i) {
      refuseTerminator(i.key(), MatchCompType::invalid);
      Vex::nboWrite(out, i.key());
      out << i.value();
   }
   Vex::nboWrite(out, MatchCompType::invalid);
   return out;
}

Vex::String valueToStrep(UnsupportedQual const& q) {
   return "Value('Flowspec::UnsupportedQual', ** {'af': " + Ipkit::valueToStrep(q.af()) +
          ", 'qual': None})";
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, UnsupportedQual& q) {
   q = UnsupportedQual(pos, end);
}

std::ostream& operator<<(std::ostream& os, UnsupportedQual const& q) {
   return os << valueToStrep(q);
}

void UnsupportedQual::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cAF %s\n", Ipkit::valueToStrep(af_).c_str());
   FlowspecUtil const util;
   for (auto i = qual_.iterator(); i; ++i) {
      dumpLine(ctx, indent + 2, "%*c%s --> %s\n", util.compTypeToLabel(i.key()).c_str(),
               i.value().c_str());
   }
}

// --- Reflection ----------------------------------------------------------------

namespace {

constexpr auto unsupportedQualRows = Vex::valueRows({
    Vex::identity<&UnsupportedQual::af>("af"),
    VEX_COLLECTION_ROW(UnsupportedQual, qual, "key"),
    Vex::method<&UnsupportedQual::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

constexpr Vex::Param unsupportedQualArgs[] = {
    {"af", &Vex::Reflection::typeFn<Ipkit::AddressFamily>}};

} // namespace

constinit Vex::VexType const UnsupportedQual::_vexType = Vex::valueDescriptor<UnsupportedQual>({
    .name = vexTypeName,
    .rows = unsupportedQualRows,
    .ctorArgs = unsupportedQualArgs,
    .construct = &Vex::Reflection::constructValue<UnsupportedQual, Ipkit::AddressFamily>,
});

} // namespace Flowspec
