// The commands of the control socket: one table.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "simulator.h"

namespace quon::sim {

// Receives the answer to one command. A command ends it with exactly one ok() or error(), at once
// or later. The client may have gone meanwhile.
class responder {
  public:
    virtual ~responder() = default;
    virtual void line(const std::string& text) = 0;
    virtual void ok() = 0;
    virtual void error(const std::string& text) = 0;
    [[nodiscard]] virtual bool gone() const = 0;
};

void run_command(simulator& sim, std::string_view line, const std::shared_ptr<responder>& answer);

// The text of "help", and of "help COMMAND". Throws bad_value for an unknown command.
std::string control_help();
std::string control_help(std::string_view command);

// The form of a command's answer lines.
enum class answer_kind { nothing, values, texts };  // values: NAME=VALUE each
answer_kind answer_of(std::string_view command);

// All words that may follow these words of a command.
std::vector<std::string> control_words(const std::vector<std::string>& before);

}  // namespace quon::sim
