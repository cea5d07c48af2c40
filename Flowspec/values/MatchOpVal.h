// Flowspec/values/MatchOpVal.h: one flowspec operator-value pair, as a rule
// key stores it (MatchOpVal) and as the key's reader hands it back
// (MatchOpValResult).
//
// RFC 8955 section 4.2.1 gives each numeric or bitmask match an operator
// byte and a 1-, 2-, 4- or 8-byte value. A MatchOpVal packs the operator
// byte, a 16-bit value and the component type into one 32-bit word:
//
//    31          24 23 22 21 20 19 18 17 16 15                            0
//   +--------------+--+--+-----+--+--+--+--+-------------------------------+
//   |  matchType   |e |a | len |0 |lt|gt|eq|              val              |
//   +--------------+--+--+-----+--+--+--+--+-------------------------------+
//                   |  |                ^  ^ eq (numeric) is match (bitmask)
//                   |  |                gt (numeric) is invert (bitmask: not)
//                   |  andPrevious: AND with the previous pair (clear: OR)
//                   endOfList: last pair of its component
//
// Bits 16-23 are the operator byte `op` (bit 16 is its bit 0); bit 19 is
// reserved and always 0; the value's length is 1 << len bytes. `val` holds
// 16 bits whatever `len` says: a key stores a 4-byte value as two pairs, and
// only MatchOpValResult carries a 32-bit operand.
//
// Every setter replaces only its own bits. Two names share a bit: invertIs
// and gtIs write bit 17, matchIs and eqIs bit 16.
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Flowspec/values/MatchCompType.h"
#include "Flowspec/values/MatchOpValIndex.h"
#include "Vex/String.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <tuple>

namespace Vex {
class VexType;
}

namespace Flowspec {

/// The named bits of an operator byte, for any type with op() and opIs().
template <class Derived>
class OperatorBits {
 public:
   static constexpr std::uint8_t eqBit = 0x01;
   static constexpr std::uint8_t gtBit = 0x02;
   static constexpr std::uint8_t ltBit = 0x04;
   static constexpr std::uint8_t lenMask = 0x30;
   static constexpr unsigned lenShift = 4;
   static constexpr std::uint8_t andPreviousBit = 0x40;
   static constexpr std::uint8_t endOfListBit = 0x80;

   constexpr bool endOfList() const noexcept { return opBit(endOfListBit); }
   constexpr bool andPrevious() const noexcept { return opBit(andPreviousBit); }
   constexpr std::uint8_t len() const noexcept { return (self().op() & lenMask) >> lenShift; }
   constexpr bool lt() const noexcept { return opBit(ltBit); }
   constexpr bool gt() const noexcept { return opBit(gtBit); }
   constexpr bool eq() const noexcept { return opBit(eqBit); }
   constexpr bool invert() const noexcept { return opBit(gtBit); }
   constexpr bool match() const noexcept { return opBit(eqBit); }
   /// The value's length in bytes: 1, 2, 4 or 8.
   constexpr std::uint32_t byteLength() const noexcept { return 1U << len(); }

   constexpr void endOfListIs(bool on) noexcept { opBitIs(endOfListBit, on); }
   constexpr void andPreviousIs(bool on) noexcept { opBitIs(andPreviousBit, on); }
   /// The operator bits of the length `len` (the value is 1 << len bytes):
   /// lenBits(1) for a 2-byte value, lenBits(2) for a 4-byte one.
   static constexpr std::uint8_t lenBits(unsigned len) noexcept {
      return static_cast<std::uint8_t>(len << lenShift & lenMask);
   }
   /// Stores the low two bits of `v`.
   constexpr void lenIs(std::uint8_t v) noexcept {
      self().opIs(static_cast<std::uint8_t>((self().op() & ~lenMask) | lenBits(v)));
   }
   constexpr void ltIs(bool on) noexcept { opBitIs(ltBit, on); }
   constexpr void gtIs(bool on) noexcept { opBitIs(gtBit, on); }
   constexpr void eqIs(bool on) noexcept { opBitIs(eqBit, on); }
   constexpr void invertIs(bool on) noexcept { opBitIs(gtBit, on); }
   constexpr void matchIs(bool on) noexcept { opBitIs(eqBit, on); }

 private:
   constexpr Derived const& self() const noexcept { return static_cast<Derived const&>(*this); }
   constexpr Derived& self() noexcept { return static_cast<Derived&>(*this); }
   constexpr bool opBit(std::uint8_t bit) const noexcept { return (self().op() & bit) != 0; }
   constexpr void opBitIs(std::uint8_t bit, bool on) noexcept {
      std::uint8_t op = self().op();
      self().opIs(static_cast<std::uint8_t>(on ? op | bit : op & ~bit));
   }
};

class MatchOpVal : public OperatorBits<MatchOpVal> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr char vexTypeName[] = "Flowspec::MatchOpVal";
   static constexpr auto vexFields() {
      return std::tuple{Vex::valueField("storage", &MatchOpVal::storage, &MatchOpVal::storageIs)};
   }

   constexpr MatchOpVal() noexcept = default;
   constexpr explicit MatchOpVal(std::uint32_t storage) noexcept : storage_(storage) {}
   /// Read the value text (the single field 'storage') or the log (u32).
   MatchOpVal(Vex::TextIter& pos, Vex::TextIter end)
       : MatchOpVal(Vex::fieldsFromStrep<MatchOpVal>(pos, end)) {}
   MatchOpVal(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : MatchOpVal(Vex::fieldsFromLog<MatchOpVal>(*in)) {}

   constexpr std::uint32_t storage() const noexcept { return storage_; }
   constexpr void storageIs(std::uint32_t v) noexcept { storage_ = v; }
   constexpr MatchCompType matchType() const noexcept {
      return static_cast<MatchCompType>(storage_ >> 24);
   }
   /// Stores the low 8 bits of the type's number in bits 24-31.
   constexpr void matchTypeIs(MatchCompType t) noexcept {
      storage_ = (storage_ & 0x00ffffffU) | (static_cast<std::uint32_t>(t) & 0xff) << 24;
   }
   constexpr std::uint8_t op() const noexcept { return static_cast<std::uint8_t>(storage_ >> 16); }
   constexpr void opIs(std::uint8_t op) noexcept {
      storage_ = (storage_ & 0xff00ffffU) | std::uint32_t(op) << 16;
   }
   constexpr std::uint16_t val() const noexcept { return static_cast<std::uint16_t>(storage_); }
   constexpr void valIs(std::uint16_t v) noexcept { storage_ = (storage_ & 0xffff0000U) | v; }

   /// "<matchType=<kind>;andPrevious=<0|1>;lt=..;gt=..;eq=..;invert=..;match=..;
   /// byteLength=<n>;val=0x<hex>>", every bit as 0 or 1, hex in lower case.
   Vex::String toStrep() const;

   /// The two words are equal.
   friend constexpr bool operator==(MatchOpVal a, MatchOpVal b) noexcept {
      return a.storage_ == b.storage_;
   }

 private:
   std::uint32_t storage_ = 0;
};

class MatchOpValResult : public OperatorBits<MatchOpValResult> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr char vexTypeName[] = "Flowspec::MatchOpValResult";
   static constexpr auto vexFields() {
      using R = MatchOpValResult;
      return std::tuple{Vex::valueField("matchType", &R::matchType, &R::matchTypeIs),
                        Vex::valueField("op", &R::op, &R::opIs),
                        Vex::valueField("val32", &R::val32, &R::val32Is),
                        Vex::valueField("nextIndex", &R::nextIndex, &R::nextIndexIs)};
   }
   constexpr MatchOpValResult() noexcept = default;
   constexpr MatchOpValResult(MatchCompType matchType, std::uint8_t op, std::uint32_t val32,
                              MatchOpValIndex nextIndex) noexcept
       : matchType_(matchType), op_(op), val32_(val32), nextIndex_(nextIndex) {}
   /// Read the value text (matchType, op, val32, nextIndex) or the log (s32
   /// matchType, u8 op, u32 val32, u16 nextIndex). A nextIndex above 2047
   /// raises Vex::RangeException.
   MatchOpValResult(Vex::TextIter& pos, Vex::TextIter end)
       : MatchOpValResult(Vex::fieldsFromStrep<MatchOpValResult>(pos, end)) {}
   MatchOpValResult(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : MatchOpValResult(Vex::fieldsFromLog<MatchOpValResult>(*in)) {}

   constexpr MatchCompType matchType() const noexcept { return matchType_; }
   constexpr void matchTypeIs(MatchCompType t) noexcept { matchType_ = t; }
   constexpr std::uint8_t op() const noexcept { return op_; }
   constexpr void opIs(std::uint8_t op) noexcept { op_ = op; }
   constexpr std::uint32_t val32() const noexcept { return val32_; }
   constexpr void val32Is(std::uint32_t v) noexcept { val32_ = v; }
   constexpr MatchOpValIndex nextIndex() const noexcept { return nextIndex_; }
   constexpr void nextIndexIs(MatchOpValIndex i) noexcept { nextIndex_ = i; }

   /// Like MatchOpVal::toStrep up to ";match=", then ";nextIndex=<n>" and
   /// ";val32=0x<hex>" and ">"; no byte length.
   Vex::String toStrep() const;
   /// The pair in the command-line grammar: a first pair opens its component
   /// with ";<short label>:", a later one joins with "&" (andPrevious) or "|";
   /// then "<" and ">" (numeric kinds) or "!" (bit-field kinds, invert), "="
   /// (eq/match), and val32 with the stream's formatting.
   void formatForCli(std::ostream& out, bool first) const;
   /// formatForCli appended to `out`, the operand in decimal: the fast path
   /// of FlowspecKey::toStrepCli.
   void appendForCli(std::string& out, bool first) const;
   /// The pair for people: ";<detail label> : " or " & " / " | ", then "ALL"
   /// or "ANY" (bit-field kinds, by match) or "<", ">", "=" (numeric kinds),
   /// then the operand: "(<mask's toStrepCli>)" for tcpFlags and fragment
   /// (val 0 when inverted, else val32; mask val32), else val32 in decimal.
   void formatForCliDetail(std::ostream& out, bool first) const;

   /// matchType, op, val32 and nextIndex all equal.
   friend constexpr bool operator==(MatchOpValResult const& a, MatchOpValResult const& b) noexcept {
      return a.matchType_ == b.matchType_ && a.op_ == b.op_ && a.val32_ == b.val32_ &&
             a.nextIndex_ == b.nextIndex_;
   }

 private:
   // Writes what formatForCli writes before the operand at `p`, at most
   // cliOperatorsMax characters (MatchOpVal.cpp), and returns their end.
   char* writeCliOperators(char* p, bool first) const;

   MatchCompType matchType_ = MatchCompType::invalid;
   std::uint8_t op_ = 0;
   std::uint32_t val32_ = 0;
   MatchOpValIndex nextIndex_;
};

} // namespace Flowspec
