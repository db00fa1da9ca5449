// A temporary folder, removed with the object.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace quon::test {

class ScratchFolder {
  public:
    ScratchFolder() {
        char name[] = "/tmp/quon docs.XXXXXX";
        if (mkdtemp(name) == nullptr) {
            throw std::runtime_error("mkdtemp");
        }
        path_ = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

inline std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

}  // namespace quon::test
