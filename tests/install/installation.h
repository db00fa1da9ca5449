// This build, installed into a temporary folder, and the means to build programs against it as
// another team would.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "child_process.h"

namespace quon::test {

using Words = std::vector<std::string>;

Words operator+(Words left, const Words& right);

// Throws, with the program's output, if it fails.
Result must_run(const Words& command);

class Installation {
  public:
    Installation();
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    [[nodiscard]] std::filesystem::path prefix() const { return top_ / "prefix"; }
    [[nodiscard]] std::filesystem::path programs() const;
    [[nodiscard]] std::filesystem::path libraries() const;
    [[nodiscard]] std::filesystem::path headers() const;
    // A folder for what is built against it.
    [[nodiscard]] std::filesystem::path scratch(const std::string& name) const {
        return top_ / name;
    }

    [[nodiscard]] Words pkg_config(const std::string& what, const std::string& library) const;

  private:
    std::filesystem::path top_;
};

// The compilers that made this build.
Words c_compiler();
Words cxx_compiler();

// The installed code has the build's sanitizers, so its users need them too.
Words sanitizer_flags();

// Warnings are errors.
Words strict_flags();

}  // namespace quon::test
