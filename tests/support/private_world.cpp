#include "private_world.h"

#include <net/if.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "world/private_world.h"

namespace quon::test {

namespace {

namespace fs = std::filesystem;

constexpr int kRefused = 77;
constexpr char kResolverFile[] = "/etc/resolv.conf";

[[noreturn]] void refuse(const char* what) {
    std::fprintf(stderr, "private world: %s\n", what);
    std::_Exit(kRefused);
}

// The names in /tmp before the tests.
std::set<std::string> names_before(const char* list) {
    std::ifstream file(list);
    if (!file) {
        refuse("the list that QUON_WORLD_BEFORE names cannot be read");
    }
    std::set<std::string> names;
    for (std::string name; std::getline(file, name);) {
        names.insert(name);
    }
    return names;
}

void remove_what_tests_left(const std::set<std::string>& before) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator("/tmp", ignored)) {
        struct stat status {};
        if (!before.contains(entry.path().filename().string()) &&
            lstat(entry.path().c_str(), &status) == 0 && status.st_uid == geteuid()) {
            fs::remove_all(entry.path(), ignored);
        }
    }
}

// The container's own world, cleaned as far as possible. A wlan0 is refused: the daemon would
// configure it.
void enter_container_world() {
    if (if_nametoindex("wlan0") != 0) {
        refuse("QUON_WORLD=here and wlan0: File exists");
    }
    if (const char* list = std::getenv("QUON_WORLD_BEFORE")) {
        remove_what_tests_left(names_before(list));
    }
    if (access(kResolverFile, W_OK) == 0) {
        std::error_code ignored;
        fs::resize_file(kResolverFile, 0, ignored);
    }
}

bool container_world_is_chosen() {
    const char* chosen = std::getenv("QUON_WORLD");
    return chosen != nullptr && std::strcmp(chosen, "here") == 0;
}

void add(std::vector<std::string>& all, const std::vector<std::string>& more) {
    all.insert(all.end(), more.begin(), more.end());
}

// Paths below /tmp that are still needed: the source and build folders, this program's folder, the
// working folder, and those in QUON_TEST_ variables.
std::vector<std::string> needed_paths() {
    std::vector<std::string> all = world::paths_in(QUON_KEPT_FOLDERS, ":");
    std::error_code ignored;
    all.push_back(fs::read_symlink("/proc/self/exe", ignored).parent_path().string());
    all.push_back(fs::current_path(ignored).string());
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, "QUON_TEST_", 10) == 0) {
            add(all, world::paths_in(std::strchr(*entry, '='), "=: "));
        }
    }
    return all;
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
    try {
        if (!world::enter_private_world(needed_paths())) {
            refuse("no kind of interface for wlan0");
        }
    } catch (const world::refused& problem) {
        refuse(problem.what());
    }
}

}  // namespace quon::test
