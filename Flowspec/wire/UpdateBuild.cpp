// buildUpdates: flowspec routes into BGP UPDATE messages (see Update.h).
#include "Flowspec/wire/Update.h"

#include "Flowspec/wire/ByteOrder.h"
#include "Flowspec/wire/NlriCodec.h"

#include <exception>

namespace Flowspec {

namespace {

using Message = std::vector<std::uint8_t>;

// One path attribute: flags, type, a 1-byte length, or a 2-byte one with
// the extended-length flag (0x10) when the value is longer than 255 bytes.
void putAttribute(Message& m, std::uint8_t flags, std::uint8_t type,
                  std::span<std::uint8_t const> value) {
   bool const extended = value.size() > 255;
   m.push_back(std::uint8_t(extended ? flags | 0x10 : flags));
   m.push_back(type);
   if (extended) {
      putBe16(m, value.size());
   } else {
      m.push_back(std::uint8_t(value.size()));
   }
   m.insert(m.end(), value.begin(), value.end());
}

// The routes of one message family and attributes.
struct Group {
   std::uint16_t afi = 0;
   std::uint8_t safi = 0;
   std::vector<std::uint8_t> communities;
   std::vector<std::uint8_t> ipv6Communities;
   Ipkit::IpGenAddr nextHop;
   std::vector<Message> nlris;
   bool sameAs(Group const& o) const {
      return afi == o.afi && safi == o.safi && communities == o.communities &&
             ipv6Communities == o.ipv6Communities && nextHop == o.nextHop;
   }
};

// The message header with the length left at 0; fixLength fills it.
Message header() {
   Message m(16, 0xff);
   putBe16(m, 0);
   m.push_back(2);
   return m;
}
void fixLength(Message& m) {
   m[16] = std::uint8_t(m.size() >> 8);
   m[17] = std::uint8_t(m.size());
}

class Builder {
 public:
   explicit Builder(UpdateBuildOptions const& o) : o_(o) {}

   std::string add(std::vector<Group>& groups, FlowspecRoute const& r, bool announce);
   std::string emit(Group const& g, bool announce, std::vector<Message>& out) const;

 private:
   Message attributes(Group const& g, std::span<Message const> nlris, bool announce) const;
   UpdateBuildOptions const& o_;
};

std::string Builder::add(std::vector<Group>& groups, FlowspecRoute const& r, bool announce) {
   Group g;
   switch (r.key.addressFamily()) {
   case Ipkit::ipv4:
      g.afi = 1;
      break;
   case Ipkit::ipv6:
      g.afi = 2;
      break;
   default:
      return "the key " + r.key.toStrepCli().str() + " has no address family (ipv4 or ipv6)";
   }
   if (r.safi != safiFlowspec && r.safi != safiFlowspecVpn) {
      return "SAFI " + std::to_string(r.safi) + " is not a flowspec SAFI (133, 134)";
   }
   g.safi = r.safi;
   if (announce) {
      ActionEncodeResult actions = encodeActions(r.actions, o_.routeTargets, o_.actions);
      if (!actions.issues.empty()) {
         return "the actions of " + r.key.toStrepCli().str() +
                " do not encode: " + actionIssueMessage(actions.issues[0]);
      }
      g.communities = std::move(actions.extendedCommunities);
      g.ipv6Communities = std::move(actions.ipv6ExtendedCommunities);
      g.nextHop = actions.nextHop;
   }
   // RFC 8955 section 4.1: the length field, the route distinguisher of
   // SAFI 134, the components.
   Message framed;
   if (auto error = encodeNlri(
           r.key, framed, g.safi == safiFlowspecVpn ? NlriSafi::flowspecVpn : NlriSafi::flowspec,
           r.routeDistinguisher)) {
      return "the key " + r.key.toStrepCli().str() +
             " does not encode: " + nlriEncodeErrorMessage(*error);
   }
   for (Group& existing : groups) {
      if (existing.sameAs(g)) {
         existing.nlris.push_back(std::move(framed));
         return {};
      }
   }
   g.nlris.push_back(std::move(framed));
   groups.push_back(std::move(g));
   return {};
}

// The path attributes of one message: MP_REACH_NLRI (or MP_UNREACH_NLRI)
// first, as RFC 7606 section 5.1 asks, then ORIGIN, AS_PATH and
// EXTENDED_COMMUNITIES.
Message Builder::attributes(Group const& g, std::span<Message const> nlris, bool announce) const {
   Message mp;
   putBe16(mp, g.afi);
   mp.push_back(g.safi);
   if (announce) {
      auto const nh = g.nextHop.bytes();
      mp.push_back(std::uint8_t(nh.size()));
      mp.insert(mp.end(), nh.begin(), nh.end());
      mp.push_back(0); // reserved
   }
   for (Message const& n : nlris)
      mp.insert(mp.end(), n.begin(), n.end());
   Message attrs;
   putAttribute(attrs, 0x80, announce ? 14 : 15, mp);
   if (!announce) return attrs;
   std::uint8_t const igp = 0;
   putAttribute(attrs, 0x40, 1, std::span(&igp, 1));
   Message path;
   if (o_.localAs) {
      path.push_back(2); // AS_SEQUENCE
      path.push_back(1);
      if (o_.fourOctetAs) {
         putBe32(path, o_.localAs);
      } else {
         putBe16(path, o_.localAs > 0xffff ? 23456 : o_.localAs);
      }
   }
   putAttribute(attrs, 0x40, 2, path);
   if (!g.communities.empty()) putAttribute(attrs, 0xc0, 16, g.communities);
   // RFC 5701: the IPv6 address specific extended communities.
   if (!g.ipv6Communities.empty()) putAttribute(attrs, 0xc0, 25, g.ipv6Communities);
   return attrs;
}

std::string Builder::emit(Group const& g, bool announce, std::vector<Message>& out) const {
   std::size_t const fixed = 19 + 2 + 2;
   std::size_t first = 0;
   while (first < g.nlris.size()) {
      // As many NLRIs as fit, at least one.
      std::size_t last = first + 1;
      Message attrs = attributes(g, std::span(g.nlris).subspan(first, 1), announce);
      if (fixed + attrs.size() > o_.maxMessageSize) {
         return "an NLRI of " + std::to_string(g.nlris[first].size()) +
                " bytes does not fit in a message of " + std::to_string(o_.maxMessageSize) +
                " bytes";
      }
      while (last < g.nlris.size()) {
         // The attributes grow by the NLRI, and by 1 byte where the MP
         // attribute's length turns extended.
         std::size_t const grown = attrs.size() + g.nlris[last].size() + 1;
         if (fixed + grown > o_.maxMessageSize) break;
         ++last;
         attrs = attributes(g, std::span(g.nlris).subspan(first, last - first), announce);
      }
      Message m = header();
      putBe16(m, 0); // no IPv4 withdrawn routes
      putBe16(m, attrs.size());
      m.insert(m.end(), attrs.begin(), attrs.end());
      fixLength(m);
      out.push_back(std::move(m));
      first = last;
   }
   return {};
}

} // namespace

UpdateBuild buildUpdates(std::span<FlowspecRoute const> announce,
                         std::span<FlowspecRoute const> withdraw,
                         UpdateBuildOptions const& options) {
   UpdateBuild result;
   try {
      Builder b(options);
      std::vector<Group> withdrawals, announcements;
      for (FlowspecRoute const& r : withdraw) {
         result.error = b.add(withdrawals, r, false);
         if (!result.error.empty()) return result;
      }
      for (FlowspecRoute const& r : announce) {
         result.error = b.add(announcements, r, true);
         if (!result.error.empty()) return result;
      }
      for (Group const& g : withdrawals) {
         result.error = b.emit(g, false, result.messages);
         if (!result.error.empty()) break;
      }
      for (Group const& g : announcements) {
         if (!result.error.empty()) break;
         result.error = b.emit(g, true, result.messages);
      }
   } catch (std::exception const& e) {
      result.error = std::string("the messages could not be built: ") + e.what();
   }
   if (!result.error.empty()) result.messages.clear();
   return result;
}

} // namespace Flowspec
