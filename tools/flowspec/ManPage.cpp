#include "ManPage.h"

#include "Commands.h"
#include "ListenCommand.h"

#include <string_view>

namespace FlowspecTool {

namespace {

// `text` as lines of roff shown as they are (no filling): backslashes
// escaped, and a line that starts with '.' or '\'' protected.
std::string verbatim(std::string_view text) {
   std::string out = ".nf\n";
   std::size_t start = 0;
   while (start < text.size()) {
      std::size_t end = text.find('\n', start);
      if (end == std::string_view::npos) end = text.size();
      std::string_view const line = text.substr(start, end - start);
      if (!line.empty() && (line[0] == '.' || line[0] == '\'')) out += "\\&";
      for (char c : line) {
         if (c == '\\') {
            out += "\\e";
         } else if (c == '-') {
            out += "\\-";
         } else {
            out += c;
         }
      }
      out += '\n';
      start = end + 1;
   }
   return out + ".fi\n";
}

} // namespace

std::string manPage() {
   std::string page =
       std::string(".TH FLOWSPEC 1 \"\" \"flowspec ") + toolVersion +
       "\" \"User Commands\"\n"
       ".SH NAME\n"
       "flowspec \\- check, show and describe BGP flowspec rules (RFC 8955, RFC 8956)\n"
       ".SH SYNOPSIS\n";
   page += verbatim(toolHelp());
   struct Section {
      char const* title;
      std::string (*help)();
   } const sections[] = {
       {"FLOWSPEC CHECK", checkHelp},       {"FLOWSPEC KEY", keyHelp},
       {"FLOWSPEC DEMO", demoHelp},         {"FLOWSPEC TYPES", typesHelp},
       {"FLOWSPEC DESCRIBE", describeHelp}, {"FLOWSPEC LISTEN", listenHelp},
   };
   for (Section const& s : sections) {
      page += std::string(".SH \"") + s.title + "\"\n" + verbatim(s.help());
   }
   page += ".SH \"SEE ALSO\"\n"
           "RFC 8955, RFC 8956; the README of libFlowspecStatedbTypes; the JSON Schema of\n"
           ".B flowspec check \\-\\-json\n"
           "installed as share/flowspec/flowspec\\-check.schema.json.\n";
   return page;
}

} // namespace FlowspecTool
