// Files that a user names: each with a bound, since a device or a mistaken name has no end.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace quon {

inline constexpr std::size_t kLongestFile = 1 << 20;  // of a file that is read whole
inline constexpr std::size_t kLongestLine = 1 << 20;

// The whole file. Throws failure (usage) when it cannot be read or is longer than kLongestFile.
std::string content_of(const std::string& file);

// A new file, or in the place of an old one. Throws failure (failure) when it cannot be written.
void write_file(const std::string& file, const std::string& text);

// As std::getline. Throws failure (usage) at a line that is longer than kLongestLine: that is no
// text.
bool read_line(std::istream& in, std::string& line);

}  // namespace quon
