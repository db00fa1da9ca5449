// The simulated chip as a whole: takes the host's frames, answers them and raises events, applying
// the faults and keeping the journal.
#pragma once

#include <array>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "chip_state.h"
#include "event_loop.h"
#include "faults.h"
#include "journal.h"
#include "learned.h"
#include "transport.h"

namespace quon::sim {

class simulator {
  public:
    simulator(event_loop& loop, transport& link, journal& log);

    [[nodiscard]] chip_state& chip() { return chip_; }
    [[nodiscard]] fault_table& faults() { return faults_; }
    [[nodiscard]] journal& log() { return log_; }
    [[nodiscard]] event_loop& loop() { return loop_; }
    [[nodiscard]] const transport& link() const { return link_; }

    // From now on answers and raises events like that chip; anything not learned is answered from
    // the state, with a note in the journal.
    void replay(learned_chip learned);

    // Sends an event, or any other unsolicited frame. Faults apply. Returns whether it was sent,
    // and `sent` if a fault or silence suppressed it.
    delivery send_frame(uint8_t type, byte_view payload);

    // Sends any bytes as one message, bypassing faults and silence.
    delivery send_raw(byte_view message);

    // Well-formed frames of a type received since the start or since forget_frames().
    [[nodiscard]] uint64_t received(uint8_t type) const { return received_[type]; }
    [[nodiscard]] const byte_list& last_frame(uint8_t type) const { return last_[type]; }
    [[nodiscard]] uint64_t frames_in() const { return frames_in_; }
    [[nodiscard]] uint64_t frames_out() const { return frames_out_; }
    void forget_frames();

    // Calls `changed` after every frame from the host and whenever a host comes or goes, until it
    // returns true or `cancel_watch` is called.
    using watch_id = uint64_t;
    watch_id watch_changes(std::function<bool()> changed);
    void cancel_watch(watch_id watch);

  private:
    void take_frame(byte_view frame);
    void take_message(uint8_t type, byte_view payload);
    void answer_as_learned(uint8_t type, const std::optional<byte_list>& usual);
    void keep_learned(uint8_t type, byte_view payload);
    void raise_learned_events(uint8_t type);
    delivery send_made(const byte_list& frame);
    delivery send_shaped(uint8_t type, byte_list frame);
    delivery transmit(byte_view frame, const std::string& remark);
    void tell_watchers();

    event_loop& loop_;
    transport& link_;
    journal& log_;
    chip_state chip_;
    fault_table faults_;
    std::optional<learned_chip> learned_;
    std::array<size_t, 256> replayed_{};  // queries since it was learned
    std::array<uint64_t, 256> received_{};
    std::array<byte_list, 256> last_;
    uint64_t frames_in_ = 0;
    uint64_t frames_out_ = 0;
    std::list<std::pair<watch_id, std::function<bool()>>> watchers_;
    watch_id last_watch_ = 0;
};

// Type, length, payload.
byte_list make_frame(uint8_t type, byte_view payload);

}  // namespace quon::sim
