#include "installation.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace quon::test {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLongestStep{60};

}  // namespace

Words operator+(Words left, const Words& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Result must_run(const Words& command) {
    Result result = run(command, {}, kLongestStep);
    if (result.status != ExitStatus{.exited = true, .code = 0}) {
        throw std::runtime_error(command.front() + " failed:\n" + result.out + result.err);
    }
    return result;
}

Installation::Installation() {
    std::string path = (fs::temp_directory_path() / "quon-install-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + path);
    }
    top_ = path;
    must_run({QUON_CMAKE, "--install", QUON_BUILD_FOLDER, "--prefix", prefix().string()});
}

Installation::~Installation() {
    std::error_code ignored;
    fs::remove_all(top_, ignored);
}

fs::path Installation::programs() const {
    return prefix() / QUON_BINDIR;
}

fs::path Installation::libraries() const {
    return prefix() / QUON_LIBDIR;
}

fs::path Installation::headers() const {
    return prefix() / QUON_INCLUDEDIR / "quon";
}

Words Installation::pkg_config(const std::string& what, const std::string& library) const {
    const std::string folder = (libraries() / "pkgconfig").string();
    return words_of(must_run({"env", "PKG_CONFIG_PATH=", "PKG_CONFIG_LIBDIR=" + folder,
                              "pkg-config", what, library})
                        .out);
}

Words c_compiler() {
    return {QUON_C_COMPILER};
}

Words cxx_compiler() {
    return {QUON_CXX_COMPILER};
}

Words sanitizer_flags() {
    const std::string sanitizers = QUON_SANITIZERS;
    return sanitizers.empty() ? Words() : Words{"-fsanitize=" + sanitizers};
}

Words strict_flags() {
    return {"-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"};
}

}  // namespace quon::test
