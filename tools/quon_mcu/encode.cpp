#include "quon_mcu/encode.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <limits>
#include <set>

#include "shared/failure.h"
#include "shared/suggestions.h"

namespace quon::client {
namespace {

using catalog::field;
using catalog::field_kind;
using catalog::record;

[[noreturn]] void refuse(const std::string& text) {
    throw failure(exit_status::usage, text);
}

byte_list little_endian(int64_t value, size_t size) {
    byte_list bytes(size);
    put_le(bytes, 0, size, static_cast<uint32_t>(value));
    return bytes;
}

byte_list encode_number(const field& what, std::string_view text, int64_t least, int64_t most) {
    if (what.range.most != 0) {
        least = what.range.least;
        most = what.range.most;
    }
    const auto named = std::ranges::find(what.values, text, &catalog::known_value::meaning);
    if (named != what.values.end()) {
        return little_endian(named->value, what.size);
    }
    return little_endian(parse_number(what.name, text, least, most), what.size);
}

byte_list encode_text(const field& what, std::string_view text) {
    if (what.size != 0 && text.size() > what.size) {
        refuse(std::string(what.name) + " has room for " + std::to_string(what.size) +
               (what.size == 1 ? " character" : " characters"));
    }
    byte_list bytes(text.begin(), text.end());
    bytes.resize(what.size != 0 ? what.size : text.size() + 1);
    return bytes;
}

byte_list encode_bytes(const field& what, std::string_view text) {
    byte_list bytes = parse_hex(text);
    if (what.size != 0 && bytes.size() != what.size) {
        refuse(std::string(what.name) + " has " + std::to_string(what.size) + " bytes, not " +
               std::to_string(bytes.size()));
    }
    return bytes;
}

void put(byte_list& bytes, size_t offset, const byte_list& piece) {
    bytes.resize(std::max(bytes.size(), offset + piece.size()));
    std::ranges::copy(piece, bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

// A shell command may contain "=" after its first word.
bool is_assignment(const std::string& word) {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789_";
    const size_t end = word.find_first_not_of(kLetters);
    return end != std::string::npos && end != 0 && word[end] == '=';
}

std::string joined(std::span<const std::string> words) {
    std::string text;
    for (const std::string& each : words) {
        text += (text.empty() ? "" : " ") + each;
    }
    return text;
}

// A time of day, if `words` are one.
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

byte_list encode_clock(const record& what, const std::tm& clock) {
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
    byte_list bytes(what.size);
    for (size_t i = 0; i < std::size(parts); ++i) {
        bytes[i] = static_cast<uint8_t>(parts[i]);
    }
    return bytes;
}

void put_assignments(const record& what, byte_list& bytes, std::span<const std::string> words) {
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

void put_values(const record& what, byte_list& bytes, std::span<const std::string> words) {
    if (words.size() != what.fields.size()) {
        refuse("expected " + std::to_string(what.fields.size()) + " values:" + field_list(what));
    }
    for (size_t i = 0; i < words.size(); ++i) {
        put(bytes, what.fields[i].offset, encode_field(what.fields[i], words[i]));
    }
}

// Rejects days that the month does not have.
void check_date(const record& what, byte_view bytes, std::span<const std::string> words) {
    const auto names_date = [](const std::string& word) {
        return !is_assignment(word) || word.starts_with("year=") || word.starts_with("month=") ||
               word.starts_with("day=");
    };
    if (what.name != "time" || std::ranges::none_of(words, names_date) || bytes[1] == 0 ||
        bytes[2] == 0) {
        return;
    }
    const std::chrono::year_month_day date{std::chrono::year(2000 + bytes[0]),
                                           std::chrono::month(bytes[1]),
                                           std::chrono::day(bytes[2])};
    if (!date.ok()) {
        refuse("month " + std::to_string(bytes[1]) + " has no day " + std::to_string(bytes[2]));
    }
}

bool is_clock(const record& what, std::span<const std::string> words) {
    std::tm clock{};
    return what.name == "time" && read_clock(words, clock);
}

}  // namespace

byte_list encode_field(const field& what, std::string_view value) {
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
            return parse_ipv4(value);
        case field_kind::mac:
            return parse_mac(value);
        case field_kind::text:
        case field_kind::address_text:
        case field_kind::digit_text:
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

byte_list encode(const record& what, byte_list base, std::span<const std::string> words) {
    std::tm clock{};
    if (what.name == "time" && read_clock(words, clock)) {
        return encode_clock(what, clock);
    }
    byte_list bytes = std::move(base);
    bytes.resize(std::max<size_t>(bytes.size(), what.size));
    if (std::ranges::any_of(words, is_assignment)) {
        put_assignments(what, bytes, words);
    } else {
        put_values(what, bytes, words);
    }
    check_date(what, bytes, words);
    return bytes;
}

}  // namespace quon::client
