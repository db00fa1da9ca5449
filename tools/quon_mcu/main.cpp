#include <fcntl.h>
#include <unistd.h>

#include <exception>

#include "quon_mcu/run.h"

namespace {

// The bus library prints to standard output. Results go to a copy of it, and the library's messages
// are discarded: the client reports the same in its own words.
int take_standard_output() {
    const int results = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    return results;
}

}  // namespace

int main(int argc, char** argv) {
    quon::output out("quon-mcu", take_standard_output(), STDERR_FILENO);
    try {
        return quon::client::run(std::vector<std::string>(argv + 1, argv + argc), out);
    } catch (const std::exception& error) {
        out.note(error.what());
        return 1;
    }
}
