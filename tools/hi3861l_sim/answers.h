// What the simulated chip does with each message and what it answers: the catalog, and one table of
// the messages that are special.
#pragma once

#include <optional>
#include <string>

#include "chip_state.h"
#include "shared/bytes.h"

namespace quon::sim {

struct outcome {
    std::optional<byte_list> answer;  // body of the answer, which has the request's type
    std::string remark;               // for the journal, when there is something to say
};

// Whether a request of this type is answered.
bool has_answer(uint8_t type);

outcome answer_message(chip_state& chip, uint8_t type, byte_view payload,
                       chip_clock::time_point now);

// What a message does that is not told apart from others of its kind: a query is answered with its
// record, a set command stores its own. The state must know the record.
outcome answer_by_catalog(chip_state& chip, const catalog::message& message, byte_view payload);

}  // namespace quon::sim
