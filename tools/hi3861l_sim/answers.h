// What the simulated chip does with each message and what it answers: generated from the catalog,
// with one table for the special ones.
#pragma once

#include <optional>
#include <string>

#include "chip_state.h"
#include "shared/bytes.h"

namespace quon::sim {

struct outcome {
    std::optional<byte_list> answer;  // body of the answer, which has the request's type
    std::string remark;               // for the journal; may be empty
};

// Whether a request of this type is answered.
bool has_answer(uint8_t type);

outcome answer_message(chip_state& chip, uint8_t type, byte_view payload,
                       chip_clock::time_point now);

// The default behaviour: a query is answered with its record, a set command stores its record. The
// state must have that record.
outcome answer_by_catalog(chip_state& chip, const catalog::message& message, byte_view payload);

}  // namespace quon::sim
