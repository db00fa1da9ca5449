// How calls end, and what takes more than one of them.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "fake_daemon.h"
#include "quon_mcu_client.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;
constexpr int32_t kTimeout = 20000;

struct Disconnect {
    void operator()(quon_mcu_client* client) const { quon_mcu_client_disconnect(client); }
};
using Client = std::unique_ptr<quon_mcu_client, Disconnect>;

Client connected() {
    Client client(quon_mcu_client_connect("test.client", kTimeout));
    EXPECT_NE(client, nullptr);
    return client;
}

// ---- Connecting

TEST(AClient, IsNotMadeWithoutADaemonOrAName) {
    EXPECT_EQ(quon_mcu_client_connect("test.client", 0), nullptr);
    const FakeDaemon daemon;
    EXPECT_EQ(quon_mcu_client_connect(nullptr, 0), nullptr);
    EXPECT_EQ(quon_mcu_client_connect("", 0), nullptr);
    EXPECT_EQ(quon_mcu_client_connect(std::string(64, 'n').c_str(), 0), nullptr);
    EXPECT_EQ(quon_mcu_client_connect("test.client", -1), nullptr);
    EXPECT_NE(connected(), nullptr);
}

TEST(AClient, OfNobodyIsInvalidAndDisconnectsQuietly) {
    quon_mcu_client_disconnect(nullptr);
    quon_mcu_time time;
    EXPECT_EQ(quon_mcu_client_get_time(nullptr, &time, 0), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_set_wdg_feed(nullptr, 0), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_next_event(nullptr, nullptr, 0), QUON_MCU_INVALID);
}

// ---- The ends of a call

quon_mcu_status ended(const FakeDaemon::Answer& answer, int32_t timeout_ms, int32_t* result) {
    const FakeDaemon daemon(answer);
    const Client client = connected();
    DbusReply reply{};
    reply.result = 12345;
    const quon_mcu_status status = quon_mcu_client_call(client.get(), "method.quon.mcu.get.time",
                                                        nullptr, 0, timeout_ms, &reply);
    *result = reply.result;
    return status;
}

TEST(ACall, TellsTheServicesOwnFailureWithItsResult) {
    int32_t result = 0;
    EXPECT_EQ(ended(failing(-7), kTimeout, &result), QUON_MCU_FAILED);
    EXPECT_EQ(result, -7);
}

TEST(ACall, EndsByItsTimeOut) {
    int32_t result = 0;
    EXPECT_EQ(ended(nullptr, 20, &result), QUON_MCU_TIMEOUT);
    EXPECT_EQ(ended(nullptr, 0, &result), QUON_MCU_TIMEOUT);
    EXPECT_EQ(result, 12345);
}

TEST(ACall, TellsAnAnswerThatContradictsItself) {
    const auto with_length = [](int32_t own_result, uint32_t length) {
        return [=](const DbusMsg& request) {
            DbusMsg answer = make_result(request, own_result);
            answer.data_len = length;
            return answer;
        };
    };
    int32_t result = 0;
    EXPECT_EQ(ended(with_length(10, 9), kTimeout, &result), QUON_MCU_MALFORMED);
    EXPECT_EQ(ended(with_length(4357, 4357), kTimeout, &result), QUON_MCU_MALFORMED);
    EXPECT_EQ(ended(with_length(4356, 4356), kTimeout, &result), QUON_MCU_OK);
}

TEST(ACall, TellsALostConnection) {
    auto daemon = std::make_unique<FakeDaemon>();
    const Client client = connected();
    daemon.reset();
    quon_mcu_time time;
    EXPECT_TRUE(wait_until([&] {
        return quon_mcu_client_get_time(client.get(), &time, 1) == QUON_MCU_NO_CONNECTION;
    }));
}

TEST(ACall, RefusesWhatCannotBeSent) {
    const FakeDaemon daemon(failing(-1));
    const Client client = connected();
    const std::vector<uint8_t> too_long(4357);
    DbusReply reply;
    EXPECT_EQ(quon_mcu_client_call(client.get(), "a", too_long.data(), 4357, 0, &reply),
              QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_call(client.get(), nullptr, nullptr, 0, 0, &reply), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_call(client.get(), "a", nullptr, 0, 0, nullptr), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_call(client.get(), "a", nullptr, 0, -1, &reply), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_send(client.get(), "a", nullptr, 1, 0), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_next_event(client.get(), nullptr, -1), QUON_MCU_INVALID);
}

TEST(ACall, MayBeMadeByManyThreadsAtOnce) {
    const FakeDaemon daemon([](const DbusMsg& request) {
        return make_result(request, 241, std::string(241, static_cast<char>(request.data[0])));
    });
    const Client client = connected();
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 1; i <= 8; ++i) {
        threads.emplace_back([&, i] {
            const quon_mcu_selector selector{static_cast<uint8_t>(i)};
            quon_mcu_wifi_scanf_info info;
            for (int round = 0; round < 20; ++round) {
                const bool good = quon_mcu_client_get_wifi_scanf_info(
                                      client.get(), &selector, &info, kTimeout) == QUON_MCU_OK;
                right += good && info.bytes[240] == i ? 1 : 0;
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(right, 160);
}

TEST(AStatus, HasWords) {
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_OK), "done");
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_TIMEOUT), "no answer in time");
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_NO_CONNECTION), "no connection to the daemon");
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_INVALID), "what was given cannot be sent");
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_NO_MEMORY), "out of memory");
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_FAILED), "the service failed");
    EXPECT_STREQ(quon_mcu_status_text(QUON_MCU_MALFORMED), "malformed answer");
    EXPECT_STREQ(quon_mcu_status_text(static_cast<quon_mcu_status>(5)), "unknown status");
}

// ---- Events

TEST(TheNextEvent, IsWaitedFor) {
    std::atomic<int> asked{0};
    const FakeDaemon daemon([&](const DbusMsg& request) {
        return ++asked < 4 ? make_result(request, -1)
                           : make_result(request, 33, std::string(33, '\x0b'));
    });
    const Client client = connected();
    quon_mcu_event_info event{};
    EXPECT_EQ(quon_mcu_client_next_event(client.get(), &event, kTimeout), QUON_MCU_OK);
    EXPECT_EQ(event.bytes[32], 0x0b);
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(text_of(daemon.request().name), "method.quon.mcu.get.event.info");
}

TEST(TheNextEvent, IsAskedForOnceWithoutATimeOut) {
    const FakeDaemon daemon(failing(-1));
    const Client client = connected();
    quon_mcu_event_info event;
    EXPECT_EQ(quon_mcu_client_next_event(client.get(), &event, 0), QUON_MCU_TIMEOUT);
    EXPECT_EQ(daemon.count(), 1U);
}

TEST(TheNextEvent, EndsByItsTimeOutWhenNoneComes) {
    const FakeDaemon daemon(failing(-1));
    const Client client = connected();
    quon_mcu_event_info event;
    std::size_t before = 0;
    int time_out = 150;
    // A busy machine may need longer for the second question.
    for (; time_out < 20000 && daemon.count() < before + 2; time_out *= 4) {
        before = daemon.count();
        const int64_t start = now_ms();
        EXPECT_EQ(quon_mcu_client_next_event(client.get(), &event, time_out), QUON_MCU_TIMEOUT);
        EXPECT_GE(now_ms() - start, time_out - 1);
    }
    EXPECT_GE(daemon.count(), before + 2);
}

TEST(TheNextEvent, TellsAnotherFailureAndAWrongSize) {
    quon_mcu_event_info event;
    {
        const FakeDaemon daemon(failing(-2));
        EXPECT_EQ(quon_mcu_client_next_event(connected().get(), &event, kTimeout), QUON_MCU_FAILED);
    }
    const FakeDaemon daemon(replying("01"));
    EXPECT_EQ(quon_mcu_client_next_event(connected().get(), &event, kTimeout), QUON_MCU_MALFORMED);
}

TEST(TheNextEvent, EndsWhenTheDaemonIsSilent) {
    const FakeDaemon daemon;
    quon_mcu_event_info event;
    EXPECT_EQ(quon_mcu_client_next_event(connected().get(), &event, 0), QUON_MCU_TIMEOUT);
}

// ---- Commands

TEST(ACommand, GoesWithItsClosingZeroAndComesBackAsItsWaitStatus) {
    const FakeDaemon daemon(replying("37 36 38"));
    const Client client = connected();
    int32_t status = 0;
    EXPECT_EQ(quon_mcu_client_exec(client.get(), "exit 3", &status, kTimeout), QUON_MCU_OK);
    EXPECT_EQ(status, 768);
    EXPECT_EQ(hex_of(daemon.request()), "65 78 69 74 20 33 00");
    EXPECT_EQ(text_of(daemon.request().name), "method.quon.mcu.get.system");
}

TEST(ACommand, MayHaveNoShell) {
    const FakeDaemon daemon(replying("2d 31"));
    int32_t status = 0;
    EXPECT_EQ(quon_mcu_client_exec(connected().get(), "x", &status, kTimeout), QUON_MCU_OK);
    EXPECT_EQ(status, -1);
}

TEST(ACommand, WithAStatusThatIsNoNumberIsMalformed) {
    for (const char* wrong : {"", "78", "31 20", "34 32 39 34 39 36 37 32 39 36"}) {
        const FakeDaemon daemon(replying(wrong));
        int32_t status = 77;
        EXPECT_EQ(quon_mcu_client_exec(connected().get(), "x", &status, kTimeout),
                  QUON_MCU_MALFORMED);
        EXPECT_EQ(status, 77);
    }
}

TEST(ACommand, HasRoomFor4355Characters) {
    const FakeDaemon daemon(replying("30"));
    const Client client = connected();
    int32_t status = 0;
    const std::string longest(4355, 'c');
    EXPECT_EQ(quon_mcu_client_exec(client.get(), longest.c_str(), &status, kTimeout), QUON_MCU_OK);
    EXPECT_EQ(payload_of(daemon.request()), longest + '\0');
    EXPECT_EQ(quon_mcu_client_exec(client.get(), (longest + "c").c_str(), &status, kTimeout),
              QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_exec(client.get(), nullptr, &status, kTimeout), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_exec(client.get(), "x", nullptr, kTimeout), QUON_MCU_INVALID);
}

TEST(TheOutputOfACommand, ComesWithItsLength) {
    const FakeDaemon daemon(replying("68 69 00 0a"));
    auto command = std::make_unique<quon_mcu_shell_command>();
    std::strcpy(command->command, "ls");
    auto output = std::make_unique<quon_mcu_shell_output>();
    EXPECT_EQ(quon_mcu_client_get_popen(connected().get(), command.get(), output.get(), kTimeout),
              QUON_MCU_OK);
    EXPECT_EQ(output->length, 4U);
    EXPECT_EQ(to_hex(std::span(output->output).first(4)), "68 69 00 0a");
}

// ---- The firmware upgrade

struct Image {
    std::string bytes;
    std::vector<std::string> progress;
    bool is_readable = true;
};

int read_image(void* context, uint32_t offset, uint8_t* into, uint32_t length) {
    const auto* image = static_cast<const Image*>(context);
    if (!image->is_readable) {
        return 1;
    }
    std::memcpy(into, image->bytes.data() + offset, length);
    return 0;
}

void keep_progress(void* context, uint32_t done, uint32_t size) {
    static_cast<Image*>(context)->progress.push_back(std::to_string(done) + "/" +
                                                     std::to_string(size));
}

quon_mcu_upgrade upgrade_of(Image& image) {
    quon_mcu_upgrade upgrade{};
    upgrade.size = static_cast<uint32_t>(image.bytes.size());
    upgrade.read = read_image;
    upgrade.progress = keep_progress;
    upgrade.context = &image;
    return upgrade;
}

std::string block(const std::string& word, const std::string& length, const Bytes& data,
                  const std::string& tail) {
    Bytes padded = data;
    padded.resize(256);
    return word + " " + length + " " + to_hex(padded) + " " + tail;
}

TEST(AnUpgrade, IsItsStartItsBlocksAndItsFinish) {
    const FakeDaemon daemon(replying("00 00 00 00"));
    Image image{std::string(256, 'a') + "bc", {}};
    quon_mcu_upgrade upgrade = upgrade_of(image);
    upgrade.first = 9;
    upgrade.second = 0x0102;
    upgrade.tail = 0x77;
    EXPECT_EQ(quon_mcu_client_upgrade(connected().get(), &upgrade, kTimeout), QUON_MCU_OK);
    EXPECT_EQ(text_of(daemon.request(0).name), "method.quon.mcu.upg.start");
    EXPECT_EQ(hex_of(daemon.request(0)), "09 02 01 00 00");
    EXPECT_EQ(text_of(daemon.request(1).name), "method.quon.mcu.upg.transmit");
    EXPECT_EQ(hex_of(daemon.request(1)),
              block("00 00 00 00", "00 01 00 00", Bytes(256, 'a'), "77"));
    EXPECT_EQ(hex_of(daemon.request(2)),
              block("00 01 00 00", "02 00 00 00", Bytes{'b', 'c'}, "77"));
    EXPECT_EQ(text_of(daemon.request(3).name), "method.quon.mcu.upg.finish");
    EXPECT_EQ(daemon.count(), 4U);
    EXPECT_EQ(image.progress, (std::vector<std::string>{"0/258", "256/258", "258/258"}));
    EXPECT_EQ(upgrade.stopped_at, 258U);
}

TEST(AnUpgrade, StopsAtTheBlockThatIsRefusedAndGoesOnThere) {
    std::atomic<int> seen{0};
    const FakeDaemon daemon([&](const DbusMsg& request) {
        return ++seen == 3 ? make_result(request, -7)
                           : make_result(request, 4, std::string(4, '\0'));
    });
    const Client client = connected();
    Image image{std::string(600, 'a'), {}};
    quon_mcu_upgrade upgrade = upgrade_of(image);
    EXPECT_EQ(quon_mcu_client_upgrade(client.get(), &upgrade, kTimeout), QUON_MCU_FAILED);
    EXPECT_EQ(upgrade.stopped_at, 256U);
    EXPECT_EQ(upgrade.result, -7);
    upgrade.from = upgrade.stopped_at;
    EXPECT_EQ(quon_mcu_client_upgrade(client.get(), &upgrade, kTimeout), QUON_MCU_OK);
    EXPECT_EQ(hex_of(daemon.request(3)).substr(0, 11), "00 01 00 00");
    EXPECT_EQ(daemon.count(), 6U);
}

TEST(AnUpgrade, TellsWhenItsStartOrItsFinishFails) {
    Image image{std::string(1, 'a'), {}};
    quon_mcu_upgrade upgrade = upgrade_of(image);
    upgrade.progress = nullptr;
    {
        const FakeDaemon daemon(failing(-1));
        EXPECT_EQ(quon_mcu_client_upgrade(connected().get(), &upgrade, kTimeout), QUON_MCU_FAILED);
        EXPECT_EQ(upgrade.stopped_at, 0U);
        EXPECT_EQ(upgrade.result, -1);
        EXPECT_EQ(daemon.count(), 1U);
    }
    const FakeDaemon daemon([](const DbusMsg& request) {
        return text_of(request.name) == "method.quon.mcu.upg.finish"
                   ? make_result(request, -1)
                   : make_result(request, 4, std::string(4, '\0'));
    });
    EXPECT_EQ(quon_mcu_client_upgrade(connected().get(), &upgrade, kTimeout), QUON_MCU_FAILED);
    EXPECT_EQ(upgrade.stopped_at, 1U);
    EXPECT_EQ(upgrade.result, -1);
}

TEST(AnUpgrade, RefusesAnImageThatCannotBeSent) {
    const FakeDaemon daemon(replying("00 00 00 00"));
    const Client client = connected();
    Image image{std::string(600, 'a'), {}};
    EXPECT_EQ(quon_mcu_client_upgrade(client.get(), nullptr, kTimeout), QUON_MCU_INVALID);
    for (const uint32_t from : {1U, 255U, 768U}) {
        quon_mcu_upgrade wrong = upgrade_of(image);
        wrong.from = from;
        EXPECT_EQ(quon_mcu_client_upgrade(client.get(), &wrong, kTimeout), QUON_MCU_INVALID)
            << from;
    }
    quon_mcu_upgrade empty = upgrade_of(image);
    empty.size = 0;
    EXPECT_EQ(quon_mcu_client_upgrade(client.get(), &empty, kTimeout), QUON_MCU_INVALID);
    quon_mcu_upgrade unreadable = upgrade_of(image);
    unreadable.read = nullptr;
    EXPECT_EQ(quon_mcu_client_upgrade(client.get(), &unreadable, kTimeout), QUON_MCU_INVALID);
    EXPECT_EQ(daemon.count(), 0U);
    image.is_readable = false;
    quon_mcu_upgrade gives_up = upgrade_of(image);
    EXPECT_EQ(quon_mcu_client_upgrade(client.get(), &gives_up, kTimeout), QUON_MCU_INVALID);
    EXPECT_EQ(daemon.count(), 1U);
}

}  // namespace
}  // namespace quon::test
