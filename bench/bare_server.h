// The least that answers calls within the bus's own rules: a thread for each record, the pause, one
// write under a lock. It looks nothing up, and a peer that does not read holds up all others.
#pragma once

#include <cstddef>

namespace quon::bench {

// Serves the listening socket for ever, with threads of `stack` bytes; 0: of the default size.
[[noreturn]] void serve_barely(int listener, std::size_t stack);

}  // namespace quon::bench
