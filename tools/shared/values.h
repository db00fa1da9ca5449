// Converts texts to bytes, numbers, times and addresses, the same in all tools. Each function
// throws failure (usage) with a text that quotes its argument.
#pragma once

#include <string_view>

#include "shared/bytes.h"

namespace quon {

// Pairs of hexadecimal digits; blanks, colons and a leading "0x" are skipped.
byte_list parse_hex(std::string_view text);

// "1500", "1500ms" or "1.5s", in milliseconds, 0 to 2147483647.
int32_t parse_duration(std::string_view text);

// Decimal, or hexadecimal after "0x"; `least` to `most`.
int64_t parse_number(std::string_view text, int64_t least, int64_t most);

// The same; the failure names the number's purpose.
int64_t parse_number(std::string_view name, std::string_view text, int64_t least, int64_t most);

// "192.168.1.1", first byte first.
byte_list parse_ipv4(std::string_view text);

// "02:00:00:00:00:01": six times two digits.
byte_list parse_mac(std::string_view text);

}  // namespace quon
