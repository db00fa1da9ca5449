// Loads and stores little-endian integers in byte buffers of any alignment.
#ifndef QUON_LITTLE_ENDIAN_H
#define QUON_LITTLE_ENDIAN_H

#include <stddef.h>
#include <stdint.h>

// Reads a number of `size` bytes, 0 to 4.
static inline uint32_t quon_load_le(const uint8_t* bytes, size_t size) {
    uint32_t value = 0;
    for (size_t i = size; i > 0; i--) {
        value = value << 8 | bytes[i - 1];
    }
    return value;
}

// Writes the lowest `size` bytes of `value`; any bytes after the fourth are set to 0.
static inline void quon_store_le(uint8_t* bytes, size_t size, uint32_t value) {
    for (size_t i = 0; i < size; i++) {
        bytes[i] = (uint8_t)value;
        value >>= 8;
    }
}

static inline uint16_t quon_load_le16(const uint8_t* bytes) {
    return (uint16_t)quon_load_le(bytes, 2);
}

static inline uint32_t quon_load_le32(const uint8_t* bytes) {
    return quon_load_le(bytes, 4);
}

static inline void quon_store_le32(uint8_t* bytes, uint32_t value) {
    quon_store_le(bytes, 4, value);
}

#endif
