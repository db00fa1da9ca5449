// Bytes as text.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quon::test {

using Bytes = std::vector<std::uint8_t>;

// "0A ff10" -> {0x0a, 0xff, 0x10}; blanks are ignored, anything else that is not a pair of hex
// digits throws std::invalid_argument.
Bytes from_hex(std::string_view text);

// {0x0a, 0xff} -> "0a ff".
std::string to_hex(std::span<const std::uint8_t> bytes);

// The bytes of a text, without a closing zero.
Bytes bytes_of(std::string_view text);

}  // namespace quon::test
