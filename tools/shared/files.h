// Files named by a user: read with a size limit, since a device or a mistaken name may be endless.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace quon {

inline constexpr std::size_t kLongestFile = 1 << 20;  // for files that are read whole
inline constexpr std::size_t kLongestLine = 1 << 20;

// The whole file. Throws failure (usage) if it cannot be read or is longer than kLongestFile.
std::string content_of(const std::string& file);

// Creates or replaces a file. Throws failure (failure) if it cannot be written.
void write_file(const std::string& file, const std::string& text);

// Like std::getline, and a line may end with "\r\n" too. Throws failure (usage) for a line longer
// than kLongestLine: that is not text.
bool read_line(std::istream& in, std::string& line);

}  // namespace quon
