// A method thread that is the last one to use its registration.
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <atomic>
#include <cstdarg>
#include <string>
#include <thread>

#include "bus_peers.h"
#include "dbus_socket_common.h"

namespace {

using namespace std::chrono_literals;
using namespace quon::test;

std::atomic<bool> thread_is_held;
std::atomic<const pthread_mutex_t*> watched_mutex;
std::atomic<bool> mutex_goes;
std::atomic<bool> record_is_freed;
std::atomic<bool> freed_too_early;

}  // namespace

extern "C" {

int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_prctl(int option, ...);

// The method thread gives itself its name here.
int __wrap_prctl(int option, ...) {
    va_list arguments;
    va_start(arguments, option);
    const unsigned long value = va_arg(arguments, unsigned long);
    va_end(arguments);
    EXPECT_TRUE(wait_until([] { return !thread_is_held; }));
    return __real_prctl(option, value);
}

// Gives whoever frees the record the time to do it now.
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    if (mutex == watched_mutex) {
        mutex_goes = true;
        freed_too_early = wait_until([] { return record_is_freed.load(); }, 500ms);
    }
    return __real_pthread_mutex_destroy(mutex);
}

}  // extern "C"

TEST(AMethodThreadThatOutlastsUnregistering, HasLetGoOfTheRecordBeforeItCanBeFreed) {
    const std::string name = fresh_name();
    const RawServer server(name);
    thread_is_held = true;
    DbusInfo* client = Dbus_Client_Connect("quon.test.caller", name.c_str(), 0);
    ASSERT_NE(client, nullptr);
    const pthread_t method_thread = client->method_thread;
    ASSERT_EQ(Dbus_UnRegister(client), 0);
    watched_mutex = &client->mutex;
    std::thread owner([client] {
        EXPECT_TRUE(wait_until([] { return mutex_goes.load(); }));
        DbusInfo_Free(client);
        record_is_freed = true;
    });
    thread_is_held = false;
    owner.join();
    ASSERT_EQ(pthread_join(method_thread, nullptr), 0);
    EXPECT_FALSE(freed_too_early);
}
