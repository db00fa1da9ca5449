#include "client_run.h"

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

#include "quon_mcu/run.h"
#include "shared/owned_descriptor.h"

namespace quon::client::test {
namespace {

std::string content(int fd) {
    std::string text;
    char piece[4096];
    for (ssize_t got = 0;
         (got = pread(fd, piece, sizeof(piece), static_cast<off_t>(text.size()))) > 0;) {
        text.append(piece, static_cast<size_t>(got));
    }
    return text;
}

}  // namespace

outcome run_client(const std::vector<std::string>& words) {
    const owned_descriptor out(memfd_create("out", MFD_CLOEXEC));
    const owned_descriptor err(memfd_create("err", MFD_CLOEXEC));
    if (out.get() < 0 || err.get() < 0) {
        throw std::runtime_error("no memory file");
    }
    const int status = run(words, output("quon-mcu", out.get(), err.get()));
    return {status, content(out.get()), content(err.get())};
}

}  // namespace quon::client::test
