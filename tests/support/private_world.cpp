#include "private_world.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "private_world_net.h"

namespace quon::test {

namespace {

namespace fs = std::filesystem;

constexpr int kRefused = 77;
constexpr char kResolverFile[] = "/etc/resolv.conf";
constexpr char kMachineFolder[] = "/etc/.machine";  // the machine's own /etc, below the private one

[[noreturn]] void refuse(const char* what) {
    std::fprintf(stderr, "private world: %s: %s\n", what, std::strerror(errno));
    std::_Exit(kRefused);
}

void require(bool condition, const char* what) {
    if (!condition) {
        refuse(what);
    }
}

void write_file(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    require(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            path);
    close(file);
}

// Files that a daemon or a simulated chip of an earlier test may have left behind.
bool is_left_behind(const std::string& name) {
    return name == "quon_mcu_daemon_run" || name.starts_with("dbus-") ||
           name.starts_with("hi3861l-sim");
}

// The container's own world, made as fresh as can be. A wlan0 is never the container's: the daemon
// would configure it.
void enter_container_world() {
    errno = EEXIST;
    require(access("/sys/class/net/wlan0", F_OK) != 0, "QUON_WORLD=here and wlan0");
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator("/tmp", ignored)) {
        if (is_left_behind(entry.path().filename().string())) {
            fs::remove_all(entry.path(), ignored);
        }
    }
    if (access(kResolverFile, W_OK) == 0) {
        fs::resize_file(kResolverFile, 0, ignored);
    }
}

bool container_world_is_chosen() {
    const char* chosen = std::getenv("QUON_WORLD");
    return chosen != nullptr && std::strcmp(chosen, "here") == 0;
}

// As root directly, otherwise inside a user namespace where this user is root.
void leave_the_machine() {
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) == 0) {
        return;
    }
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    require(unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) == 0, "unshare");
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", user);
    write_file("/proc/self/gid_map", group);
}

struct Kept {
    std::string path;
    int descriptor;
    bool folder;
};

void keep(std::vector<Kept>& all, const std::string& path) {
    std::error_code ignored;
    const std::string real = fs::canonical(path, ignored).string();
    if (!real.starts_with("/tmp/")) {
        return;
    }
    for (const Kept& other : all) {
        if (real == other.path || real.starts_with(other.path + "/")) {
            return;
        }
    }
    const int descriptor = open(real.c_str(), O_PATH | O_CLOEXEC);
    require(descriptor >= 0, real.c_str());
    all.push_back({real, descriptor, fs::is_directory(real)});
}

void keep_words(std::vector<Kept>& all, const std::string& text, const char* separators) {
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
        if (end > start && text[start] == '/') {
            keep(all, text.substr(start, end - start));
        }
        start = end + 1;
    }
}

// What lies under /tmp and is still needed: the source and build folders, this program's folder,
// the working folder, and what the QUON_TEST_ variables name.
std::vector<Kept> find_kept() {
    std::vector<Kept> all;
    keep_words(all, QUON_KEPT_FOLDERS, ":");
    std::error_code ignored;
    keep(all, fs::read_symlink("/proc/self/exe", ignored).parent_path());
    keep(all, fs::current_path(ignored));
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, "QUON_TEST_", 10) == 0) {
            keep_words(all, std::strchr(*entry, '='), "=: ");
        }
    }
    return all;
}

void mount_back(const Kept& kept) {
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

void make_private_tmp() {
    std::error_code ignored;
    const std::string working_folder = fs::current_path(ignored).string();
    const std::vector<Kept> all = find_kept();
    require(mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "mount /tmp");
    for (const Kept& kept : all) {
        mount_back(kept);
    }
    require(chdir(working_folder.c_str()) == 0, "chdir");
}

void link_entry(const std::string& name) {
    const std::string own = "/etc/" + name;
    const std::string machine = std::string(kMachineFolder) + "/" + name;
    std::error_code error;
    if (fs::is_symlink(machine)) {
        fs::copy_symlink(machine, own, error);  // as it stands: it may be relative
    } else {
        fs::create_symlink(machine, own, error);
    }
}

// For a machine whose /etc/resolv.conf is missing or points nowhere, so that nothing can be mounted
// over it: a private /etc that refers to the machine's.
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

void make_private_resolver_file() {
    std::error_code missing;
    if (!fs::is_regular_file(kResolverFile, missing)) {
        make_private_etc();
        return;
    }
    // On a file system of its own that no path leads to: the file stays alive through the mount.
    constexpr char kEmpty[] = "/tmp/.resolv.conf";
    const int file = open(kEmpty, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    require(file >= 0 && fchmod(file, 0644) == 0, kEmpty);
    close(file);
    require(mount(kEmpty, kResolverFile, nullptr, MS_BIND, nullptr) == 0, kResolverFile);
    require(unlink(kEmpty) == 0, kEmpty);
}

}  // namespace

void enter_private_world() {
    static bool entered = false;
    if (entered) {
        return;
    }
    entered = true;
    if (container_world_is_chosen()) {
        enter_container_world();
        return;
    }
    leave_the_machine();
    require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount propagation");
    make_private_tmp();
    make_private_resolver_file();
    require(make_private_interfaces(), "wlan0");
}

}  // namespace quon::test
