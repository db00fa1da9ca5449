#pragma once

#include <filesystem>
#include <string>

namespace quon::test {

// All of a file, byte for byte; empty when it cannot be read.
std::string content_of(const std::filesystem::path& path);

}  // namespace quon::test
