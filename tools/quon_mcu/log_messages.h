// Every message that the daemon and its libraries log or print, with its meaning and what to do.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quon::client {

inline constexpr int kPrinted = -1;  // bypasses the log: printed at any level

struct log_message {
    int level;
    std::string_view text;     // as in the source, with escapes
    std::string_view sources;  // file names, joined by ", "
    std::string_view meaning;
    std::string_view advice;
};

struct log_message_group {
    std::string_view title;
    std::span<const log_message> messages;
};

std::span<const log_message_group> log_messages();

// The page of docs/.
std::string log_messages_page();

}  // namespace quon::client
