#include "quon_mcu/log_decoder.h"

#include <algorithm>

#include "hi3861l_protocol.h"
#include "quon_little_endian.h"
#include "quon_mcu/describe.h"

namespace quon::client {
namespace {

constexpr std::string_view kToChip = "host->chip ";
constexpr std::string_view kFromChip = "chip->host ";

uint32_t declared_length(std::span<const uint8_t> frame) {
    return quon_load_le32(frame.data() + 1);
}

std::string type_text(uint8_t type) {
    const uint8_t one[] = {type};
    return "0x" + catalog::to_hex(one) + " " + std::string(catalog::message_name(type));
}

}  // namespace

// A text may contain blanks: a field ends where the record's next field begins.
std::vector<std::pair<std::string, std::string>> journal_fields(const catalog::record& what,
                                                                std::string_view words) {
    std::vector<std::pair<std::string, std::string>> fields;
    const std::vector<std::string> names = answer_fields(what);
    const auto is_field = [&names](std::string_view name) {
        return name.starts_with("entry[") || name.starts_with("rest_") ||
               std::ranges::find(names, name) != names.end();
    };
    while (!words.empty()) {
        const size_t end = words.find(' ');
        const std::string_view word = words.substr(0, end);
        const size_t equals = word.find('=');
        if (equals != std::string_view::npos && is_field(word.substr(0, equals))) {
            fields.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        } else if (!fields.empty()) {
            fields.back().second += " " + std::string(word);
        }
        words.remove_prefix(end == std::string_view::npos ? words.size() : end + 1);
    }
    return fields;
}

std::string describe_frame(catalog::direction way, std::span<const uint8_t> frame) {
    const std::string head(way == catalog::direction::to_chip ? kToChip : kFromChip);
    if (frame.size() < kHi3861lFrameHeadSize) {
        return head + "malformed, " + std::to_string(frame.size()) + " bytes " +
               catalog::to_hex(frame);
    }
    const uint32_t length = declared_length(frame);
    const auto payload = frame.subspan(kHi3861lFrameHeadSize);
    const std::string start = head + type_text(frame[0]) + " len " + std::to_string(length) + " ";
    if (length != payload.size()) {
        return start + "malformed, " + std::to_string(payload.size()) + " payload bytes " +
               catalog::to_hex(payload);
    }
    return start + catalog::describe_payload(way, frame[0], payload);
}

}  // namespace quon::client
