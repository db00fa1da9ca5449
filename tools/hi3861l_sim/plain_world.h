// The machine's own world, used by "run" if no private one is possible.
#pragma once

#include <optional>
#include <string>

#include "shared/owned_descriptor.h"

namespace quon::sim {

// Only one at a time on a machine. The destructor removes what a daemon leaves in /tmp and restores
// /etc/resolv.conf.
class plain_world {
  public:
    // Waits for its turn. Throws std::runtime_error if a daemon is running, or if there is a wlan0,
    // which the daemon would change.
    plain_world();
    ~plain_world();
    plain_world(const plain_world&) = delete;
    plain_world& operator=(const plain_world&) = delete;

  private:
    owned_descriptor turn_;
    std::optional<std::string> resolver_text_;  // none: it cannot be written
};

}  // namespace quon::sim
