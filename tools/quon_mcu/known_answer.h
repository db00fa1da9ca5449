// Answers, and how much of them is known to be one.
#pragma once

#include <string_view>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/present.h"

namespace quon::client {

struct known_answer {
    byte_list payload;      // as it came
    byte_list fields;       // the same, cleared where something else tells that it is nothing
    std::string_view zero;  // what a zero up to the end of an answer may mean (see present.h)
};

// As bus_session::query. Asks further services where they tell more: a clock that may have sent no
// seconds is asked again a second later, and a time since the snapshot means nothing before there
// is one.
known_answer ask(output& out, bus_session& bus, const catalog::service& service, byte_view request);

json known_json(const catalog::service& service, const known_answer& answer);

// The answer in the output's mode; `document` is what --json prints.
void show_known(output& out, const catalog::service& service, const known_answer& answer,
                const json& document);

}  // namespace quon::client
