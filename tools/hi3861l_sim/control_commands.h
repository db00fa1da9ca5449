// The commands of the control socket: one table.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "simulator.h"

namespace quon::sim {

// Where the answer to one command goes. A command ends it with exactly one ok() or error(), at once
// or later. The one who asked may have gone meanwhile.
class responder {
  public:
    virtual ~responder() = default;
    virtual void line(const std::string& text) = 0;
    virtual void ok() = 0;
    virtual void error(const std::string& text) = 0;
    [[nodiscard]] virtual bool gone() const = 0;
};

void run_command(simulator& sim, std::string_view line, const std::shared_ptr<responder>& answer);

// The text of "help".
std::string control_help();

}  // namespace quon::sim
