#include "client_records.h"

#include <arpa/inet.h>
#include <string.h>

#include <algorithm>

#include "quon_little_endian.h"
#include "securec.h"

namespace quon::typed {

namespace {

constexpr size_t kMacSize = 6;
constexpr char kDigits[] = "0123456789abcdef";

uint8_t* at(void* structure, size_t place) {
    return static_cast<uint8_t*>(structure) + place;
}

const uint8_t* at(const void* structure, size_t place) {
    return static_cast<const uint8_t*>(structure) + place;
}

void copy(void* to, const void* from, size_t size) {
    if (size != 0) {
        (void)memcpy_s(to, size, from, size);
    }
}

// ---- Numbers, in host byte order in a structure

template <typename Number>
void put_number(uint8_t* to, uint32_t value) {
    const auto number = static_cast<Number>(value);
    copy(to, &number, sizeof(number));
}

template <typename Number>
uint32_t number_at(const uint8_t* from) {
    Number number = 0;
    copy(&number, from, sizeof(number));
    return number;
}

void decode_number(uint8_t* to, const uint8_t* from, size_t size) {
    const uint32_t value = quon_load_le(from, size);
    if (size == 1) {
        put_number<uint8_t>(to, value);
    } else if (size == 2) {
        put_number<uint16_t>(to, value);
    } else {
        put_number<uint32_t>(to, value);
    }
}

void encode_number(uint8_t* to, const uint8_t* from, size_t size) {
    const uint32_t value = size == 1   ? number_at<uint8_t>(from)
                           : size == 2 ? number_at<uint16_t>(from)
                                       : number_at<uint32_t>(from);
    quon_store_le(to, size, value);
}

// ---- Addresses

void decode_mac(char* to, const uint8_t* from) {
    for (size_t i = 0; i < kMacSize; ++i) {
        to[3 * i] = kDigits[from[i] >> 4];
        to[3 * i + 1] = kDigits[from[i] & 0x0f];
        to[3 * i + 2] = i + 1 < kMacSize ? ':' : '\0';
    }
}

int digit_of(char c) {
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    const char* found = lower == '\0' ? nullptr : strchr(kDigits, lower);
    return found == nullptr ? -1 : static_cast<int>(found - kDigits);
}

// An empty text is an address of zeros.
bool encode_mac(uint8_t* to, const char* text) {
    if (text[0] == '\0') {
        return true;
    }
    for (size_t i = 0; i < kMacSize; ++i, text += 3) {
        const int high = digit_of(text[0]);
        const int low = high < 0 ? -1 : digit_of(text[1]);
        if (low < 0 || text[2] != (i + 1 < kMacSize ? ':' : '\0')) {
            return false;
        }
        to[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

bool encode_ipv4(uint8_t* to, const char* text) {
    return text[0] == '\0' || inet_pton(AF_INET, text, to) == 1;
}

// ---- Fields

void decode_text(char* to, const uint8_t* from, size_t size) {
    const size_t length = strnlen(reinterpret_cast<const char*>(from), size);
    copy(to, from, length);
    to[length] = '\0';
}

void decode_field(const Field& what, const uint8_t* from, size_t size, uint8_t* to) {
    switch (what.kind) {
        case Kind::u8:
        case Kind::s8:
        case Kind::u16:
        case Kind::u32:
            decode_number(to, from, size);
            break;
        case Kind::text:
        case Kind::address_text:
        case Kind::digit_text:
            decode_text(reinterpret_cast<char*>(to), from, size);
            break;
        case Kind::ipv4:
            (void)inet_ntop(AF_INET, from, reinterpret_cast<char*>(to), INET_ADDRSTRLEN);
            break;
        case Kind::mac:
            decode_mac(reinterpret_cast<char*>(to), from);
            break;
        case Kind::bytes:
            copy(to, from, size);
            break;
    }
}

// `to` must be zeroed.
bool encode_field(const Field& what, const uint8_t* from, size_t size, uint8_t* to) {
    const char* text = reinterpret_cast<const char*>(from);
    switch (what.kind) {
        case Kind::u8:
        case Kind::s8:
        case Kind::u16:
        case Kind::u32:
            encode_number(to, from, size);
            return true;
        case Kind::text:
        case Kind::address_text:
        case Kind::digit_text:
            copy(to, text, strnlen(text, size));
            return true;
        case Kind::ipv4:
            return encode_ipv4(to, text);
        case Kind::mac:
            return encode_mac(to, text);
        case Kind::bytes:
            break;
    }
    copy(to, from, size);
    return true;
}

// Bytes of a record whose length its sender chooses; a text includes its closing zero.
size_t length_of(const Record& what, const void* structure) {
    if (what.size != 0) {
        return what.size;
    }
    if (what.length_place != kNone) {
        return number_at<uint32_t>(at(structure, what.length_place));
    }
    const Field& last = what.fields.back();
    const char* text = reinterpret_cast<const char*>(at(structure, last.place));
    return std::min<size_t>(last.offset + strnlen(text, what.longest) + 1, what.longest);
}

bool encode_fields(std::span<const Field> fields, const void* structure, std::span<uint8_t> into) {
    bool good = true;
    for (const Field& each : fields) {
        const size_t size = each.size != 0 ? each.size : into.size() - each.offset;
        good =
            encode_field(each, at(structure, each.place), size, into.data() + each.offset) && good;
    }
    return good;
}

bool encode_list(const Record& what, const void* structure, std::span<uint8_t> into) {
    const Entries& list = what.entries;
    const uint8_t count = *at(structure, list.count_place);
    into[0] = count;
    bool good = count <= list.most;
    for (size_t i = 0; i < count && good; ++i) {
        good = encode_fields(what.fields, at(structure, list.place + i * list.structure),
                             into.subspan(1 + i * list.size, list.size));
    }
    return good;
}

// ---- Absent fields

bool is_absent(const Record& what, const Field& field, std::span<const uint8_t> bytes, size_t size,
               const uint8_t* decoded) {
    if (is_text(field.kind)) {
        return is_blank_text(field.kind, reinterpret_cast<const char*>(decoded));
    }
    const size_t end = field.offset + size;
    return size != 0 && unproven(what, bytes, field.offset, end) == size;
}

void clear_text(const Field& what, uint8_t* decoded) {
    if (is_text(what.kind) || what.kind == Kind::ipv4 || what.kind == Kind::mac) {
        *decoded = 0;
    }
}

void decode_list(const Record& what, std::span<const uint8_t> bytes, void* structure) {
    const Entries& list = what.entries;
    *at(structure, list.count_place) = bytes[0];
    for (size_t i = 0; i < bytes[0]; ++i) {
        uint8_t* entry = at(structure, list.place + i * list.structure);
        const std::span<const uint8_t> own = bytes.subspan(1 + i * list.size, list.size);
        for (const Field& each : what.fields) {
            decode_field(each, own.data() + each.offset, each.size, entry + each.place);
        }
    }
}

// The `absent` bits.
uint32_t decode_fields(const Record& what, std::span<const uint8_t> bytes, bool zero_is_fact,
                       void* structure) {
    uint32_t absent = 0;
    uint32_t bit = 1;
    for (const Field& each : what.fields) {
        const size_t size = each.size != 0 ? each.size : bytes.size() - each.offset;
        uint8_t* to = at(structure, each.place);
        decode_field(each, bytes.data() + each.offset, size, to);
        if (each.is_counted && !zero_is_fact && is_absent(what, each, bytes, size, to)) {
            absent |= bit;
            clear_text(each, to);
        }
        bit <<= each.is_counted ? 1 : 0;
    }
    return absent;
}

}  // namespace

const Service* service_named(const char* name) {
    const auto* found =
        std::find_if(std::begin(kServices), std::end(kServices),
                     [name](const Service& each) { return strcmp(each.name, name) == 0; });
    return found == std::end(kServices) ? nullptr : found;
}

bool is_text(Kind kind) {
    return kind == Kind::text || kind == Kind::address_text || kind == Kind::digit_text;
}

bool is_blank_text(Kind kind, const char* text) {
    if (kind == Kind::digit_text) {
        return text[0] == '\0' || strcmp(text, "0") == 0;
    }
    return text[kind == Kind::address_text ? strspn(text, "0.:") : 0] == '\0';
}

size_t unproven(const Record& what, std::span<const uint8_t> bytes, size_t from, size_t to) {
    const auto next = std::find_if(what.parts.begin(), what.parts.end(),
                                   [from](uint16_t each) { return each > from; });
    size_t end = next == what.parts.end() ? bytes.size() : std::min<size_t>(bytes.size(), *next);
    while (end > from && bytes[end - 1] == 0) {
        --end;
    }
    return end >= to ? 0 : to - end;
}

int32_t encode(const Record& what, const void* structure, uint8_t* into) {
    const size_t length = length_of(what, structure);
    if (length > what.longest) {
        return -1;
    }
    const std::span<uint8_t> bytes(into, length);
    std::fill(bytes.begin(), bytes.end(), uint8_t{0});
    const bool good = what.entries.size != 0 ? encode_list(what, structure, bytes)
                                             : encode_fields(what.fields, structure, bytes);
    return good ? static_cast<int32_t>(length) : -1;
}

bool is_sound(const Record& what, std::span<const uint8_t> bytes) {
    if (what.size != 0 && bytes.size() != what.size) {
        return false;
    }
    return bytes.size() <= what.longest &&
           (what.entries.size == 0 || bytes[0] <= what.entries.most);
}

void decode(const Record& what, std::span<const uint8_t> bytes, bool zero_is_fact,
            void* structure) {
    (void)memset_s(structure, what.structure, 0, what.structure);
    uint32_t absent = 0;
    if (what.entries.size != 0) {
        decode_list(what, bytes, structure);
        absent = unproven(what, bytes, 0, 1) == 1 ? 1 : 0;
    } else {
        absent = decode_fields(what, bytes, zero_is_fact, structure);
    }
    if (what.absent_place != kNone && !zero_is_fact) {
        put_number<uint32_t>(at(structure, what.absent_place), absent);
    }
    if (what.length_place != kNone) {
        put_number<uint32_t>(at(structure, what.length_place), static_cast<uint32_t>(bytes.size()));
    }
}

}  // namespace quon::typed
