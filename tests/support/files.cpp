#include "files.h"

#include <fstream>
#include <sstream>

namespace quon::test {

std::string content_of(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();  // short, where /proc loses it
    return content.str();
}

}  // namespace quon::test
