#include "installed.h"

#include <filesystem>
#include <stdexcept>

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

// Relative to the program's folder.
constexpr const char* library_folders[] = {HI3861L_SIM_LIBRARIES, "../lib", "."};
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

}  // namespace quon::sim
