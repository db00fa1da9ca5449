// The services that ask the chip: frame, answer, reply.
#include <set>

#include "system_test.h"

namespace quon::test {
namespace {

struct Query {
    const char* service;  // by its short name
    Bytes request;
    Bytes answer;  // from the chip
    std::int32_t result;
    Bytes reply;  // the payload area's start, beyond `result` as far as given
};

Bytes with_count(std::uint8_t count, std::size_t entries_size) {
    return joined(Bytes{count}, pattern(entries_size));
}

// The request's first bytes, as many as the chip is sent; a peer that sends none asks with zeros.
Bytes frame_of(const Query& query) {
    const ExpectedOperation& operation = expected::operation_of(expected::service(query.service));
    return chip_frame(operation.message(),
                      padded(query.request, static_cast<std::size_t>(operation.request_size)));
}

void check(const Query& query, const BusRecord& result, const Bytes& frame) {
    EXPECT_EQ(frame, frame_of(query));
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
            const ExpectedService& service = expected::service(row.service);
            const BusRecord result = call_answered(service.name, row.request,
                                                   expected::message_of(row.service), row.answer);
            ASSERT_EQ(chip().received().size(), before + 1);
            check(row, result, chip().received().back());
        }
    }
};

TEST_F(TheQueries, ReplyWithTheChipsRecord) {
    std::vector<Query> rows;
    for (const ExpectedService& service : expected::queries()) {
        const ExpectedOperation& operation = expected::operation_of(service);
        if (operation.answer == Answer::kByLength && service.reply != Reply::kTextOfNumber) {
            const Bytes record = pattern(static_cast<std::size_t>(service.reply_size));
            rows.push_back({service.short_name(), {}, record, service.reply_size, record});
        }
    }
    run_rows(rows);
}

TEST_F(TheQueries, ReplyWithTextsByTheirLength) {
    const Bytes ten = bytes_of("V1.2.3-abc");
    run_rows({
        {"get.ver", {}, ten, 10, ten},
        {"get.ver", {}, joined(ten, Bytes{0, 'x', 'y'}), 10, ten},
        {"get.ver", {}, {}, 0, {}},
        {"get.ver", {}, {0}, 0, {}},
        {"get.soc.min.ver", {}, ten, 10, ten},
        {"get.soc.min.ver", {}, joined(ten, Bytes{0, 'x'}), 10, ten},
        {"get.soc.min.ver", {}, pattern(31, 'A'), 31, pattern(31, 'A')},
        {"get.soc.min.ver", {}, {}, 0, {}},
        {"get.wdg.state", {}, {0}, 1, bytes_of("0")},
        {"get.wdg.state", {}, {1}, 1, bytes_of("1")},
        // One digit of the state is announced, the others follow it in the record.
        {"get.wdg.state", {}, {12}, 1, bytes_of("12")},
        {"get.wdg.state", {}, {255}, 1, bytes_of("255")},
    });
}

TEST_F(TheQueries, ReplyWithAsManyListEntriesAsTheChipCounts) {
    run_rows({
        {"get.err.report", {}, with_count(5, 180), 181, with_count(5, 180)},
        {"get.err.report", {}, with_count(1, 180), 181, with_count(1, 36)},
        {"get.err.report", {}, with_count(0, 180), 181, {}},
        {"get.soc.time.list", {}, with_count(5, 220), 221, with_count(5, 220)},
        {"get.soc.time.list", {}, with_count(2, 220), 221, with_count(2, 88)},
        {"get.soc.time.list", {}, with_count(0, 220), 221, {}},
    });
}

TEST_F(TheQueries, CopyListEntriesOnlyAsFarAsThePayloadHoldsThem) {
    run_rows({
        {"get.err.report", {}, with_count(255, 360), 181, with_count(255, 360)},
        {"get.soc.time.list", {}, with_count(255, 352), 221, with_count(255, 352)},
        {"get.err.report", {}, with_count(3, 36), 181, with_count(3, 36)},
        {"get.soc.time.list", {}, with_count(8, 44), 221, with_count(8, 44)},
        {"get.err.report", {}, {}, 181, {}},
    });
}

TEST_F(TheQueries, KeepTheLengthOfTheRecordWhateverTheChipSends) {
    run_rows({
        {"get.time", {}, {}, 10, {}},
        {"get.time", {}, pattern(3), 10, pattern(3)},
        {"get.time", {}, pattern(20), 10, pattern(20)},
        {"get.time", {}, pattern(363), 10, pattern(363)},
        {"get.battery.status", {}, {}, 5, {}},
        {"get.wakeup.info", {}, {}, 71, {}},
        {"get.wdg.state", {}, {}, 1, bytes_of("0")},
        {"get.wdg.state", {}, pattern(363, 7), 1, bytes_of("7")},
        {"get.soc.min.ver", {}, pattern(100, 'A'), 100, pattern(100, 'A')},
        {"get.ver", {}, pattern(363), 363, pattern(363)},
        // A staged reply takes the record alone.
        {"get.wifi.scanf.info", {}, pattern(363), 241, pattern(241)},
        {"get.wifi.scanf.info", {}, pattern(4), 241, pattern(4)},
        {"get.config.info", {}, pattern(1), 256, pattern(1)},
    });
}

TEST_F(TheQueries, PassTheSelectorOfAWifiScan) {
    run_rows({
        {"get.wifi.scanf.info", {3}, pattern(241), 241, pattern(241)},
        {"get.wifi.scanf.info", {255, 9, 9}, pattern(241), 241, pattern(241)},
    });
}

TEST_F(TheQueries, IgnoreTheirRequestOtherwise) {
    run_rows({
        {"get.time", pattern(100), pattern(10), 10, pattern(10)},
        {"get.status.info", pattern(4356), pattern(136), 136, pattern(136)},
    });
}

TEST_F(TheQueries, ThatTheChipHasNoOperationForFailWithALogLine) {
    start();
    const std::size_t frames = chip().received().size();
    for (const char* const name : {"get.log.profile", "get.bit.err.rate"}) {
        SCOPED_TRACE(name);
        const ExpectedService& service = expected::service(name);
        const BusRecord result = peer().call(service.name);
        EXPECT_EQ(result.result, -1);
        EXPECT_EQ(result.data_len, 0U);
        EXPECT_EQ(to_hex(result.data), to_hex(Bytes(kDataSize)));
        EXPECT_TRUE(wait_for_log(handler_finds_no_slot(service)));
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
