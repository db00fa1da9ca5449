#include <arpa/inet.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "quon_little_endian.h"
#include "small.h"

namespace quon::small {

namespace {

using typed::Kind;

constexpr char kNamePrefix[] = "quon.mcu.";

struct Limits {
    Kind kind;
    int64_t least;
    int64_t most;
};

constexpr Limits kLimits[] = {
    {Kind::u8, 0, UINT8_MAX},
    {Kind::s8, INT8_MIN, INT8_MAX},
    {Kind::u16, 0, UINT16_MAX},
    {Kind::u32, 0, UINT32_MAX},
};

const char* short_name(const Service& service) {
    return strstr(service.name, kNamePrefix) + strlen(kNamePrefix);
}

int digit_of(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return c >= '0' && c <= '9' ? c - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

uint32_t parse_number_field(const Field& what, const Limits& limits, const char* text,
                            uint8_t* to) {
    const bool is_limited = what.most != 0;
    const auto* known = std::find_if(
        what.values.data(), what.values.data() + what.values.size(),
        [text](const typed::KnownValue& each) { return strcmp(each.meaning, text) == 0; });
    const int64_t value = known != what.values.data() + what.values.size()
                              ? int64_t{known->value}
                              : parse_number(text, is_limited ? what.least : limits.least,
                                             is_limited ? what.most : limits.most);
    quon_store_le(to, what.size, static_cast<uint32_t>(value));
    return what.size;
}

uint32_t parse_text(const Field& what, const char* text, uint8_t* to, uint32_t room) {
    const size_t length = strlen(text);
    if (length > (what.size != 0 ? what.size : room - 1)) {
        fail(kUsage, "%s has no room for '%s'", what.name, text);
    }
    std::copy(text, text + length, to);
    return what.size != 0 ? what.size : static_cast<uint32_t>(length) + 1;
}

uint32_t parse_bytes(const Field& what, const char* text, uint8_t* to, uint32_t room) {
    const uint32_t length = parse_hex(text, to, 0, what.size != 0 ? what.size : room);
    if (what.size != 0 && length != what.size) {
        fail(kUsage, "%s has %u bytes, not %u", what.name, unsigned{what.size}, length);
    }
    return length;
}

}  // namespace

int64_t parse_number(const char* text, int64_t least, int64_t most) {
    const bool is_hex = text[0] == '0' && (text[1] | 0x20) == 'x';
    const char* digits = is_hex ? text + 2 : text;
    char* end = nullptr;
    errno = 0;
    const int64_t value = strtoll(digits, &end, is_hex ? 16 : 10);
    const bool starts_well = digit_of(*digits) >= 0 || (*digits == '-' && !is_hex);
    if (!starts_well || end == digits || *end != '\0' || errno != 0 || value < least ||
        value > most) {
        fail(kUsage, "'%s' is no number from %lld to %lld", text, static_cast<long long>(least),
             static_cast<long long>(most));
    }
    return value;
}

int32_t parse_duration(const char* text) {
    char* end = nullptr;
    const double value = digit_of(text[0]) >= 0 ? strtod(text, &end) : -1;
    const bool is_seconds = end != nullptr && strcmp(end, "s") == 0;
    const bool is_sound = end != nullptr && (*end == '\0' || strcmp(end, "ms") == 0 || is_seconds);
    const double milliseconds = is_seconds ? value * 1000 : value;
    if (!is_sound || !(milliseconds >= 0 && milliseconds <= INT32_MAX)) {
        fail(kUsage, "'%s' is no duration; write milliseconds or, say, 1.5s", text);
    }
    // Not negative; `lround` would need one library more.
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return static_cast<int32_t>(milliseconds + 0.5);
}

uint32_t parse_hex(const char* text, uint8_t* into, uint32_t length, uint32_t most) {
    const char* next = text[0] == '0' && (text[1] | 0x20) == 'x' ? text + 2 : text;
    while (*next != '\0') {
        if (strchr(" :\n\t", *next) != nullptr) {
            ++next;
            continue;
        }
        const int high = digit_of(next[0]);
        const int low = high < 0 ? -1 : digit_of(next[1]);
        if (low < 0) {
            fail(kUsage, "'%s' is no pairs of hexadecimal digits", text);
        }
        if (length == most) {
            fail(kUsage, "a payload has at most %u bytes", most);
        }
        into[length++] = static_cast<uint8_t>(high << 4 | low);
        next += 2;
    }
    return length;
}

uint32_t parse_field(const Field& what, const char* text, uint8_t* to, uint32_t room) {
    for (const Limits& each : kLimits) {
        if (each.kind == what.kind) {
            return parse_number_field(what, each, text, to);
        }
    }
    if (typed::is_text(what.kind)) {
        return parse_text(what, text, to, room);
    }
    if (what.kind == Kind::ipv4 && inet_pton(AF_INET, text, to) != 1) {
        fail(kUsage, "'%s' is no IPv4 address", text);
    }
    if (what.kind == Kind::mac && strlen(text) != strlen("02:00:00:00:00:01")) {
        fail(kUsage, "'%s' is no MAC address", text);
    }
    return what.kind == Kind::ipv4 ? what.size : parse_bytes(what, text, to, room);
}

const Field* find_field(const Record& what, const char* name, size_t length) {
    for (const Field& each : what.fields) {
        if (strlen(each.name) == length && strncmp(each.name, name, length) == 0) {
            return &each;
        }
    }
    return nullptr;
}

const Service* find_service(const char* name) {
    for (const Service& each : typed::kServices) {
        if (strcmp(short_name(each), name) == 0) {
            return &each;
        }
    }
    return typed::service_named(name);
}

const Service& service_of(const char* verb, const char* object) {
    const size_t length = strlen(verb);
    for (const Service& each : typed::kServices) {
        const char* name = short_name(each);
        const bool has_verb = strncmp(name, verb, length) == 0 && name[length] == '.';
        if (has_verb && (strcmp(name + length + 1, object) == 0 || strcmp(name, object) == 0 ||
                         strcmp(each.name, object) == 0)) {
            return each;
        }
    }
    fail(kUsage, "unknown object of %s '%s'", verb, object);
}

}  // namespace quon::small
