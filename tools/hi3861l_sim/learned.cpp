#include "learned.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "answers.h"
#include "catalog/log_decoder.h"
#include "hi3861l_protocol.h"
#include "shared/failure.h"
#include "shared/files.h"
#include "shared/times.h"
#include "text_values.h"

namespace quon::sim {
namespace {

constexpr int64_t kUsPerMs = 1000;

using moment = std::optional<int64_t>;

uint32_t delay_between(const moment& from, const moment& to) {
    if (!from || !to) {
        return 0;
    }
    return static_cast<uint32_t>(std::max<int64_t>(elapsed_us(*from, *to), 0) / kUsPerMs);
}

bool is_whole(byte_view frame) {
    return frame.size() >= kHi3861lFrameHeadSize &&
           get_le(frame, 1, 4) == frame.size() - kHi3861lFrameHeadSize;
}

byte_list payload_of(byte_view frame) {
    return {frame.begin() + kHi3861lFrameHeadSize, frame.end()};
}

}  // namespace

// One pass over the lines. A query is one that the log shows, or one implied by an answer without a
// query.
class log_student {
  public:
    explicit log_student(learned_chip& chip)
        : chip_(chip), decoder_([this](const catalog::logged_frame& each) { frame(each); }) {}

    void line(const std::string& text) {
        decoder_.line(text);
        if (!has_questions_ && catalog::says_no_answer(text)) {
            const auto* message = catalog::message_asked_by(catalog::logged_function(text));
            if (message != nullptr) {
                ask(message->type, time_of_day(text));
                add({.is_silence = true, .payload = {}, .delay_ms = 0});
            }
        }
    }

    void end() { decoder_.end(); }

  private:
    void frame(const catalog::logged_frame& logged) {
        const auto bytes = logged.bytes.empty() ? catalog::frame_of_words(logged.way, logged.text)
                                                : std::optional(logged.bytes);
        if (!bytes || !is_whole(*bytes)) {
            ++chip_.misunderstood_;
            return;
        }
        const moment at = time_of_day(logged.time);
        if (logged.way == catalog::direction::to_chip) {
            has_questions_ = true;
            question((*bytes)[0], at);
        } else if ((*bytes)[0] <= HI3861L_EVENT_5) {
            event(*bytes, at);
        } else {
            answer(*bytes, at);
        }
    }

    void question(uint8_t type, const moment& at) {
        if (is_open_) {
            add({.is_silence = true, .payload = {}, .delay_ms = 0});
        }
        if (has_answer(type)) {
            ask(type, at);
        }
    }

    void ask(uint8_t type, const moment& at) {
        asked_ = type;
        asked_at_ = at;
        ++counts_[type];
        is_open_ = true;
    }

    void answer(byte_view frame, const moment& at) {
        if (!is_open_ || asked_ != frame[0]) {
            if (has_questions_) {
                return;  // too late for its query
            }
            ask(frame[0], at);
        }
        add({.is_silence = false,
             .payload = payload_of(frame),
             .delay_ms = delay_between(asked_at_, at)});
    }

    void add(learned_answer given) {
        chip_.waiting_[asked_].push_back(std::move(given));
        ++chip_.answers_;
        is_open_ = false;
    }

    void event(byte_view frame, const moment& at) {
        chip_.events_.push_back(
            {asked_, counts_[asked_], {frame[0], payload_of(frame), delay_between(asked_at_, at)}});
    }

    learned_chip& chip_;
    catalog::log_decoder decoder_;
    std::array<size_t, 256> counts_{};
    uint8_t asked_ = HI3861L_GET_NET_INFO;  // the first query of any daemon
    moment asked_at_;
    bool is_open_ = false;
    bool has_questions_ = false;
};

void learned_chip::read(std::istream& log) {
    log_student student(*this);
    for (std::string line; read_line(log, line);) {
        student.line(line);
    }
    student.end();
}

std::optional<learned_answer> learned_chip::next_answer(uint8_t type) {
    auto& waiting = waiting_[type];
    if (waiting.empty()) {
        return std::nullopt;
    }
    learned_answer next = std::move(waiting.front());
    waiting.pop_front();
    return next;
}

// An event before the first query is attached to that query.
std::vector<learned_event> learned_chip::events_after(uint8_t type, size_t count) const {
    std::vector<learned_event> found;
    for (const hung_event& each : events_) {
        if (each.anchor == type && std::max<size_t>(each.count, 1) == count) {
            found.push_back(each.event);
        }
    }
    return found;
}

std::string learned_chip::summary() const {
    const auto counted = [](size_t number, const std::string& what) {
        return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
    };
    return counted(answers_, "answer") + " and " + counted(events_.size(), "event") + " learned" +
           (misunderstood_ == 0 ? "" : ", " + counted(misunderstood_, "frame") + " not understood");
}

learned_chip learn_log(const std::string& path) {
    errno = 0;
    std::ifstream in(path);
    learned_chip chip;
    try {
        chip.read(in);
    } catch (const failure& error) {
        throw bad_value("'" + path + "': " + error.what());
    }
    if (!in.is_open() || in.bad()) {
        throw bad_value("cannot read '" + path + "': " + std::strerror(errno));
    }
    if (chip.empty()) {
        throw bad_value("'" + path +
                        "' has nothing to learn from: no frame of a journal, and no dump of a "
                        "daemon at log level debug");
    }
    return chip;
}

}  // namespace quon::sim
