#include "learned.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "answers.h"
#include "catalog/log_decoder.h"
#include "hi3861l_protocol.h"
#include "shared/failure.h"
#include "shared/files.h"
#include "shared/times.h"
#include "shared/values.h"
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

// The bytes of a malformed frame in the journal's words: "malformed, 2 bytes 8400", "0x84 get_time
// len 3 malformed, 1 payload bytes 00".
byte_list cut_frame(const std::string& words) {
    std::istringstream parts(words.substr(0, words.find(" (")));
    std::vector<std::string> all;
    for (std::string word; parts >> word;) {
        all.push_back(word);
    }
    byte_list frame;
    try {
        if (all.size() == 4 && all[0] == "malformed,") {
            return quon::parse_hex(all[3]);
        }
        if (all.size() < 8 || all[4] != "malformed,") {
            return {};
        }
        const byte_list payload = all.size() == 8 ? byte_list{} : quon::parse_hex(all[8]);
        if (all[5] != std::to_string(payload.size())) {
            return {};
        }
        frame.resize(kHi3861lFrameHeadSize);
        frame[0] = static_cast<uint8_t>(quon::parse_number(all[0], 0, UINT8_MAX));
        put_le(frame, 1, 4, static_cast<uint32_t>(quon::parse_number(all[3], 0, UINT32_MAX)));
        frame.insert(frame.end(), payload.begin(), payload.end());
    } catch (const failure&) {
        return {};
    }
    return frame;
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
        if (!chip_.has_questions_ && catalog::says_no_answer(text)) {
            const auto* message = catalog::message_asked_by(catalog::logged_function(text));
            if (message != nullptr) {
                if (!is_open_ || asked_ != message->type) {
                    ask(message->type, time_of_day(text));
                }
                add({.is_silence = true, .payload = {}, .delay_ms = 0});
            }
        }
    }

    // A query at the end may have been answered later, unless the log shows what came instead.
    void end() {
        decoder_.end();
        if (is_open_ && is_spoilt_) {
            add({.is_silence = true, .payload = {}, .delay_ms = 0});
        }
    }

  private:
    void frame(const catalog::logged_frame& logged) {
        const auto bytes = logged.bytes.empty() ? catalog::frame_of_words(logged.way, logged.text)
                                                : std::optional(logged.bytes);
        const moment at = time_of_day(logged.time);
        if (!bytes || !is_whole(*bytes)) {
            cut(logged.way, bytes ? *bytes : cut_frame(logged.text), at);
            return;
        }
        if (logged.way == catalog::direction::to_chip) {
            chip_.has_questions_ = true;
            question((*bytes)[0], at);
        } else if ((*bytes)[0] <= HI3861L_EVENT_5) {
            hang(*bytes, at);
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

    void cut(catalog::direction way, const byte_list& frame, const moment& at) {
        if (way == catalog::direction::to_chip || frame.empty()) {
            ++chip_.misunderstood_;
            return;
        }
        const bool is_asked = is_open_ && asked_ == frame[0];
        if (!is_asked && !chip_.has_questions_ && has_answer(frame[0])) {
            ask(frame[0], at);
        }
        is_spoilt_ = is_spoilt_ || (is_open_ && asked_ == frame[0]);
        out_of_turn(frame, at);
    }

    void ask(uint8_t type, const moment& at) {
        if (is_open_) {
            add({.is_silence = true, .payload = {}, .delay_ms = 0});
        }
        asked_ = type;
        asked_at_ = at;
        ++counts_[type];
        is_open_ = true;
    }

    void answer(byte_view frame, const moment& at) {
        if (!is_open_ || asked_ != frame[0]) {
            if (chip_.has_questions_ || !has_answer(frame[0])) {
                out_of_turn(frame, at);
                return;
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
        is_spoilt_ = false;
    }

    void out_of_turn(byte_view frame, const moment& at) {
        ++chip_.out_of_turn_;
        hang(frame, at);
    }

    void hang(byte_view frame, const moment& at) {
        chip_.events_.push_back({asked_,
                                 counts_[asked_],
                                 {{frame.begin(), frame.end()}, delay_between(asked_at_, at)}});
    }

    learned_chip& chip_;
    catalog::log_decoder decoder_;
    std::array<size_t, 256> counts_{};
    uint8_t asked_ = HI3861L_GET_NET_INFO;  // the first query of any daemon
    moment asked_at_;
    bool is_open_ = false;
    bool is_spoilt_ = false;  // a cut frame came as the open query's answer
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
    const size_t events = events_.size() - out_of_turn_;
    return counted(answers_, "answer") + " and " + counted(events, "event") + " learned" +
           (out_of_turn_ == 0 ? "" : ", " + counted(out_of_turn_, "frame") + " out of turn") +
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
