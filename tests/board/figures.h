// A process's figures, as /proc shows them.
#pragma once

#include <cstdint>

namespace quon::board {

struct Figures {
    long rss_kb = 0;
    long private_dirty_kb = 0;  // on a board that runs from memory this includes code
    long anonymous_kb = 0;      // changed pages only
    long threads = 0;
};

Figures figures_of(int pid);

// How often its threads have been given a processor after a wait, in total.
uint64_t wake_ups_of(int pid);

}  // namespace quon::board
