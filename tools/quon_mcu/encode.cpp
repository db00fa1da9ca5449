#include "quon_mcu/encode.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>
#include <set>

#include "quon_little_endian.h"
#include "quon_mcu/failure.h"
#include "quon_mcu/names.h"

namespace quon::client {
namespace {

using catalog::field;
using catalog::field_kind;
using catalog::record;

[[noreturn]] void refuse(const std::string& text) {
    throw failure(exit_status::usage, text);
}

octets little_endian(int64_t value, size_t size) {
    octets bytes(size);
    quon_store_le(bytes.data(), size, static_cast<uint32_t>(value));
    return bytes;
}

octets encode_number(const field& what, std::string_view text, int64_t least, int64_t most) {
    const auto named = std::ranges::find(what.values, text, &catalog::known_value::meaning);
    if (named != what.values.end()) {
        return little_endian(named->value, what.size);
    }
    return little_endian(parse_number(what.name, text, least, most), what.size);
}

octets encode_ipv4(std::string_view text) {
    octets bytes(4);
    if (inet_pton(AF_INET, std::string(text).c_str(), bytes.data()) != 1) {
        refuse("'" + std::string(text) + "' is no IPv4 address");
    }
    return bytes;
}

octets encode_mac(std::string_view text) {
    octets bytes = text.find(':') == std::string_view::npos ? octets{} : parse_hex(text);
    if (bytes.size() != 6 || text.size() != 17) {
        refuse("'" + std::string(text) + "' is no MAC address");
    }
    return bytes;
}

octets encode_text(const field& what, std::string_view text) {
    if (what.size != 0 && text.size() > what.size) {
        refuse(std::string(what.name) + " has room for " + std::to_string(what.size) +
               (what.size == 1 ? " character" : " characters"));
    }
    octets bytes(text.begin(), text.end());
    bytes.resize(what.size != 0 ? what.size : text.size() + 1);
    return bytes;
}

octets encode_bytes(const field& what, std::string_view text) {
    octets bytes = parse_hex(text);
    if (what.size != 0 && bytes.size() != what.size) {
        refuse(std::string(what.name) + " has " + std::to_string(what.size) + " bytes, not " +
               std::to_string(bytes.size()));
    }
    return bytes;
}

void put(octets& bytes, size_t offset, const octets& piece) {
    bytes.resize(std::max(bytes.size(), offset + piece.size()));
    std::ranges::copy(piece, bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

// A shell command may well have an "=" somewhere behind its first word.
bool is_assignment(const std::string& word) {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789_";
    const size_t end = word.find_first_not_of(letters);
    return end != std::string::npos && end != 0 && word[end] == '=';
}

std::string joined(std::span<const std::string> words) {
    std::string text;
    for (const std::string& each : words) {
        text += (text.empty() ? "" : " ") + each;
    }
    return text;
}

// A clock's time, when `words` are one.
bool read_clock(std::span<const std::string> words, std::tm& clock) {
    if (words.size() == 1 && words[0] == "now") {
        const std::time_t now = std::time(nullptr);
        return localtime_r(&now, &clock) != nullptr;
    }
    std::string text = joined(words);
    std::ranges::replace(text, 'T', ' ');
    int used = 0;
    const int read =
        std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &clock.tm_year, &clock.tm_mon,
                    &clock.tm_mday, &clock.tm_hour, &clock.tm_min, &clock.tm_sec, &used);
    clock.tm_year -= 1900;
    clock.tm_mon -= 1;
    return read == 6 && used == static_cast<int>(text.size());
}

octets encode_clock(const record& what, const std::tm& clock) {
    const int parts[] = {clock.tm_year - 100, clock.tm_mon + 1, clock.tm_mday,
                         clock.tm_hour,       clock.tm_min,     clock.tm_sec};
    std::tm normal = clock;
    normal.tm_isdst = -1;
    if (clock.tm_year < 100 || clock.tm_year > 227 || timegm(&normal) == -1 ||
        normal.tm_mon != clock.tm_mon || normal.tm_mday != clock.tm_mday ||
        normal.tm_hour != clock.tm_hour || normal.tm_min != clock.tm_min ||
        normal.tm_sec != clock.tm_sec) {
        refuse("no such time; years are 2000 to 2127");
    }
    octets bytes(what.size);
    for (size_t i = 0; i < std::size(parts); ++i) {
        bytes[i] = static_cast<uint8_t>(parts[i]);
    }
    return bytes;
}

void put_assignments(const record& what, octets& bytes, std::span<const std::string> words) {
    std::set<std::string_view> given;
    for (const std::string& word : words) {
        if (!is_assignment(word)) {
            refuse("'" + word + "' is no NAME=VALUE");
        }
        const size_t equals = word.find('=');
        const field& target = field_named(what, word.substr(0, equals));
        if (!given.insert(target.name).second) {
            refuse(std::string(target.name) + " is given twice");
        }
        put(bytes, target.offset, encode_field(target, word.substr(equals + 1)));
    }
}

std::string field_list(const record& what) {
    std::string names;
    for (const field& each : what.fields) {
        names += " " + std::string(each.name);
    }
    return names;
}

void put_values(const record& what, octets& bytes, std::span<const std::string> words) {
    if (words.size() != what.fields.size()) {
        refuse("expected " + std::to_string(what.fields.size()) + " values:" + field_list(what));
    }
    for (size_t i = 0; i < words.size(); ++i) {
        put(bytes, what.fields[i].offset, encode_field(what.fields[i], words[i]));
    }
}

bool is_clock(const record& what, std::span<const std::string> words) {
    std::tm clock{};
    return what.name == "time" && read_clock(words, clock);
}

}  // namespace

octets encode_field(const field& what, std::string_view value) {
    using limits8 = std::numeric_limits<int8_t>;
    switch (what.kind) {
        case field_kind::u8:
            return encode_number(what, value, 0, UINT8_MAX);
        case field_kind::s8:
            return encode_number(what, value, limits8::min(), limits8::max());
        case field_kind::u16:
            return encode_number(what, value, 0, UINT16_MAX);
        case field_kind::u32:
            return encode_number(what, value, 0, UINT32_MAX);
        case field_kind::ipv4:
            return encode_ipv4(value);
        case field_kind::mac:
            return encode_mac(value);
        case field_kind::text:
            return encode_text(what, value);
        case field_kind::bytes:
            break;
    }
    return encode_bytes(what, value);
}

const field& field_named(const record& what, std::string_view name) {
    const auto found = std::ranges::find(what.fields, name, &field::name);
    if (found == what.fields.end()) {
        std::vector<std::string> names;
        for (const field& each : what.fields) {
            names.emplace_back(each.name);
        }
        refuse(unknown("field", name, names));
    }
    return *found;
}

bool is_complete(const record& what, std::span<const std::string> words) {
    uint32_t named = 0;
    for (const field& each : what.fields) {
        const bool given = std::ranges::any_of(words, [&](const std::string& word) {
            return word.starts_with(std::string(each.name) + "=");
        });
        named += given || !std::ranges::any_of(words, is_assignment) ? each.size : 0;
    }
    return what.size == 0 || named == what.size || is_clock(what, words);
}

octets encode(const record& what, octets base, std::span<const std::string> words) {
    std::tm clock{};
    if (what.name == "time" && read_clock(words, clock)) {
        return encode_clock(what, clock);
    }
    octets bytes = std::move(base);
    bytes.resize(std::max<size_t>(bytes.size(), what.size));
    if (std::ranges::any_of(words, is_assignment)) {
        put_assignments(what, bytes, words);
    } else {
        put_values(what, bytes, words);
    }
    return bytes;
}

}  // namespace quon::client
