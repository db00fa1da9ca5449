// Round trips of one caller, or one-way records, over the bus that this program is linked with.
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <vector>

#include "child.h"
#include "peer.h"
#include "report.h"
#include "timing.h"

namespace quon::bench {

void pause_as_the_bus_does() {
    prctl(PR_SET_TIMERSLACK, 1UL);
    usleep(1000);
}

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 30s;
constexpr std::uint32_t kFlushEvery = 64;

struct Options {
    std::string subject = "round-trip";
    std::string variant;
    std::uint32_t payload = 10;
    std::uint32_t count = 1000;
    bool pauses = false;
    bool one_core = false;
};

// Counted by the server, seen by the caller.
std::atomic<std::uint64_t>& shared_counter() {
    void* memory = mmap(nullptr, sizeof(std::atomic<std::uint64_t>), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        fail("mmap");
    }
    return *new (memory) std::atomic<std::uint64_t>(0);
}

class Folder {
  public:
    Folder() : path_("/tmp/quon-bench." + std::to_string(getpid())) {
        std::filesystem::create_directory(path_);
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
};

Child start_server(Peer& peer, bool pauses, std::atomic<std::uint64_t>& received) {
    int ends[2];
    if (pipe(ends) != 0) {
        fail("pipe");
    }
    Child server = fork_child([&] {
        close(ends[0]);
        peer.serve(pauses, received, [&] { (void)!write(ends[1], "y", 1); });
    });
    close(ends[1]);
    pollfd told{ends[0], POLLIN, 0};
    char state = 'n';
    const bool ready = poll(&told, 1, 10'000) == 1 && read(ends[0], &state, 1) == 1;
    close(ends[0]);
    if (!ready) {
        throw std::runtime_error("the server did not start");
    }
    return server;
}

// Pins both sides to the current core.
void stay_on_one_core() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    if (sched_setaffinity(0, sizeof(one), &one) != 0) {
        fail("sched_setaffinity");
    }
}

nlohmann::json round_trips(Peer& peer, Payload payload, std::uint32_t count) {
    for (std::uint32_t i = 0; i < 50; i++) {
        peer.call(payload);
    }
    Times times;
    for (std::uint32_t i = 0; i < count; i++) {
        times.push_back(time_of([&] { peer.call(payload); }));
    }
    std::ranges::sort(times);
    return {{"p50_us", percentile(times, 0.5)}, {"p99_us", percentile(times, 0.99)}};
}

nlohmann::json one_way(Peer& peer, Payload payload, std::uint32_t count,
                       const std::atomic<std::uint64_t>& received) {
    const std::uint64_t before = received;
    const Clock::time_point start = Clock::now();
    for (std::uint32_t i = 1; i <= count; i++) {
        peer.send(payload);
        if (i % kFlushEvery == 0) {
            peer.flush();
        }
    }
    peer.flush();
    while (received - before < count) {
        if (Clock::now() - start > kPatience) {
            throw std::runtime_error(std::to_string(received - before) + " of " +
                                     std::to_string(count) + " came");
        }
        usleep(50);
    }
    const std::chrono::duration<double> took = Clock::now() - start;
    return {{"per_second", count / took.count()}};
}

nlohmann::json measure(const Options& options) {
    const Folder folder;
    if (options.one_core) {
        stay_on_one_core();
    }
    // The server outlives the caller, whose library would otherwise report its end on standard
    // output.
    Child server;
    const std::unique_ptr<Peer> peer = make_peer(options.variant, folder.path());
    std::atomic<std::uint64_t>& received = shared_counter();
    peer->prepare();
    server = start_server(*peer, options.pauses, received);
    peer->connect();
    const std::vector<std::uint8_t> payload(options.payload, 0x5A);
    if (options.subject == "one-way") {
        one_way(*peer, payload, options.count / 10 + 1, received);
        return one_way(*peer, payload, options.count, received);
    }
    return round_trips(*peer, payload, options.count);
}

}  // namespace
}  // namespace quon::bench

int main(int argc, char** argv) {
    quon::bench::Options options;
    CLI::App app("Measures one message bus");
    app.add_option("subject", options.subject)->check(CLI::IsMember({"round-trip", "one-way"}));
    app.add_option("--variant", options.variant, "of this bus");
    app.add_option("--payload", options.payload, "bytes")->capture_default_str();
    app.add_option("--count", options.count, "calls or records")->capture_default_str();
    app.add_flag("--pause", options.pauses, "each handler waits 1 ms");
    app.add_flag("--one-core", options.one_core, "caller and server share a core");
    CLI11_PARSE(app, argc, argv);
    return quon::bench::report(argv[0], [&] { return measure(options); });
}
