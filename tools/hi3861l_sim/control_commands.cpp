#include "control_commands.h"

#include <algorithm>
#include <optional>

#include "catalog/catalog.h"
#include "hichannel_host.h"
#include "properties.h"
#include "text_values.h"

namespace quon::sim {
namespace {

constexpr uint32_t kDefaultWaitMs = 10000;
constexpr uint32_t kLongestWaitMs = 3600000;
constexpr uint8_t kNetEventId = HI3861L_EVENT_NET;  // payload byte 0 names the event
constexpr size_t kLargestMessage = 65000;

struct call {
    simulator& sim;
    const std::vector<std::string>& words;  // the first is the command
    const std::shared_ptr<responder>& answer;
};

[[noreturn]] void misused(const call& in, std::string_view usage) {
    throw bad_value("usage: " + in.words[0] + " " + std::string(usage));
}

void finish(const call& in, delivery result) {
    if (result == delivery::sent) {
        in.answer->ok();
    } else {
        in.answer->error(show_delivery(result));
    }
}

void help(const call& in) {
    const std::string text = in.words.size() > 1 ? control_help(in.words[1]) : control_help();
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        in.answer->line(text.substr(at, end - at));
        at = end + 1;
    }
    in.answer->ok();
}

void show_one(const call& in, const property& each) {
    in.answer->line(std::string(each.name) + "=" + each.get(in.sim));
}

void state(const call& in) {
    std::ranges::for_each(properties(), [&](const property& each) { show_one(in, each); });
    in.answer->ok();
}

void get(const call& in) {
    if (in.words.size() < 2) {
        misused(in, "NAME...");
    }
    std::vector<const property*> wanted;
    for (size_t i = 1; i < in.words.size(); i++) {
        wanted.push_back(&find_property(in.words[i]));
    }
    std::ranges::for_each(wanted, [&](const property* each) { show_one(in, *each); });
    in.answer->ok();
}

void set(const call& in) {
    if (in.words.size() < 2) {
        misused(in, "NAME VALUE");
    }
    set_property(in.sim, in.words[1], join_words(in.words, 2));
    in.answer->ok();
}

void frames(const call& in) {
    const auto& lines = in.sim.log().lines();
    size_t count = lines.size();
    if (in.words.size() > 1) {
        count = std::min<size_t>(count, parse_number(in.words[1], 1000000, "number of lines"));
    }
    std::for_each(lines.end() - static_cast<ptrdiff_t>(count), lines.end(),
                  [&](const std::string& line) { in.answer->line(line); });
    in.answer->ok();
}

void forget(const call& in) {
    in.sim.forget_frames();
    in.answer->ok();
}

void raise_net_event(const call& in) {
    const net_report report = parse_net(join_words(in.words, 2), net_record(in.sim.chip()));
    set_net_record(in.sim.chip(), report.record);
    byte_list payload(kHi3861lNetEventRecordOffset);
    payload[0] = kNetEventId;
    payload[kHi3861lNetEventStateOffset] = report.state;
    const byte_list& record = in.sim.chip().records.at("net_info");
    payload.insert(payload.end(), record.begin(), record.end());
    finish(in, in.sim.send_frame(HI3861L_EVENT_NET, payload));
}

byte_list parse_message(const call& in, size_t from) {
    byte_list message = parse_hex(join_words(in.words, from));
    if (message.size() > kLargestMessage) {
        throw bad_value("message of " + std::to_string(message.size()) + " bytes is too long");
    }
    return message;
}

void event(const call& in) {
    const std::string kind = in.words.size() > 1 ? in.words[1] : "";
    if (kind == "net") {
        raise_net_event(in);
    } else if (kind == "raw" && in.words.size() > 2) {
        finish(in, in.sim.send_frame(parse_type(in.words[2]), parse_message(in, 3)));
    } else {
        misused(in,
                "net ADDRESS/PREFIX [gw A] [dns A[,A]] [mac M] [state N], or event raw TYPE "
                "[HEX...]");
    }
}

void raw(const call& in) {
    finish(in, in.sim.send_raw(parse_message(in, 1)));
}

void fault(const call& in) {
    in.sim.faults().add(parse_fault(join_words(in.words, 1)));
    in.answer->ok();
}

void faults(const call& in) {
    for (const fault_rule& rule : in.sim.faults().rules()) {
        in.answer->line(show_fault(rule));
    }
    in.answer->ok();
}

void clear_faults(const call& in) {
    in.sim.faults().clear();
    in.answer->ok();
}

void go_silent(const call& in) {
    in.sim.faults().set_silent(true);
    in.answer->ok();
}

void come_back(const call& in) {
    in.sim.faults().set_silent(false);
    in.answer->ok();
}

// "count N" and "timeout TIME" in any order.
struct wait_options {
    uint32_t count = 1;
    uint32_t timeout_ms = kDefaultWaitMs;
};

wait_options parse_wait(const call& in, size_t from, std::string_view usage) {
    wait_options options;
    for (size_t i = from; i < in.words.size(); i += 2) {
        const bool last = i + 1 == in.words.size();
        if (!last && in.words[i] == "timeout") {
            options.timeout_ms = parse_time_span(in.words[i + 1], kLongestWaitMs, "timeout");
        } else if (!last && in.words[i] == "count" && from == 2) {
            options.count = parse_number(in.words[i + 1], 1000000000, "count");
        } else {
            misused(in, usage);
        }
    }
    return options;
}

// A command that is answered later: once `done` has answered, or after the time-out.
struct pending_wait : std::enable_shared_from_this<pending_wait> {
    simulator& sim;
    std::shared_ptr<responder> answer;
    std::function<bool()> done;
    std::function<std::string()> late;
    event_loop::timer_id timer = 0;
    simulator::watch_id watch = 0;

    explicit pending_wait(const call& in) : sim(in.sim), answer(in.answer) {}

    void start(uint32_t timeout_ms) {
        if (done()) {
            return;
        }
        const auto self = shared_from_this();
        timer = sim.loop().after(std::chrono::milliseconds(timeout_ms), [self] {
            self->sim.cancel_watch(self->watch);
            self->answer->error(self->late());
        });
        watch = sim.watch_changes([self] {
            const bool over = self->answer->gone() || self->done();
            if (over) {
                self->sim.loop().cancel(self->timer);
            }
            return over;
        });
    }
};

void wait_frame(const call& in) {
    constexpr std::string_view kUsage = "TYPE [count N] [timeout TIME]";
    if (in.words.size() < 2) {
        misused(in, kUsage);
    }
    const uint8_t type = parse_type(in.words[1]);
    const wait_options options = parse_wait(in, 2, kUsage);
    const auto wait = std::make_shared<pending_wait>(in);
    wait->done = [&sim = in.sim, answer = in.answer, type, count = options.count] {
        if (sim.received(type) < count) {
            return false;
        }
        answer->line("received=" + std::to_string(sim.received(type)));
        answer->line("last=" + show_hex(sim.last_frame(type)));
        answer->ok();
        return true;
    };
    wait->late = [&sim = in.sim, type, count = options.count] {
        return "timeout: " + std::to_string(sim.received(type)) + " of " + std::to_string(count) +
               " frames " + show_type(type);
    };
    wait->start(options.timeout_ms);
}

void wait_host(const call& in) {
    const wait_options options = parse_wait(in, 1, "[timeout TIME]");
    const auto wait = std::make_shared<pending_wait>(in);
    wait->done = [&sim = in.sim, answer = in.answer] {
        const bool here = sim.link().host_present();
        if (here) {
            answer->ok();
        }
        return here;
    };
    wait->late = [] { return std::string("timeout: no host"); };
    wait->start(options.timeout_ms);
}

void quit(const call& in) {
    in.answer->ok();
    in.sim.loop().stop();
}

// What may follow a command's name, for completion.
enum class operand { none, command, name, settable_name, event, type, fault };

struct command_row {
    std::string_view name;
    size_t most_words;  // including the command; 0: any number
    void (*run)(const call& in);
    answer_kind answer;
    operand operands;
    std::string_view usage;
    std::string_view help;
};

using enum answer_kind;

// clang-format off
constexpr command_row kTable[] = {
    {"help",         2, help,         texts,   operand::command,       "[COMMAND]",       "this text, or of one command"},
    {"state",        1, state,        values,  operand::none,          "",                "the chip's state, one name=value a line"},
    {"get",          0, get,          values,  operand::name,          "NAME...",         "values of the state"},
    {"set",          0, set,          nothing, operand::settable_name, "NAME VALUE",      "change a value (forms below)"},
    {"event",        0, event,        nothing, operand::event,         "net ADDRESS/PREFIX [gw A] [dns A[,A]] [mac M] [state N]",
                                                                       "raise the network event; what is not named stays, state is 1"},
    {"event",        0, event,        nothing, operand::event,         "raw TYPE [HEX...]",
                                                                       "send a frame of any type with this payload"},
    {"raw",          0, raw,          nothing, operand::none,          "[HEX...]",        "send these bytes as one message, bypassing faults and silence"},
    {"frames",       2, frames,       texts,   operand::none,          "[N]",             "the journal's last lines (at most 2000 are kept)"},
    {"wait-frame",   0, wait_frame,   values,  operand::type,          "TYPE [count N] [timeout TIME]",
                                                                       "wait until N frames of the type (1) have come from the host since\n"
                                                                       "the start or \"forget\"; answers received=N and last=FRAME"},
    {"wait-host",    0, wait_host,    nothing, operand::none,          "[timeout TIME]",  "wait until a host holds port 1100"},
    {"forget",       1, forget,       nothing, operand::none,          "",                "forget the journal's lines and the counts of frames"},
    {"fault",        0, fault,        nothing, operand::fault,         "TYPE|any ACTION [ARG] [count N|forever]",
                                                                       "misbehave at the next N messages of the type (1)"},
    {"faults",       1, faults,       texts,   operand::none,          "",                "the rules in force"},
    {"clear-faults", 1, clear_faults, nothing, operand::none,          "",                "drop all rules (a silent chip stays silent)"},
    {"silent",       1, go_silent,    nothing, operand::none,          "",                "send nothing from now on; what comes in is still obeyed"},
    {"back",         1, come_back,    nothing, operand::none,          "",                "send again"},
    {"quit",         1, quit,         nothing, operand::none,          "",                "end the simulator"},
};
// clang-format on

const command_row& find_command(std::string_view name) {
    const auto found = std::ranges::find(kTable, name, &command_row::name);
    if (found == std::end(kTable)) {
        throw bad_value("command \"" + std::string(name) +
                        "\" is not known; \"help\" lists the commands");
    }
    return *found;
}

using word_list = std::vector<std::string>;

word_list property_names(bool settable) {
    word_list names;
    for (const property& each : properties()) {
        if (!settable || each.set != nullptr) {
            names.emplace_back(each.name);
        }
    }
    return names;
}

word_list type_names() {
    word_list names;
    for (const catalog::message& each : catalog::messages()) {
        names.emplace_back(each.name);
    }
    return names;
}

word_list command_names() {
    word_list names;
    for (const command_row& row : kTable) {
        names.emplace_back(row.name);
    }
    return names;
}

// `before`: the words after the command's name.
word_list fault_words(const word_list& before) {
    if (before.size() == 1) {
        return fault_actions();
    }
    word_list words = before.empty() ? type_names() : word_list{"count", "forever"};
    if (before.empty()) {
        words.emplace_back("any");
    }
    return words;
}

word_list operand_words(operand kind, const word_list& before) {
    const bool first = before.empty();
    switch (kind) {
        case operand::none:
            return {};
        case operand::command:
            return first ? command_names() : word_list{};
        case operand::name:
            return property_names(false);
        case operand::settable_name:
            return first ? property_names(true) : word_list{};
        case operand::event:
            return first                ? word_list{"net", "raw"}
                   : before[0] == "raw" ? type_names()
                                        : word_list{};
        case operand::type:
            return first ? type_names() : word_list{"count", "timeout"};
        case operand::fault:
            return fault_words(before);
    }
    return {};
}

std::string indented(std::string_view text) {
    std::string shown = "      ";
    for (const char c : text) {
        shown += c;
        shown += c == '\n' ? "      " : "";
    }
    return shown + "\n";
}

std::string usage_of(const command_row& row) {
    return "  " + std::string(row.name) + (row.usage.empty() ? "" : " ") + std::string(row.usage) +
           "\n" + indented(row.help);
}

void run_words(simulator& sim, const std::vector<std::string>& words,
               const std::shared_ptr<responder>& answer) {
    if (words.empty()) {
        throw bad_value("empty command; \"help\" lists the commands");
    }
    const command_row& row = find_command(words[0]);
    const call in{sim, words, answer};
    if (row.most_words != 0 && words.size() > row.most_words) {
        misused(in, row.usage);
    }
    row.run(in);
}

}  // namespace

void run_command(simulator& sim, std::string_view line, const std::shared_ptr<responder>& answer) {
    try {
        run_words(sim, split_words(line), answer);
    } catch (const bad_value& problem) {
        answer->error(problem.what());
    }
}

answer_kind answer_of(std::string_view command) {
    const auto found = std::ranges::find(kTable, command, &command_row::name);
    return found == std::end(kTable) ? nothing : found->answer;
}

std::vector<std::string> control_words(const std::vector<std::string>& before) {
    if (before.empty()) {
        return command_names();
    }
    const auto found = std::ranges::find(kTable, before[0], &command_row::name);
    return found == std::end(kTable)
               ? word_list{}
               : operand_words(found->operands, {before.begin() + 1, before.end()});
}

std::string control_help(std::string_view command) {
    std::string text;
    for (const command_row& row : kTable) {
        text += row.name == find_command(command).name ? usage_of(row) : "";
    }
    return text;
}

std::string control_help() {
    std::string text = "Commands:\n";
    for (const command_row& row : kTable) {
        text += usage_of(row);
    }
    text += "TYPE is a message type in hexadecimal (84, 0x84) or its name (get_time); TIME is a\n";
    text += "number of milliseconds, or one with its unit (300ms, 1.5s).\n";
    text += "Fault actions:\n" + fault_help();
    text += "Values that can be set:\n";
    for (const property& each : properties()) {
        if (each.set != nullptr) {
            const std::string size =
                each.octets == 0 ? "" : " (" + std::to_string(each.octets) + " bytes)";
            text +=
                "  " + std::string(each.name) + " " + std::string(each.value_help) + size + "\n";
        }
    }
    return text;
}

}  // namespace quon::sim
