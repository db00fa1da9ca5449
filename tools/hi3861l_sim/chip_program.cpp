#include "chip_program.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "capture.h"
#include "control_server.h"
#include "hichannel_host.h"

namespace quon::sim {
namespace {

// The signals that end the simulator, as a descriptor. Not SIGPIPE: the journal's reader may go
// away.
owned_descriptor block_signals() {
    (void)std::signal(SIGPIPE, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return owned_descriptor(signalfd(-1, &ending, SFD_CLOEXEC));
}

using file = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

file open_journal(const std::string& path) {
    if (path == "-") {
        return {stdout, [](std::FILE*) { return 0; }};
    }
    file opened(std::fopen(path.c_str(), "ae"), std::fclose);
    if (opened == nullptr) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
    return opened;
}

// The file is emptied only when nothing can fail any more: it may be a running simulator's.
void begin_anew(std::FILE* journal_file) {
    // A terminal or a pipe has no content to lose (EINVAL).
    if (ftruncate(fileno(journal_file), 0) != 0 && errno != EINVAL) {
        throw std::runtime_error(std::string("the journal: ") + std::strerror(errno));
    }
}

std::unique_ptr<transport> make_transport(event_loop& loop, const chip_settings& chosen) {
    if (chosen.netlink_port == 0) {
        return make_unix_transport(loop, chosen.socket);
    }
    return make_netlink_transport(loop, HI_CHANNEL_NETLINK_PROTOCOL, chosen.netlink_port,
                                  HI_CHANNEL_KERNEL_PORT);
}

}  // namespace

std::shared_ptr<capture> open_capture(const chip_settings& chosen) {
    if (chosen.packets != nullptr || chosen.pcap.empty()) {
        return chosen.packets;
    }
    return std::make_shared<capture>(chosen.pcap);
}

void run_chip(const chip_settings& chosen,
              const std::function<void(const std::string& where)>& ready) {
    const owned_descriptor signals = block_signals();
    event_loop loop;
    loop.watch(signals.get(), POLLIN, [&](short) { loop.stop(); });
    const std::unique_ptr<transport> link = make_transport(loop, chosen);
    const file out = open_journal(chosen.journal);
    journal log(out.get());
    if (const std::shared_ptr<capture> packets = open_capture(chosen)) {
        log.tap([packets](bool from_host, byte_view frame) { packets->frame(from_host, frame); });
    }
    simulator sim(loop, *link, log);
    apply_settings(sim, chosen);
    if (chosen.learned) {
        sim.replay(*chosen.learned);
    }
    const control_server control(sim, chosen.control);
    if (out.get() != stdout) {
        begin_anew(out.get());
    }
    ready(link->where());
    loop.run();
}

}  // namespace quon::sim
