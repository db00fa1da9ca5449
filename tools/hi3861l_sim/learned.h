// A chip's behaviour, taken from a camera's log or a journal, to be repeated.
#pragma once

#include <array>
#include <deque>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "shared/bytes.h"

namespace quon::sim {

struct learned_answer {
    bool is_silence = false;  // the chip did not answer
    byte_list payload;
    uint32_t delay_ms = 0;  // after the query; 0 if the log does not show it
};

// Anything that was no answer to the open query: an event, a late or doubled answer, one that
// nobody asked for, or a cut frame.
struct learned_event {
    byte_list frame;    // as it stands, with its head; not empty
    uint32_t delay_ms;  // after the query that it is attached to
};

class learned_chip {
  public:
    // Reads the hex dumps of a daemon's log, or a journal. In a journal, a query without an answer
    // was not answered; in a daemon's log the driver's line says so.
    void read(std::istream& log);

    // The next answer to a query of this type; nothing if the log has no more.
    std::optional<learned_answer> next_answer(uint8_t type);

    // The events after the query that is now being made, the `count`th of its type.
    std::vector<learned_event> events_after(uint8_t type, size_t count) const;

    [[nodiscard]] bool empty() const { return answers_ == 0 && events_.empty(); }
    // Whether it is a daemon's log: its answers have no query to be late after.
    [[nodiscard]] bool lacks_questions() const { return !has_questions_; }
    // "12 answers and 3 events learned, 2 frames out of turn, 1 frame not understood".
    [[nodiscard]] std::string summary() const;

  private:
    friend class log_student;
    struct hung_event {
        uint8_t anchor;  // type of a query
        size_t count;    // which of this type, from 1
        learned_event event;
    };

    std::array<std::deque<learned_answer>, 256> waiting_;
    std::vector<hung_event> events_;
    size_t answers_ = 0;
    size_t out_of_turn_ = 0;  // of events_: those that are no events
    size_t misunderstood_ = 0;
    bool has_questions_ = false;
};

// Throws bad_value if the file cannot be read or has nothing to learn from.
learned_chip learn_log(const std::string& path);

}  // namespace quon::sim
