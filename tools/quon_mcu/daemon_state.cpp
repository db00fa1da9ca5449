#include "quon_mcu/daemon_state.h"

#include <dirent.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "shared/owned_descriptor.h"

namespace quon::client {
namespace {

using word_list = std::vector<std::string>;

// The result of one non-blocking attempt: 0 or an error number, and who is listening if it
// succeeded.
struct attempt {
    int error;
    pid_t peer;
};

attempt try_connect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const owned_descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (probe.get() < 0 || path.size() >= sizeof(address.sun_path)) {
        return {probe.get() < 0 ? errno : ENAMETOOLONG, 0};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return {errno, 0};
    }
    ucred peer{};
    socklen_t size = sizeof(peer);
    getsockopt(probe.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size);
    return {0, peer.pid};
}

// The inodes of the sockets bound to `path`, or accepted there.
word_list inodes_at(const std::string& path) {
    std::ifstream table("/proc/net/unix");
    word_list inodes;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string skipped;
        std::string inode;
        std::string name;
        for (int i = 0; i < 6; ++i) {
            words >> skipped;
        }
        words >> inode >> name;
        if (name == path) {
            inodes.push_back(inode);
        }
    }
    return inodes;
}

using folder = std::unique_ptr<DIR, int (*)(DIR*)>;

word_list names_in(const std::string& path) {
    const folder open(opendir(path.c_str()), closedir);
    word_list names;
    while (const dirent* each = open == nullptr ? nullptr : readdir(open.get())) {
        names.emplace_back(each->d_name);
    }
    return names;
}

bool holds_socket(const std::string& process, const word_list& inodes) {
    const std::string descriptors = "/proc/" + process + "/fd";
    return std::ranges::any_of(names_in(descriptors), [&](const std::string& each) {
        std::array<char, 64> target{};
        const ssize_t size =
            readlink((descriptors + "/" + each).c_str(), target.data(), target.size() - 1);
        return size > 0 && std::ranges::any_of(inodes, [&target](const std::string& inode) {
                   return "socket:[" + inode + "]" == target.data();
               });
    });
}

// 0 if none is found: /proc shows other users' descriptors to root only.
pid_t holder_of(const word_list& inodes) {
    if (inodes.empty()) {
        return 0;
    }
    for (const std::string& each : names_in("/proc")) {
        if (each.find_first_not_of("0123456789") == std::string::npos &&
            holds_socket(each, inodes)) {
            return std::stoi(each);
        }
    }
    return 0;
}

// By a signal or by a debugger.
bool is_stopped(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string stat;
    std::getline(file, stat);
    const size_t name_end = stat.rfind(") ");
    const char state = name_end == std::string::npos ? '?' : stat[name_end + 2];
    return process != 0 && (state == 'T' || state == 't');
}

std::string daemon_text(pid_t process) {
    return process == 0 ? "the daemon" : "the daemon (process " + std::to_string(process) + ")";
}

std::string stopped_text(pid_t process) {
    return daemon_text(process) + " is stopped; 'kill -CONT " + std::to_string(process) +
           "' lets it go on";
}

std::string refusal_text(const std::string& path, int error) {
    const word_list inodes = inodes_at(path);
    const pid_t process = holder_of(inodes);
    if (is_stopped(process)) {
        return stopped_text(process);
    }
    if (error == EAGAIN) {
        return daemon_text(process) + " takes no connections: its queue of them at " + path +
               " is full";
    }
    if (error == ECONNREFUSED && !inodes.empty()) {
        return daemon_text(process) + " takes no connections any more: its listener at " + path +
               " has ended";
    }
    if (error == ECONNREFUSED || error == ENOENT) {
        return "no daemon: nobody answers at " + path;
    }
    return "no daemon: " + path + ": " + std::strerror(error);
}

}  // namespace

std::string why_unreachable(const std::string& path) {
    const attempt now = try_connect(path);
    if (now.error == 0) {
        return is_stopped(now.peer) ? stopped_text(now.peer)
                                    : daemon_text(now.peer) + " took no connection in time";
    }
    return refusal_text(path, now.error);
}

pid_t process_behind(const std::string& path) {
    const attempt now = try_connect(path);
    return now.error == 0 ? now.peer : holder_of(inodes_at(path));
}

daemon_report look_at_daemon(const std::string& path) {
    const attempt now = try_connect(path);
    if (now.error == 0) {
        return is_stopped(now.peer) ? daemon_report{daemon_state::stuck, stopped_text(now.peer)}
                                    : daemon_report{daemon_state::running, ""};
    }
    return {inodes_at(path).empty() ? daemon_state::gone : daemon_state::stuck,
            refusal_text(path, now.error)};
}

}  // namespace quon::client
