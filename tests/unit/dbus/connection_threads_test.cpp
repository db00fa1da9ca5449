// Threads and sockets of connections as they are made, and errno between two reads.
#include <gtest/gtest.h>
#include <limits.h>
#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "bus_peers.h"
#include "dbus_socket_common.h"
#include "faults.h"
#include "log_records.h"

namespace quon::test {
namespace {

std::size_t default_stack() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    std::size_t size = 0;
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

struct StackRow {
    const char* what;
    std::size_t wanted;
    std::size_t made;
};

TEST(TheThreadsOfAConnection, AreDetachedAndHaveTheStackThatTheProcessAskedFor) {
    const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer before = RawPeer::connect_to(name);
    ASSERT_TRUE(serves(before));
    // A new connection is made with the listener's stack size, which is as it was at its start.
    for (const StackRow& row :
         {StackRow{"none", 0, default_stack()}, StackRow{"256 KiB", 262144, 262144},
          StackRow{"64 KiB", 65536, std::max<std::size_t>(65536, least)},
          StackRow{"too little", 1, least}}) {
        SCOPED_TRACE(row.what);
        Dbus_SetThreadStack(row.wanted);
        const std::string own = fresh_name();
        start_server(own, {{.name = "method.one", .method = answer_one}});
        forget_calls();
        RawPeer peer = RawPeer::connect_to(own);
        EXPECT_TRUE(serves(peer));
        const std::vector<ThreadStart> started = threads_started();
        ASSERT_EQ(started.size(), 2U);
        EXPECT_EQ(started[0].function, &Dbus_ReadWrite_Thread);
        EXPECT_EQ(started[1].function, &Dbus_ReadWrite_Process);
        for (const ThreadStart& start : started) {
            EXPECT_TRUE(start.detached);
            EXPECT_EQ(start.stack, row.made);
        }
    }
    Dbus_SetThreadStack(0);
    EXPECT_TRUE(serves(before));
}

std::int32_t fill_the_stack(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                            std::uint8_t* reply, std::int32_t /*capacity*/) {
    volatile std::uint8_t large[96 * 1024];
    for (std::size_t i = 0; i < sizeof(large); i += 1024) {
        large[i] = 1;
    }
    reply[0] = static_cast<std::uint8_t>('0' + large[1024]);
    return 1;
}

TEST(AHandlerWithALargeArray, FindsRoomOnTheStackThatALibraryMakesByItself) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = fill_the_stack}});
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
}

TEST(ThePauseAfterAMethod, HasATimerSlackOfOneNanosecond) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
    EXPECT_EQ(slack_at_last_pause(), 1);
}

// On each socket from its first moment: a command may start at any time.
TEST(TheSocketsOfConnections, AreMadeClosedOnExec) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    forget_calls();
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
    RawPeer second = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(second));
    for (const int flags : calls().accept_flags) {
        EXPECT_EQ(flags, SOCK_CLOEXEC);
    }
    EXPECT_GE(calls().accept_flags.size(), 2U);
}

// ---- errno between two reads

std::int32_t change_errno(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                          std::uint8_t* reply, std::int32_t /*capacity*/) {
    errno = ENOENT;
    reply[0] = '1';
    return 1;
}

// The handler runs on the connection's own thread, and what it does to errno does not count.
TEST(TheErrorOfARead, StandsUntilTheNextOneWhateverHappensBetweenThem) {
    const std::string name = "quon.test.errno";
    start_server(name, {{.name = "method.one", .method = change_errno}});
    ASSERT_TRUE(wait_until([&] { return threads_named(name).size() == 1; }));
    const pid_t listener = threads_named(name)[0];
    const LogRecords log;
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([&] { return threads_named(name).size() == 2; }));
    for (const pid_t thread : threads_named(name)) {
        ASSERT_TRUE(thread == listener || wait_until([&] {
                        interrupt_thread(thread);
                        return !log.lines().empty();
                    }));
    }
    forget_calls();
    fail_next(Fault::kThread, 1, 0, Where::kOtherThreads);
    EXPECT_TRUE(serves(peer));
    EXPECT_TRUE(all_failed(Fault::kThread));
    peer.close_now();
    EXPECT_TRUE(wait_until(
        [&] { return log.lines().back().msg.find("ret:0 errno:4 ") != std::string::npos; }));
    // It stays so, but costs neither a processor nor a full log.
    ASSERT_TRUE(wait_until([] { return pauses_of(10000) >= 3; }));
    const std::size_t lines = log.lines().size();
    const int pauses = pauses_of(10000);
    EXPECT_TRUE(wait_until([&] { return log.lines().size() > lines + 3; }));
    EXPECT_GE(pauses_of(10000) + 2 - pauses, static_cast<int>(log.lines().size() - lines) - 1);
}

}  // namespace
}  // namespace quon::test
