// The machine's own world, for "run" where no private one can be had.
#pragma once

#include <optional>
#include <string>

#include "shared/owned_descriptor.h"

namespace quon::sim {

// One at a time on a machine. Its end removes what a daemon leaves in /tmp and puts the content of
// /etc/resolv.conf back.
class plain_world {
  public:
    // Waits for its turn. Throws std::runtime_error where a daemon runs, and where there is a
    // wlan0: the daemon would change it.
    plain_world();
    ~plain_world();
    plain_world(const plain_world&) = delete;
    plain_world& operator=(const plain_world&) = delete;

  private:
    owned_descriptor turn_;
    std::optional<std::string> resolver_text_;  // none: it cannot be written
};

}  // namespace quon::sim
