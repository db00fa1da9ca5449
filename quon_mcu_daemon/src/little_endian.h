// Little-endian integers in byte images, which need no alignment.
#ifndef LITTLE_ENDIAN_H
#define LITTLE_ENDIAN_H

#include <stdint.h>

inline uint16_t load_le16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

inline uint32_t load_le32(const uint8_t* bytes) {
    return static_cast<uint32_t>(load_le16(bytes)) | static_cast<uint32_t>(load_le16(bytes + 2))
                                                         << 16;
}

inline void store_le32(uint8_t* bytes, uint32_t value) {
    for (int i = 0; i < 4; i++) {
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

#endif
