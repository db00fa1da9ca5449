// The start of a camera, step by step, out of logs that have times.
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

// Gathers the steps from lines of one start, in any order: a journal has the queries and the
// network event, the daemon's kept log the network's commands and the hand-off, strace -f -ttt the
// start of the program and of its commands, and the sockets. What comes after the start is left
// alone: a second start, repeated steps, queries after the snapshot's last.
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
        int64_t for_us;  // negative: up to the next
    };

    void add_line_marks(std::string_view text);
    void add_exchange(const exchange& what);
    std::vector<mark> start_alone() const;

    exchange_reader exchanges_;
    std::vector<mark> marks_;
};

// A row a step, with a bar; several starts side by side, a column each.
std::string timeline_text(const std::vector<timeline>& starts);
nlohmann::ordered_json timeline_json(const timeline& start);

// The same as a picture, one lane a start, all on one scale.
std::string timeline_svg(const std::vector<timeline>& starts);

}  // namespace quon::client
