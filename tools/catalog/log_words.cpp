// Parses the text of log lines and journals.
#include <algorithm>
#include <sstream>

#include "catalog/log_decoder.h"
#include "hi3861l_protocol.h"
#include "quon_log.h"
#include "shared/failure.h"
#include "shared/values.h"

namespace quon::catalog {
namespace {

constexpr std::string_view kNoAnswer = "[hi3861l_send_msg_sync failed] failed";
constexpr std::string_view kDriverPrefix = "hi3861l_api_";
constexpr std::string_view kNetInfoQuery = "hi3861l_get_ip_info";

constexpr std::string_view kRest = "rest_";
constexpr std::string_view kEntry = "entry[";
constexpr std::string_view kRemarks[] = {" (fault ", " (raw)"};
constexpr int64_t kLongestPayload = 65535;

using value_list = std::vector<std::pair<std::string, std::string>>;

bool is_name(const record& what, std::string_view name) {
    return name == "count" || name == "bytes" || name.starts_with(kRest) ||
           name.starts_with(kEntry) ||
           std::ranges::find(what.fields, name, &field::name) != what.fields.end();
}

// A text may contain blanks: a value ends where the next name begins. Empty if the first word is
// not a value.
value_list values_in(const record& what, std::string_view words) {
    value_list values;
    while (!words.empty()) {
        const size_t end = words.find(' ');
        const std::string_view word = words.substr(0, end);
        const size_t equals = word.find('=');
        if (equals != std::string_view::npos && is_name(what, word.substr(0, equals))) {
            values.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        } else if (!values.empty()) {
            values.back().second += " " + std::string(word);
        } else {
            return {};
        }
        words.remove_prefix(end == std::string_view::npos ? words.size() : end + 1);
    }
    return values;
}

// "\x0a" is one byte.
byte_list bytes_of_text(std::string_view text) {
    byte_list bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i).starts_with("\\x") && i + 4 <= text.size()) {
            bytes.push_back(parse_hex(text.substr(i + 2, 2)).at(0));
            i += 3;
        } else {
            bytes.push_back(static_cast<uint8_t>(text[i]));
        }
    }
    return bytes;
}

byte_list bytes_of_number(const field& what, std::string_view value) {
    byte_list bytes(what.size);
    put_le(bytes, 0, what.size, static_cast<uint32_t>(parse_number(value, INT32_MIN, UINT32_MAX)));
    return bytes;
}

byte_list bytes_of_value(const field& what, std::string_view value) {
    switch (what.kind) {
        case field_kind::u8:
        case field_kind::s8:
        case field_kind::u16:
        case field_kind::u32:
            return bytes_of_number(what, value);
        case field_kind::text:
        case field_kind::address_text:
        case field_kind::digit_text:
            return bytes_of_text(value);
        case field_kind::ipv4:
            return parse_ipv4(value);
        case field_kind::mac:
            return parse_mac(value);
        case field_kind::bytes:
            break;
    }
    return parse_hex(value);
}

class payload_writer {
  public:
    payload_writer(const record& what, size_t size) : what_(what), payload_(size) {}

    // False if the value cannot be placed.
    bool put(std::string_view name, std::string_view value) {
        if (!name.starts_with(kEntry)) {
            return put_at(0, name, value);
        }
        const size_t close = name.find(']');
        if (close == std::string_view::npos) {
            return false;
        }
        const auto index = static_cast<size_t>(
            parse_number(name.substr(kEntry.size(), close - kEntry.size()), 0, UINT8_MAX));
        const std::string_view rest = name.substr(close + 1);
        const size_t start = 1 + index * what_.entry_size;
        return put_at(start, rest.starts_with('.') ? rest.substr(1) : "bytes", value);
    }

    byte_list take() { return std::move(payload_); }

  private:
    bool put_at(size_t start, std::string_view name, std::string_view value) {
        if (name == "bytes") {
            return copy(start, parse_hex(value));
        }
        if (name == "count") {
            return copy(0, {static_cast<uint8_t>(parse_number(value, 0, UINT8_MAX))});
        }
        if (name.starts_with(kRest)) {
            const int64_t at = parse_number(name.substr(kRest.size()), 0, kLongestPayload);
            return copy(start + static_cast<size_t>(at), parse_hex(value));
        }
        const auto found = std::ranges::find(what_.fields, name, &field::name);
        return found != what_.fields.end() &&
               copy(start + found->offset, bytes_of_value(*found, value));
    }

    bool copy(size_t at, const byte_list& bytes) {
        if (at > payload_.size() || bytes.size() > payload_.size() - at) {
            return false;
        }
        std::ranges::copy(bytes, payload_.begin() + static_cast<std::ptrdiff_t>(at));
        return true;
    }

    const record& what_;
    byte_list payload_;
};

std::string_view without_remark(std::string_view words) {
    for (const std::string_view each : kRemarks) {
        const size_t at = words.rfind(each);
        if (at != std::string_view::npos && words.ends_with(')')) {
            return words.substr(0, at);
        }
    }
    return words;
}

// Throws failure.
std::optional<byte_list> payload_of(const record* what, std::string_view words, size_t size) {
    if (words == "empty") {
        return size == 0 ? std::optional(byte_list()) : std::nullopt;
    }
    if (what == nullptr || (what->fields.empty() && what->entry_size == 0)) {
        byte_list payload = parse_hex(words);
        return payload.size() == size ? std::optional(payload) : std::nullopt;
    }
    payload_writer writer(*what, size);
    const value_list values = values_in(*what, words);
    if (values.empty()) {
        return std::nullopt;
    }
    for (const auto& [name, value] : values) {
        if (!writer.put(name, value)) {
            return std::nullopt;
        }
    }
    return writer.take();
}

// Throws failure.
std::optional<byte_list> read_frame(direction way, std::string_view words) {
    std::istringstream parts{std::string(words)};
    std::string type;
    std::string name;
    std::string word;
    std::string length;
    std::string rest;
    parts >> type >> name >> word >> length >> std::ws;
    std::getline(parts, rest);
    if (word != "len" || !type.starts_with("0x") || rest.empty() || rest.starts_with("malformed")) {
        return std::nullopt;
    }
    const auto number = static_cast<uint8_t>(parse_number(type, 0, UINT8_MAX));
    const auto size = static_cast<size_t>(parse_number(length, 0, kLongestPayload));
    const message* known = find_message(number);
    const record* what = known == nullptr            ? nullptr
                         : way == direction::to_chip ? known->request
                                                     : known->reply;
    const auto payload = payload_of(what, without_remark(rest), size);
    if (!payload) {
        return std::nullopt;
    }
    byte_list frame(kHi3861lFrameHeadSize);
    frame[0] = number;
    put_le(frame, 1, 4, static_cast<uint32_t>(size));
    frame.insert(frame.end(), payload->begin(), payload->end());
    return frame;
}

}  // namespace

std::string_view logged_function(std::string_view line) {
    constexpr std::string_view kOpening = "] (";
    const size_t open = line.find(kOpening);
    if (open == std::string_view::npos) {
        return {};
    }
    const std::string_view rest = line.substr(open + kOpening.size());
    return rest.substr(0, rest.find(':') == std::string_view::npos ? 0 : rest.find(':'));
}

bool is_logged_function(std::string_view logged, std::string_view name) {
    return logged == name.substr(0, QN_LOG_FUNC_SIZE - 1);
}

bool says_no_answer(std::string_view line) {
    return line.find(kNoAnswer) != std::string_view::npos;
}

const message* message_asked_by(std::string_view logged) {
    if (logged == kNetInfoQuery) {
        return find_message(HI3861L_GET_NET_INFO);
    }
    const message* found = nullptr;
    for (const message& each : messages()) {
        if (is_logged_function(logged, std::string(kDriverPrefix) + std::string(each.name))) {
            if (found != nullptr) {
                return nullptr;
            }
            found = &each;
        }
    }
    return found;
}

std::optional<byte_list> frame_of_words(direction way, std::string_view words) {
    try {
        return read_frame(way, words);
    } catch (const failure&) {
        return std::nullopt;
    }
}

}  // namespace quon::catalog
