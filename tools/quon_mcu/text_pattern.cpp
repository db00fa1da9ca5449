#include "quon_mcu/text_pattern.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

#include "shared/failure.h"

namespace quon::client {
namespace {

// Compiling takes memory for each repetition of each group.
constexpr unsigned long kMostRepetitions = 1000;

[[noreturn]] void refuse(const std::string& pattern, const std::string& why) {
    throw failure(exit_status::usage, "no regular expression: " + pattern + ": " + why);
}

bool has_back_reference(const std::string& pattern) {
    for (size_t at = 0; at + 1 < pattern.size(); ++at) {
        if (pattern[at] == '\\') {
            ++at;
            if (std::isdigit(static_cast<unsigned char>(pattern[at])) != 0) {
                return true;
            }
        }
    }
    return false;
}

// The larger number of "{m,n}", at least 1.
unsigned long repetitions_at(const char* brace) {
    unsigned long largest = 1;
    while (*brace == '{' || *brace == ',') {
        char* end = nullptr;
        largest = std::max(largest, std::strtoul(brace + 1, &end, 10));
        brace = end;
    }
    return largest;
}

// As if every "{m,n}" stood within the next one.
bool is_too_large(const std::string& pattern) {
    unsigned long product = 1;
    for (size_t at = pattern.find('{'); at != std::string::npos; at = pattern.find('{', at + 1)) {
        product *= std::min(repetitions_at(pattern.c_str() + at), kMostRepetitions + 1);
        if (product > kMostRepetitions) {
            return true;
        }
    }
    return false;
}

}  // namespace

text_pattern::text_pattern(const std::string& pattern) {
    if (has_back_reference(pattern)) {
        refuse(pattern, "back-references are not supported");
    }
    if (is_too_large(pattern)) {
        refuse(pattern, "more than " + std::to_string(kMostRepetitions) + " repetitions");
    }
    const int error = regcomp(&compiled_, pattern.c_str(), REG_EXTENDED);
    if (error != 0) {
        std::array<char, 128> why{};
        regerror(error, &compiled_, why.data(), why.size());
        refuse(pattern, why.data());
    }
}

// The longest match is the whole text if any is.
bool text_pattern::fits(const std::string& text) const {
    regmatch_t found{};
    return regexec(&compiled_, text.c_str(), 1, &found, 0) == 0 && found.rm_so == 0 &&
           static_cast<size_t>(found.rm_eo) == text.size();
}

}  // namespace quon::client
