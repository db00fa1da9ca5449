// The daemon with another chip's driver: the example, which answers from memory.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "bus_peer.h"
#include "daemon_process.h"
#include "private_world.h"
#include "system_test.h"

namespace quon::test {
namespace {

class TheDaemonOfTheExample : public testing::Test {
  protected:
    void SetUp() override {
        enter_private_world();
        setenv("QUON_TEST_DAEMON", QUON_DAEMON_OF_EXAMPLE, 1);
        setenv("QUON_TEST_CHIP_LINK", "none", 1);
        daemon = std::make_unique<DaemonProcess>();
        ASSERT_TRUE(daemon->wait_for_thread("webpreinit")) << daemon->output();
        ASSERT_TRUE(wait_until([] { return file_exists(kRunFlag); }));
        peer = std::make_unique<BusPeer>();
    }
    void TearDown() override {
        EXPECT_EQ(daemon->process().terminate(), (ExitStatus{.exited = true, .code = 1}));
        EXPECT_EQ(sanitizer_report(daemon->output()), "");
    }

    std::unique_ptr<DaemonProcess> daemon;
    std::unique_ptr<BusPeer> peer;
};

TEST_F(TheDaemonOfTheExample, AnswersFromTheExamplesMemory) {
    EXPECT_EQ(text_of(peer->call("method.quon.mcu.get.ver").payload()), "example");
    const Bytes time = {25, 12, 31, 23, 59, 58, 0, 0, 0, 0};
    peer->notify("signal.quon.mcu.set.time", time);
    EXPECT_TRUE(
        wait_until([&] { return peer->call("method.quon.mcu.get.time").payload() == time; }));
}

TEST_F(TheDaemonOfTheExample, TookItsVersionIntoTheSnapshot) {
    EXPECT_TRUE(wait_until([&] {
        const Bytes context = peer->call("method.quon.mcu.get.allwakeup.info").payload();
        return context.size() == 400 &&
               text_of(slice(context, 364, 32)) == std::string("example") + std::string(25, '\0');
    }));
}

TEST_F(TheDaemonOfTheExample, FailsWhatTheExampleDoesNotServeAndGoesOn) {
    for (const char* const name : {"get.alarm", "get.status.info", "get.log.profile"}) {
        EXPECT_EQ(peer->call(std::string("method.quon.mcu.") + name).result, -1) << name;
    }
    EXPECT_EQ(text_of(peer->call("method.quon.mcu.get.ver").payload()), "example");
}

TEST_F(TheDaemonOfTheExample, ConfiguresTheNetworkWithTheDriversSharedCode) {
    peer->notify("signal.quon.mcu.set.wifi.connect", Bytes(134));
    EXPECT_TRUE(wait_until([] {
        return content_of("/etc/resolv.conf") ==
               "options timeout:1\nnameserver 192.0.2.53 # wlan0\nnameserver 192.0.2.1 # wlan0\n";
    }));
}

}  // namespace
}  // namespace quon::test
