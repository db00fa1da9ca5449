// What someone may have meant who wrote an unknown word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quon {

// Up to three of `known`, the nearest first; none that is far from `word`.
std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& known);

// "unknown WHAT 'WORD'", with "; did you mean 'A', 'B'?" when something is near.
std::string unknown(std::string_view what, std::string_view word,
                    const std::vector<std::string>& known);

}  // namespace quon
