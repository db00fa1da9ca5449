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
constexpr const char* kLibraryFolders[] = {HI3861L_SIM_LIBRARIES, "../lib", "."};
constexpr const char* kProgramFolders[] = {".", "../sbin"};
constexpr char kSystemFolders[] = "/usr/sbin:/sbin";
constexpr char kDaemonName[] = "quon_mcu_daemon";
constexpr char kLinkName[] = "libhi3861l_chip_link.so";

}  // namespace

std::string program_folder() {
    return fs::read_symlink("/proc/self/exe").parent_path().string();
}

std::string installed_chip_link() {
    for (const char* folder : kLibraryFolders) {
        const fs::path path = fs::path(program_folder()) / folder / kLinkName;
        if (fs::exists(path)) {
            return fs::canonical(path).string();
        }
    }
    throw std::runtime_error(std::string(kLinkName) + " is not beside this program (" +
                             program_folder() + "/" + HI3861L_SIM_LIBRARIES +
                             "); name it with --link");
}

std::string installed_daemon() {
    for (const char* folder : kProgramFolders) {
        const fs::path path = fs::path(program_folder()) / folder / kDaemonName;
        if (access(path.c_str(), X_OK) == 0) {
            return fs::canonical(path).string();
        }
    }
    const char* search = std::getenv("PATH");
    std::istringstream folders(std::string(search != nullptr ? search : "") + ":" + kSystemFolders);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const fs::path path = fs::path(folder) / kDaemonName;
        if (folder.starts_with("/") && access(path.c_str(), X_OK) == 0) {
            return path.string();
        }
    }
    throw std::runtime_error(std::string(kDaemonName) + " is not beside this program (" +
                             program_folder() + ") nor in PATH; name it with --daemon");
}

}  // namespace quon::sim
