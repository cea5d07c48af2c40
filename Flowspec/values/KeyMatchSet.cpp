// A rule key's operator lists turned into the match components they accept.
#include "Flowspec/values/KeyMatchSet.h"

#include "Vex/Exception.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>

namespace Flowspec {

namespace {

using T = MatchCompType;

// A vector whose first N elements live inside it: a rule's operator lists,
// intervals and masks are short, and deriving a match set is on the path of
// every rule, so the common case allocates nothing. Trivially copyable
// elements only.
template <class V, std::size_t N>
class SmallVec {
   static_assert(std::is_trivially_copyable_v<V>);

 public:
   SmallVec() noexcept = default;
   SmallVec(std::initializer_list<V> init) {
      for (V const& v : init)
         push_back(v);
   }
   SmallVec(SmallVec const& o) { assign(o); }
   SmallVec& operator=(SmallVec const& o) {
      if (this != &o) assign(o);
      return *this;
   }

   V* begin() noexcept { return data_; }
   V* end() noexcept { return data_ + size_; }
   V const* begin() const noexcept { return data_; }
   V const* end() const noexcept { return data_ + size_; }
   V* data() noexcept { return data_; }
   V const* data() const noexcept { return data_; }
   std::size_t size() const noexcept { return size_; }
   bool empty() const noexcept { return size_ == 0; }
   V& operator[](std::size_t i) noexcept { return data_[i]; }
   V const& operator[](std::size_t i) const noexcept { return data_[i]; }
   V& back() noexcept { return data_[size_ - 1]; }
   V const& back() const noexcept { return data_[size_ - 1]; }
   void clear() noexcept { size_ = 0; }
   void push_back(V const& v) {
      if (size_ == capacity_) grow(2 * capacity_);
      data_[size_++] = v;
   }
   void append(V const* from, V const* to) {
      for (; from != to; ++from)
         push_back(*from);
   }

 private:
   void grow(std::size_t capacity) {
      auto bigger = std::make_unique<V[]>(capacity);
      std::copy(data_, data_ + size_, bigger.get());
      heap_ = std::move(bigger);
      data_ = heap_.get();
      capacity_ = capacity;
   }
   void assign(SmallVec const& o) {
      size_ = 0;
      if (o.size_ > capacity_) grow(o.size_);
      std::copy(o.data_, o.data_ + o.size_, data_);
      size_ = o.size_;
   }

   V inline_[N];
   V* data_ = inline_;
   std::size_t size_ = 0;
   std::size_t capacity_ = N;
   std::unique_ptr<V[]> heap_;
};

// The pairs of one kind that stand next to each other in the key.
struct OpList {
   MatchOpValResult const* first;
   MatchOpValResult const* last;
   MatchOpValResult const* begin() const noexcept { return first; }
   MatchOpValResult const* end() const noexcept { return last; }
   std::size_t size() const noexcept { return std::size_t(last - first); }
};
// The operator lists of one kind, in key order.
using OpLists = SmallVec<OpList, 4>;

// Calls `each(begin, end)` for every AND-group of `list`: a pair that opens
// it and the pairs after it that have andPrevious set.
template <class Each>
void forEachAndGroup(OpList const& list, Each each) {
   for (MatchOpValResult const* begin = list.first; begin != list.last;) {
      MatchOpValResult const* end = begin + 1;
      while (end != list.last && end->andPrevious())
         ++end;
      each(begin, end);
      begin = end;
   }
}

[[noreturn]] void refuse(MatchOpValIndex index, std::string const& what) {
   throw Vex::Exception(Vex::String("matchSetFromKey: the pair at index " +
                                    std::to_string(index.value()) + " " + what));
}

// The key's pairs read once, in walk order, and the runs of one kind in
// them. The walk follows nextIndex like the key's printers, which start a new
// component where the type changes; what would make getOptVal abort is
// refused first.
struct KeyPairs {
   SmallVec<MatchOpValResult, 24> pairs;
   struct Run {
      T kind;
      std::uint32_t begin, end;
   };
   SmallVec<Run, 12> runs;
   std::bitset<numComponentTypes> kinds;

   explicit KeyPairs(FlowspecKey const& key) {
      MatchOpValIndex index(0);
      while (index.value() < key.matchOpVals()) {
         MatchOpVal const stored = key.matchOpVal(index);
         if (stored.byteLength() == 8) refuse(index, "has an 8-byte value");
         if (stored.byteLength() == 4 && index.value() + 1u >= key.matchOpVals()) {
            refuse(index, "has a 4-byte value whose low half is missing");
         }
         MatchOpValResult const pair = key.getOptVal(index);
         T const kind = pair.matchType();
         if (!isNumericalRangeType(kind) && kind != T::tcpFlags && kind != T::fragment) {
            refuse(index,
                   "is of kind " + stringValue(kind).str() + ", which has no operator-value match");
         }
         auto const at = static_cast<std::uint32_t>(pairs.size());
         if (runs.empty() || runs.back().kind != kind) runs.push_back({kind, at, at});
         pairs.push_back(pair);
         ++runs.back().end;
         kinds.set(static_cast<std::size_t>(kind));
         index = pair.nextIndex();
      }
   }

   OpLists listsOf(T kind) const {
      OpLists lists;
      for (Run const& r : runs) {
         if (r.kind == kind) lists.push_back({pairs.data() + r.begin, pairs.data() + r.end});
      }
      return lists;
   }
};

// ---- numeric kinds ----------------------------------------------------------

struct Interval {
   std::uint32_t lo, hi;
};
// Ascending, neither overlapping nor touching.
using Intervals = SmallVec<Interval, 4>;

Intervals normalized(Intervals v) {
   std::sort(v.begin(), v.end(), [](Interval a, Interval b) { return a.lo < b.lo; });
   Intervals out;
   for (Interval i : v) {
      if (!out.empty() && std::uint64_t(i.lo) <= std::uint64_t(out.back().hi) + 1) {
         out.back().hi = std::max(out.back().hi, i.hi);
      } else {
         out.push_back(i);
      }
   }
   return out;
}

Intervals intersection(Intervals const& a, Intervals const& b) {
   Intervals out;
   for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
      std::uint32_t const lo = std::max(a[i].lo, b[j].lo), hi = std::min(a[i].hi, b[j].hi);
      if (lo <= hi) out.push_back({lo, hi});
      (a[i].hi < b[j].hi ? i : j)++;
   }
   return out;
}

// The values 0 to max that one numeric pair accepts.
Intervals accepted(MatchOpValResult const& pair, std::uint32_t max) {
   std::uint32_t const v = pair.val32();
   Intervals out;
   if (pair.lt() && v > 0) out.push_back({0, std::min(v - 1, max)});
   if (pair.eq() && v <= max) out.push_back({v, v});
   if (pair.gt() && v < max) out.push_back({v + 1, max});
   return normalized(out);
}

Intervals accepted(OpList const& list, std::uint32_t max) {
   Intervals any;
   forEachAndGroup(list, [&](MatchOpValResult const* p, MatchOpValResult const* end) {
      Intervals all = accepted(*p, max);
      while (++p != end && !all.empty())
         all = intersection(all, accepted(*p, max));
      any.append(all.begin(), all.end());
   });
   return normalized(any);
}

MatchComponent numericComponent(T kind, OpLists const& lists) {
   std::uint32_t const max = NumericalRange::matchCompTypeMax(kind);
   Intervals values = accepted(lists[0], max);
   for (std::size_t i = 1; i < lists.size(); ++i)
      values = intersection(values, accepted(lists[i], max));
   MatchComponent c(kind);
   for (Interval i : values)
      c.numericalRangeIs(NumericalRange(i.lo, i.hi), true);
   return c;
}

// ---- bit-mask kinds ---------------------------------------------------------
//
// What a bit-mask pair accepts is worked out exactly, as the set of flag
// words (9 TCP bits, 4 fragment bits: at most 512 words) that it lets
// through; masks are then chosen to express that set.

constexpr std::size_t maxWords = 1u << (TcpBitMask::lastBit + 1);
using Words = std::bitset<maxWords>;

struct Mask {
   bool all;
   std::uint16_t val, mask;
};

// The flag words a mask lets through: all examined bits equal to val, or any
// one of them.
bool lets(Mask m, std::uint32_t word) {
   std::uint32_t const same = ~(word ^ m.val) & m.mask;
   return m.all ? same == m.mask : same != 0;
}

template <class BitMaskT>
struct Vocabulary {
   static constexpr unsigned bits = BitMaskT::lastBit + 1;
   static constexpr std::uint32_t words = 1u << bits;

   // The words a packet can carry. Fragment states follow IpBitMask::isValid:
   // a packet that is no fragment is neither first nor last fragment, and no
   // fragment is both.
   static Words possibleWords() {
      Words w;
      for (std::uint32_t word = 0; word < words; ++word) {
         if constexpr (std::is_same_v<BitMaskT, IpBitMask>) {
            auto bit = [word](IpBitMask::IpBit b) { return word >> unsigned(b) & 1U; };
            bool const first = bit(IpBitMask::IpBit::firstFragment);
            bool const last = bit(IpBitMask::IpBit::lastFragment);
            if ((first && last) || (!bit(IpBitMask::IpBit::isFragment) && (first || last)))
               continue;
         }
         w.set(word);
      }
      return w;
   }

   static Words letThrough(Mask m, Words const& possible) {
      Words w;
      for (std::uint32_t word = 0; word < words; ++word) {
         if (possible[word] && lets(m, word)) w.set(word);
      }
      return w;
   }

   // What one pair accepts, straight from the RFC 8955 bitmask operator:
   // match: (data & operand) == operand, else (data & operand) != 0; not
   // negates. Operand bits outside the vocabulary are never set in data.
   static Words accepted(MatchOpValResult const& pair, Words const& possible) {
      std::uint32_t const operand = pair.val32();
      Words w;
      for (std::uint32_t word = 0; word < words; ++word) {
         bool const test = pair.match() ? (word & operand) == operand : (word & operand) != 0;
         if (possible[word] && test != pair.invert()) w.set(word);
      }
      return w;
   }

   // The one mask of a pair alone in its AND-group, as the detailed text
   // prints it (val 0 when negated) but for matchAll: negating a test of two
   // or more bits turns "all set" into "any clear" and "any set" into "all
   // clear". Bits outside the vocabulary are left out; where they decide the
   // pair, what it accepts (not the mask) says so.
   static Mask maskOf(MatchOpValResult const& pair) {
      auto const bitsOfOperand =
          static_cast<std::uint16_t>(pair.val32() & BitMaskT::maskForAllBits);
      bool const several = (bitsOfOperand & (bitsOfOperand - 1)) != 0;
      bool const all = pair.invert() && several ? !pair.match() : pair.match();
      return {all, pair.invert() ? std::uint16_t(0) : bitsOfOperand, bitsOfOperand};
   }

   // A mask and its val (val within the mask) as one number of base 3, a
   // digit per bit: 0 the bit is not examined, 1 examined and clear, 2
   // examined and set. That numbers the 3^bits masks densely: ternary(mask)
   // + ternary(val), ternary(x) being x's bits read as base-3 digits.
   static constexpr std::uint32_t masks = [] {
      std::uint32_t n = 1;
      for (unsigned i = 0; i < bits; ++i)
         n *= 3;
      return n;
   }();
   static constexpr std::array<std::uint16_t, words> ternary = [] {
      std::array<std::uint16_t, words> t{};
      for (std::uint32_t x = 0; x < words; ++x) {
         std::uint32_t digit = 1;
         for (unsigned i = 0; i < bits; ++i, digit *= 3)
            if (x >> i & 1) t[x] = static_cast<std::uint16_t>(t[x] + digit);
      }
      return t;
   }();
   static std::uint32_t at(std::uint32_t mask, std::uint32_t val) noexcept {
      return ternary[mask] + ternary[val];
   }

   // largestAllMasks(wanted, possible()), remembered: rule sets repeat a few
   // flag combinations many times, and each costs 3^bits steps. At most
   // cacheSize sets per thread are kept; a full cache starts afresh.
   static constexpr std::size_t cacheSize = 256;
   static std::vector<Mask> const& largestAllMasks(Words const& wanted) {
      thread_local std::unordered_map<Words, std::vector<Mask>> cache;
      if (auto it = cache.find(wanted); it != cache.end()) return it->second;
      if (cache.size() >= cacheSize) cache.clear();
      return cache.emplace(wanted, largestAllMasks(wanted, possible())).first->second;
   }

   static Words const& possible() {
      static Words const words = possibleWords();
      return words;
   }

   // The largest all-masks that let through only words of `wanted` and at
   // least one possible word; together they let through all of `wanted`.
   // Only possible words are judged, which lets the masks grow past the
   // impossible ones.
   static std::vector<Mask> largestAllMasks(Words const& wanted, Words const& possible) {
      // inside: the mask lets through no unwanted word; reachable: it lets
      // through a possible word. A mask that examines every bit stands for
      // one word; freeing a bit b of a mask joins the two masks that examine
      // b, so masks are worked out from the most examined bits down (3^bits
      // steps, 2 x 3^9 bits on the stack for TCP).
      std::bitset<masks> inside, reachable;
      for (std::uint32_t val = 0; val < words; ++val) {
         inside[at(words - 1, val)] = !possible[val] || wanted[val];
         reachable[at(words - 1, val)] = possible[val];
      }
      for (std::uint32_t mask = words - 1; mask-- > 0;) {
         std::uint32_t const b = ~mask & (mask + 1); // lowest bit not examined
         for (std::uint32_t val = mask;; val = (val - 1) & mask) {
            std::uint32_t const clear = at(mask | b, val), set = at(mask | b, val | b);
            inside[at(mask, val)] = inside[clear] && inside[set];
            reachable[at(mask, val)] = reachable[clear] || reachable[set];
            if (val == 0) break;
         }
      }
      std::vector<Mask> out;
      for (std::uint32_t mask = 1; mask < words; ++mask) {
         for (std::uint32_t val = mask;; val = (val - 1) & mask) {
            std::uint32_t const here = at(mask, val);
            if (inside[here] && reachable[here]) {
               bool largest = true;
               for (std::uint32_t b = 1; b < words && largest; b <<= 1) {
                  if (mask & b) largest = !inside[at(mask & ~b, val & ~b)];
               }
               if (largest) {
                  out.push_back(
                      {true, static_cast<std::uint16_t>(val), static_cast<std::uint16_t>(mask)});
               }
            }
            if (val == 0) break;
         }
      }
      return out;
   }

   // A fragment any-mask that isValid refuses (it judges every mask as an
   // all-mask) is replaced by its one-bit all-masks.
   template <class Masks>
   static void addCandidate(Masks& candidates, Mask m) {
      BitMaskT checked(m.val, m.mask);
      checked.matchAllIs(m.all);
      if (m.all || m.mask == 0 || static_cast<bool>(checked.isValid())) {
         candidates.push_back(m);
         return;
      }
      for (std::uint16_t b = 1; b <= m.mask && b != 0; b = static_cast<std::uint16_t>(b << 1)) {
         if (m.mask & b) candidates.push_back({true, static_cast<std::uint16_t>(m.val & b), b});
      }
   }

   // The masks the component of `lists` holds, in the order they are held.
   static std::vector<Mask> heldMasks(OpLists const& lists) {
      Words const& possible = Vocabulary::possible();
      std::vector<Mask> candidates;
      Words wanted = possible;
      for (OpList const& list : lists) {
         Words ofList, ofGroups;
         forEachAndGroup(list, [&](MatchOpValResult const* p, MatchOpValResult const* end) {
            Words group = accepted(*p, possible);
            if (end - p == 1) {
               // The pair's own mask, unless the pair is decided by bits it
               // cannot show (no bit of the vocabulary, or one outside it).
               SmallVec<Mask, 9> own;
               addCandidate(own, maskOf(*p));
               Words shown;
               for (Mask m : own)
                  shown |= letThrough(m, possible);
               if (shown == group) {
                  candidates.insert(candidates.end(), own.begin(), own.end());
               } else {
                  ofGroups |= group;
               }
            } else {
               while (++p != end)
                  group &= accepted(*p, possible);
               ofGroups |= group;
            }
            ofList |= group;
         });
         if (lists.size() == 1 && ofGroups.any()) {
            for (Mask m : largestAllMasks(ofGroups))
               candidates.push_back(m);
         }
         wanted &= ofList;
      }

      std::vector<Mask> held;
      if (wanted.none()) return held;
      if (wanted == possible) return {{true, 1, 1}, {true, 0, 1}};
      if (lists.size() > 1) candidates = largestAllMasks(wanted);

      // Keep a mask unless another lets through all it does (and more, or the
      // same but comes first).
      std::vector<Words> through;
      for (Mask m : candidates)
         through.push_back(letThrough(m, possible));
      for (std::size_t i = 0; i < candidates.size(); ++i) {
         bool keep = through[i].any();
         for (std::size_t j = 0; j < candidates.size() && keep; ++j) {
            if (j == i || (through[i] & ~through[j]).any()) continue;
            keep = through[i] != through[j] ? false : i < j;
         }
         if (keep) held.push_back(candidates[i]);
      }
      return held;
   }

   // The component of `lists`. Rule sets repeat a few flag lists many times:
   // the masks of the last cacheSize lists met on this thread are
   // remembered, keyed by every pair's operator and operand and where each
   // list ends.
   static MatchComponent component(T kind, OpLists const& lists) {
      // The key of the cache: each pair's operator and operand, and ~0 (no
      // operator byte is that wide) where each list ends, in a buffer kept
      // per thread so that a hit allocates nothing.
      thread_local std::u32string key;
      key.clear();
      for (OpList const& list : lists) {
         for (MatchOpValResult const& pair : list) {
            key.push_back(pair.op());
            key.push_back(pair.val32());
         }
         key.push_back(~char32_t(0));
      }
      thread_local std::unordered_map<std::u32string, std::vector<Mask>> cache;
      auto it = cache.find(key);
      if (it == cache.end()) {
         if (cache.size() >= cacheSize) cache.clear();
         it = cache.emplace(key, heldMasks(lists)).first;
      }
      MatchComponent c(kind);
      for (Mask m : it->second) {
         BitMaskT held(m.val, m.mask);
         held.matchAllIs(m.all);
         if constexpr (std::is_same_v<BitMaskT, TcpBitMask>) {
            c.tcpBitMaskIs(held, true);
         } else {
            c.ipBitMaskIs(held, true);
         }
      }
      return c;
   }
};

} // namespace

std::vector<MatchComponent> matchSetFromKey(FlowspecKey const& key) {
   KeyPairs const pairs(key);
   std::vector<MatchComponent> set;
   set.reserve(2 + pairs.kinds.count());
   if (!key.destPrefix().isEmpty()) {
      set.emplace_back(T::destPrefix);
      set.back().prefixIs(key.destPrefix());
   }
   if (!key.srcPrefix().isEmpty()) {
      set.emplace_back(T::srcPrefix);
      set.back().prefixIs(key.srcPrefix());
   }
   for (std::uint32_t k = 0; k < numComponentTypes; ++k) {
      if (!pairs.kinds[k]) continue;
      T const kind = static_cast<T>(k);
      OpLists const lists = pairs.listsOf(kind);
      if (kind == T::tcpFlags) {
         set.push_back(Vocabulary<TcpBitMask>::component(kind, lists));
      } else if (kind == T::fragment) {
         set.push_back(Vocabulary<IpBitMask>::component(kind, lists));
      } else {
         set.push_back(numericComponent(kind, lists));
      }
   }
   return set;
}

} // namespace Flowspec
