#pragma once

#include <filesystem>
#include <string>

namespace quon::test {

// The whole file, byte for byte; empty if it cannot be read.
std::string content_of(const std::filesystem::path& path);

}  // namespace quon::test
