// Regular expressions from a user, whose comparison always ends.
#pragma once

#include <regex.h>

#include <string>

namespace quon::client {

// An extended POSIX regular expression without back-references, which would take a time that grows
// without bound.
class text_pattern {
  public:
    // Throws failure (usage) with the reason if it is none.
    explicit text_pattern(const std::string& pattern);
    ~text_pattern() { regfree(&compiled_); }
    text_pattern(const text_pattern&) = delete;
    text_pattern& operator=(const text_pattern&) = delete;

    // Whether it matches the whole text.
    [[nodiscard]] bool fits(const std::string& text) const;

  private:
    regex_t compiled_{};
};

}  // namespace quon::client
