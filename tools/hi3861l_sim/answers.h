// What the simulated chip does with each message and what it answers: one table by message type.
#pragma once

#include <optional>
#include <string>

#include "bytes.h"
#include "chip_state.h"

namespace quon::sim {

struct outcome {
    std::optional<bytes> answer;  // body of the answer, which has the request's type
    std::string remark;           // for the journal, when there is something to say
};

// Whether a request of this type is answered.
bool has_answer(uint8_t type);

outcome answer_message(chip_state& chip, uint8_t type, bytes_view payload,
                       chip_clock::time_point now);

}  // namespace quon::sim
