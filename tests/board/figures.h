// A process's figures, as /proc shows them.
#pragma once

#include <cstdint>

namespace quon::board {

struct Figures {
    long rss_kb = 0;
    long private_dirty_kb = 0;  // on a board that runs from memory, code counts too
    long anonymous_kb = 0;      // changed pages alone
    long threads = 0;
};

Figures figures_of(int pid);

// How often the scheduler gave one of its threads the processor after a wait, since they began.
uint64_t wake_ups_of(int pid);

}  // namespace quon::board
