// Byte strings, and little-endian integers in them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "quon_little_endian.h"

namespace quon {

using byte_list = std::vector<uint8_t>;
using byte_view = std::span<const uint8_t>;

// `size` is 0 to 4, and the bytes are within `from`.
inline uint32_t get_le(byte_view from, size_t offset, size_t size) {
    return quon_load_le(from.subspan(offset, size).data(), size);
}

inline void put_le(std::span<uint8_t> into, size_t offset, size_t size, uint32_t value) {
    quon_store_le(into.subspan(offset, size).data(), size, value);
}

}  // namespace quon
