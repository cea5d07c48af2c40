// flowspec types and flowspec describe: the registered types and their
// attribute tables, read through reflection alone, as any generic program
// would read them.
#include "Commands.h"

#include "Vex/Reflect.h"

#include <cstdio>
#include <string>

namespace FlowspecTool {

namespace {

char const* kindName(Vex::TypeKind kind) {
   switch (kind) {
   case Vex::TypeKind::entity:
      return "entity";
   case Vex::TypeKind::value:
      return "value";
   case Vex::TypeKind::enumeration:
      return "enumeration";
   }
   return "?";
}

char const* roleName(Vex::AttrRow const& row) {
   if (row.has(Vex::attrMethod)) return "method";
   if (row.has(Vex::attrCollection)) return row.has(Vex::attrChildren) ? "children" : "collection";
   if (row.has(Vex::attrConstant)) return "constant";
   if (row.has(Vex::attrIdentity)) return "identity";
   if (row.has(Vex::attrSettable)) return "settable";
   return "read-only";
}

std::string padded(std::string text, std::size_t width) {
   if (text.size() < width) text.append(width - text.size(), ' ');
   return text;
}

std::string rightAligned(std::string text, std::size_t width) {
   if (text.size() < width) text.insert(0, width - text.size(), ' ');
   return text;
}

/// What a row holds or takes: its type, a collection's key and members, a
/// method's arguments and result.
std::string rowSignature(Vex::AttrRow const& row) {
   std::string type = row.type ? std::string(row.type().name()) : "";
   if (row.has(Vex::attrMethod)) {
      return "(" + row.paramsText() + ")" + (type.empty() ? "" : " -> " + type);
   }
   if (row.has(Vex::attrCollection)) return "[" + row.paramsText() + "] -> " + type;
   return type;
}

} // namespace

std::string typesHelp() {
   return "usage: flowspec types\n"
          "\n"
          "Lists every type registered with the reflection layer, in the order the\n"
          "libraries registered them: the platform's scalars and values first, then\n"
          "the thirty types of libFlowspecStatedbTypes. Each line gives the kind\n"
          "(entity, value or enumeration), the number of attribute rows (for an\n"
          "enumeration, its enumerators) and the qualified name.\n";
}

int typesCommand(Args const& args, std::ostream& out, std::ostream& err) {
   if (!args.empty()) return usageError("types", "flowspec types", "takes no arguments", err);
   auto const types = Vex::registeredTypes();
   out << types.size() << " registered types\n";
   out << padded("kind", 12) << rightAligned("rows", 5) << "  name\n";
   for (Vex::VexType const* t : types) {
      out << padded(kindName(t->kind()), 12) << rightAligned(std::to_string(t->attributeCount()), 5)
          << "  " << t->name() << "\n";
   }
   return exitOk;
}

std::string describeHelp() {
   return "usage: flowspec describe TYPE\n"
          "\n"
          "Prints the attribute table of the registered type TYPE (a qualified name\n"
          "such as Flowspec::RuleStatus; 'flowspec types' lists them): its kind and\n"
          "base, its constructor's arguments, and one line per row with the row's\n"
          "number, name, role and type. Roles: identity, settable, read-only,\n"
          "constant, collection (of values), children (entities), method. A\n"
          "collection shows its key in brackets; a method its arguments and result.\n"
          "For an enumeration the rows are its enumerators, numbered by value.\n";
}

int describeCommand(Args const& args, std::ostream& out, std::ostream& err) {
   if (args.size() != 1) {
      return usageError("describe", "flowspec describe TYPE", "expects one type name", err);
   }
   std::string const name(args.front());
   Vex::VexType const* t = Vex::typeByName(name);
   if (t == nullptr) {
      err << "flowspec describe: no registered type named '" << name
          << "'; 'flowspec types' lists them\n";
      return exitRefused;
   }
   out << t->name() << ": " << kindName(t->kind());
   if (t->base()) out << ", base " << t->base()->name();
   out << ", " << t->attributeCount() << " rows\n";
   if (t->kind() != Vex::TypeKind::enumeration) {
      out << "constructor(";
      char const* sep = "";
      for (Vex::CtorArg const& a : t->ctorArgs()) {
         out << sep << a.typeName() << " " << a.name;
         sep = ", ";
      }
      out << ")\n";
   }
   out << rightAligned("number", 6) << "  " << padded("name", 28) << padded("role", 11) << "type\n";
   for (Vex::AttrRow const& row : t->attributes()) {
      std::string const signature = rowSignature(row);
      out << rightAligned(std::to_string(row.number), 6) << "  " << padded(row.name, 28)
          << (signature.empty() ? std::string(roleName(row)) : padded(roleName(row), 11))
          << signature << "\n";
   }
   return exitOk;
}

} // namespace FlowspecTool
