// The simulated chip as a child process, driven through its control socket.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "child_process.h"
#include "descriptor.h"
#include "hex.h"

namespace quon::test {

class SimulatedChip {
  public:
    // Listens when the constructor returns.
    explicit SimulatedChip(const std::vector<std::string>& arguments = {});

    [[nodiscard]] ChildProcess& process() { return process_; }
    // Its journal so far.
    [[nodiscard]] std::string journal() const { return process_.output(); }

    // One control command: the lines of its answer without the closing "ok". Throws
    // std::runtime_error with the text of an error.
    std::vector<std::string> command(const std::string& line);
    std::string get(const std::string& name);

    // True when `count` frames of the type have come from the daemon since the start.
    bool wait_for(std::uint8_t type, int count = 1);
    // The last frame of the type.
    Bytes last_frame(std::uint8_t type);

  private:
    std::string read_line();

    ChildProcess process_;
    Descriptor control_;
    std::string unread_;
};

}  // namespace quon::test
