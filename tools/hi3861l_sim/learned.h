// What a chip did, out of a log of a camera or a journal, to be done again.
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
    bool is_silence = false;  // the chip gave no answer
    byte_list payload;
    uint32_t delay_ms = 0;  // after the question; 0 where the log does not tell
};

struct learned_event {
    uint8_t type;
    byte_list payload;
    uint32_t delay_ms;  // after the question that it is hung on
};

class learned_chip {
  public:
    // Reads the hex dumps of a daemon's log, or a journal. In a journal a question without its
    // answer had none; in a daemon's log the driver's line says so.
    void read(std::istream& log);

    // The next answer to a question of this type; nothing when the log holds no further one.
    std::optional<learned_answer> next_answer(uint8_t type);

    // The events that came after the question that is now being asked, the `count`th of its type.
    std::vector<learned_event> events_after(uint8_t type, size_t count) const;

    [[nodiscard]] bool empty() const { return answers_ == 0 && events_.empty(); }
    // "12 answers and 3 events learned, 1 frame not understood".
    [[nodiscard]] std::string summary() const;

  private:
    friend class log_student;
    struct hung_event {
        uint8_t anchor;  // type of a question
        size_t count;    // which of this type, from 1
        learned_event event;
    };

    std::array<std::deque<learned_answer>, 256> waiting_;
    std::vector<hung_event> events_;
    size_t answers_ = 0;
    size_t misunderstood_ = 0;
};

// Throws bad_value when the file cannot be read or holds nothing to learn.
learned_chip learn_log(const std::string& path);

}  // namespace quon::sim
