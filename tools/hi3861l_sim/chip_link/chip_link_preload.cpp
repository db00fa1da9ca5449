// The preload library's front end: it defines the calls under their own names and forwards to the C
// library.
//
// The library stays in LD_PRELOAD until it has found its program, so wrappers (env, timeout, sh, a
// debugger) pass it on; then it removes itself, so that the program's commands run without it. Its
// program is the one with the daemon's name, even before main, or any other from its first socket
// of the chip's protocol on.
// first socket of the chip's protocol on.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/netlink.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "chip_link.h"
#include "hichannel_host.h"

// Assembler names keep these definitions apart from the C library's declarations, whose argument
// types and exception specifications differ between libraries.
#define CHIP_LINK_EXPORT(symbol) __asm__(symbol) __attribute__((visibility("default")))

extern "C" {
int preload_socket(int, int, int) CHIP_LINK_EXPORT("socket");
int preload_bind(int, const sockaddr*, socklen_t) CHIP_LINK_EXPORT("bind");
ssize_t preload_sendto(int, const void*, size_t, int, const sockaddr*, socklen_t)
    CHIP_LINK_EXPORT("sendto");
ssize_t preload_recvfrom(int, void*, size_t, int, sockaddr*, socklen_t*)
    CHIP_LINK_EXPORT("recvfrom");
ssize_t preload_recvfrom_chk(int, void*, size_t, size_t, int, sockaddr*, socklen_t*)
    CHIP_LINK_EXPORT("__recvfrom_chk");
int preload_setsockopt(int, int, int, const void*, socklen_t) CHIP_LINK_EXPORT("setsockopt");
int preload_getsockname(int, sockaddr*, socklen_t*) CHIP_LINK_EXPORT("getsockname");
int preload_close(int) CHIP_LINK_EXPORT("close");
}

namespace {

constexpr char kLibraryName[] = "libhi3861l_chip_link.so";
constexpr char kDaemonName[] = "quon_mcu_daemon";

chip_link_libc libc_functions;
pthread_once_t resolved = PTHREAD_ONCE_INIT;

template <typename Function>
void resolve(Function& function, const char* name) {
    function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (function == nullptr) {
        abort();
    }
}

void resolve_all() {
    resolve(libc_functions.socket, "socket");
    resolve(libc_functions.bind, "bind");
    resolve(libc_functions.sendto, "sendto");
    resolve(libc_functions.recvfrom, "recvfrom");
    resolve(libc_functions.setsockopt, "setsockopt");
    resolve(libc_functions.getsockname, "getsockname");
    resolve(libc_functions.close, "close");
}

bool is_this_library(const char* entry, size_t length) {
    const size_t name = sizeof kLibraryName - 1;
    return length >= name && memcmp(entry + length - name, kLibraryName, name) == 0;
}

// The text is changed in place: some C libraries forget a variable that is set before main.
void leave_preload_list() {
    char* list = getenv("LD_PRELOAD");
    if (list == nullptr) {
        return;
    }
    char* kept = list;
    for (const char* entry = list; *entry != '\0';) {
        const size_t length = strcspn(entry, ": ");
        const size_t step = length + (entry[length] != '\0' ? 1 : 0);
        if (!is_this_library(entry, length)) {
            memmove(kept, entry, step);
            kept += step;
        }
        entry += step;
    }
    *kept = '\0';
    if (*list == '\0') {
        unsetenv("LD_PRELOAD");
    }
}

// Some C libraries know the program's name only from main on.
bool is_the_daemon() {
    if (*program_invocation_short_name != '\0') {
        return strcmp(program_invocation_short_name, kDaemonName) == 0;
    }
    char words[PATH_MAX + 1] = {};
    const int fd = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
    if (fd < 0 || read(fd, words, sizeof words - 1) < 0) {
        words[0] = '\0';
    }
    if (fd >= 0) {
        chip_link_next()->close(fd);
    }
    const char* slash = strrchr(words, '/');
    return strcmp(slash != nullptr ? slash + 1 : words, kDaemonName) == 0;
}

// Before main, so that no command can start earlier: the daemon serves its peers before it opens
// the channel.
__attribute__((constructor)) void leave_the_daemons_preload_list() {
    if (is_the_daemon()) {
        leave_preload_list();
    }
}

pthread_once_t found = PTHREAD_ONCE_INIT;

}  // namespace

const chip_link_libc* chip_link_next() {
    pthread_once(&resolved, resolve_all);
    return &libc_functions;
}

int preload_socket(int domain, int type, int protocol) {
    if (domain == AF_NETLINK && protocol == HI_CHANNEL_NETLINK_PROTOCOL) {
        pthread_once(&found, leave_preload_list);
    }
    return chip_link_socket(domain, type, protocol);
}

int preload_bind(int fd, const sockaddr* address, socklen_t length) {
    return chip_link_bind(fd, address, length);
}

ssize_t preload_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* to,
                       socklen_t length) {
    return chip_link_sendto(fd, data, size, flags, to, length);
}

ssize_t preload_recvfrom(int fd, void* data, size_t size, int flags, sockaddr* from,
                         socklen_t* length) {
    return chip_link_recvfrom(fd, data, size, flags, from, length);
}

ssize_t preload_recvfrom_chk(int fd, void* data, size_t size, size_t room, int flags,
                             sockaddr* from, socklen_t* length) {
    if (size > room) {
        abort();  // as the fortified call does
    }
    return chip_link_recvfrom(fd, data, size, flags, from, length);
}

int preload_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
    return chip_link_setsockopt(fd, level, name, value, size);
}

int preload_getsockname(int fd, sockaddr* address, socklen_t* length) {
    return chip_link_getsockname(fd, address, length);
}

int preload_close(int fd) {
    return chip_link_close(fd);
}
