// Suggestions for an unknown word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quon {

// Up to three of `known`, the most similar first; none that is too different from `word`.
std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& known);

// "unknown WHAT 'WORD'", with "; did you mean 'A', 'B'?" if something is similar.
std::string unknown(std::string_view what, std::string_view word,
                    const std::vector<std::string>& known);

}  // namespace quon
