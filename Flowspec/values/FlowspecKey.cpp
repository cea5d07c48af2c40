#include "Flowspec/values/FlowspecKey.h"

#include "Flowspec/framework/LogSequence.h"
#include "Vex/Assert.h"
#include "Vex/ReflectTable.h"

#include <algorithm>
#include <compare>
#include <new>
#include <span>
#include <utility>

namespace Flowspec {

Vex::AllocTrackSlot FlowspecKey::pairBlockAllocTrack_{nullptr};

// ---- the block of pairs ------------------------------------------------------

class FlowspecKey::PairBlock {
 public:
   static constexpr char vexTypeName[] = "Flowspec::FlowspecKey::PairBlock";

   /// A block with room for `capacity` pairs, one reference held.
   static PairBlock* make(std::size_t capacity) {
      std::size_t const bytes = sizeof(PairBlock) + capacity * sizeof(std::uint64_t);
      void* p = ::operator new(bytes);
      Vex::allocTrackAllocated(pairBlockAllocTrack_, vexTypeName, bytes);
      return new (p) PairBlock(static_cast<std::uint32_t>(capacity));
   }
   /// A block of its own for a writer: `from`'s pairs, room for `room` more.
   static PairBlock* copyOf(PairBlock const& from, std::size_t room) {
      PairBlock* b = make(from.size_ + room);
      std::copy(from.begin(), from.end(), b->begin());
      b->size_ = from.size_;
      return b;
   }

   // The count is atomic whatever Vex::ptrThreadSafe says: a key is a value,
   // and two threads may copy one const key at once, as they could when a
   // copy was a copy of every pair.
   void newRef() noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
   /// Drops a reference; the last frees the block.
   static void delRef(PairBlock* b) noexcept {
      if (!b) return;
      if (b->refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
         Vex::allocTrackReleased(pairBlockAllocTrack_);
         b->~PairBlock();
         ::operator delete(b);
      }
   }
   bool shared() const noexcept { return refs_.load(std::memory_order_acquire) != 1; }

   std::uint64_t* begin() noexcept { return reinterpret_cast<std::uint64_t*>(this + 1); }
   std::uint64_t* end() noexcept { return begin() + size_; }
   std::uint64_t const* begin() const noexcept {
      return reinterpret_cast<std::uint64_t const*>(this + 1);
   }
   std::uint64_t const* end() const noexcept { return begin() + size_; }
   std::size_t size() const noexcept { return size_; }
   std::size_t capacity() const noexcept { return capacity_; }

   /// Puts `word` at `pos`, moving the pairs from there up by one.
   void insert(std::size_t pos, std::uint64_t word) noexcept {
      std::copy_backward(begin() + pos, end(), end() + 1);
      begin()[pos] = word;
      ++size_;
   }
   void erase(std::size_t pos) noexcept {
      std::copy(begin() + pos + 1, end(), begin() + pos);
      --size_;
   }

 private:
   explicit PairBlock(std::uint32_t capacity) noexcept : capacity_(capacity) {}

   std::atomic<std::uint32_t> refs_{1};
   std::uint16_t size_ = 0;
   std::uint16_t capacity_;
};

static_assert(sizeof(FlowspecKey::PairBlock) == 8);

namespace {

constexpr std::uint64_t pairWord(std::uint32_t index, MatchOpVal pair) noexcept {
   return std::uint64_t(index) << 32 | pair.storage();
}
constexpr std::uint16_t indexOf(std::uint64_t word) noexcept {
   return static_cast<std::uint16_t>(word >> 32);
}
constexpr MatchOpVal pairOf(std::uint64_t word) noexcept {
   return MatchOpVal(static_cast<std::uint32_t>(word));
}

} // namespace

FlowspecKey::FlowspecKey(FlowspecKey const& o) noexcept
    : vrfId_(o.vrfId_), addressFamily_(o.addressFamily_), destPrefix_(o.destPrefix_),
      srcPrefix_(o.srcPrefix_), pairs_(o.pairs_) {
   if (pairs_) pairs_->newRef();
}

FlowspecKey::FlowspecKey(FlowspecKey&& o) noexcept
    : vrfId_(o.vrfId_), addressFamily_(o.addressFamily_), destPrefix_(o.destPrefix_),
      srcPrefix_(o.srcPrefix_), pairs_(std::exchange(o.pairs_, nullptr)) {}

FlowspecKey& FlowspecKey::operator=(FlowspecKey const& o) noexcept {
   if (o.pairs_) o.pairs_->newRef();
   PairBlock::delRef(pairs_);
   vrfId_ = o.vrfId_;
   addressFamily_ = o.addressFamily_;
   destPrefix_ = o.destPrefix_;
   srcPrefix_ = o.srcPrefix_;
   pairs_ = o.pairs_;
   return *this;
}

FlowspecKey& FlowspecKey::operator=(FlowspecKey&& o) noexcept {
   if (this == &o) return *this;
   PairBlock::delRef(pairs_);
   vrfId_ = o.vrfId_;
   addressFamily_ = o.addressFamily_;
   destPrefix_ = o.destPrefix_;
   srcPrefix_ = o.srcPrefix_;
   pairs_ = std::exchange(o.pairs_, nullptr);
   return *this;
}

FlowspecKey::~FlowspecKey() {
   PairBlock::delRef(pairs_);
}

std::uint64_t const* FlowspecKey::pairsBegin() const noexcept {
   return pairs_ ? pairs_->begin() : nullptr;
}
std::uint64_t const* FlowspecKey::pairsEnd() const noexcept {
   return pairs_ ? pairs_->end() : nullptr;
}

std::size_t FlowspecKey::lowerBound(std::uint32_t index) const noexcept {
   std::uint64_t const* b = pairsBegin();
   std::uint64_t const* e = pairsEnd();
   if (b == e) return 0;
   // Writers append in index order: try the end first.
   if (indexOf(e[-1]) < index) return static_cast<std::size_t>(e - b);
   return static_cast<std::size_t>(std::lower_bound(b, e, std::uint64_t(index) << 32) - b);
}

FlowspecKey::PairBlock& FlowspecKey::ownPairs(std::size_t room) {
   if (!pairs_) {
      pairs_ = PairBlock::make(std::max<std::size_t>(room, 4));
   } else if (pairs_->shared() || pairs_->size() + room > pairs_->capacity()) {
      std::size_t const grow = pairs_->size() + room > pairs_->capacity() ? pairs_->size() : 0;
      PairBlock* own = PairBlock::copyOf(*pairs_, std::max(room, grow));
      PairBlock::delRef(pairs_);
      pairs_ = own;
   }
   return *pairs_;
}

std::size_t FlowspecKey::matchOpVals() const noexcept {
   return pairs_ ? pairs_->size() : 0;
}

bool FlowspecKey::matchOpValHas(MatchOpValIndex index) const noexcept {
   std::size_t const pos = lowerBound(index.value());
   return pos < matchOpVals() && indexOf(pairsBegin()[pos]) == index.value();
}

void FlowspecKey::matchOpValDelAll() noexcept {
   PairBlock::delRef(std::exchange(pairs_, nullptr));
}

void FlowspecKey::matchOpValDel(MatchOpValIndex index) {
   if (!matchOpValHas(index)) return;
   std::size_t const pos = lowerBound(index.value());
   if (matchOpVals() == 1) {
      matchOpValDelAll();
      return;
   }
   ownPairs(0).erase(pos);
}

void FlowspecKey::matchOpValDel(MatchOpValIterator& i) {
   if (i) matchOpValDel(i.key());
}

FlowspecKey::MatchOpValIterator FlowspecKey::matchOpValIteratorConst() const noexcept {
   MatchOpValIterator i;
   i.key_ = this;
   i.settle(0);
   return i;
}

void FlowspecKey::MatchOpValIterator::settle(std::size_t pos) noexcept {
   if (pos >= key_->matchOpVals()) {
      key_ = nullptr;
      return;
   }
   std::uint64_t const word = key_->pairsBegin()[pos];
   pos_ = pos;
   index_ = indexOf(word);
   pair_ = pairOf(word);
}

MatchOpVal FlowspecKey::MatchOpValIterator::value() const noexcept {
   if (key_ && pos_ < key_->matchOpVals()) {
      std::uint64_t const* pairs = key_->pairsBegin();
      if (indexOf(pairs[pos_]) == index_) return pairOf(pairs[pos_]);
      std::size_t const at = key_->lowerBound(index_);
      if (at < key_->matchOpVals() && indexOf(pairs[at]) == index_) return pairOf(pairs[at]);
   }
   return pair_;
}

FlowspecKey::MatchOpValIterator& FlowspecKey::MatchOpValIterator::operator++() noexcept {
   if (!key_) return *this;
   // Where the pair it stood on still is, the next pair follows it; else
   // the first pair above its index.
   std::uint64_t const* pairs = key_->pairsBegin();
   if (pos_ < key_->matchOpVals() && indexOf(pairs[pos_]) == index_) {
      settle(pos_ + 1);
   } else {
      settle(key_->lowerBound(index_ + 1U));
   }
   return *this;
}

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
   std::size_t const pos = lowerBound(index.value());
   if (pos < matchOpVals() && indexOf(pairsBegin()[pos]) == index.value()) {
      return pairOf(pairsBegin()[pos]);
   }
   return MatchOpVal();
}

void FlowspecKey::matchOpValIs(MatchOpValIndex index, MatchOpVal pair) {
   std::size_t const pos = lowerBound(index.value());
   std::uint64_t const word = pairWord(index.value(), pair);
   if (pos < matchOpVals() && indexOf(pairsBegin()[pos]) == index.value()) {
      if (pairsBegin()[pos] == word) return;
      ownPairs(0).begin()[pos] = word;
   } else {
      ownPairs(1).insert(pos, word);
   }
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
       !(destPrefix_ == other.destPrefix_) || !(srcPrefix_ == other.srcPrefix_)) {
      return false;
   }
   // Copies share their block; equal pairs are then known without a look.
   if (pairs_ == other.pairs_) return true;
   return matchOpVals() == other.matchOpVals() &&
          std::equal(pairsBegin(), pairsEnd(), other.pairsBegin());
}

int FlowspecKey::cmpPrefix(Ipkit::IpGenPrefix const& a, Ipkit::IpGenPrefix const& b) {
   // Two IPv4 prefixes, the common case, as one number each: address, then
   // length, as IpGenPrefix orders them.
   if (a.af() == Ipkit::ipv4 && b.af() == Ipkit::ipv4) {
      auto number = [](Ipkit::IpGenPrefix const& p) {
         std::span<std::uint8_t const> const x = p.addr().bytes();
         return std::uint64_t(x[0]) << 32 | std::uint64_t(x[1]) << 24 | std::uint64_t(x[2]) << 16 |
                std::uint64_t(x[3]) << 8 | p.len();
      };
      std::uint64_t const na = number(a), nb = number(b);
      return na < nb ? -1 : na > nb ? 1 : 0;
   }
   // One three-way comparison: equal prefixes are equally empty.
   bool const aEmpty = a.isEmpty(), bEmpty = b.isEmpty();
   if (aEmpty != bEmpty) return aEmpty ? 1 : -1;
   std::strong_ordering const c = a <=> b;
   return c < 0 ? -1 : c > 0 ? 1 : 0;
}

bool FlowspecKey::operator<(FlowspecKey const& other) const {
   if (vrfId_ != other.vrfId_) return vrfId_ < other.vrfId_;
   if (addressFamily_ != other.addressFamily_) return addressFamily_ < other.addressFamily_;
   if (int c = cmpPrefix(destPrefix_, other.destPrefix_)) return c < 0;
   if (int c = cmpPrefix(srcPrefix_, other.srcPrefix_)) return c < 0;
   // One block (or none on either side): the same pairs.
   if (pairs_ == other.pairs_) return false;
   // Each word is index << 32 | pair: the smaller index, then the smaller
   // pair, is the smaller word.
   std::uint64_t const *a = pairsBegin(), *aEnd = pairsEnd();
   std::uint64_t const *b = other.pairsBegin(), *bEnd = other.pairsEnd();
   for (; a != aEnd && b != bEnd; ++a, ++b) {
      if (*a != *b) return *a < *b;
   }
   // The key with more pairs sorts first.
   return a != aEnd;
}

std::uint32_t FlowspecKey::hash() const noexcept {
   OneAtATime h;
   h.bytes(vrfId_, 4);
   h.bytes(static_cast<std::uint32_t>(addressFamily_), 4);
   h.bytes(prefixHash(destPrefix_), 4);
   h.bytes(prefixHash(srcPrefix_), 4);
   for (std::uint64_t const *p = pairsBegin(), *e = pairsEnd(); p != e; ++p) {
      h.bytes(indexOf(*p), 2);
      h.bytes(static_cast<std::uint32_t>(*p), 4);
   }
   return h.result();
}

// Delegating to the default constructor makes the key whole before reading,
// so that its destructor releases the pairs read when a later read fails.
FlowspecKey::FlowspecKey(Vex::NboAttrLog::In* in, Vex::StreamBogon) : FlowspecKey() {
   vrfId_ = in->nextU32();
   addressFamily_ = Vex::nboRead<Ipkit::AddressFamily>(*in);
   destPrefix_ = Ipkit::IpGenPrefix(in, Vex::StreamBogon());
   srcPrefix_ = Ipkit::IpGenPrefix(in, Vex::StreamBogon());
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
   if (other.pairs_) other.pairs_->newRef();
   PairBlock::delRef(pairs_);
   pairs_ = other.pairs_;
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
