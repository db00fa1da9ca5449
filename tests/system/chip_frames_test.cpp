// What the chip may send, valid and invalid, and how long the daemon waits for it.
#include <algorithm>
#include <tuple>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kTime[] = "method.quon.mcu.get.time";
constexpr char kEventInfo[] = "method.quon.mcu.get.event.info";

class AnEvent : public SystemTest {
  protected:
    // The events that the daemon has queued, oldest first.
    std::vector<Bytes> collect(std::size_t count) {
        std::vector<Bytes> events;
        wait_until([&] {
            const BusRecord event = peer().call(kEventInfo);
            if (event.result == 33) {
                events.push_back(event.payload());
            }
            return events.size() == count;
        });
        return events;
    }
    void expect_no_event() {
        const std::size_t mark = daemon().mark();
        const BusRecord none = peer().call(kEventInfo);
        EXPECT_EQ(none.result, -1);
        EXPECT_EQ(none.data_len, 0U);
        EXPECT_TRUE(daemon().log(mark).empty()) << daemon().log(mark).front();
    }
};

TEST_F(AnEvent, OfEachTypeIsQueuedWithItsFirstBytes) {
    start();
    expect_no_event();
    for (const std::uint8_t type : Bytes{0x00, 0x01, 0x02, 0x03, 0x04, 0x05}) {
        SCOPED_TRACE(static_cast<int>(type));
        Bytes payload = pattern(50, static_cast<std::uint8_t>(100 + type));
        payload[1] = 0;  // no network update
        chip().send(type, payload);
        const std::vector<Bytes> events = collect(1);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(to_hex(events[0]), to_hex(slice(payload, 0, 33)));
        expect_no_event();
    }
}

TEST_F(AnEvent, ThatIsShortEndsInZeros) {
    start();
    chip().send(0x01, {7, 0, 9});
    chip().send(0x02, {});
    const std::vector<Bytes> events = collect(2);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(to_hex(events[0]), to_hex(padded({7, 0, 9}, 33)));
    EXPECT_EQ(to_hex(events[1]), to_hex(Bytes(33, 0)));
}

TEST_F(AnEvent, OfOneByteIsOneOfNothingButOfNoByteIsNone) {
    start();
    chip().send_raw({});
    chip().send_raw({0x02});
    const std::vector<Bytes> events = collect(1);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(to_hex(events[0]), to_hex(Bytes(33, 0)));
    expect_no_event();
}

TEST_F(AnEvent, IsReturnedInTheOrderOfItsArrival) {
    start();
    for (std::uint8_t number = 1; number <= 5; ++number) {
        chip().send(0x04, Bytes{number});
    }
    const std::vector<Bytes> events = collect(5);
    ASSERT_EQ(events.size(), 5U);
    for (std::uint8_t number = 1; number <= 5; ++number) {
        EXPECT_EQ(events[number - 1U][0], number);
    }
}

TEST_F(AnEvent, BeyondTheTenthIsLostWithAMessage) {
    start();
    for (std::uint8_t number = 1; number <= 11; ++number) {
        chip().send(0x05, Bytes{number});
    }
    EXPECT_TRUE(wait_for_log(driver_failed("hi3861l_event_push", expected::kPushFailed)));
    EXPECT_TRUE(daemon().has_logged(
        {'E', "TAG", "QN_QUEUE_Push", std::string(expected::kEventQueueFull) + "\n"}));
    const std::vector<Bytes> events = collect(10);
    ASSERT_EQ(events.size(), 10U);
    for (std::uint8_t number = 1; number <= 10; ++number) {
        EXPECT_EQ(events[number - 1U][0], number);
    }
    expect_no_event();
    chip().send(0x05, {12});  // there is room again
    EXPECT_EQ(collect(1).size(), 1U);
}

TEST_F(AnEvent, OfATypeThatIsNoneIsNotQueued) {
    start();
    for (const std::uint8_t type : Bytes{0x06, 0x42, 0x80, 0xA8, 0xFF}) {
        chip().send(type, pattern(40));
    }
    chip().send(0x01, {1});  // comes after them
    const std::vector<Bytes> events = collect(1);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0][0], 1);
    expect_no_event();
}

TEST_F(AnEvent, DoesNotDisturbAnExchangeInProgress) {
    start();
    chip().ignore(0x84);
    const std::size_t before = chip().count(0x84);
    peer().send(method_request(kTime));
    ASSERT_TRUE(chip().wait_for(0x84, before + 1));
    chip().send(0x01, pattern(33));
    chip().send(0x84, pattern(10));
    EXPECT_EQ(peer().receive().value().payload(), pattern(10));
}

class TheHexDump : public SystemTest {};

TEST_F(TheHexDump, ShowsEveryFrameOfTheChipAtLevelFour) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    chip().send_raw(from_hex("92 0f 00 00 00 20 7e 1f 7f 41 42 43 00 ff 30 31 32 33 34 35"));
    EXPECT_TRUE(
        daemon().process().wait_for_text("D/HEX recv msg: 0010-001F: 32 33 34 35 "
                                         "                                        "
                                         "2345\n",
                                         mark))
        << daemon().output().substr(mark);
    EXPECT_NE(daemon().output().find(
                  "D/HEX recv msg: 0000-000F: 92 0F 00 00 00 20 7E 1F  7F 41 42 43 00 FF 30 31    "
                  "..... ~..ABC..01\n",
                  mark),
              std::string::npos)
        << daemon().output().substr(mark);
}

TEST_F(TheHexDump, IsLeftOutForTheUpgrade) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    for (const std::uint8_t type : Bytes{0x8F, 0x90, 0x91, 0x92}) {
        chip().send(type, {type});
    }
    EXPECT_TRUE(daemon().process().wait_for_text("D/HEX recv msg: 0000-000F: 92 01", mark));
    const std::string dumps = daemon().output().substr(mark);
    for (const char* head : {"-000F: 8F", "-000F: 90", "-000F: 91"}) {
        EXPECT_EQ(dumps.find(head), std::string::npos) << dumps;
    }
}

TEST_F(TheHexDump, IsOffBelowLevelFour) {
    start();
    set_level(3);
    const std::size_t mark = daemon().mark();
    chip().send(0x92, pattern(20));
    EXPECT_EQ(peer().call(kTime).result, 10);  // its answer comes after that frame
    EXPECT_EQ(daemon().output().find("D/HEX", mark), std::string::npos);
}

class AMalformedFrame : public SystemTest {
  protected:
    // Whatever arrives, while idle or during a query, the daemon keeps serving.
    void expect_survival(const Bytes& frame) {
        SCOPED_TRACE(to_hex(slice(frame, 0, 16)) + "... of " + std::to_string(frame.size()));
        std::size_t asked = chip().count(0x84);
        chip().send_raw(frame);
        // On a busy machine the commands of a network update may delay the answer beyond the
        // query's time-out: then a later query gets it.
        EXPECT_TRUE(wait_until([&] {
            asked++;
            return peer().call(kTime).result == 10;
        }));
        // The frame may have ended the query before the chip saw it.
        ASSERT_TRUE(chip().wait_for(0x84, asked));
        chip().ignore(0x84);
        EXPECT_TRUE(wait_until([&] { return answers_a_waiting_query(frame, ++asked); }));
        chip().answer_as_usual(0x84);
    }
    bool answers_a_waiting_query(const Bytes& frame, std::size_t asked) {
        peer().send(method_request(kTime));
        EXPECT_TRUE(chip().wait_for(0x84, asked));
        chip().send_raw(frame);
        chip().send(0x84, pattern(10));
        const std::optional<BusRecord> result = peer().receive();
        return result && result->result == 10;
    }
    void drain_events() {
        while (peer().call(kEventInfo).result == 33) {
        }
    }
};

TEST_F(AMalformedFrame, ThatIsShorterThanItsHeadIsSurvived) {
    start();
    expect_survival({});
    for (const std::uint8_t type : Bytes{0x00, 0x01, 0x03, 0x80, 0x84, 0x90, 0xFF}) {
        for (std::size_t size = 1; size <= 4; ++size) {
            expect_survival(padded({type}, size));
            expect_survival(joined(Bytes{type}, Bytes(size - 1, 0xFF)));
        }
        drain_events();
    }
}

TEST_F(AMalformedFrame, ThatDeclaresMoreThanItCarriesIsSurvived) {
    start();
    for (const std::uint8_t type : Bytes{0x00, 0x03, 0x80, 0x82, 0x84, 0x90, 0x9E, 0xAC, 0xFF}) {
        for (const std::uint32_t length :
             {2U, 100U, 383U, 384U, 385U, 4096U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            expect_survival(chip_frame_declaring(type, length, {5}));
            expect_survival(chip_frame_declaring(type, length, pattern(363)));
        }
        drain_events();
    }
}

TEST_F(AMalformedFrame, ThatDeclaresLessThanItCarriesGivesWhatItDeclares) {
    start();
    chip().answer_raw(0x84, chip_frame_declaring(0x84, 4, pattern(10)));
    const BusRecord result = peer().call(kTime);
    EXPECT_EQ(result.result, 10);
    EXPECT_EQ(to_hex(result.payload()), to_hex(padded(pattern(4), 10)));
}

TEST_F(AMalformedFrame, ThatDeclaresMoreThanItCarriesEndsInZeros) {
    start();
    chip().answer_raw(0xA7, chip_frame_declaring(0xA7, 300, pattern(20)));
    const BusRecord result = peer().call("method.quon.mcu.get.config.info");
    EXPECT_EQ(result.result, 256);
    EXPECT_EQ(to_hex(result.payload()), to_hex(padded(pattern(20), 256)));
}

TEST_F(AMalformedFrame, ThatAnswersAQueryWithAnAbsurdLengthIsCutToAPayload) {
    start();
    for (const std::uint32_t length : {385U, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        for (const auto& [service, type, size] :
             {std::tuple{"get.time", std::uint8_t{0x84}, 10},
              std::tuple{"get.wakeup.info", std::uint8_t{0x82}, 71},
              std::tuple{"get.wifi.scanf.info", std::uint8_t{0xA9}, 241},
              std::tuple{"get.wdg.state", std::uint8_t{0x95}, 1},
              std::tuple{"get.err.report", std::uint8_t{0x9E}, 181},
              std::tuple{"get.soc.time.list", std::uint8_t{0xAC}, 221}}) {
            chip().answer_raw(type, chip_frame_declaring(type, length, pattern(363)));
            EXPECT_EQ(peer().call(std::string("method.quon.mcu.") + service).result, size);
        }
    }
    expect_still_serving();
}

TEST_F(AMalformedFrame, AtTheStartIsSurvived) {
    start_chip();
    for (const std::uint8_t type : Bytes{0x81, 0x82, 0x84, 0x86, 0x8C, 0x93, 0x80}) {
        chip().answer_raw(type, chip_frame_declaring(type, 0xFFFFFFFF, pattern(363)));
    }
    start_daemon();
    wait_until_started();
    const BusRecord context = peer().call("method.quon.mcu.get.allwakeup.info");
    EXPECT_EQ(context.result, 400);
    // The first record is the chip's, however long its answer was.
    EXPECT_EQ(to_hex(slice(context.payload(), 0, 71)), to_hex(pattern(71)));
    chip().answer_as_usual(0x84);
    expect_still_serving();
}

TEST_F(AMalformedFrame, LongerThanTheChannelTakesIsCut) {
    start();
    chip().answer_raw(0xA7, chip_frame(0xA7, pattern(1000)));
    EXPECT_EQ(to_hex(peer().call("method.quon.mcu.get.config.info").payload()),
              to_hex(pattern(256)));
    // 384 bytes minus the header of 16 and the head of 5 leave 363, all visible in this reply.
    chip().answer_raw(0x80, chip_frame_declaring(0x80, 384, pattern(384)));
    EXPECT_EQ(to_hex(peer().call("method.quon.mcu.get.ver").payload()), to_hex(pattern(363)));
}

class AnAnswer : public SystemTest {
  protected:
    // The daemon sends its query and hears nothing yet.
    void ask(std::string_view service, std::uint8_t type, std::uint32_t id) {
        chip().ignore(type);
        const std::size_t before = chip().count(type);
        peer().send(method_request(service, {}, id));
        ASSERT_TRUE(chip().wait_for(type, before + 1));
    }
    // The chip's frames are processed in order: with this event, all before it have been.
    void let_everything_arrive() {
        chip().send(0x01, {});
        ASSERT_TRUE(wait_until([this] { return peer().call(kEventInfo).result == 33; }));
    }
};

TEST_F(AnAnswer, OfAnotherTypeIsNotTaken) {
    start();
    ask(kTime, 0x84, 1);
    chip().send(0x86, pattern(5, 50));
    chip().send(0x85, pattern(10, 60));
    chip().send(0x84, pattern(10, 70));
    EXPECT_EQ(peer().receive().value().payload(), pattern(10, 70));
}

TEST_F(AnAnswer, ThatComesTwiceServesOneQuery) {
    start();
    ask(kTime, 0x84, 1);
    chip().send(0x84, pattern(10, 70));
    EXPECT_EQ(peer().receive().value().payload(), pattern(10, 70));
    chip().send(0x84, pattern(10, 80));  // nobody waits any more
    let_everything_arrive();
    ask(kTime, 0x84, 2);
    chip().send(0x84, pattern(10, 90));
    EXPECT_EQ(peer().receive().value().payload(), pattern(10, 90));
}

TEST_F(AnAnswer, ThatIsLateReachesNobody) {
    start();
    ask(kTime, 0x84, 1);
    EXPECT_EQ(peer().receive().value().result, -1);
    chip().send(0x84, pattern(10, 70));
    let_everything_arrive();
    ask(kTime, 0x84, 2);
    chip().send(0x84, pattern(10, 80));
    EXPECT_EQ(peer().receive().value().payload(), pattern(10, 80));
    // Nor does it end a wait for another type.
    ask("method.quon.mcu.get.alarm", 0x99, 3);
    chip().send(0x84, pattern(10, 90));
    chip().send(0x99, pattern(7, 100));
    EXPECT_EQ(peer().receive().value().payload(), pattern(7, 100));
}

TEST_F(AnAnswer, ThatIsAwaitedDelaysOnlyTheChip) {
    start();
    ask(kTime, 0x84, 1);
    BusPeer other;
    other.notify("signal.quon.mcu.set.led", {1});
    EXPECT_EQ(other.call("method.quon.mcu.get.allwakeup.info").result, 400);
    // A command waits for the exchange to end: it is not sent before the exchange has a result.
    const bool sent = chip().count(0x85) > 0;
    const bool pending = !peer().receive(0ms);
    EXPECT_FALSE(sent && pending);
    chip().send(0x84, pattern(10));
    EXPECT_TRUE(peer().receive());
    EXPECT_TRUE(chip().wait_for(0x85));
}

class ATimeOut : public SystemTest, public ::testing::WithParamInterface<const char*> {
  protected:
    std::chrono::milliseconds failing_call() {
        const auto begin = std::chrono::steady_clock::now();
        const BusRecord result = peer().call(service_.name);
        EXPECT_EQ(result.result, -1);
        EXPECT_EQ(result.data_len, 0U);
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
    }
    const ExpectedService& service_ = expected::service(GetParam());
    const ExpectedOperation& operation_ = expected::operation_of(service_);
};

TEST_P(ATimeOut, EndsTheExchangeWithItsMessages) {
    const std::chrono::milliseconds expected(operation_.timeout_ms);
    start();
    chip().ignore(operation_.message());
    std::chrono::milliseconds taken = failing_call();
    EXPECT_GE(taken, expected - 1ms);
    for (int more = 0; more < 3 && taken >= expected + 900ms; ++more) {
        taken = failing_call();  // a busy machine may delay a call, but hardly four of them
    }
    EXPECT_LT(taken, expected + 900ms);
    EXPECT_TRUE(wait_for_log(exchange_failed(operation_)));
    EXPECT_TRUE(wait_for_log(handler_failed(service_)));
    chip().answer_as_usual(operation_.message());
    EXPECT_GE(peer().call(service_.name).result, 0);
}

std::vector<const char*> services_that_wait() {
    std::vector<const char*> names;
    for (const ExpectedOperation& operation : expected::waiting_operations()) {
        names.push_back(expected::service_of(operation).short_name());
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(OfEach, ATimeOut, ::testing::ValuesIn(services_that_wait()),
                         [](const auto& row) {
                             std::string name = row.param;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

}  // namespace
}  // namespace quon::test
