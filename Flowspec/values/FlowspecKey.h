// Flowspec/values/FlowspecKey.h: the identity of one flowspec rule.
//
// A key holds the VRF and address family the rule lives in, its destination
// and source prefixes (the empty prefix matches any address), and every
// other match as an ordered sequence of operator-value pairs (MatchOpVal),
// indexed from 0 by MatchOpValIndex.
//
//   | field         | type                  | default                  |
//   |---------------|-----------------------|--------------------------|
//   | vrfId         | Vrf::VrfIdMap::VrfId  | 0x00FFFFFF (no VRF)      |
//   | addressFamily | Ipkit::AddressFamily  | 0 (unset)                |
//   | destPrefix    | Ipkit::IpGenPrefix    | empty                    |
//   | srcPrefix     | Ipkit::IpGenPrefix    | empty                    |
//   | matchOpVal    | index -> MatchOpVal   | empty                    |
//
// The pairs live in one block, sorted by index, 8 bytes a pair. Copies of a
// key share the block (a reference count, no allocation); the first change
// made through one copy gives that copy a block of its own (copy on write),
// so a copy never sees another's changes. A key without pairs holds no block.
// The block's count is atomic: threads may copy one const key at once.
//
// Writers keep the pairs dense (indices 0 to count - 1), the pairs of one
// component consecutive with endOfList on the last, and a value wider than
// 16 bits in two consecutive pairs (high half first) with the same type and
// operator byte.
//
// Keys order rule collections by operator< and hash counter collections by
// hash(); both walk the pairs in place and allocate nothing.
//
// Text forms:
//
//   | form              | operation          | read back by       | example (VRF 0, IPv4)                 |
//   |-------------------|--------------------|--------------------|---------------------------------------|
//   | raw               | toStrep()          | copyInStr          | "0;ipv4;10.1.0.0/16;;58785798;"       |
//   | value text        | valueToStrep(key)  | strepToValue       | the raw form and "@"                  |
//   | command line      | toStrepCli()       | copyInStrCli       | "10.1.0.0/16;*;IP:=6;"                |
//   | full string value | stringValue(), <<  | copyInStringValue  | "0;ipv4;10.1.0.0/16;*;IP:=6;"         |
//   | detailed          | toStrepCliDetail() | (none)             | "Destination Prefix : 10.1.0.0/16;..." |
#pragma once

#include "Flowspec/values/MatchCompType.h"
#include "Flowspec/values/MatchOpVal.h"
#include "Flowspec/values/MatchOpValIndex.h"
#include "Ipkit/AddressFamily.h"
#include "Ipkit/IpGenPrefix.h"
#include "Vex/AllocTrack.h"
#include "Vex/Ptr.h"
#include "Vex/String.h"
#include "Vex/ValueText.h"
#include "Vrf/VrfIdMap.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Flowspec {

class FlowspecKey {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   static constexpr char vexTypeName[] = "Flowspec::FlowspecKey";

   /// The shared, reference-counted block of a key's pairs: a count, the
   /// number of pairs and the room for them, then each pair as one 64-bit
   /// word, index << 32 | MatchOpVal::storage(), in index order (so that
   /// comparing words compares index, then pair). Every block is recorded
   /// against vexAllocTrackTypeInfo_ (Vex/AllocTrack.h).
   class PairBlock;
   static Vex::AllocTrackSlot pairBlockAllocTrack_;

   /// Walks the pairs in index order: key() the index, value() the pair.
   /// It survives changes of its key: after a pair was added or removed, ++
   /// goes on from the first pair whose index is above the current one, so
   /// deleting the pair it stands on, or any other, is safe. The key must
   /// outlive it.
   class MatchOpValIterator {
    public:
      MatchOpValIterator() noexcept = default;
      explicit operator bool() const noexcept { return key_ != nullptr; }
      MatchOpValIndex key() const noexcept { return MatchOpValIndex(index_); }
      /// The pair at key() now, or the pair as it was when the iterator
      /// came to it if it has been deleted since.
      MatchOpVal value() const noexcept;
      MatchOpValIterator& operator++() noexcept;
      /// i->value() and i->fwkKey(), as on the node of a framework map.
      MatchOpValIterator const* operator->() const noexcept { return this; }
      MatchOpValIndex fwkKey() const noexcept { return key(); }

    private:
      friend class FlowspecKey;
      void settle(std::size_t pos) noexcept;
      FlowspecKey const* key_ = nullptr; ///< null at the end
      std::size_t pos_ = 0;
      std::uint16_t index_ = 0;
      MatchOpVal pair_;
   };

   /// The iterator's name from when the pairs lived in a map.
   struct MatchOpValMap {
      using Iterator = MatchOpValIterator;
   };

   /// Separates the components of the text forms.
   static constexpr char compSeparator() noexcept { return ';'; }
   /// Ends the value text.
   static constexpr char compEnd() noexcept { return '@'; }

   FlowspecKey() = default;
   /// Copies every field and shares the pairs (no allocation).
   FlowspecKey(FlowspecKey const& o) noexcept;
   FlowspecKey(FlowspecKey&& o) noexcept;
   FlowspecKey& operator=(FlowspecKey const& o) noexcept;
   FlowspecKey& operator=(FlowspecKey&& o) noexcept;
   ~FlowspecKey();
   /// Reads the value text (the raw form and its "@"), like sequenceToValue.
   FlowspecKey(Vex::TextIter& pos, Vex::TextIter end);
   /// Reads the log: u32 vrfId, s32 addressFamily, the two prefixes, then
   /// per pair its u16 index and u32 word, closed by the index 2047. An index
   /// above 2047 raises Vex::RangeException (MatchOpValIndex::rangeMessage).
   FlowspecKey(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   Vrf::VrfIdMap::VrfId vrfId() const noexcept { return vrfId_; }
   void vrfIdIs(Vrf::VrfIdMap::VrfId v) noexcept { vrfId_ = v; }
   Ipkit::AddressFamily addressFamily() const noexcept { return addressFamily_; }
   void addressFamilyIs(Ipkit::AddressFamily af) noexcept { addressFamily_ = af; }
   Ipkit::IpGenPrefix const& destPrefix() const noexcept { return destPrefix_; }
   void destPrefixIs(Ipkit::IpGenPrefix const& p) noexcept { destPrefix_ = p; }
   Ipkit::IpGenPrefix const& srcPrefix() const noexcept { return srcPrefix_; }
   void srcPrefixIs(Ipkit::IpGenPrefix const& p) noexcept { srcPrefix_ = p; }

   // ---- the pair map ----------------------------------------------------

   /// The pair at `index`, or a zero MatchOpVal when there is none.
   MatchOpVal matchOpVal(MatchOpValIndex index) const noexcept;
   bool matchOpValHas(MatchOpValIndex index) const noexcept;
   /// Inserts or overwrites the pair at `index`.
   void matchOpValIs(MatchOpValIndex index, MatchOpVal pair);
   /// Removes one pair; the others keep their indices.
   void matchOpValDel(MatchOpValIndex index);
   /// Removes the pair the iterator stands on (nothing at the end).
   void matchOpValDel(MatchOpValIterator& i);
   void matchOpValDelAll() noexcept;
   /// The number of pairs.
   std::size_t matchOpVals() const noexcept;
   /// Walks the pairs in index order (see MatchOpValIterator).
   MatchOpValIterator matchOpValIteratorConst() const noexcept;
   /// Whether this key and `other` share one block of pairs (for tests and
   /// benchmarks of the sharing); keys without pairs share nothing.
   bool matchOpValShared(FlowspecKey const& other) const noexcept {
      return pairs_ != nullptr && pairs_ == other.pairs_;
   }

   // ---- the pair sequence -----------------------------------------------

   /// Stores one pair of component `mtype` with operator byte `op` at
   /// `index` and returns the index after it. The byte length comes from the
   /// len bits of `op`: 1 or 2 bytes store the low 8 or 16 bits of `val` in
   /// one pair; 4 bytes store the high 16 bits at `index` and the low 16 at
   /// `index` + 1. An index past 2047 raises Vex::RangeException
   /// (MatchOpValIndex::rangeMessage) after what could be stored is stored.
   /// An 8-byte operator is a bug and aborts.
   MatchOpValIndex setOpVal(MatchOpValIndex index, MatchCompType mtype, std::uint8_t op,
                            std::uint32_t val);
   /// The pair that starts at `index`, a 4-byte value joined from its two
   /// halves, with nextIndex the index of the following pair. At or past the
   /// pair count: matchType 0, op 0, val32 0, nextIndex 2047, the end of the
   /// sequence. Raises Vex::RangeException when the following index would
   /// pass 2047; aborts on an 8-byte pair, and with "index < matchOpVals()"
   /// on a 4-byte pair whose low half lies past the count.
   MatchOpValResult getOptVal(MatchOpValIndex index) const;

   // ---- comparison --------------------------------------------------------

   /// Field-by-field equality: vrfId, addressFamily, the two prefixes, the
   /// pair count, then every pair's index and word.
   bool compare(FlowspecKey const& other) const;
   friend bool operator==(FlowspecKey const& a, FlowspecKey const& b) { return a.compare(b); }
   /// The order of rule collections, deciding at the first difference:
   /// vrfId (unsigned), addressFamily (signed), cmpPrefix of the destination
   /// and then the source prefixes, then the pairs side by side (the smaller
   /// index, then the smaller word, is less). When one key runs out of pairs
   /// first, the key with more pairs is less: longer keys sort first.
   bool operator<(FlowspecKey const& other) const;
   /// -1, 0 or +1: equal prefixes are 0; a specified prefix sorts before the
   /// empty one; otherwise by Ipkit::IpGenPrefix's order.
   static int cmpPrefix(Ipkit::IpGenPrefix const& a, Ipkit::IpGenPrefix const& b);
   /// Bob Jenkins' one-at-a-time hash over vrfId and addressFamily (4 bytes
   /// each, low byte first), a Thomas Wang mix of each prefix, and each
   /// pair's index (2 bytes) and word (4 bytes). Equal keys hash equally.
   std::uint32_t hash() const noexcept;
   /// Whether the key equals a default key.
   bool operator!() const { return compare(FlowspecKey()); }

   /// Copies the four fields, then replaces the pairs with `other`'s.
   void copyIn(FlowspecKey const& other);

   // ---- text forms ----------------------------------------------------------

   /// The raw form: vrfId (empty for the default), addressFamily (empty for
   /// 0), destPrefix and srcPrefix (empty when empty), then the word of every
   /// index from 0 to count - 1 in decimal (0 for an absent index), each
   /// followed by ";". A default key is ";;;;".
   Vex::String toStrep() const;
   /// The command-line form: the destination and source prefixes ("*" when
   /// empty), each followed by ";", the components in the grammar of
   /// MatchOpValResult::formatForCli (a new component starts where the type
   /// changes), and a final ";". For example
   /// "10.1.0.0/16;*;IP:=6;P:>=1000&<=2000|=80;".
   Vex::String toStrepCli() const;
   /// vrfId, ";", addressFamily (both always printed), ";", toStrepCli().
   Vex::String stringValue() const;
   /// The detailed form: "Destination Prefix : <prefix or *>;Source Prefix :
   /// <prefix or *>", the components by MatchOpValResult::formatForCliDetail,
   /// and a final ";".
   Vex::String toStrepCliDetail() const;

   // ---- parsers -------------------------------------------------------------

   /// Reads the command-line form into this key (not cleared first) and says
   /// whether the whole text was read. On failure writes one level-2 trace
   /// line on the "Flowspec" handle saying why, and leaves what was set
   /// before the failure in place. Numbers follow strtol's base 0 ("0x1f",
   /// "010" octal); the length bits follow the value (up to 255: 1 byte, up
   /// to 65535: 2 bytes, above: 4 bytes in two pairs); the last number of a
   /// component gets endOfList. Pairs are written densely from index 0.
   /// Text from outside is better read with parseKeyCli (FlowspecKeyParse.h),
   /// which is strict and returns its error with a column.
   bool copyInStrCli(Vex::String const& text);
   /// Reads the full string value. It is meant for text this library wrote:
   /// a missing field, an address family other than "ipv4" or "ipv6", or a
   /// command-line part that does not parse aborts the process; a VRF field
   /// that is not a number raises std::invalid_argument or std::out_of_range.
   void copyInStringValue(Vex::String const& text);
   /// Reads the raw form (see sequenceToValue) and copies it in; on an
   /// exception this key is unchanged.
   void copyInStr(Vex::String const& text);

 private:
   Vrf::VrfIdMap::VrfId vrfId_ = Vrf::VrfIdMap::noVrfId;
   Ipkit::AddressFamily addressFamily_ = Ipkit::ipunknown;
   Ipkit::IpGenPrefix destPrefix_;
   Ipkit::IpGenPrefix srcPrefix_;
   PairBlock* pairs_ = nullptr; ///< one reference; null when there are no pairs

   std::uint64_t const* pairsBegin() const noexcept;
   std::uint64_t const* pairsEnd() const noexcept;
   /// The position of the first pair whose index is not below `index`.
   std::size_t lowerBound(std::uint32_t index) const noexcept;
   /// The block, made this key's own (copied when shared), with room for
   /// `room` more pairs.
   PairBlock& ownPairs(std::size_t room);
};

/// Writes stringValue().
std::ostream& operator<<(std::ostream& os, FlowspecKey const& key);
/// Writes the log encoding; a pair at index 2047, which the reader would
/// take for the end, aborts (see Flowspec/framework/LogSequence.h).
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 FlowspecKey const& key);

/// The key's value text: its raw form followed by "@".
Vex::String valueToStrep(FlowspecKey const& key);
/// Reads the raw form from `pos` into `key`, starting from a default key:
/// fields end at ';' (or at the end of the text), the whole value at "@",
/// which is consumed. Field 0 is vrfId (strtol, base 10), field 1 "ipv4" or
/// "ipv6" (any other non-empty text aborts), fields 2 and 3 the prefixes
/// (a bad prefix raises Vex::Exception), and each later field the word of
/// the next pair (strtol, base 10). An empty field leaves its member at the
/// default. A 2048th pair (index 2047) raises Vex::RangeException.
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, FlowspecKey& key);

} // namespace Flowspec

template <>
struct std::hash<Flowspec::FlowspecKey> {
   std::size_t operator()(Flowspec::FlowspecKey const& k) const noexcept { return k.hash(); }
};
