// Checks shared by the Ipkit value tests: log round trips and truncation,
// value text round trips, and the order/equality/hash contract.
#pragma once

#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace IpkitTest {

using Bytes = std::vector<unsigned char>;

template <class T>
Bytes logBytes(T const& v) {
   auto out = Vex::NboAttrLog::Out::OutIs();
   out << v;
   return out->bytes();
}

/// Reads one T that must take exactly `bytes`.
template <class T>
T readLog(Bytes const& bytes) {
   Vex::NboAttrLog::In in(bytes.data(), bytes.size());
   T v = Vex::nboRead<T>(in);
   EXPECT_TRUE(in.atEnd()) << in.remaining() << " bytes left unread";
   return v;
}

/// Writing `v` gives exactly `expected`, which reads back as `v`, and every
/// proper prefix of it raises. Each prefix is copied to a buffer of its own
/// size, so that a read beyond it is caught by the address sanitizer.
template <class T>
void expectLogForm(T const& v, Bytes const& expected) {
   Bytes const bytes = logBytes(v);
   EXPECT_EQ(bytes, expected) << v;
   EXPECT_EQ(readLog<T>(bytes), v);
   for (std::size_t n = 0; n < bytes.size(); ++n) {
      Bytes const prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
      Vex::NboAttrLog::In in(prefix.data(), prefix.size());
      EXPECT_THROW(Vex::nboRead<T>(in), Vex::Exception) << v << ", first " << n << " bytes";
   }
}

/// The value text of `v` is exactly `text`, and reads back as `v`.
template <class T>
void expectValueText(T const& v, char const* text) {
   EXPECT_EQ(valueToStrep(v), text);
   T back;
   Vex::strepToValue(Vex::String(text), back);
   EXPECT_EQ(back, v) << text;
}

/// Reading the value text `text` raises Vex::Exception and leaves the value
/// as it was.
template <class T>
void expectValueTextRefused(char const* text, T const& before) {
   T v = before;
   EXPECT_THROW(Vex::strepToValue(Vex::String(text), v), Vex::Exception) << text;
   EXPECT_EQ(v, before) << text;
}

/// `ascending` holds distinct values in increasing order: < and == agree with
/// their positions, and equal copies hash equally.
template <class T>
void expectStrictOrder(std::vector<T> const& ascending) {
   for (std::size_t i = 0; i < ascending.size(); ++i) {
      T const copy = ascending[i];
      EXPECT_EQ(copy.hash(), ascending[i].hash()) << copy;
      for (std::size_t j = 0; j < ascending.size(); ++j) {
         EXPECT_EQ(ascending[i] < ascending[j], i < j) << ascending[i] << " vs " << ascending[j];
         EXPECT_EQ(ascending[i] == ascending[j], i == j) << ascending[i] << " vs " << ascending[j];
      }
   }
}

/// Runs `make` and returns the message of the Vex::Exception it raises (or
/// fails the test and returns "" when it raises none).
template <class F>
std::string messageOf(F&& make) {
   try {
      make();
   } catch (Vex::Exception const& e) {
      return e.message().str();
   }
   ADD_FAILURE() << "no Vex::Exception raised";
   return "";
}

} // namespace IpkitTest
