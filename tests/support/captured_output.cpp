#include "captured_output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace quon::test {

namespace {

int require_descriptor(int descriptor, const char* what) {
    if (descriptor < 0) {
        std::perror(what);
        std::abort();
    }
    return descriptor;
}

}  // namespace

OutputCapture::OutputCapture(int descriptor)
    : descriptor_(descriptor),
      saved_(require_descriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 3), "fcntl")),
      file_(require_descriptor(memfd_create("captured", MFD_CLOEXEC), "memfd_create")) {
    std::fflush(nullptr);
    require_descriptor(fcntl(file_, F_SETFL, O_APPEND), "F_SETFL");
    require_descriptor(dup2(file_, descriptor_), "dup2");
}

OutputCapture::~OutputCapture() {
    std::fflush(nullptr);
    dup2(saved_, descriptor_);
    close(saved_);
    close(file_);
}

std::string OutputCapture::text() const {
    std::fflush(nullptr);
    std::string text;
    char block[4096];
    ssize_t got = 0;
    while ((got = pread(file_, block, sizeof(block), static_cast<off_t>(text.size()))) > 0) {
        text.append(block, static_cast<std::size_t>(got));
    }
    return text;
}

std::string captured_output(const std::function<void()>& function) {
    const OutputCapture capture;
    function();
    return capture.text();
}

}  // namespace quon::test
