// Byte strings, and the integers within them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quon::sim {

using bytes = std::vector<uint8_t>;
using bytes_view = std::span<const uint8_t>;

inline uint32_t get_le(bytes_view from, size_t offset, size_t size) {
    uint32_t value = 0;
    for (size_t i = size; i-- > 0;) {
        value = (value << 8) | from[offset + i];
    }
    return value;
}

inline void put_le(std::span<uint8_t> into, size_t offset, size_t size, uint32_t value) {
    for (size_t i = 0; i < size; i++) {
        into[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

}  // namespace quon::sim
