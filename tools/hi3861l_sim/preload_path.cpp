#include "preload_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "chip_link/chip_link_protocol.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

constexpr char kDividesTheList[] = " \t\r\n\v\f:$";

bool loadable(const std::string& path) {
    return path.find_first_of(kDividesTheList) == std::string::npos;
}

// True if the folder exists and nobody else can write to it.
bool make_own_folder(const std::string& path) {
    struct stat status {};
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return false;
    }
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & 022) == 0;
}

// Replaced atomically: another program may be starting through the existing link.
bool make_symlink(const std::string& target, const std::string& path) {
    std::error_code failed;
    if (fs::read_symlink(path, failed) == target) {
        return true;
    }
    const std::string fresh = path + "." + std::to_string(getpid());
    fs::create_symlink(target, fresh, failed);
    if (!failed) {
        fs::rename(fresh, path, failed);
    }
    return !failed;
}

// The link in `base`, or nothing if that folder cannot be used.
std::string link_below(const char* base, const std::string& library) {
    if (base == nullptr || *base != '/' || !loadable(base)) {
        return {};
    }
    const std::string own = std::string(base) + "/hi3861l-sim-" + std::to_string(geteuid());
    const std::string folder = own + "/" + std::to_string(chip_link_path_number(library.c_str()));
    const std::string path = folder + "/" + fs::path(library).filename().string();
    const bool made =
        make_own_folder(own) && make_own_folder(folder) && make_symlink(library, path);
    return made ? path : std::string();
}

}  // namespace

std::string preload_entry(const std::string& library) {
    const std::string path = fs::absolute(library).string();
    if (access(path.c_str(), R_OK) != 0) {
        throw std::runtime_error("the chip link " + path + ": " + std::strerror(errno));
    }
    if (loadable(path)) {
        return path;
    }
    for (const char* base : {static_cast<const char*>(std::getenv("XDG_RUNTIME_DIR")), "/tmp",
                             "/var/tmp", "/dev/shm"}) {
        const std::string link = link_below(base, path);
        if (!link.empty()) {
            return link;
        }
    }
    throw std::runtime_error("the path of the chip link, " + path +
                             ", holds a character that LD_PRELOAD cannot, and there is no folder "
                             "for a link to it (XDG_RUNTIME_DIR, /tmp, /var/tmp, /dev/shm)");
}

std::string preload_list(const std::string& library) {
    const char* others = std::getenv("LD_PRELOAD");
    const std::string entry = preload_entry(library);
    return others == nullptr || *others == '\0' ? entry : entry + ":" + others;
}

}  // namespace quon::sim
