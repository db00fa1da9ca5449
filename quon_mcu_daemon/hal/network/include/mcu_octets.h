// Addresses as octets.
#ifndef MCU_OCTETS_H
#define MCU_OCTETS_H

#include <stddef.h>
#include <stdint.h>

#include <algorithm>

template <size_t Size>
bool mcu_is_zero(const uint8_t (&octets)[Size]) {
    return std::all_of(octets, octets + Size, [](uint8_t octet) { return octet == 0; });
}

#endif
