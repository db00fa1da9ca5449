// Texts that become bytes, numbers and durations.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace quon::client {

using octets = std::vector<uint8_t>;

// Pairs of hexadecimal digits; blanks, colons and a leading "0x" are skipped. Throws failure
// (usage).
octets parse_hex(std::string_view text);

// "1500", "1500ms" or "1.5s", in milliseconds, 0 to 2147483647. Throws failure (usage).
int32_t parse_duration(std::string_view text);

// Decimal, or hexadecimal after "0x"; `least` to `most`. Throws failure (usage).
int64_t parse_number(std::string_view text, int64_t least, int64_t most);

// The same; the failure names what the number was for.
int64_t parse_number(std::string_view name, std::string_view text, int64_t least, int64_t most);

}  // namespace quon::client
