#include "plain_world.h"

#include <fcntl.h>
#include <net/if.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "listening_socket.h"

namespace quon::sim {
namespace {

constexpr char kTurnFile[] = "/tmp/hi3861l-sim.run";
constexpr char kResolverFile[] = "/etc/resolv.conf";
constexpr char kInterfaceName[] = "wlan0";
constexpr char kBusSocket[] = "/tmp/dbus-quon.mcu.daemon";
constexpr const char* kLeftByTheDaemon[] = {kBusSocket, "/tmp/ws_socket",
                                            "/tmp/quon_mcu_daemon_run"};

// Where /tmp protects other users' files, only an open without O_CREAT works on them.
owned_descriptor open_turn_file() {
    const int own = open(kTurnFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644);
    return owned_descriptor(own >= 0 ? own : open(kTurnFile, O_RDONLY | O_CLOEXEC));
}

owned_descriptor take_turn() {
    owned_descriptor turn = open_turn_file();
    if (turn.get() >= 0 && flock(turn.get(), LOCK_EX | LOCK_NB) != 0) {
        std::cerr << "hi3861l-sim: another run is under way in this world; waiting for its end\n";
        (void)flock(turn.get(), LOCK_EX);
    }
    return turn;
}

std::optional<std::string> writable_resolver_text() {
    if (access(kResolverFile, W_OK) != 0) {
        return std::nullopt;
    }
    std::ifstream file(kResolverFile);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace

plain_world::plain_world() : turn_(take_turn()) {
    if (if_nametoindex(kInterfaceName) != 0) {
        throw std::runtime_error("there is a wlan0 here, which the daemon would change");
    }
    if (connect_unix(kBusSocket, SOCK_STREAM).get() >= 0) {
        throw std::runtime_error("a daemon runs here already");
    }
    resolver_text_ = writable_resolver_text();
}

plain_world::~plain_world() {
    for (const char* path : kLeftByTheDaemon) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    if (resolver_text_) {
        std::ofstream(kResolverFile) << *resolver_text_;
    }
}

}  // namespace quon::sim
