// private-world COMMAND...: runs a command in private network and mount namespaces.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "private_world.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: private-world COMMAND [ARGUMENT...]\n");
        return 2;
    }
    quon::test::enter_private_world();
    execvp(argv[1], argv + 1);
    std::fprintf(stderr, "private-world: %s: %s\n", argv[1], std::strerror(errno));
    return 127;
}
