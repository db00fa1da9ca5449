// The services that ask the chip: frame, answer, reply.
#include <set>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kPrefix[] = "method.quon.mcu.";

struct Query {
    const char* service;
    Bytes request;
    std::uint8_t type;
    Bytes request_body;  // towards the chip
    Bytes answer;        // from the chip
    std::int32_t result;
    Bytes reply;  // the payload area's start, beyond `result` as far as given
};

Bytes with_count(std::uint8_t count, std::size_t entries_size) {
    return joined(Bytes{count}, pattern(entries_size));
}

void check(const Query& query, const BusRecord& result, const Bytes& frame) {
    EXPECT_EQ(frame, chip_frame(query.type, query.request_body));
    EXPECT_EQ(result.result, query.result);
    EXPECT_EQ(result.data_len, static_cast<std::uint32_t>(query.result));
    EXPECT_EQ(to_hex(result.data), to_hex(padded(query.reply, kDataSize)));
}

class TheQueries : public SystemTest {
  protected:
    void run_rows(const std::vector<Query>& rows) {
        start();
        for (const Query& row : rows) {
            SCOPED_TRACE(row.service);
            const std::size_t before = chip().received().size();
            const BusRecord result = call_answered(kPrefix + std::string(row.service), row.request,
                                                   row.type, row.answer);
            ASSERT_EQ(chip().received().size(), before + 1);
            check(row, result, chip().received().back());
        }
    }
};

TEST_F(TheQueries, ReplyWithTheChipsRecord) {
    run_rows({
        // service, request, type, body, answer, result, reply
        {"get.wakeup.info", {}, 0x82, {}, pattern(71), 71, pattern(71)},
        {"get.time", {}, 0x84, {}, pattern(10), 10, pattern(10)},
        {"get.battery.status", {}, 0x86, {}, pattern(5), 5, pattern(5)},
        {"get.pir.info", {}, 0x89, {}, pattern(36), 36, pattern(36)},
        {"get.wifi.status", {}, 0x8C, {}, pattern(70), 70, pattern(70)},
        {"get.store.params", {}, 0x93, {}, pattern(48), 48, pattern(48)},
        {"get.alarm", {}, 0x99, {}, pattern(7), 7, pattern(7)},
        {"get.status.info", {}, 0xA3, {}, pattern(136), 136, pattern(136)},
        {"get.config.info", {}, 0xA7, {}, pattern(256), 256, pattern(256)},
        {"get.wifi.scanf.info", {}, 0xA9, {0}, pattern(241), 241, pattern(241)},
        {"get.wifi.extended.status", {}, 0xAA, {}, pattern(264), 264, pattern(264)},
        {"get.soc.time.cur.info", {}, 0xAD, {}, pattern(212), 212, pattern(212)},
    });
}

TEST_F(TheQueries, ReplyWithTextsByTheirLength) {
    const Bytes ten = bytes_of("V1.2.3-abc");
    run_rows({
        {"get.ver", {}, 0x80, {}, ten, 10, ten},
        {"get.ver", {}, 0x80, {}, joined(ten, Bytes{0, 'x', 'y'}), 10, ten},
        {"get.ver", {}, 0x80, {}, {}, 0, {}},
        {"get.ver", {}, 0x80, {}, {0}, 0, {}},
        {"get.soc.min.ver", {}, 0x9F, {}, ten, 10, ten},
        {"get.soc.min.ver", {}, 0x9F, {}, joined(ten, Bytes{0, 'x'}), 10, ten},
        {"get.soc.min.ver", {}, 0x9F, {}, pattern(31, 'A'), 31, pattern(31, 'A')},
        {"get.soc.min.ver", {}, 0x9F, {}, {}, 0, {}},
        {"get.wdg.state", {}, 0x95, {}, {0}, 1, bytes_of("0")},
        {"get.wdg.state", {}, 0x95, {}, {1}, 1, bytes_of("1")},
        // One digit of the state is announced, the others stand behind it in the record.
        {"get.wdg.state", {}, 0x95, {}, {12}, 1, bytes_of("12")},
        {"get.wdg.state", {}, 0x95, {}, {255}, 1, bytes_of("255")},
    });
}

TEST_F(TheQueries, ReplyWithAsManyListEntriesAsTheChipCounts) {
    run_rows({
        {"get.err.report", {}, 0x9E, {}, with_count(5, 180), 181, with_count(5, 180)},
        {"get.err.report", {}, 0x9E, {}, with_count(1, 180), 181, with_count(1, 36)},
        {"get.err.report", {}, 0x9E, {}, with_count(0, 180), 181, {}},
        {"get.soc.time.list", {}, 0xAC, {}, with_count(5, 220), 221, with_count(5, 220)},
        {"get.soc.time.list", {}, 0xAC, {}, with_count(2, 220), 221, with_count(2, 88)},
        {"get.soc.time.list", {}, 0xAC, {}, with_count(0, 220), 221, {}},
    });
}

TEST_F(TheQueries, CopyListEntriesOnlyAsFarAsThePayloadHoldsThem) {
    run_rows({
        {"get.err.report", {}, 0x9E, {}, with_count(255, 360), 181, with_count(255, 360)},
        {"get.soc.time.list", {}, 0xAC, {}, with_count(255, 352), 221, with_count(255, 352)},
        {"get.err.report", {}, 0x9E, {}, with_count(3, 36), 181, with_count(3, 36)},
        {"get.soc.time.list", {}, 0xAC, {}, with_count(8, 44), 221, with_count(8, 44)},
        {"get.err.report", {}, 0x9E, {}, {}, 181, {}},
    });
}

TEST_F(TheQueries, KeepTheLengthOfTheRecordWhateverTheChipSends) {
    run_rows({
        {"get.time", {}, 0x84, {}, {}, 10, {}},
        {"get.time", {}, 0x84, {}, pattern(3), 10, pattern(3)},
        {"get.time", {}, 0x84, {}, pattern(20), 10, pattern(20)},
        {"get.time", {}, 0x84, {}, pattern(363), 10, pattern(363)},
        {"get.battery.status", {}, 0x86, {}, {}, 5, {}},
        {"get.wakeup.info", {}, 0x82, {}, {}, 71, {}},
        {"get.wdg.state", {}, 0x95, {}, {}, 1, bytes_of("0")},
        {"get.wdg.state", {}, 0x95, {}, pattern(363, 7), 1, bytes_of("7")},
        {"get.soc.min.ver", {}, 0x9F, {}, pattern(100, 'A'), 100, pattern(100, 'A')},
        {"get.ver", {}, 0x80, {}, pattern(363), 363, pattern(363)},
        // A staged reply takes the record alone.
        {"get.wifi.scanf.info", {}, 0xA9, {0}, pattern(363), 241, pattern(241)},
        {"get.wifi.scanf.info", {}, 0xA9, {0}, pattern(4), 241, pattern(4)},
        {"get.config.info", {}, 0xA7, {}, pattern(1), 256, pattern(1)},
    });
}

TEST_F(TheQueries, PassTheSelectorOfAWifiScan) {
    run_rows({
        {"get.wifi.scanf.info", {3}, 0xA9, {3}, pattern(241), 241, pattern(241)},
        {"get.wifi.scanf.info", {255, 9, 9}, 0xA9, {255}, pattern(241), 241, pattern(241)},
    });
}

TEST_F(TheQueries, IgnoreTheirRequestOtherwise) {
    run_rows({
        {"get.time", pattern(100), 0x84, {}, pattern(10), 10, pattern(10)},
        {"get.status.info", pattern(4356), 0xA3, {}, pattern(136), 136, pattern(136)},
    });
}

TEST_F(TheQueries, ThatTheChipHasNoOperationForFailWithALogLine) {
    start();
    struct Row {
        const char* service;
        const char* handler;
    };
    const std::size_t frames = chip().received().size();
    for (const Row& row : {Row{"get.log.profile", "quon_mcu_get_log_profile"},
                           Row{"get.bit.err.rate", "quon_mcu_get_bit_err_rate"}}) {
        SCOPED_TRACE(row.service);
        const BusRecord result = peer().call(kPrefix + std::string(row.service));
        EXPECT_EQ(result.result, -1);
        EXPECT_EQ(result.data_len, 0U);
        EXPECT_EQ(to_hex(result.data), to_hex(Bytes(kDataSize)));
        EXPECT_TRUE(wait_for_log({'E', kDaemonTag, row.handler, "func is null\n"}));
    }
    EXPECT_EQ(chip().received().size(), frames);
}

TEST_F(TheQueries, ForAnEventAskNothingOfTheChip) {
    start();
    const std::size_t frames = chip().received().size();
    EXPECT_EQ(peer().call("method.quon.mcu.get.event.info").result, -1);
    chip().send(0x01, pattern(40));
    BusRecord event;
    ASSERT_TRUE(wait_until([&] {
        event = peer().call("method.quon.mcu.get.event.info");
        return event.result == 33;
    }));
    EXPECT_EQ(event.payload(), pattern(33));
    EXPECT_EQ(chip().received().size(), frames);
}

TEST_F(TheQueries, OfManyPeersAtOnceAreAllAnswered) {
    start();
    const std::vector<std::unique_ptr<BusPeer>> peers = connect_peers(8);
    for (const auto& each : peers) {
        each->send(method_request("method.quon.mcu.get.time"));
        each->send(method_request("method.quon.mcu.get.status.info"));
    }
    for (const auto& each : peers) {
        std::multiset<std::int32_t> results;
        for (int count = 0; count < 2; ++count) {
            const std::optional<BusRecord> result = each->receive();
            ASSERT_TRUE(result);
            results.insert(result->result);
        }
        EXPECT_EQ(results, (std::multiset<std::int32_t>{10, 136}));
    }
}

}  // namespace
}  // namespace quon::test
