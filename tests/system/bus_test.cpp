// The records of the message bus, as seen on its socket.
#include <iterator>
#include <string_view>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kContext[] = "method.quon.mcu.get.allwakeup.info";  // does not query the chip
constexpr char kPopen[] = "method.quon.mcu.get.popen";

class TheBus : public SystemTest {};

TEST_F(TheBus, WritesAResultWithEveryByteInItsPlace) {
    start();
    Bytes request(4568, 0);
    const auto put = [&request](std::size_t offset, const Bytes& bytes) {
        std::copy(bytes.begin(), bytes.end(),
                  request.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    put(0, from_hex("a5 5a a5 5a"));
    put(4, from_hex("78 56 34 12"));
    put(8, bytes_of("the.caller"));
    put(72, bytes_of("any.name"));
    put(136, from_hex("07 00 00 00"));  // every type but 0 is a method
    put(140, bytes_of("method.quon.mcu.get.popen"));
    put(204, from_hex("ff ff ff ff"));  // not read
    put(208, from_hex("0a 00 00 00"));
    put(212, bytes_of("printf 0123456789"));
    peer().send_bytes(request);
    Bytes expected(4568, 0);
    request.swap(expected);
    std::fill(request.begin(), request.end(), std::uint8_t{0});
    put(0, from_hex("a5 5a a5 5a"));
    put(4, from_hex("78 56 34 12"));
    put(8, bytes_of("any.name"));
    put(72, bytes_of("the.caller"));
    put(136, from_hex("01 00 00 00"));
    put(140, bytes_of("method.quon.mcu.get.popen"));
    put(204, from_hex("0a 00 00 00"));
    put(208, from_hex("0a 00 00 00"));
    put(212, bytes_of("0123456789"));
    const std::optional<Bytes> result = peer().receive_bytes();
    ASSERT_TRUE(result);
    EXPECT_EQ(to_hex(*result), to_hex(request));
}

TEST_F(TheBus, WritesAFailureAsResultWithoutData) {
    start();
    const BusRecord result = peer().call("method.quon.mcu.get.event.info");
    EXPECT_EQ(result.result, -1);
    EXPECT_EQ(result.data_len, 0U);
    EXPECT_EQ(result.type, 1U);
    EXPECT_EQ(result.src_name, "quon.mcu.daemon");
    EXPECT_EQ(result.dst_name, "system.test");
}

TEST_F(TheBus, DropsARecordWithTheWrongMagicAndKeepsTheConnection) {
    start();
    print_every_level();
    BusRecord record = method_request(kContext);
    record.head = 0xDEADBEEF;
    peer().send(record);
    EXPECT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread",
                              "read msg head is invalid, ret = 4568 head:deadbeef\n"}));
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, SaysNothingOfAWrongMagicAtTheDefaultLevel) {
    start();
    BusRecord record = method_request(kContext);
    record.head = 0;
    peer().send(record);
    EXPECT_EQ(peer().call(kContext).result, 400);
    EXPECT_EQ(daemon().output().find("head is invalid"), std::string::npos);
}

TEST_F(TheBus, TakesAShortRecordAsItStands) {
    start();
    const Bytes whole = method_request(kPopen, bytes_of("echo short"), 5).encoded();
    peer().send_bytes(slice(whole, 0, 212 + 10));
    const std::optional<BusRecord> result = peer().receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 5U);
    EXPECT_EQ(text_of(result->payload()), "short\n");
}

TEST_F(TheBus, TakesASplitRecordAsAShortOneAndRejectsItsRest) {
    start();
    print_every_level();
    Bytes whole = method_request(kPopen, bytes_of("echo short"), 6).encoded();
    whole[1000] = 0x44;
    whole[1001] = 0x33;
    whole[1002] = 0x22;
    whole[1003] = 0x11;
    peer().send_bytes(slice(whole, 0, 1000));
    EXPECT_EQ(peer().receive().value().id, 6U);
    peer().send_bytes(slice(whole, 1000, 3568));
    EXPECT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread",
                              "read msg head is invalid, ret = 3568 head:11223344\n"}));
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, RejectsFewerBytesThanAMagic) {
    start();
    print_every_level();
    peer().send_bytes({0xA5});
    EXPECT_TRUE(wait_for_log(
        {'W', kBusTag, "Dbus_ReadWrite_Thread", "read msg head is invalid, ret = 1 head:a5\n"}));
    peer().send_bytes({0xA5, 0x5A, 0xA5});
    EXPECT_TRUE(wait_for_log({'W', kBusTag, "Dbus_ReadWrite_Thread",
                              "read msg head is invalid, ret = 3 head:a55aa5\n"}));
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, IgnoresABareMagic) {
    start();
    peer().send_bytes({0xA5, 0x5A, 0xA5, 0x5A});
    ASSERT_TRUE(peer().wait_until_read());  // what follows is then another read
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, DropsWhatNoMemberFits) {
    start();
    print_every_level();
    const std::size_t mark = daemon().mark();
    const std::size_t frames = chip().received().size();
    peer().send(method_request("method.quon.mcu.get.nothing"));
    peer().send(method_request("method.quon.mcu.get.time "));
    peer().send(method_request("method.quon.mcu.get.tim"));
    peer().send(method_request(""));
    peer().send(method_request("signal.quon.mcu.set.wdg.feed"));  // the other kind
    peer().notify("method.quon.mcu.get.time");
    peer().notify("signal.quon.mcu.set.nothing");
    EXPECT_EQ(peer().call(kContext).result, 400);  // the only result on the connection
    EXPECT_FALSE(peer().receive(50ms));
    EXPECT_EQ(chip().received().size(), frames);
    EXPECT_TRUE(daemon().log(mark).empty()) << daemon().log(mark).front();
}

TEST_F(TheBus, AcceptsEachServiceInItsOwnKindAlone) {
    start();
    const std::size_t frames = chip().received().size();
    const std::size_t mark = daemon().mark();
    for (const ExpectedService& row : expected::kServices) {
        peer().send(row.is_signal() ? method_request(row.name) : signal_record(row.name));
    }
    EXPECT_EQ(peer().call(kContext).result, 400);  // the only result
    EXPECT_FALSE(peer().receive(50ms));
    EXPECT_EQ(chip().received().size(), frames);
    EXPECT_EQ(daemon().output().substr(mark), "");
    for (const ExpectedService& row : expected::kServices) {  // and each method is there
        if (!row.is_signal()) {
            EXPECT_NO_THROW(peer().call(row.name)) << row.name;
        }
    }
}

TEST_F(TheBus, ReadsNamesOfSixtyFourBytesWithoutAnEnd) {
    start();
    Bytes record = method_request(kContext, {}, 9).encoded();
    for (const std::size_t offset : {8U, 72U}) {
        std::fill_n(record.begin() + static_cast<std::ptrdiff_t>(offset), 64, std::uint8_t{'n'});
    }
    peer().send_bytes(record);
    const std::optional<BusRecord> result = peer().receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 9U);
    EXPECT_EQ(result->result, 400);
    EXPECT_EQ(result->name, kContext);
    std::fill_n(record.begin() + 140, 64, std::uint8_t{'n'});
    peer().send_bytes(record);
    EXPECT_EQ(peer().call(kContext).result, 400);
}

TEST_F(TheBus, PassesTheDataLengthOnUnchecked) {
    start();
    BusRecord request = method_request(kContext, {}, 8);
    for (const std::uint32_t length : {0U, 4357U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        request.data_len = length;
        peer().send(request);
        EXPECT_EQ(peer().receive().value().result, 400);
    }
}

}  // namespace
}  // namespace quon::test
