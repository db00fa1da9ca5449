#include "sdbus_bus.h"

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "local_socket.h"

namespace quon::bench {
namespace {

// Everything is allowed, nothing is started on demand.
std::string write_configuration(const std::string& folder, const std::string& socket_path) {
    const std::string path = folder + "/bus.conf";
    std::ofstream(path)
        << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)"
        << socket_path << R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
    <allow user="*"/>
  </policy>
</busconfig>
)";
    return path;
}

// The launcher requires the system's journal: a private /run has a socket of that name, which
// nobody reads.
void stand_in_for_the_system() {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0) {
        fail("a /run of its own");
    }
    std::filesystem::create_directories("/run/systemd/journal");
    const int journal = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = address_of("/run/systemd/journal/socket");
    if (bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        fail("the journal's socket");
    }
}

// As a service manager passes it.
void pass_listener(int listener) {
    constexpr int kFirstPassed = 3;
    if (listener == kFirstPassed) {
        fcntl(listener, F_SETFD, 0);
    } else {
        dup2(listener, kFirstPassed);
    }
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
}

}  // namespace

Child start_dbus_daemon(const std::string& folder, const std::string& socket_path) {
    return spawn({"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
                  "--config-file=" + write_configuration(folder, socket_path)});
}

Child start_dbus_broker(const std::string& folder, const std::string& socket_path) {
    const std::string configuration = write_configuration(folder, socket_path);
    const int listener = listen_at(socket_path);
    Child launcher = fork_child([&] {
        pass_listener(listener);
        stand_in_for_the_system();
        // The bus that would start services on demand: there are none, so the bus itself will do.
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + socket_path).c_str(), 1);
        execlp("dbus-broker-launch", "dbus-broker-launch", "--scope", "user", "--config-file",
               configuration.c_str(), nullptr);
        _exit(127);
    });
    close(listener);
    return launcher;
}

}  // namespace quon::bench
