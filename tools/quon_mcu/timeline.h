// A camera's start-up, step by step, from logs with times.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "quon_mcu/exchanges.h"
#include "shared/json_text.h"

namespace quon::client {

enum class step_kind { start, query, network, connection };

struct timeline_step {
    std::string name;
    step_kind kind;
    int64_t at_us = 0;   // since the first step
    int64_t for_us = 0;  // up to its own end, or to the next step
};

struct timeline {
    std::string title;
    std::vector<timeline_step> steps;
    int64_t total_us = 0;  // up to the end of the last one

    double share_of(const timeline_step& step) const;  // in percent
};

// Collects the steps from the lines of one start, in any order: a journal has the queries and the
// network event, the daemon's stored log has the network's commands and the hand-off, strace -f
// -ttt has the start of the program and of its commands, and the sockets. What comes after the
// start is ignored: a second start, repeated steps, queries after the snapshot's last one.
class timeline_reader {
  public:
    timeline_reader();

    void line(std::string_view text);
    timeline end(const std::string& title);

  private:
    struct mark {
        std::string name;
        step_kind kind;
        int64_t at_us;   // time of day
        int64_t for_us;  // negative: up to the next step
    };

    void add_line_marks(std::string_view text);
    void add_exchange(const exchange& what);
    std::vector<mark> start_alone() const;

    exchange_reader exchanges_;
    std::vector<mark> marks_;
};

// One row per step, with a bar; several starts side by side, one column each.
std::string timeline_text(const std::vector<timeline>& starts);
nlohmann::ordered_json timeline_json(const timeline& start);

// The same as a picture, one lane per start, all on one scale.
std::string timeline_svg(const std::vector<timeline>& starts);

}  // namespace quon::client
