#include "listening_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace quon::sim {
namespace {

constexpr int kBacklog = 128;
constexpr std::chrono::milliseconds kAcceptPause{100};

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw std::invalid_argument("\"" + path + "\" is no path for a socket: 1 to " +
                                    std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

[[noreturn]] void give_up(const std::string& path, const std::string& why) {
    throw std::runtime_error(path + ": " + why);
}

void remove_stale_socket(const std::string& path, int type) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        give_up(path, "exists and is no socket");
    }
    if (connect_unix(path, type).get() >= 0 || errno == EAGAIN || errno == EPROTOTYPE) {
        give_up(path, "another program listens here");
    }
    unlink(path.c_str());
}

}  // namespace

listening_socket::listening_socket(event_loop& loop, std::string path, int type, arrival arrived)
    : loop_(loop), path_(std::move(path)), arrived_(std::move(arrived)) {
    const sockaddr_un address = address_of(path_);
    remove_stale_socket(path_, type);
    fd_ = owned_descriptor(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd_.get() < 0 ||
        bind(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        give_up(path_, std::strerror(errno));
    }
    if (listen(fd_.get(), kBacklog) != 0) {
        const std::string why = std::strerror(errno);
        unlink(path_.c_str());
        give_up(path_, why);
    }
    watch();
}

listening_socket::~listening_socket() {
    loop_.cancel(pause_);
    loop_.unwatch(fd_.get());
    unlink(path_.c_str());
}

void listening_socket::watch() {
    loop_.watch(fd_.get(), POLLIN, [this](short) { accept(); });
}

void listening_socket::accept() {
    owned_descriptor fd(accept4(fd_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd.get() >= 0) {
        arrived_(std::move(fd));
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        // The connection stays in the queue, and poll would report it endlessly.
        loop_.unwatch(fd_.get());
        pause_ = loop_.after(kAcceptPause, [this] { watch(); });
    }
}

owned_descriptor connect_unix(const std::string& path, int type) {
    const sockaddr_un address = address_of(path);
    owned_descriptor fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (fd.get() >= 0 &&
        connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        fd = owned_descriptor();
        errno = error;
    }
    return fd;
}

}  // namespace quon::sim
