#include "private_world.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "interfaces.h"

namespace quon::world {

namespace {

namespace fs = std::filesystem;

constexpr char kResolverFile[] = "/etc/resolv.conf";
constexpr char kMachineFolder[] = "/etc/.machine";  // the machine's own /etc, below the private one

void require(bool condition, const char* what) {
    if (!condition) {
        throw refused(std::string(what) + ": " + std::strerror(errno));
    }
}

void write_text(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool written =
        file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    close(file);
    errno = error;
    require(written, path);
}

// Directly as root, otherwise in a user namespace in which this user is root.
void leave_the_machine() {
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) == 0) {
        return;
    }
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    require(unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) == 0, "unshare");
    write_text("/proc/self/setgroups", "deny");
    write_text("/proc/self/uid_map", user);
    write_text("/proc/self/gid_map", group);
}

struct kept_path {
    std::string path;
    int descriptor;
    bool folder;
};

void keep(std::vector<kept_path>& all, const std::string& path) {
    std::error_code ignored;
    const std::string real = fs::canonical(path, ignored).string();
    if (!real.starts_with("/tmp/")) {
        return;
    }
    for (const kept_path& other : all) {
        if (real == other.path || real.starts_with(other.path + "/")) {
            return;
        }
    }
    const int descriptor = open(real.c_str(), O_PATH | O_CLOEXEC);
    require(descriptor >= 0, real.c_str());
    all.push_back({real, descriptor, fs::is_directory(real)});
}

void mount_back(const kept_path& kept) {
    std::error_code error;
    fs::create_directories(kept.folder ? fs::path(kept.path) : fs::path(kept.path).parent_path(),
                           error);
    if (!kept.folder) {
        close(open(kept.path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
    const std::string source = "/proc/self/fd/" + std::to_string(kept.descriptor);
    require(mount(source.c_str(), kept.path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
            kept.path.c_str());
    close(kept.descriptor);
}

void make_private_tmp(const std::vector<std::string>& kept_paths) {
    std::error_code ignored;
    const std::string working_folder = fs::current_path(ignored).string();
    std::vector<kept_path> all;
    for (const std::string& path : kept_paths) {
        keep(all, path);
    }
    require(mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "mount /tmp");
    for (const kept_path& kept : all) {
        mount_back(kept);
    }
    require(chdir(working_folder.c_str()) == 0, "chdir");
}

void link_entry(const std::string& name) {
    const std::string own = "/etc/" + name;
    const std::string machine = std::string(kMachineFolder) + "/" + name;
    std::error_code error;
    if (fs::is_symlink(machine)) {
        fs::copy_symlink(machine, own, error);  // unchanged: it may be relative
    } else {
        fs::create_symlink(machine, own, error);
    }
}

// For a machine whose /etc/resolv.conf is missing, a dangling link or a removed file's mount, over
// which nothing can be mounted: a private /etc that refers to the machine's.
void make_private_etc() {
    constexpr char kAside[] = "/tmp/.etc";
    require(mkdir(kAside, 0700) == 0, kAside);
    require(mount("/etc", kAside, nullptr, MS_BIND | MS_REC, nullptr) == 0, kAside);
    require(mount("tmpfs", "/etc", "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") == 0, "mount /etc");
    require(mkdir(kMachineFolder, 0755) == 0, kMachineFolder);
    require(mount(kAside, kMachineFolder, nullptr, MS_MOVE, nullptr) == 0, kMachineFolder);
    require(rmdir(kAside) == 0, kAside);
    for (const fs::directory_entry& entry : fs::directory_iterator(kMachineFolder)) {
        if (entry.path().filename() != fs::path(kResolverFile).filename()) {
            link_entry(entry.path().filename().string());
        }
    }
    const int file = open(kResolverFile, O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    require(file >= 0, kResolverFile);
    close(file);
}

// Mounts an empty file of a file system without a path, which the mount keeps alive. The file is
// not removed: nothing could be mounted over it, as by a world within this one. If the mount fails,
// returns false with its errno.
bool mount_empty_file(const char* place) {
    constexpr char kAside[] = "/tmp/.empty";
    constexpr char kEmptyFile[] = "/tmp/.empty/file";
    require(mkdir(kAside, 0700) == 0, kAside);
    require(mount("tmpfs", kAside, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") == 0, kAside);
    const int file = open(kEmptyFile, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    require(file >= 0 && fchmod(file, 0644) == 0, kEmptyFile);
    close(file);
    const bool mounted = mount(kEmptyFile, place, nullptr, MS_BIND, nullptr) == 0;
    const int error = errno;
    require(umount2(kAside, MNT_DETACH) == 0 && rmdir(kAside) == 0, kAside);
    errno = error;
    return mounted;
}

void make_private_resolver_file() {
    std::error_code missing;
    if (!fs::is_regular_file(kResolverFile, missing)) {
        make_private_etc();
        return;
    }
    if (!mount_empty_file(kResolverFile)) {
        require(errno == ENOENT, kResolverFile);
        make_private_etc();
    }
}

}  // namespace

bool enter_private_world(const std::vector<std::string>& kept) {
    leave_the_machine();
    require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount propagation");
    make_private_tmp(kept);
    make_private_resolver_file();
    require(bring_up_loopback(), "lo");
    return make_wlan0();
}

std::vector<std::string> paths_in(std::string_view text, std::string_view separators) {
    std::vector<std::string> paths;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
        if (end > start && text[start] == '/') {
            paths.emplace_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return paths;
}

}  // namespace quon::world
