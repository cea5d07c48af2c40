// tools/flowspec/Hex.h: bytes as hex text and back, as the wire commands
// take and print them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace FlowspecTool {

/// "0901080a": two lower-case digits a byte, nothing between.
std::string hexText(std::span<std::uint8_t const> bytes);

/// The bytes of a hex text: digits of either case, with blanks, line breaks,
/// colons and a "0x" before a byte skipped. Nothing for any other character
/// or an odd count of digits; an empty vector for a text without digits.
std::optional<std::vector<std::uint8_t>> parseHex(std::string_view text);

} // namespace FlowspecTool
