#include "installed.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

// Relative to the program's folder.
constexpr const char* library_folders[] = {HI3861L_SIM_LIBRARIES, "../lib", "."};
constexpr const char* program_folders[] = {".", "../sbin"};
constexpr char system_folders[] = "/usr/sbin:/sbin";
constexpr char daemon_name[] = "quon_mcu_daemon";
constexpr char link_name[] = "libhi3861l_chip_link.so";

}  // namespace

std::string program_folder() {
    return fs::read_symlink("/proc/self/exe").parent_path().string();
}

std::string installed_chip_link() {
    for (const char* folder : library_folders) {
        const fs::path path = fs::path(program_folder()) / folder / link_name;
        if (fs::exists(path)) {
            return fs::canonical(path).string();
        }
    }
    throw std::runtime_error(std::string(link_name) + " is not beside this program (" +
                             program_folder() + "/" + HI3861L_SIM_LIBRARIES +
                             "); name it with --link");
}

std::string installed_daemon() {
    for (const char* folder : program_folders) {
        const fs::path path = fs::path(program_folder()) / folder / daemon_name;
        if (access(path.c_str(), X_OK) == 0) {
            return fs::canonical(path).string();
        }
    }
    const char* search = std::getenv("PATH");
    std::istringstream folders(std::string(search != nullptr ? search : "") + ":" + system_folders);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const fs::path path = fs::path(folder) / daemon_name;
        if (folder.starts_with("/") && access(path.c_str(), X_OK) == 0) {
            return path.string();
        }
    }
    throw std::runtime_error(std::string(daemon_name) + " is not beside this program (" +
                             program_folder() + ") nor in PATH; name it with --daemon");
}

}  // namespace quon::sim
