#include "KeyParse.h"

#include "Vex/Trace.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

namespace FlowspecTool {

namespace {

constexpr char const* handleName = "Flowspec";
constexpr unsigned failureLevel = 2;

// Captures the parser's failure line for as long as it lives.
class FailureCapture {
public:
   explicit FailureCapture(std::string& message)
       : savedLevels_(Vex::traceLevels(handleName)) {
      Vex::traceSinkIs([&message](Vex::TraceLine const& line) {
         if (line.handle == handleName && line.level == failureLevel) {
            if (message.empty()) message = line.message.str();
            return;
         }
         std::fprintf(stderr, "%s/%u %s: %s\n", line.handle.c_str(), line.level,
                      line.function.c_str(), line.message.c_str());
      });
      Vex::traceLevelsIs(handleName, savedLevels_ | 1U << failureLevel);
   }
   ~FailureCapture() {
      Vex::traceLevelsIs(handleName, savedLevels_);
      Vex::traceSinkIs(nullptr);
   }
   FailureCapture(FailureCapture const&) = delete;
   FailureCapture& operator=(FailureCapture const&) = delete;

private:
   unsigned savedLevels_;
};

} // namespace

bool parseKeyCli(std::string_view text, Flowspec::FlowspecKey& key,
                 std::string& message) {
   message.clear();
   bool ok;
   try {
      FailureCapture capture(message);
      ok = key.copyInStrCli(Vex::String(std::string(text)));
   } catch (std::exception const& e) {
      // The parser catches what it calls; anything else still ends here.
      message = e.what();
      ok = false;
   }
   if (ok) {
      message.clear();
   } else if (message.empty()) {
      // Every refusal of the parser traces its reason; this is a safety net.
      message = "the rule key was refused";
   }
   return ok;
}

std::string printable(std::string_view message) {
   std::string out;
   for (char c : message) {
      auto u = static_cast<unsigned char>(c);
      if (u >= 0x20 && u < 0x7f) {
         out += c;
      } else {
         char hex[8];
         std::snprintf(hex, sizeof hex, "\\x%02x", u);
         out += hex;
      }
   }
   return out;
}

std::string oversizedNumber(std::string_view text) {
   std::size_t fieldStart = 0;
   for (unsigned field = 0; fieldStart <= text.size(); ++field) {
      std::size_t fieldEnd = text.find(';', fieldStart);
      if (fieldEnd == std::string_view::npos) fieldEnd = text.size();
      std::string const component(text.substr(fieldStart, fieldEnd - fieldStart));
      std::size_t const colon = component.find(':');
      if (field >= 2 && colon != std::string::npos) {
         for (std::size_t i = colon + 1; i < component.size();) {
            if (component[i] < '0' || component[i] > '9') {
               ++i;
               continue;
            }
            char const* start = component.c_str() + i;
            char* after = nullptr;
            errno = 0;
            unsigned long long const value = std::strtoull(start, &after, 0);
            if (errno == ERANGE || value > 0xffffffffULL) {
               return "the number " +
                      std::string(start, static_cast<char const*>(after)) + " in " +
                      component + " does not fit 32 bits";
            }
            i += static_cast<std::size_t>(after - start);
         }
      }
      fieldStart = fieldEnd + 1;
   }
   return "";
}

} // namespace FlowspecTool
