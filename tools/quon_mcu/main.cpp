#include <fcntl.h>
#include <unistd.h>

#include <exception>

#include "quon_mcu/run.h"

namespace {

// The bus library reports on standard output. Results go to a copy of it, and what the library
// prints there is dropped: the client says the same in its own words.
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
