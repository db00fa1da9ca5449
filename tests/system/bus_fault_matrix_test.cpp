// What bus peers and system limits can do to the daemon, one row each. Afterwards every service
// must answer, and nothing may remain: no descriptor, thread, process or memory.
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "all_services.h"
#include "launch.h"
#include "many_threads.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kContext[] = "method.quon.mcu.get.allwakeup.info";  // does not query the chip
constexpr char kPopen[] = "method.quon.mcu.get.popen";
constexpr std::uint8_t kLed = 0x85;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // most of its memory is the sanitizer's
#else
constexpr bool kSanitized = false;
#endif

// ---- The daemon's resources

// Bus threads only: the others exist from start to end.
std::multiset<std::string> bus_threads_of(const DaemonProcess& daemon) {
    std::multiset<std::string> names = daemon.thread_names();
    names.erase("quon_mcu_daemon");
    names.erase("webpreinit");
    return names;
}

struct Footing {
    std::size_t descriptors;
    std::multiset<std::string> threads;  // of the bus
    std::vector<pid_t> children;
    long resident_kib;

    static Footing of(const DaemonProcess& daemon) {
        long total = 0;
        long resident = 0;
        std::ifstream("/proc/" + std::to_string(daemon.pid()) + "/statm") >> total >> resident;
        return {daemon.descriptors().size(), bus_threads_of(daemon), children_of(daemon.pid()),
                resident * sysconf(_SC_PAGESIZE) / 1024};
    }
    // At most three tenths more memory.
    [[nodiscard]] bool is_back_at(const Footing& before) const {
        return descriptors == before.descriptors && threads == before.threads && children.empty() &&
               (kSanitized || resident_kib <= before.resident_kib * 13 / 10);
    }
};

void PrintTo(const Footing& footing, std::ostream* stream) {
    *stream << footing.descriptors << " descriptors, " << footing.children.size() << " children, "
            << footing.resident_kib << " KiB, threads:";
    for (const std::string& thread : footing.threads) {
        *stream << " " << thread;
    }
}

class ABus : public SystemTest {
  protected:
    // With every service used, so that one-time allocations have been made.
    void note_footing() {
        ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: 0-0\n"));
        const std::size_t descriptors = Footing::of(daemon()).descriptors;
        use_all();
        use_all();
        EXPECT_TRUE(wait_until([this] {  // only the listener
            before_ = Footing::of(daemon());
            return before_.threads == std::multiset<std::string>{"quon.mcu.daemon"} &&
                   before_.children.empty();
        })) << ::testing::PrintToString(before_);
        before_.descriptors = descriptors;
    }
    void expect_footing_back() {
        use_all();
        const auto is_back = [this] { return Footing::of(daemon()).is_back_at(before_); };
        // On a busy machine some threads may end after memory has been released; the next peers
        // cause that to be repeated.
        bool back = wait_until(is_back, 2s);
        for (int tries = 0; tries < 10 && !back; ++tries) {
            connect_peers(16);
            back = wait_until(is_back, 2s);
        }
        EXPECT_TRUE(back) << ::testing::PrintToString(Footing::of(daemon())) << "\nbefore:\n"
                          << ::testing::PrintToString(before_);
    }
    void use_all() {
        BusPeer user;
        use_every_service(user, chip());
    }

    // ---- Peers that disappear
    void peers_vanish_before_their_handlers() {
        for (int count = 0; count < 100; ++count) {
            const BusPeer vanishing;
            vanishing.send(method_request(kContext));
        }
    }
    void peers_vanish_during_their_handlers() {
        std::filesystem::remove("/tmp/go");
        {
            const auto peers = connect_peers(10);
            for (const auto& each : peers) {
                each->send(method_request(
                    kPopen, bytes_of("while [ ! -e /tmp/go ]; do sleep 0.05; done; echo late")));
            }
            ASSERT_TRUE(wait_until(
                [this] { return daemon().thread_names().count("n.mcu.get.popen") == 10; }));
        }
        std::ofstream("/tmp/go").flush();
        EXPECT_TRUE(
            daemon().process().wait_for_text("Dbus_ReadWrite_Process Write result failed\n"));
    }
    void peers_vanish_with_their_results_unread() {
        for (int count = 0; count < 20; ++count) {
            const BusPeer vanishing;
            for (std::uint32_t id = 0; id < 5; ++id) {
                vanishing.send(method_request(kContext, {}, id));
            }
            pollfd ready{.fd = vanishing.descriptor(), .events = POLLIN, .revents = 0};
            EXPECT_EQ(poll(&ready, 1, static_cast<int>(kLongEnough.count())), 1);
        }
    }
    // ---- Peers that do not read
    void peers_never_read() {
        const auto deaf = connect_peers(4);
        for (const auto& each : deaf) {
            ask(*each, 200);
        }
        expect_others_served();
    }
    void peers_read_late() {
        const auto deaf = connect_peers(4);
        for (const auto& each : deaf) {
            ask(*each, 200);
        }
        expect_others_served();
        for (const auto& each : deaf) {
            EXPECT_EQ(answers_of(*each, 200), 200U);
        }
    }
    // ---- Records
    void records_are_cut() {
        const Bytes whole = method_request(kContext, {}, 7).encoded();
        for (const std::size_t size : {1U, 3U, 4U, 100U, 211U, 212U, 4567U}) {
            const BusPeer half;
            half.send_bytes(slice(whole, 0, size));
            ASSERT_TRUE(half.wait_until_read());
        }
        BusPeer slow;  // the first half has everything that matters, the second nothing
        slow.send_bytes(slice(whole, 0, 2284));
        EXPECT_EQ(slow.receive().value().result, 400);
        slow.send_bytes(slice(whole, 2284, 2284));
        ASSERT_TRUE(slow.wait_until_read());
        EXPECT_EQ(slow.call(kContext).result, 400);
    }
    void fields_are_out_of_range() {
        constexpr std::size_t kNumbers[] = {0, 136, 204, 208};  // head, type, result, data_len
        constexpr std::size_t kNames[] = {8, 72, 140};
        BusPeer odd;
        for (const std::uint32_t value : {1U, 2U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            for (const std::size_t offset : kNumbers) {
                Bytes record = method_request(kContext, {}, 7).encoded();
                const Bytes word = little_endian(value);
                std::copy(word.begin(), word.end(),
                          record.begin() + static_cast<std::ptrdiff_t>(offset));
                odd.send_bytes(record);
                EXPECT_EQ(odd.receive(offset == 0 ? 0ms : kLongEnough).has_value(), offset != 0)
                    << offset << " " << value;
            }
        }
        for (const std::size_t offset : kNames) {
            for (const char letter : {'\0', '%', '\xFF'}) {
                Bytes record = method_request(kContext, {}, 7).encoded();
                std::fill_n(record.begin() + static_cast<std::ptrdiff_t>(offset), 64,
                            static_cast<std::uint8_t>(letter));
                odd.send_bytes(record);
                EXPECT_EQ(odd.receive(offset == 140 ? 0ms : kLongEnough).has_value(), offset != 140)
                    << offset << " " << int{letter};
            }
        }
        odd.send_bytes(Bytes(kRecordSize, 0xFF));
        EXPECT_EQ(odd.call(kContext).result, 400);
    }
    // ---- Masses
    void connections_are_short() {
        on_threads(4, [](std::size_t /*number*/) {
            for (int count = 0; count < 2000; ++count) {
                BusPeer fleeting;
                if (count % 100 == 0) {
                    EXPECT_EQ(fleeting.call(kContext).result, 400);
                }
            }
        });
    }
    void connections_are_idle() {
        const auto idle = connect_peers(500);
        EXPECT_EQ(idle.front()->call(kContext).result, 400);
        EXPECT_EQ(idle.back()->call(kContext).result, 400);
        expect_others_served();
    }
    void signals_are_many() { expect_all_signals(3000); }
    void requests_are_many() {
        chip().ignore(0x90);  // makes all the others wait
        const BusPeer uploader;
        uploader.send(method_request("method.quon.mcu.upg.transmit", Bytes(265)));
        ASSERT_TRUE(chip().wait_for(0x90, 1));
        BusPeer asking;
        for (std::uint32_t id = 1; id <= 1000; ++id) {
            asking.send(method_request("method.quon.mcu.get.time", {}, id));
        }
        ASSERT_TRUE(asking.wait_until_read());
        chip().answer_as_usual(0x90);
        chip().send(0x90, {0, 0, 0, 0, 0xA1});
        EXPECT_EQ(answers_of(asking, 1000), 1000U);
    }
    // ---- Limits
    void threads_are_limited() {  // by the row
        const BusPeer deaf;
        ask_while_there_is_room(deaf, 1000);
        EXPECT_TRUE(
            wait_until([this] {  // one waits for all the results, or the connection's thread does
                return daemon().thread_names().count(".allwakeup.info") <= 1;
            }));
        expect_others_served();
        expect_all_signals(500);
    }
    void memory_is_limited_to(rlim_t more_kib) {
        long pages = 0;
        std::ifstream("/proc/" + std::to_string(daemon().pid()) + "/statm") >> pages;
        const auto now = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE));
        with_limit(RLIMIT_AS, now + more_kib * 1024, [this] { ask_until_answered_or_closed(); });
    }
    void memory_is_used_up() { memory_is_limited_to(0); }
    void memory_is_limited_to_1_mib() { memory_is_limited_to(1024); }
    void memory_is_limited_to_8_mib() { memory_is_limited_to(8192); }

    void descriptors_are_limited_to(rlim_t most) {
        with_limit(RLIMIT_NOFILE, most, [this, most] {
            std::vector<std::unique_ptr<BusPeer>> peers = connect_peers(most + 10);
            EXPECT_TRUE(peers.back()->ended());
            EXPECT_EQ(peers.front()->call(kContext).result, 400);
            EXPECT_EQ(peers.front()->call(kPopen, bytes_of("echo x")).result, 2);
        });
        expect_all_signals(100);
    }
    void descriptors_are_limited_to_24() { descriptors_are_limited_to(24); }
    void descriptors_are_limited_to_64() { descriptors_are_limited_to(64); }
    void descriptors_are_limited_to_400() { descriptors_are_limited_to(400); }

  private:
    static void ask(const BusPeer& peer, std::uint32_t requests) {
        for (std::uint32_t id = 1; id <= requests; ++id) {
            peer.send(method_request(kContext, {}, id));
        }
    }
    // The connection's own thread may be the one waiting for this peer to read.
    static void ask_while_there_is_room(const BusPeer& peer, std::uint32_t requests) {
        constexpr int kPatienceMs = 500;
        for (std::uint32_t id = 1; id <= requests; ++id) {
            pollfd room{.fd = peer.descriptor(), .events = POLLOUT, .revents = 0};
            if (poll(&room, 1, kPatienceMs) != 1) {
                return;
            }
            peer.send(method_request(kContext, {}, id));
        }
    }
    static std::size_t answers_of(const BusPeer& peer, std::size_t expected) {
        std::set<std::uint32_t> answered;
        while (const std::optional<BusRecord> result =
                   peer.receive(answered.size() < expected ? kLongEnough : 0ms)) {
            answered.insert(result->id);
        }
        return answered.size();
    }
    static void expect_others_served() {
        for (int count = 0; count < 10; ++count) {
            BusPeer other;
            EXPECT_EQ(other.call(kContext).result, 400);
            EXPECT_EQ(other.call(kPopen, bytes_of("echo x")).result, 2);
        }
    }
    void expect_all_signals(std::size_t number) {
        const std::size_t before = chip().count(kLed);
        const BusPeer lamp;
        for (std::size_t count = 0; count < number; ++count) {
            lamp.notify("signal.quon.mcu.set.led", Bytes{1});
        }
        EXPECT_TRUE(chip().wait_for(kLed, before + number));
    }
    // Without memory for a message its connection ends; every other request must be answered.
    static void ask_until_answered_or_closed() {
        for (int round = 0; round < 5; ++round) {
            const auto peers = connect_peers(8);
            for (const auto& each : peers) {
                for (std::uint32_t id = 1; id <= 20; ++id) {
                    try {
                        each->send(method_request(kContext, {}, id));
                    } catch (const std::system_error&) {
                        break;  // closed
                    }
                }
            }
            for (const auto& each : peers) {
                std::size_t answers = 0;
                while (answers < 20 && each->receive()) {
                    ++answers;
                }
                EXPECT_TRUE(answers == 20 || each->ended()) << answers;
            }
        }
    }
    void with_limit(int resource, rlim_t soft, const std::function<void()>& work) {
        const auto kind = static_cast<__rlimit_resource>(resource);
        rlimit old{};
        ASSERT_EQ(prlimit(daemon().pid(), kind, nullptr, &old), 0);
        const rlimit fresh{.rlim_cur = soft, .rlim_max = old.rlim_max};
        ASSERT_EQ(prlimit(daemon().pid(), kind, &fresh, nullptr), 0);
        work();
        ASSERT_EQ(prlimit(daemon().pid(), kind, &old, nullptr), 0);
    }

    Footing before_{};
};

// ---- Faults

struct Fault {
    const char* name;
    void (ABus::*bring)();
    bool of_memory = false;
};

void PrintTo(const Fault& fault, std::ostream* stream) {
    *stream << fault.name;
}

class ABusFault : public ABus, public ::testing::WithParamInterface<Fault> {
  public:
    static std::vector<Fault> rows();
};

std::vector<Fault> ABusFault::rows() {
    std::vector<Fault> all = {
        {"PeersVanishBeforeTheirHandlers", &ABusFault::peers_vanish_before_their_handlers},
        {"PeersVanishDuringTheirHandlers", &ABusFault::peers_vanish_during_their_handlers},
        {"PeersVanishWithTheirResultsUnread", &ABusFault::peers_vanish_with_their_results_unread},
        {"PeersNeverRead", &ABusFault::peers_never_read},
        {"PeersReadLate", &ABusFault::peers_read_late},
        {"RecordsAreCut", &ABusFault::records_are_cut},
        {"FieldsAreOutOfRange", &ABusFault::fields_are_out_of_range},
        {"ConnectionsAreShort", &ABusFault::connections_are_short},
        {"ConnectionsAreIdle", &ABusFault::connections_are_idle},
        {"SignalsAreMany", &ABusFault::signals_are_many},
        {"RequestsAreMany", &ABusFault::requests_are_many},
        {"MemoryIsUsedUp", &ABusFault::memory_is_used_up, true},
        {"MemoryIsLimitedTo1MiBMore", &ABusFault::memory_is_limited_to_1_mib, true},
        {"MemoryIsLimitedTo8MiBMore", &ABusFault::memory_is_limited_to_8_mib, true},
        {"DescriptorsAreLimitedTo24", &ABusFault::descriptors_are_limited_to_24},
        {"DescriptorsAreLimitedTo64", &ABusFault::descriptors_are_limited_to_64},
        {"DescriptorsAreLimitedTo400", &ABusFault::descriptors_are_limited_to_400},
    };
    if (kSanitized) {  // which cannot run with such a limit
        std::erase_if(all, [](const Fault& fault) { return fault.of_memory; });
    }
    return all;
}

TEST_P(ABusFault, LeavesNothingBehindAndEveryServiceAnswers) {
    start();
    note_footing();
    (this->*GetParam().bring)();
    expect_footing_back();
}

INSTANTIATE_TEST_SUITE_P(Each, ABusFault, ::testing::ValuesIn(ABusFault::rows()),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- A daemon with a limit on threads and processes

class ALimitOfThreads : public ABus, public ::testing::WithParamInterface<int> {
  protected:
    // The limit does not apply to root: use an otherwise unused user, if there is more than one.
    void start_with_limit() {
        chmod("/tmp", 01777);
        copy_for_everybody("QUON_TEST_DAEMON", daemon_program(), "/tmp/quon_mcu_daemon");
        copy_for_everybody("QUON_TEST_CHIP_LINK", chip_link(), "/tmp/chip_link.so");
        start_chip();
        chmod(kChipSocket, 0666);
        const std::string user = std::to_string(100000 + getpid());
        start_daemon_after(
            "exec prlimit --nproc=" + std::to_string(GetParam()) +
            (only_root() ? " " : " setpriv --clear-groups --regid=" + user + " --reuid=" + user) +
            " \"$@\"; ");
        wait_until_started();
    }

  private:
    // In the user's own namespace, where the limit applies.
    static bool only_root() {
        return content_of("/proc/self/uid_map").find("4294967295") == std::string::npos;
    }
    static std::string chip_link() {
        const auto environment = daemon_launch().environment;
        for (const auto& [name, value] : environment) {
            if (name == "LD_PRELOAD") {
                return value;
            }
        }
        return {};
    }
    static void copy_for_everybody(const char* variable, const std::string& from,
                                   const std::string& to) {
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
        chmod(to.c_str(), 0755);
        setenv(variable, to.c_str(), 1);
    }
};

TEST_P(ALimitOfThreads, IsNoLimitForThePeersOfADeafOne) {
    start_with_limit();
    note_footing();
    threads_are_limited();
    expect_footing_back();
}

INSTANTIATE_TEST_SUITE_P(Of, ALimitOfThreads, ::testing::Values(24, 64, 512),
                         ::testing::PrintToStringParamName());

// ---- Commands

// Each lists its own descriptors while connections come and go.
TEST_F(ABus, GivesNoneOfItsSocketsToACommandThatStartsWhileOthersConnect) {
    constexpr int kCommands = 1220;
    constexpr auto kTime = 20s;  // for that many, or for the minimum that counts as a trial
    constexpr int kAtLeast = 100;
    start();
    std::atomic<int> done = 0;
    std::atomic<bool> enough = false;
    on_threads(6, [&](std::size_t number) {
        if (number < 2) {
            while (!enough && !HasFailure()) {
                const BusPeer fleeting;
            }
            return;
        }
        const auto end = std::chrono::steady_clock::now() + kTime;
        BusPeer commander;
        while (done < kCommands && !HasFailure() &&
               (done < kAtLeast || std::chrono::steady_clock::now() < end)) {
            const BusRecord listed = commander.call(kPopen, bytes_of("cd /proc/self/fd; echo *"));
            EXPECT_EQ(text_of(listed.payload()), "0 1 2 3\n");  // the last is the listing's own
            ++done;
        }
        enough = true;
    });
    EXPECT_GE(done, kAtLeast);
}

}  // namespace
}  // namespace quon::test
