#include "quon_mcu/exchanges.h"

#include <algorithm>
#include <sstream>

#include "hi3861l_protocol.h"
#include "quon_mcu/log_input.h"
#include "quon_mcu/names.h"
#include "quon_mcu_services.h"

namespace quon::client {
namespace {

constexpr std::string_view kFailed = "] failed";
constexpr std::string_view kStart = "hi3861l_wlan_init_mac";

struct handler_name {
    std::string_view handler;
    std::string_view service;
};
#define HANDLER_NAME(index, name, handler) {#handler, name},
constexpr handler_name kHandlers[] = {QUON_MCU_SERVICES(HANDLER_NAME)};
#undef HANDLER_NAME

// Called by the start too, whose failures the log shows with the same two lines.
constexpr std::string_view kAskedByTheStart[] = {
    "quon_mcu_get_wakeup_info", "quon_mcu_get_time",      "quon_mcu_get_battery_status",
    "quon_mcu_get_wifi_status", "quon_mcu_get_wifi_info", "quon_mcu_get_store_params",
    "quon_mcu_get_version",
};

// The chip message that a driver's function sends; the function's name if unknown.
std::string asked_with(std::string_view function) {
    const catalog::message* found = catalog::message_asked_by(function);
    return std::string(found == nullptr ? function : found->name);
}

// The time before the line, otherwise the line's own "[02-03 04:05:06.789]".
std::string time_of_line(std::string_view text) {
    const size_t bracket = text.find('[', text.find('/'));
    const std::string before = time_in(text.substr(0, text.find("E/")));
    if (!before.empty() || bracket == std::string_view::npos) {
        return before;
    }
    return std::string(text.substr(bracket + 1, text.find(']', bracket) - bracket - 1));
}

std::string asker_of(std::string_view function) {
    if (function == kStart) {
        return "the daemon's start";
    }
    const auto row = std::ranges::find_if(kHandlers, [function](const handler_name& each) {
        return catalog::is_logged_function(function, each.handler);
    });
    const catalog::service* service =
        row == std::end(kHandlers) ? nullptr : catalog::find_service(row->service);
    if (service == nullptr) {
        return "";
    }
    const bool is_of_start = std::ranges::count(kAskedByTheStart, row->handler) != 0;
    return std::string(short_name(*service)) + (is_of_start ? " or the daemon's start" : "");
}

// "0x84 get_time len 10 year=26 ..." as an exchange's name and words.
exchange read_words(const logged_frame& frame) {
    const std::string text =
        frame.bytes.empty()
            ? frame.text
            : describe_frame(frame.way, frame.bytes).substr(std::size("host->chip ") - 1);
    std::istringstream words(text);
    std::string type;
    std::string length;
    exchange read{.kind = exchange_kind::broken, .name = text, .time = frame.time};
    read.at_us = time_of_day(frame.time);
    std::string name;
    if (words >> type >> name >> length >> length && type.starts_with("0x")) {
        read.name = name == "unknown" ? type : name;
        words >> std::ws;
        std::getline(words, read.question);
        read.kind =
            read.question.starts_with("malformed") ? exchange_kind::broken : exchange_kind::query;
    }
    return read;
}

bool awaits_answer(std::string_view name) {
    const auto all = catalog::messages();
    const auto found = std::ranges::find(all, name, &catalog::message::name);
    return found == all.end() || found->timeout_ms != 0;
}

}  // namespace

exchange_reader::exchange_reader(std::function<void(const exchange&)> found)
    : found_(std::move(found)), decoder_([this](const logged_frame& each) { frame(each); }) {}

void exchange_reader::line(std::string_view text) {
    decoder_.line(text);
    if (text.find(kFailed) != std::string_view::npos) {
        failure_line(text);
    }
}

void exchange_reader::end() {
    decoder_.end();
    give_up();
}

void exchange_reader::idle() {
    decoder_.idle();
    if (failed_ && !open_->asked_by.empty()) {
        give_up();
    }
}

void exchange_reader::frame(const logged_frame& frame) {
    has_questions_ = has_questions_ || frame.way == catalog::direction::to_chip;
    if (failed_ && !has_questions_) {
        give_up();  // no question will end it
    }
    exchange read = read_words(frame);
    if (read.kind == exchange_kind::broken) {
        found_(read);
    } else if (frame.way == catalog::direction::to_chip) {
        const bool is_awaited = awaits_answer(read.name);
        question(std::move(read), is_awaited);
    } else {
        answer(read);
    }
}

void exchange_reader::question(exchange asked, bool is_awaited) {
    give_up();
    if (is_awaited) {
        open_ = std::move(asked);
        return;
    }
    asked.kind = exchange_kind::command;
    found_(asked);
}

void exchange_reader::answer(const exchange& given) {
    if (open_ && !failed_ && open_->name == given.name) {
        open_->answer = given.question;
        if (open_->at_us && given.at_us) {
            open_->for_us = elapsed_us(*open_->at_us, *given.at_us);
        }
        found_(*open_);
        open_.reset();
        return;
    }
    exchange alone = given;
    alone.kind = given.name.starts_with("event_") ? exchange_kind::event : exchange_kind::answer;
    alone.answer = alone.question;
    alone.question.clear();
    found_(alone);
}

// The driver's line says that there was no answer; the handler's next line names the service.
void exchange_reader::failure_line(std::string_view text) {
    const std::string_view function = catalog::logged_function(text);
    if (catalog::says_no_answer(text)) {
        if (open_ && (failed_ || open_->name != asked_with(function))) {
            give_up();
        }
        if (!open_) {
            open_ = exchange{.kind = exchange_kind::query,
                             .name = asked_with(function),
                             .time = time_of_line(text)};
            open_->at_us = time_of_day(text);
        }
        failed_ = true;
        return;
    }
    if (failed_ && open_->asked_by.empty()) {
        open_->asked_by = asker_of(function);
    }
}

void exchange_reader::give_up() {
    if (open_) {
        found_(*open_);
        open_.reset();
    }
    failed_ = false;
}

std::string exchange_text(const exchange& what) {
    const bool is_plain = what.question.empty() || what.question == "empty";
    std::string text = what.name + (is_plain ? "" : " " + what.question);
    switch (what.kind) {
        case exchange_kind::broken:
            return text;
        case exchange_kind::event:
            return what.name + " (event) " + *what.answer;
        case exchange_kind::command:
            return text + (is_plain ? " (command)" : "");
        case exchange_kind::query:
        case exchange_kind::answer:
            break;
    }
    text += " -> " + what.answer.value_or("no answer");
    if (what.for_us) {
        text += " (" + ms_text(*what.for_us) + ")";
    }
    return what.asked_by.empty() ? text : text + " (asked by " + what.asked_by + ")";
}

}  // namespace quon::client
