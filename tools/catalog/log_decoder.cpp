#include "catalog/log_decoder.h"

#include <algorithm>

#include "hi3861l_protocol.h"
#include "quon_little_endian.h"

namespace quon::catalog {
namespace {

constexpr std::string_view kDumpHead = "D/HEX recv msg: ";
constexpr std::string_view kRangeShape = "0000-000F: ";
constexpr size_t kGroup = 8;  // bytes between double blanks
constexpr std::string_view kToChip = "host->chip ";
constexpr std::string_view kFromChip = "chip->host ";

std::string without_colour(std::string_view text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\x1b') {
            plain += text[i];
            continue;
        }
        while (i < text.size() && text[i] != 'm') {
            ++i;
        }
    }
    return plain;
}

std::string trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos
               ? ""
               : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

std::optional<size_t> hex_number(std::string_view digits) {
    size_t value = 0;
    for (const char each : digits) {
        const std::string_view known = "0123456789ABCDEF";
        const size_t digit = known.find(each);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        value = value * 16 + digit;
    }
    return value;
}

bool is_frame_of_journal(std::string_view words) {
    return words.starts_with("0x") || words.starts_with("malformed");
}

uint32_t declared_length(std::span<const uint8_t> frame) {
    return quon_load_le32(frame.data() + 1);
}

}  // namespace

std::string time_in(std::string_view before) {
    const auto is_digit = [&before](size_t at) {
        return at < before.size() && before[at] >= '0' && before[at] <= '9';
    };
    for (size_t at = 1; at < before.size(); ++at) {
        if (before[at] == ':' && is_digit(at - 1) && is_digit(at + 1) && is_digit(at + 2)) {
            return trimmed(before.substr(0, before.find(' ', at)));
        }
    }
    return "";
}

void log_decoder::line(std::string_view text) {
    const std::string plain = without_colour(text);
    const std::string_view view(plain);
    const size_t dump = view.find(kDumpHead);
    if (dump != std::string_view::npos) {
        const std::string_view rest = view.substr(dump + kDumpHead.size());
        const auto start = hex_number(rest.substr(0, 4));
        const auto last = hex_number(rest.size() > 9 ? rest.substr(5, 4) : "?");
        if (rest.size() >= kRangeShape.size() && start && last && *last >= *start) {
            dump_line(view.substr(0, dump), rest.substr(kRangeShape.size()), *start,
                      *last - *start + 1);
            return;
        }
        ++strays_;
        return;
    }
    if (is_complete()) {
        emit();
    }
    for (const std::string_view head : {kToChip, kFromChip}) {
        const size_t at = view.find(head);
        const bool is_note = view.substr(0, at).find("note ") != std::string_view::npos;
        if (at != std::string_view::npos && !is_note &&
            is_frame_of_journal(view.substr(at + head.size()))) {
            found_({trimmed(view.substr(0, at)),
                    head == kToChip ? direction::to_chip : direction::from_chip,
                    {},
                    std::string(view.substr(at + head.size()))});
            return;
        }
    }
}

// Only the columns of hex digits are read: the text after them may look like digits.
void log_decoder::dump_line(std::string_view before, std::string_view text, size_t start,
                            size_t width) {
    if (start == 0) {
        emit();
        time_ = time_in(before);
    } else if (start != frame_.size() || frame_.empty()) {
        ++strays_;
        return;
    }
    for (size_t i = 0; i < width; ++i) {
        const size_t at = i * 3 + i / kGroup;
        const auto byte = at + 2 <= text.size() ? hex_number(text.substr(at, 2)) : std::nullopt;
        if (!byte) {
            break;
        }
        frame_.push_back(static_cast<uint8_t>(*byte));
    }
    if (frame_.size() < start + width) {
        emit();
    }
}

// Another thread's line may come between two lines of a dump, so a different line only ends a frame
// that has reached its declared length.
bool log_decoder::is_complete() const {
    return frame_.size() >= kHi3861lFrameHeadSize &&
           frame_.size() - kHi3861lFrameHeadSize >= declared_length(frame_);
}

void log_decoder::idle() {
    if (is_complete()) {
        emit();
    }
}

void log_decoder::end() {
    emit();
}

void log_decoder::emit() {
    if (!frame_.empty()) {
        found_({time_, direction::from_chip, frame_, ""});
        frame_.clear();
    }
}

}  // namespace quon::catalog
