// Rules that make the simulated chip misbehave, by message type and for a number of matches.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared/bytes.h"

namespace quon::sim {

enum class fault_action {
    drop,
    delay,
    twice,
    answer_type,
    length,
    cut,
    lengthen,
    corrupt,
    silent,
    back,
};

struct fault_rule {
    std::optional<uint8_t> type;  // none: any message
    fault_action action;
    uint32_t argument = 0;
    std::optional<uint32_t> left = 1;  // matches; none: for ever
};

// "TYPE|any ACTION [ARG] [count N|forever]". Throws bad_value.
fault_rule parse_fault(std::string_view text);
std::string show_fault(const fault_rule& rule);

// A frame after the faults.
struct shaped_frame {
    byte_list frame;
    uint32_t delay_ms = 0;
    int copies = 1;
    std::string faults;  // the actions that were applied, for the journal
};

class fault_table {
  public:
    void add(const fault_rule& rule) { rules_.push_back(rule); }
    void clear() { rules_.clear(); }
    [[nodiscard]] const std::vector<fault_rule>& rules() const { return rules_; }

    // For a message of `type` from the host, or an event of `type` about to be sent: turns silence
    // on or off, and returns false if the message is lost.
    bool pass(uint8_t type);

    // Changes a frame of `type` that is about to be sent.
    shaped_frame shape(uint8_t type, byte_list frame);

    // While silent the chip sends nothing.
    [[nodiscard]] bool silent() const { return silent_; }
    void set_silent(bool silent) { silent_ = silent; }

  private:
    std::optional<uint32_t> take(uint8_t type, fault_action action);

    std::vector<fault_rule> rules_;
    bool silent_ = false;
};

// One line per action, for the help.
std::string fault_help();

// Their names.
std::vector<std::string> fault_actions();

}  // namespace quon::sim
