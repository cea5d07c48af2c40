#include "Flowspec/values/FlowspecKey.h"

#include "Flowspec/framework/LogSequence.h"
#include "Vex/Assert.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot FlowspecKey::VexMatchOpVal::vexAllocTrackTypeInfo_{nullptr};

namespace {

[[noreturn]] void indexOutOfRange() {
   throw Vex::RangeException(MatchOpValIndex::rangeMessage);
}

// Bob Jenkins' one-at-a-time hash, fed byte by byte, lowest byte first.
class OneAtATime {
 public:
   void bytes(std::uint32_t v, int count) noexcept {
      for (int i = 0; i < count; ++i) {
         h_ += (v >> (8 * i)) & 0xff;
         h_ += h_ << 10;
         h_ ^= h_ >> 6;
      }
   }
   std::uint32_t result() const noexcept {
      std::uint32_t h = h_;
      h += h << 3;
      h ^= h >> 11;
      h += h << 15;
      return h;
   }

 private:
   std::uint32_t h_ = 0;
};

// Thomas Wang's 32-bit integer mix.
constexpr std::uint32_t wangMix(std::uint32_t x) noexcept {
   x = ~x + (x << 15);
   x ^= x >> 12;
   x += x << 2;
   x ^= x >> 4;
   x *= 2057;
   x ^= x >> 16;
   return x;
}

// The prefix's share of the key hash: the mixed address and length, 0 for a
// prefix of no family.
std::uint32_t prefixHash(Ipkit::IpGenPrefix const& p) noexcept {
   std::uint32_t x;
   if (p.af() == Ipkit::ipv4) {
      x = p.addr().v4().value() ^ p.len();
   } else if (p.af() == Ipkit::ipv6) {
      x = p.addr().v6().hash() ^ p.len();
   } else {
      return 0;
   }
   return wangMix(x);
}

} // namespace

MatchOpVal FlowspecKey::matchOpVal(MatchOpValIndex index) const noexcept {
   VexMatchOpVal const* n = matchOpVal_.find(index);
   return n ? n->value() : MatchOpVal();
}

void FlowspecKey::matchOpValIs(MatchOpValIndex index, MatchOpVal pair) {
   if (VexMatchOpVal* n = matchOpVal_.find(index)) {
      n->valueIs(pair);
   } else {
      matchOpVal_.insert(new VexMatchOpVal(index, pair));
   }
}

void FlowspecKey::matchOpValDel(MatchOpValMap::Iterator& i) noexcept {
   if (i && i->rbTreeMember()) matchOpVal_.erase(i.ptr());
}

MatchOpValIndex FlowspecKey::setOpVal(MatchOpValIndex index, MatchCompType mtype, std::uint8_t op,
                                      std::uint32_t val) {
   MatchOpVal pair;
   pair.matchTypeIs(mtype);
   pair.opIs(op);
   std::uint32_t next;
   switch (pair.byteLength()) {
   case 1:
      pair.valIs(static_cast<std::uint16_t>(val & 0xff));
      matchOpValIs(index, pair);
      next = index.value() + 1U;
      break;
   case 2:
      pair.valIs(static_cast<std::uint16_t>(val & 0xffff));
      matchOpValIs(index, pair);
      next = index.value() + 1U;
      break;
   case 4: {
      MatchOpVal low = pair;
      pair.valIs(static_cast<std::uint16_t>(val >> 16));
      matchOpValIs(index, pair);
      if (index.value() + 1U > MatchOpValIndex::max) indexOutOfRange();
      low.valIs(static_cast<std::uint16_t>(val & 0xffff));
      matchOpValIs(MatchOpValIndex(static_cast<std::uint16_t>(index.value() + 1)), low);
      next = index.value() + 2U;
      break;
   }
   default:
      VEX_ASSERT_TEXT(false, "byteLength != 8");
      return MatchOpValIndex();
   }
   if (next > MatchOpValIndex::max) indexOutOfRange();
   return MatchOpValIndex(static_cast<std::uint16_t>(next));
}

MatchOpValResult FlowspecKey::getOptVal(MatchOpValIndex index) const {
   MatchOpValResult r;
   if (!(index.value() < matchOpVals())) return r;
   MatchOpVal pair = matchOpVal(index);
   r.matchTypeIs(pair.matchType());
   r.opIs(pair.op());
   std::uint32_t next;
   switch (pair.byteLength()) {
   case 1:
   case 2:
      r.val32Is(pair.val());
      if (index.value() >= MatchOpValIndex::max) indexOutOfRange();
      next = index.value() + 1U;
      break;
   case 4: {
      if (index.value() + 1U > MatchOpValIndex::max) indexOutOfRange();
      VEX_ASSERT_TEXT(index.value() + 1U < matchOpVals(), "index < matchOpVals()");
      MatchOpVal low = matchOpVal(MatchOpValIndex(static_cast<std::uint16_t>(index.value() + 1)));
      r.val32Is(std::uint32_t(pair.val()) << 16 | low.val());
      next = index.value() + 2U;
      if (next > MatchOpValIndex::max) indexOutOfRange();
      break;
   }
   default:
      VEX_ASSERT_TEXT(false, "byteLength != 8");
      return r;
   }
   r.nextIndexIs(MatchOpValIndex(static_cast<std::uint16_t>(next)));
   return r;
}

bool FlowspecKey::compare(FlowspecKey const& other) const {
   if (vrfId_ != other.vrfId_ || addressFamily_ != other.addressFamily_ ||
       !(destPrefix_ == other.destPrefix_) || !(srcPrefix_ == other.srcPrefix_) ||
       matchOpVal_.size() != other.matchOpVal_.size()) {
      return false;
   }
   VexMatchOpVal const* iter = matchOpVal_.first();
   VexMatchOpVal const* argIter = other.matchOpVal_.first();
   for (; iter && argIter;
        iter = MatchOpValMap::next(iter), argIter = MatchOpValMap::next(argIter)) {
      if (iter->fwkKey() != argIter->fwkKey() || !(iter->value() == argIter->value())) {
         return false;
      }
   }
   VEX_ASSERT(!iter && !argIter);
   return true;
}

int FlowspecKey::cmpPrefix(Ipkit::IpGenPrefix const& a, Ipkit::IpGenPrefix const& b) {
   if (a == b) return 0;
   if (!a.isEmpty() && b.isEmpty()) return -1;
   if (a.isEmpty() && !b.isEmpty()) return 1;
   return a < b ? -1 : 1;
}

bool FlowspecKey::operator<(FlowspecKey const& other) const {
   if (vrfId_ != other.vrfId_) return vrfId_ < other.vrfId_;
   if (addressFamily_ != other.addressFamily_) return addressFamily_ < other.addressFamily_;
   if (int c = cmpPrefix(destPrefix_, other.destPrefix_)) return c < 0;
   if (int c = cmpPrefix(srcPrefix_, other.srcPrefix_)) return c < 0;
   VexMatchOpVal const* a = matchOpVal_.first();
   VexMatchOpVal const* b = other.matchOpVal_.first();
   for (; a && b; a = MatchOpValMap::next(a), b = MatchOpValMap::next(b)) {
      if (a->fwkKey() != b->fwkKey()) return a->fwkKey() < b->fwkKey();
      if (a->value().storage() != b->value().storage()) {
         return a->value().storage() < b->value().storage();
      }
   }
   // The key with more pairs sorts first.
   return other.matchOpVal_.size() < matchOpVal_.size();
}

std::uint32_t FlowspecKey::hash() const noexcept {
   OneAtATime h;
   h.bytes(vrfId_, 4);
   h.bytes(static_cast<std::uint32_t>(addressFamily_), 4);
   h.bytes(prefixHash(destPrefix_), 4);
   h.bytes(prefixHash(srcPrefix_), 4);
   for (VexMatchOpVal const* n = matchOpVal_.first(); n; n = MatchOpValMap::next(n)) {
      h.bytes(n->fwkKey().value(), 2);
      h.bytes(n->value().storage(), 4);
   }
   return h.result();
}

FlowspecKey::FlowspecKey(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : vrfId_(in->nextU32()), addressFamily_(Vex::nboRead<Ipkit::AddressFamily>(*in)),
      destPrefix_(in, Vex::StreamBogon()), srcPrefix_(in, Vex::StreamBogon()) {
   while (true) {
      std::uint16_t index = in->nextU16();
      if (index > MatchOpValIndex::max) indexOutOfRange();
      if (index == MatchOpValIndex::max) return;
      matchOpValIs(MatchOpValIndex(index), MatchOpVal(in->nextU32()));
   }
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 FlowspecKey const& key) {
   out->writeU32(key.vrfId());
   Vex::nboWrite(out, key.addressFamily());
   out << key.destPrefix() << key.srcPrefix();
   for (auto i = key.matchOpValIteratorConst(); i; ++i) {
      refuseTerminator(i.key(), MatchOpValIndex());
      out->writeU16(i.key().value());
      out->writeU32(i.value().storage());
   }
   out->writeU16(MatchOpValIndex::max);
   return out;
}

void FlowspecKey::copyIn(FlowspecKey const& other) {
   if (&other == this) return;
   vrfId_ = other.vrfId_;
   addressFamily_ = other.addressFamily_;
   destPrefix_ = other.destPrefix_;
   srcPrefix_ = other.srcPrefix_;
   matchOpValDelAll();
   for (VexMatchOpVal const* n = other.matchOpVal_.first(); n; n = MatchOpValMap::next(n)) {
      matchOpValIs(n->fwkKey(), n->value());
   }
}

// --- Reflection ----------------------------------------------------------------

namespace {

// The key's separators are characters; reflection shows them as strings.
Vex::String compSeparatorText() {
   static constexpr char text[] = {FlowspecKey::compSeparator(), 0};
   return text;
}
Vex::String compEndText() {
   static constexpr char text[] = {FlowspecKey::compEnd(), 0};
   return text;
}

constexpr auto flowspecKeyRows = Vex::valueRows({
    Vex::field<&FlowspecKey::vrfId, &FlowspecKey::vrfIdIs>("vrfId"),
    Vex::field<&FlowspecKey::addressFamily, &FlowspecKey::addressFamilyIs>("addressFamily"),
    Vex::field<&FlowspecKey::destPrefix, &FlowspecKey::destPrefixIs>("destPrefix"),
    Vex::field<&FlowspecKey::srcPrefix, &FlowspecKey::srcPrefixIs>("srcPrefix"),
    Vex::constant<&compSeparatorText>("compSeparator"),
    Vex::constant<&compEndText>("compEnd"),
    VEX_COLLECTION_ROW(FlowspecKey, matchOpVal, "index"),
    Vex::method<&FlowspecKey::hash>("hash"),
    Vex::method<&FlowspecKey::compare, "other">("compare"),
    Vex::method<&FlowspecKey::cmpPrefix, "a", "b">("cmpPrefix"),
    Vex::method<&FlowspecKey::copyIn, "other">("copyIn"),
    Vex::method<&FlowspecKey::copyInStr, "text">("copyInStr"),
    Vex::method<&FlowspecKey::toStrep>("toStrep"),
    Vex::method<&FlowspecKey::toStrepCli>("toStrepCli"),
    Vex::method<&FlowspecKey::toStrepCliDetail>("toStrepCliDetail"),
    Vex::method<&FlowspecKey::copyInStrCli, "text">("copyInStrCli"),
    Vex::method<&FlowspecKey::stringValue>("stringValue"),
    Vex::method<&FlowspecKey::copyInStringValue, "text">("copyInStringValue"),
    Vex::method<&FlowspecKey::setOpVal, "index", "mtype", "op", "val">("setOpVal"),
    Vex::method<&FlowspecKey::getOptVal, "index">("getOptVal"),
});

template <class T>
constexpr Vex::TypeFn type = &Vex::Reflection::typeFn<T>;

constexpr Vex::Param flowspecKeyArgs[] = {{"vrfId", &Vrf::VrfIdMap::vrfIdType},
                                          {"addressFamily", type<Ipkit::AddressFamily>},
                                          {"destPrefix", type<Ipkit::IpGenPrefix>},
                                          {"srcPrefix", type<Ipkit::IpGenPrefix>}};

Vex::GenericValue flowspecKeyFromArgs(Vex::GenericArgs args) {
   Vex::Reflection::checkArgCount(args, 4);
   FlowspecKey key;
   key.vrfIdIs(args[0].value<Vrf::VrfIdMap::VrfId>());
   key.addressFamilyIs(args[1].value<Ipkit::AddressFamily>());
   key.destPrefixIs(args[2].value<Ipkit::IpGenPrefix>());
   key.srcPrefixIs(args[3].value<Ipkit::IpGenPrefix>());
   return Vex::GenericValue(key);
}

} // namespace

constinit Vex::VexType const FlowspecKey::_vexType = Vex::valueDescriptor<FlowspecKey>({
    .name = vexTypeName,
    .rows = flowspecKeyRows,
    .ctorArgs = flowspecKeyArgs,
    .construct = &flowspecKeyFromArgs,
});

} // namespace Flowspec
