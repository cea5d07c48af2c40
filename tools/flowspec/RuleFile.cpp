#include "RuleFile.h"

#include "KeyParse.h"

#include "Ipkit/IpGenAddr.h"
#include "Vex/Exception.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <set>

namespace FlowspecTool {

namespace {

constexpr std::uint64_t maxRate = 1000ULL * 1000 * 1000 * 1000; // 1000G

// A line could not be read; what() says why.
struct LineError {
   std::string what;
};

bool isBlank(char c) {
   return c == ' ' || c == '\t';
}
bool isDigits(std::string_view s) {
   if (s.empty()) return false;
   for (char c : s) {
      if (c < '0' || c > '9') return false;
   }
   return true;
}

// "'word'", for messages.
std::string quoted(std::string_view word) {
   return "'" + std::string(word) + "'";
}

// The words of one line, read front to back.
class Words {
public:
   explicit Words(std::string_view line) {
      std::size_t i = 0;
      while (i < line.size()) {
         while (i < line.size() && isBlank(line[i]))
            ++i;
         std::size_t start = i;
         while (i < line.size() && !isBlank(line[i]))
            ++i;
         if (i > start) words_.push_back(line.substr(start, i - start));
      }
   }
   bool empty() const { return next_ == words_.size(); }
   std::optional<std::string_view> next() {
      if (empty()) return std::nullopt;
      return words_[next_++];
   }
   std::optional<std::string_view> peek() const {
      if (empty()) return std::nullopt;
      return words_[next_];
   }

private:
   std::vector<std::string_view> words_;
   std::size_t next_ = 0;
};

class Reader {
public:
   explicit Reader(std::string_view fileName) : fileName_(fileName) {}

   void line(std::string_view text, unsigned number);
   RuleFile result() { return std::move(file_); }

private:
   RuleLine rule(std::string_view text, unsigned number);
   Vrf::VrfIdMap::VrfId vrf(std::string_view word);
   void action(std::string_view word, Words& words, RuleLine& rule);
   void prefixFamily(Ipkit::IpGenPrefix const& prefix, char const* which,
                     Ipkit::AddressFamily af);

   std::string fileName_;
   RuleFile file_;
   Vrf::VrfIdMap vrfIds_;
   std::set<Vrf::VrfIdMap::VrfId> numberedVrfs_;
   std::map<Flowspec::FlowspecKey, unsigned> keyLines_;
};

void Reader::line(std::string_view text, unsigned number) {
   // A refused line leaves no VRF name behind: ids follow the lines read.
   Vrf::VrfIdMap const vrfIds = vrfIds_;
   auto const numberedVrfs = numberedVrfs_;
   auto const vrfNames = file_.vrfNames;
   auto refuse = [&](std::string_view why) {
      file_.errors.push_back(fileName_ + ":" + std::to_string(number) + ": " +
                             printable(why));
      vrfIds_ = vrfIds;
      numberedVrfs_ = numberedVrfs;
      file_.vrfNames = vrfNames;
   };
   try {
      RuleLine r = rule(text, number);
      if (r.line == 0) return; // nothing on the line
      auto [at, inserted] = keyLines_.emplace(r.key, number);
      if (!inserted) {
         throw LineError{"the same rule as line " + std::to_string(at->second)};
      }
      file_.rules.push_back(std::move(r));
   } catch (LineError const& e) {
      refuse(e.what);
   } catch (std::exception const& e) {
      // A value type refused a value: its message says which and why.
      refuse(e.what());
   }
}

RuleLine Reader::rule(std::string_view text, unsigned number) {
   if (std::size_t hash = text.find('#'); hash != std::string_view::npos) {
      text = text.substr(0, hash);
   }
   for (char c : text) {
      auto u = static_cast<unsigned char>(c);
      if ((u < 0x20 && c != '\t') || u == 0x7f) {
         char hex[8];
         std::snprintf(hex, sizeof hex, "0x%02x", u);
         throw LineError{std::string("control character ") + hex + " in the line"};
      }
   }
   Words words(text);
   RuleLine r;
   if (words.empty()) return r;
   r.line = number;

   std::string_view first = *words.next();
   if (first != "vrf") {
      throw LineError{"a rule starts with 'vrf', not " + quoted(first)};
   }
   auto vrfWord = words.next();
   if (!vrfWord) throw LineError{"'vrf' needs a VRF name or id"};
   r.vrfId = vrf(*vrfWord);

   auto familyWord = words.next();
   Ipkit::AddressFamily af;
   if (familyWord == "ipv4") {
      af = Ipkit::ipv4;
   } else if (familyWord == "ipv6") {
      af = Ipkit::ipv6;
   } else if (!familyWord) {
      throw LineError{"the VRF needs an address family after it, ipv4 or ipv6"};
   } else {
      throw LineError{"the address family is ipv4 or ipv6, not " + quoted(*familyWord)};
   }

   auto keyWord = words.next();
   if (!keyWord) throw LineError{"the address family needs a rule key after it"};
   std::string why;
   if (!parseKeyCli(*keyWord, r.key, why)) throw LineError{"rule key: " + why};
   if (std::string too = oversizedNumber(*keyWord); !too.empty()) {
      throw LineError{"rule key: " + too};
   }
   r.key.vrfIdIs(r.vrfId);
   r.key.addressFamilyIs(af);
   prefixFamily(r.key.destPrefix(), "destination", af);
   prefixFamily(r.key.srcPrefix(), "source", af);

   if (words.empty()) {
      throw LineError{
          "no action: give drop, permit, rate, redirect, dscp, sample or continue"};
   }
   while (auto word = words.next())
      action(*word, words, r);
   return r;
}

void Reader::prefixFamily(Ipkit::IpGenPrefix const& prefix, char const* which,
                          Ipkit::AddressFamily af) {
   if (prefix.isEmpty() || prefix.af() == af) return;
   throw LineError{std::string("the ") + which + " prefix " +
                   prefix.stringValue().str() + " is not " +
                   (af == Ipkit::ipv4 ? "ipv4" : "ipv6")};
}

Vrf::VrfIdMap::VrfId Reader::vrf(std::string_view word) {
   if (isDigits(word)) {
      std::uint64_t id = 0;
      for (char c : word) {
         id = id * 10 + static_cast<unsigned>(c - '0');
         if (id > Vrf::VrfIdMap::maxVrfId) {
            throw LineError{"VRF id " + std::string(word) + " is out of range (0 to " +
                            std::to_string(Vrf::VrfIdMap::maxVrfId) + ")"};
         }
      }
      auto vrfId = static_cast<Vrf::VrfIdMap::VrfId>(id);
      auto it = file_.vrfNames.find(vrfId);
      if (it != file_.vrfNames.end() && vrfId != Vrf::VrfIdMap::defaultVrfId) {
         throw LineError{"VRF id " + std::string(word) + " is already the id of VRF " +
                         it->second + "; name it or number it, not both"};
      }
      numberedVrfs_.insert(vrfId);
      return vrfId;
   }
   Vrf::VrfIdMap::VrfId vrfId = vrfIds_.vrfIdIs(Vex::String(std::string(word)));
   if (vrfId != Vrf::VrfIdMap::defaultVrfId && numberedVrfs_.count(vrfId)) {
      throw LineError{
          "VRF " + std::string(word) + " would get the id " + std::to_string(vrfId) +
          ", which the file already uses as a number; name it or number it, not "
          "both"};
   }
   file_.vrfNames.emplace(vrfId, std::string(word));
   return vrfId;
}

void Reader::action(std::string_view word, Words& words, RuleLine& r) {
   Flowspec::ActionFieldSet& fields = r.actionFieldSet;
   auto once = [&](bool present) {
      if (present) throw LineError{quoted(word) + " is given twice"};
   };
   auto oneVerdict = [&] {
      if (fields.trafficDrop() || fields.trafficPermit() || fields.trafficRate()) {
         throw LineError{"drop, permit and rate exclude each other"};
      }
   };
   if (word == "drop") {
      once(fields.trafficDrop());
      oneVerdict();
      fields.trafficDropIs(true);
   } else if (word == "permit") {
      once(fields.trafficPermit());
      oneVerdict();
      fields.trafficPermitIs(true);
   } else if (word == "rate") {
      once(fields.trafficRate());
      oneVerdict();
      auto value = words.next();
      if (!value) throw LineError{"'rate' needs a number of bytes per second"};
      std::string_view digits = *value;
      std::uint64_t unit = 1;
      if (!digits.empty()) {
         switch (digits.back()) {
         case 'k':
            unit = 1000;
            break;
         case 'M':
            unit = 1000 * 1000;
            break;
         case 'G':
            unit = 1000 * 1000 * 1000;
            break;
         default:
            break;
         }
         if (unit != 1) digits.remove_suffix(1);
      }
      if (!isDigits(digits)) {
         throw LineError{
             "the rate is a whole number of bytes per second with an optional k, M "
             "or G, not " +
             quoted(*value)};
      }
      std::uint64_t rate = 0;
      for (char c : digits) {
         rate = rate * 10 + static_cast<unsigned>(c - '0');
         if (rate > maxRate / unit) {
            throw LineError{"the rate " + std::string(*value) + " is above 1000G"};
         }
      }
      fields.trafficRateIs(true);
      r.trafficRateLimit = static_cast<float>(rate * unit);
   } else if (word == "redirect") {
      once(fields.trafficRedirect());
      auto target = words.next();
      if (!target) throw LineError{"'redirect' needs 'vrf VRF' or an address"};
      if (*target == "vrf") {
         auto name = words.next();
         if (!name) throw LineError{"'redirect vrf' needs a VRF name or id"};
         r.trafficRedirect.vrfIdIs(vrf(*name));
      } else {
         r.trafficRedirect.addrIs(Ipkit::IpGenAddr(Vex::String(std::string(*target))));
      }
      if (words.peek() == "copy") {
         words.next();
         r.trafficRedirect.copyIs(true);
      }
      fields.trafficRedirectIs(true);
   } else if (word == "dscp") {
      once(fields.trafficMarking());
      auto value = words.next();
      if (!value || !isDigits(*value) || value->size() > 2 ||
          std::stoul(std::string(*value)) > 63) {
         throw LineError{"'dscp' needs a DSCP value from 0 to 63"};
      }
      r.trafficMarkingDscp =
          Ipkit::IpTos(static_cast<unsigned>(std::stoul(std::string(*value))));
      fields.trafficMarkingIs(true);
   } else if (word == "sample") {
      once(r.trafficAction.sampleAndLog());
      r.trafficAction.sampleAndLogIs(true);
      fields.trafficActionIs(true);
   } else if (word == "continue") {
      once(r.trafficAction.continueMatch());
      r.trafficAction.continueMatchIs(true);
      fields.trafficActionIs(true);
   } else if (word == "copy") {
      throw LineError{"'copy' belongs right after a redirect target"};
   } else {
      throw LineError{
          "unknown action " + quoted(word) +
          "; the actions are drop, permit, rate, redirect, dscp, sample and continue"};
   }
}

} // namespace

RuleFile readRuleFile(std::string_view text, std::string_view fileName) {
   Reader reader(fileName);
   unsigned number = 0;
   while (!text.empty()) {
      std::size_t end = text.find('\n');
      std::string_view line = text.substr(0, end);
      text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
      reader.line(line, ++number);
   }
   return reader.result();
}

} // namespace FlowspecTool
