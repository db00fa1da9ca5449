#include "faults.h"

#include <algorithm>
#include <limits>

#include "hi3861l_protocol.h"
#include "text_values.h"

namespace quon::sim {
namespace {

enum class argument_kind { none, number, time, type };

struct action_row {
    fault_action action;
    std::string_view name;
    argument_kind kind;
    uint32_t limit;
    std::string_view argument;
    std::string_view help;
};

constexpr uint32_t kWordLimit = std::numeric_limits<uint32_t>::max();
constexpr uint32_t kFrameLimit = 65535;
constexpr uint8_t kFiller = 0xEE;

using enum argument_kind;

// clang-format off
constexpr action_row kActions[] = {
    {fault_action::drop,        "drop",        none,   0,           "",       "lose the message: the chip neither acts nor answers"},
    {fault_action::delay,       "delay",       time,   3600000,     "TIME",   "send the answer or event so much later"},
    {fault_action::twice,       "twice",       none,   0,           "",       "send it twice"},
    {fault_action::answer_type, "answer-type", type,   0,           "T",      "send it with message type T"},
    {fault_action::length,      "length",      number, kWordLimit,  "N",      "send it with N in its length field"},
    {fault_action::cut,         "cut",         number, kFrameLimit, "N",      "send only the first N bytes of the frame (0: an empty message)"},
    {fault_action::lengthen,    "lengthen",    number, kFrameLimit, "N",      "send N bytes ee after the frame, its length field unchanged"},
    {fault_action::corrupt,     "corrupt",     number, kFrameLimit, "OFFSET", "invert the byte at OFFSET of the frame (0: the type)"},
    {fault_action::silent,      "silent",      none,   0,           "",       "from this message on, send nothing"},
    {fault_action::back,        "back",        none,   0,           "",       "from this message on, send again"},
};
// clang-format on

const action_row& row_of(fault_action action) {
    return *std::ranges::find(kActions, action, &action_row::action);
}

const action_row& find_action(const std::string& name) {
    const auto found = std::ranges::find(kActions, name, &action_row::name);
    if (found == std::end(kActions)) {
        throw bad_value("fault action \"" + name + "\" is not known");
    }
    return *found;
}

uint32_t parse_argument(const action_row& row, const std::string& text) {
    switch (row.kind) {
        case type:
            return parse_type(text);
        case time:
            return parse_time_span(text, row.limit, row.name);
        default:
            return parse_number(text, row.limit, row.argument);
    }
}

std::optional<uint32_t> parse_count(const std::vector<std::string>& words, size_t at) {
    if (at == words.size()) {
        return 1;
    }
    if (words[at] == "forever" && words.size() == at + 1) {
        return std::nullopt;
    }
    if (words[at] != "count" || words.size() != at + 2) {
        throw bad_value("expected count N or forever, got \"" + join_words(words, at) + "\"");
    }
    const uint32_t count = parse_number(words[at + 1], kWordLimit, "count");
    if (count == 0) {
        throw bad_value("count is 0");
    }
    return count;
}

}  // namespace

fault_rule parse_fault(std::string_view text) {
    const std::vector<std::string> words = split_words(text);
    if (words.size() < 2) {
        throw bad_value("expected TYPE ACTION [ARG] [count N|forever]");
    }
    fault_rule rule{};
    if (words[0] != "any") {
        rule.type = parse_type(words[0]);
    }
    const action_row& row = find_action(words[1]);
    rule.action = row.action;
    size_t at = 2;
    if (row.kind != none) {
        if (at == words.size()) {
            throw bad_value(std::string(row.name) + " needs " + std::string(row.argument));
        }
        rule.argument = parse_argument(row, words[at]);
        at++;
    }
    rule.left = parse_count(words, at);
    return rule;
}

std::string show_fault(const fault_rule& rule) {
    const action_row& row = row_of(rule.action);
    std::string text = rule.type ? show_type(*rule.type).substr(0, 4) : "any";
    text += " " + std::string(row.name);
    if (row.kind == type) {
        text += " " + show_type(static_cast<uint8_t>(rule.argument)).substr(0, 4);
    } else if (row.kind != none) {
        text += " " + std::to_string(rule.argument) + (row.kind == time ? "ms" : "");
    }
    return text + (rule.left ? " count " + std::to_string(*rule.left) : " forever");
}

std::optional<uint32_t> fault_table::take(uint8_t type, fault_action action) {
    const auto found = std::ranges::find_if(rules_, [&](const fault_rule& rule) {
        return rule.action == action && (!rule.type || *rule.type == type);
    });
    if (found == rules_.end()) {
        return std::nullopt;
    }
    const uint32_t argument = found->argument;
    if (found->left && --*found->left == 0) {
        rules_.erase(found);
    }
    return argument;
}

bool fault_table::pass(uint8_t type) {
    if (take(type, fault_action::silent)) {
        silent_ = true;
    }
    if (take(type, fault_action::back)) {
        silent_ = false;
    }
    return !take(type, fault_action::drop);
}

shaped_frame fault_table::shape(uint8_t type, byte_list frame) {
    shaped_frame shaped{.frame = std::move(frame), .faults = {}};
    byte_list& data = shaped.frame;
    const auto applies = [&](fault_action action) {
        const auto argument = take(type, action);
        if (argument) {
            shaped.faults += (shaped.faults.empty() ? "" : ", ") + std::string(row_of(action).name);
        }
        return argument;
    };
    if (const auto other = applies(fault_action::answer_type)) {
        data[0] = static_cast<uint8_t>(*other);
    }
    if (const auto length = applies(fault_action::length)) {
        put_le(data, 1, 4, *length);
    }
    if (const auto offset = applies(fault_action::corrupt); offset && *offset < data.size()) {
        data[*offset] = static_cast<uint8_t>(~data[*offset]);
    }
    if (const auto more = applies(fault_action::lengthen)) {
        data.resize(data.size() + *more, kFiller);
    }
    if (const auto size = applies(fault_action::cut)) {
        data.resize(std::min<size_t>(data.size(), *size));
    }
    shaped.copies = applies(fault_action::twice) ? 2 : 1;
    shaped.delay_ms = applies(fault_action::delay).value_or(0);
    return shaped;
}

std::vector<std::string> fault_actions() {
    std::vector<std::string> names;
    for (const action_row& row : kActions) {
        names.emplace_back(row.name);
    }
    return names;
}

std::string fault_help() {
    std::string text;
    for (const action_row& row : kActions) {
        std::string usage = "  " + std::string(row.name) + " " + std::string(row.argument);
        usage.resize(20, ' ');
        text += usage + std::string(row.help) + "\n";
    }
    return text;
}

}  // namespace quon::sim
