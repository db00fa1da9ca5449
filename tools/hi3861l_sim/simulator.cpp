#include "simulator.h"

#include <algorithm>

#include "answers.h"
#include "text_values.h"

namespace quon::sim {

byte_list make_frame(uint8_t type, byte_view payload) {
    byte_list frame(kHi3861lFrameHeadSize + payload.size());
    frame[0] = type;
    put_le(frame, 1, 4, static_cast<uint32_t>(payload.size()));
    std::copy(payload.begin(), payload.end(), frame.begin() + kHi3861lFrameHeadSize);
    return frame;
}

simulator::simulator(event_loop& loop, transport& link, journal& log)
    : loop_(loop), link_(link), log_(log) {
    link_.on_message([this](byte_view frame) { take_frame(frame); });
    link_.on_note([this](const std::string& what) {
        log_.note(what);
        tell_watchers();
    });
}

void simulator::take_frame(byte_view frame) {
    frames_in_++;
    log_.frame(true, frame);
    const bool whole = frame.size() >= kHi3861lFrameHeadSize &&
                       get_le(frame, 1, 4) == frame.size() - kHi3861lFrameHeadSize;
    if (whole) {
        const uint8_t type = frame[0];
        received_[type]++;
        last_[type].assign(frame.begin(), frame.end());
        take_message(type, frame.subspan(kHi3861lFrameHeadSize));
    }
    tell_watchers();
}

void simulator::take_message(uint8_t type, byte_view payload) {
    if (!faults_.pass(type)) {
        log_.note(show_type(type) + " lost (fault drop)");
        return;
    }
    const outcome result = answer_message(chip_, type, payload, event_loop::clock::now());
    if (!result.remark.empty()) {
        log_.note(show_type(type) + " " + result.remark);
    }
    if (learned_ && has_answer(type)) {
        answer_as_learned(type, result.answer);
    } else if (result.answer) {
        (void)send_shaped(type, make_frame(type, *result.answer));
    }
}

void simulator::replay(learned_chip learned) {
    log_.note(learned.summary());
    if (learned.lacks_questions()) {
        log_.note("the log has no questions: answers come at once");
    }
    learned_ = std::move(learned);
    replayed_.fill(0);
}

void simulator::answer_as_learned(uint8_t type, const std::optional<byte_list>& usual) {
    const auto learned = learned_->next_answer(type);
    if (!learned) {
        log_.note(show_type(type) + " is not in the learned log, answered from the state");
        if (usual) {
            (void)send_shaped(type, make_frame(type, *usual));
        }
    } else if (learned->is_silence) {
        log_.note(show_type(type) + " had no answer in the learned log");
    } else {
        keep_learned(type, learned->payload);
        const byte_list frame = make_frame(type, learned->payload);
        if (learned->delay_ms == 0) {
            (void)send_shaped(type, frame);
        } else {
            loop_.after(std::chrono::milliseconds(learned->delay_ms),
                        [this, type, frame] { (void)send_shaped(type, frame); });
        }
    }
    raise_learned_events(type);
}

// The chip's last answers become its state at the end of the log.
void simulator::keep_learned(uint8_t type, byte_view payload) {
    if (type == HI3861L_GET_TIME && payload.size() == kMcuTimeSize) {
        chip_.clock.set(payload, event_loop::clock::now());
        return;
    }
    byte_list& record = chip_.records.at(catalog::find_message(type)->reply->name);
    std::ranges::fill(record, uint8_t{0});
    std::ranges::copy(payload.first(std::min(payload.size(), record.size())), record.begin());
}

void simulator::raise_learned_events(uint8_t type) {
    for (const learned_event& each : learned_->events_after(type, ++replayed_[type])) {
        loop_.after(std::chrono::milliseconds(each.delay_ms),
                    [this, each] { (void)send_made(each.frame); });
    }
}

delivery simulator::send_frame(uint8_t type, byte_view payload) {
    return send_made(make_frame(type, payload));
}

delivery simulator::send_made(const byte_list& frame) {
    const uint8_t type = frame[0];
    if (!faults_.pass(type)) {
        log_.note(show_type(type) + " lost (fault drop)");
        return delivery::sent;
    }
    return send_shaped(type, frame);
}

delivery simulator::send_shaped(uint8_t type, byte_list frame) {
    const shaped_frame shaped = faults_.shape(type, std::move(frame));
    const std::string remark = shaped.faults.empty() ? "" : "fault " + shaped.faults;
    if (shaped.delay_ms != 0) {
        loop_.after(std::chrono::milliseconds(shaped.delay_ms), [this, shaped, remark] {
            for (int i = 0; i < shaped.copies; i++) {
                (void)transmit(shaped.frame, remark);
            }
        });
        return delivery::sent;
    }
    delivery result = delivery::sent;
    for (int i = 0; i < shaped.copies; i++) {
        result = transmit(shaped.frame, remark);
    }
    return result;
}

delivery simulator::transmit(byte_view frame, const std::string& remark) {
    if (faults_.silent()) {
        log_.note("silent, not sent: " + describe_frame(false, frame));
        return delivery::sent;
    }
    const delivery result = link_.send(frame);
    if (result == delivery::sent) {
        frames_out_++;
        log_.frame(false, frame, remark);
    } else {
        log_.note(show_delivery(result) + ": " + describe_frame(false, frame));
    }
    return result;
}

delivery simulator::send_raw(byte_view message) {
    const delivery result = link_.send(message);
    if (result == delivery::sent) {
        frames_out_++;
        log_.frame(false, message, "raw");
    } else {
        log_.note(show_delivery(result) + ": raw " + show_hex(message));
    }
    return result;
}

void simulator::forget_frames() {
    received_.fill(0);
    std::ranges::for_each(last_, [](byte_list& frame) { frame.clear(); });
    frames_in_ = 0;
    frames_out_ = 0;
    log_.forget();
}

simulator::watch_id simulator::watch_changes(std::function<bool()> changed) {
    watchers_.emplace_back(++last_watch_, std::move(changed));
    return last_watch_;
}

void simulator::cancel_watch(watch_id watch) {
    std::erase_if(watchers_, [watch](const auto& entry) { return entry.first == watch; });
}

void simulator::tell_watchers() {
    std::erase_if(watchers_, [](const auto& entry) { return entry.second(); });
}

}  // namespace quon::sim
