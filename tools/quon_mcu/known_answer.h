// Answers, with the part of them that is known to be valid.
#pragma once

#include <string_view>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/present.h"

namespace quon::client {

struct known_answer {
    byte_list payload;      // as received
    byte_list fields;       // the same, zeroed where another query shows that there is no value
    std::string_view zero;  // what a zero at the end of an answer may mean (see present.h)
};

// Like bus_session::query. Makes further queries if they help: a clock that may not have sent
// seconds is queried again a second later, and the time since the snapshot is meaningless before
// there is one.
known_answer ask(output& out, bus_session& bus, const catalog::service& service, byte_view request);

json known_json(const catalog::service& service, const known_answer& answer);

// Prints the answer in the output's mode; `document` is printed for --json.
void show_known(output& out, const catalog::service& service, const known_answer& answer,
                const json& document);

}  // namespace quon::client
