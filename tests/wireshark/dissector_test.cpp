// What tshark shows of captures, with the dissector.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "capture.h"
#include "child_process.h"
#include "hex.h"

namespace quon::sim {
namespace {

using lines = std::vector<std::string>;

constexpr uint32_t kUser0 = 147;
constexpr uint32_t kUser1 = 148;
constexpr uint32_t kRawIp = 101;
constexpr uint32_t kNetlink = 253;
constexpr size_t kRecordSize = 4568;

const byte_list kTimeAnswer = {0x84, 10, 0, 0, 0, 26, 2, 3, 4, 5, 6, 0, 0, 0, 0};

void append(byte_list& bytes, uint32_t value, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

void append_big(byte_list& bytes, uint32_t value, size_t size) {
    for (size_t i = size; i-- > 0;) {
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

lines lines_of(const std::string& text) {
    lines found;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        found.push_back(line);
    }
    return found;
}

class ACapture : public testing::Test {
  protected:
    ~ACapture() override {
        std::filesystem::remove(path_);
        std::filesystem::remove_all(shared_);
    }

    // Packets of any link type, one millisecond apart.
    void write_packets(uint32_t link_type, const std::vector<byte_list>& packets) const {
        byte_list file;
        append(file, 0xa1b2c3d4, 4);
        append(file, 0x00040002, 4);
        append(file, 0, 4);
        append(file, 0, 4);
        append(file, 65535, 4);
        append(file, link_type, 4);
        uint32_t us = 0;
        for (const byte_list& packet : packets) {
            append(file, 1'700'000'000, 4);
            append(file, us += 1000, 4);
            append(file, static_cast<uint32_t>(packet.size()), 4);
            append(file, static_cast<uint32_t>(packet.size()), 4);
            file.insert(file.end(), packet.begin(), packet.end());
        }
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(file.data()),
                   static_cast<std::streamsize>(file.size()));
    }

    [[nodiscard]] std::string tshark(const lines& options) const {
        lines command = {"tshark", "-X", "lua_script:" + dissector_, "-r", path_};
        if (geteuid() == 0) {
            command = as_nobody(command);
        }
        command.insert(command.end(), options.begin(), options.end());
        const test::Result result = test::run(command);
        EXPECT_EQ(result.status, (test::ExitStatus{true, 0})) << result.err;
        EXPECT_EQ(result.err.find("Lua"), std::string::npos) << result.err;
        return result.out;
    }

    // For root, newer versions read no script.
    [[nodiscard]] lines as_nobody(lines command) const {
        namespace fs = std::filesystem;
        fs::create_directory(shared_);
        fs::permissions(shared_, fs::perms(0755));
        for (const auto& [from, name] : {std::pair{dissector_, "lua"}, std::pair{path_, "pcap"}}) {
            fs::copy_file(from, shared_ / name, fs::copy_options::overwrite_existing);
            fs::permissions(shared_ / name, fs::perms(0644));
        }
        command[2] = "lua_script:" + (shared_ / "lua").string();
        command[4] = shared_ / "pcap";
        const lines who = {"setpriv",        "--reuid=65534", "--regid=65534",
                           "--clear-groups", "env",           "HOME=" + shared_.string()};
        command.insert(command.begin(), who.begin(), who.end());
        return command;
    }

    // One line a packet, the fields separated by bars.
    [[nodiscard]] lines fields(const lines& names) const {
        lines options = {"-T", "fields", "-E", "separator=|"};
        for (const std::string& each : names) {
            options.insert(options.end(), {"-e", each});
        }
        return lines_of(tshark(options));
    }

    [[nodiscard]] lines infos() const { return fields({"_ws.col.Info"}); }

    const std::string dissector_ = QUON_DISSECTOR;
    std::string path_ =
        std::string(QUON_CAPTURES) + "/capture." + std::to_string(getpid()) + ".pcap";
    const std::filesystem::path shared_ =
        std::filesystem::temp_directory_path() / ("capture." + std::to_string(getpid()));
};

TEST_F(ACapture, OfTheSimulatedChipShowsItsFramesAndFields) {
    {
        capture packets(path_);
        packets.frame(true, byte_list{0x84, 0, 0, 0, 0});
        packets.frame(false, kTimeAnswer);
        packets.frame(true, byte_list{0x85, 1, 0, 0, 0, 2});
        packets.frame(false, byte_list{0x04, 2, 0, 0, 0, 7, 8});
        packets.frame(false, byte_list{0x7e, 0, 0, 0, 0});
    }
    EXPECT_EQ(infos(), (lines{"host->chip 0x84 get_time len 0", "chip->host 0x84 get_time len 10",
                              "host->chip 0x85 set_led len 1", "chip->host 0x04 event_4 len 2",
                              "chip->host 0x7e unknown len 0"}));
    EXPECT_EQ(
        fields({"quon_chip.direction", "quon_chip.type", "quon_chip.length", "quon.time.year",
                "quon.time.second", "quon.value.value", "quon_chip.payload"}),
        (lines{"host->chip|0x84|0||||", "chip->host|0x84|10|26|6||1a020304050600000000",
               "host->chip|0x85|1|||2|02", "chip->host|0x04|2||||0708", "chip->host|0x7e|0||||"}));
}

TEST_F(ACapture, CanBeFilteredByARecordsField) {
    {
        capture packets(path_);
        packets.frame(true, byte_list{0x85, 1, 0, 0, 0, 2});
        packets.frame(true, byte_list{0x85, 1, 0, 0, 0, 3});
    }
    EXPECT_EQ(lines_of(tshark({"-Y", "quon.value.value == 3"})).size(), 1u);
    EXPECT_EQ(lines_of(tshark({"-Y", "quon_chip.type == 0x85"})).size(), 2u);
}

TEST_F(ACapture, OfMalformedFramesSaysSo) {
    {
        capture packets(path_);
        packets.frame(false, byte_list{0x84, 10, 0});
        packets.frame(false, byte_list{0x84, 3, 0, 0, 0, 26, 2});
        packets.frame(false, byte_list{0x84, 0xff, 0xff, 0xff, 0xff});
        packets.frame(false, kTimeAnswer);
    }
    EXPECT_EQ(infos(), (lines{"chip->host malformed, 3 bytes",
                              "chip->host 0x84 get_time len 3 malformed, 2 payload bytes",
                              "chip->host 0x84 get_time len 4294967295 malformed, 0 payload bytes",
                              "chip->host 0x84 get_time len 10"}));
    EXPECT_EQ(lines_of(tshark({"-Y", "quon_chip.malformed"})).size(), 3u);
}

TEST_F(ACapture, OfAnotherNetlinkProtocolIsLeftAlone) {
    byte_list packet = {0, 4, 0x03, 0x38, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    append(packet, 20, 4);
    append(packet, 0x03000010, 4);
    append(packet, 0, 4);
    append(packet, 1100, 4);
    append(packet, 0x84, 4);
    write_packets(kNetlink, {packet});
    EXPECT_EQ(fields({"quon_chip.type"}), lines{""});
    EXPECT_EQ(lines_of(tshark({"-Y", "netlink"})).size(), 1u);
}

TEST_F(ACapture, OfBareFramesShowsThem) {
    write_packets(kUser0, {kTimeAnswer});
    EXPECT_EQ(infos(), lines{"0x84 get_time len 10"});
}

// A record of the bus: the daemon's names swapped in a result.
byte_list bus_record(const std::string& name, bool is_result, int32_t result,
                     const byte_list& data) {
    byte_list record;
    const auto append_name = [&record](const std::string& text) {
        record.insert(record.end(), text.begin(), text.end());
        record.resize(record.size() + 64 - text.size());
    };
    append(record, 0x5aa55aa5, 4);
    append(record, 7, 4);
    append_name(is_result ? "quon.mcu.daemon" : "somebody");
    append_name(is_result ? "somebody" : "quon.mcu.daemon");
    append(record, name.starts_with("signal") ? 0 : 1, 4);
    append_name(name);
    append(record, static_cast<uint32_t>(result), 4);
    append(record, static_cast<uint32_t>(data.size()), 4);
    record.insert(record.end(), data.begin(), data.end());
    record.resize(kRecordSize);
    return record;
}

const byte_list kTime = {26, 2, 3, 4, 5, 6, 0, 0, 0, 0};

TEST_F(ACapture, OfBusRecordsShowsRequestsResultsAndSignals) {
    write_packets(kUser1, {
                              bus_record("method.quon.mcu.get.time", false, 0, {}),
                              bus_record("method.quon.mcu.get.time", true, 10, kTime),
                              bus_record("signal.quon.mcu.set.led", false, 0, {2}),
                              bus_record("method.quon.mcu.get.time", true, -1, {}),
                          });
    EXPECT_EQ(
        infos(),
        (lines{"method.quon.mcu.get.time id 7", "result of method.quon.mcu.get.time id 7: 10",
               "signal.quon.mcu.set.led id 7", "result of method.quon.mcu.get.time id 7: -1"}));
    EXPECT_EQ(fields({"quon_bus.src_name", "quon_bus.dst_name", "quon_bus.type", "quon_bus.name",
                      "quon_bus.data_len", "quon.time.year", "quon.value.value"}),
              (lines{"somebody|quon.mcu.daemon|1|method.quon.mcu.get.time|0||",
                     "quon.mcu.daemon|somebody|1|method.quon.mcu.get.time|10|26|",
                     "somebody|quon.mcu.daemon|0|signal.quon.mcu.set.led|1||2",
                     "quon.mcu.daemon|somebody|1|method.quon.mcu.get.time|0||"}));
}

TEST_F(ACapture, OfWhatIsNoBusRecordSaysSo) {
    const byte_list whole = bus_record("method.quon.mcu.get.time", false, 0, {});
    byte_list wrong = whole;
    wrong[0] = 0;
    byte_list cut = whole;
    cut.pop_back();
    write_packets(kUser1, {wrong, byte_list(100), cut});
    EXPECT_EQ(infos(), (lines{"no whole record, 4568 bytes", "no whole record, 100 bytes",
                              "no whole record, 4567 bytes"}));
}

TEST_F(ACapture, OfABusRecordHasAllThePayloadThatARecordHolds) {
    byte_list most(kRecordSize - 212, 0x41);
    most.back() = 0x42;
    write_packets(kUser1, {bus_record("method.quon.mcu.get.popen", true, 4356, most)});
    EXPECT_EQ(lines_of(tshark({"-Y", "quon_bus.data contains 41:41:42"})).size(), 1u);
    EXPECT_EQ(fields({"quon_bus.data"}).front().size(), 2 * most.size());
}

// One segment of a stream from port 39001 to port 39002, which no other protocol claims.
byte_list tcp_segment(uint32_t sequence, byte_view data) {
    byte_list packet = {0x45, 0};
    append_big(packet, static_cast<uint32_t>(40 + data.size()), 2);
    append_big(packet, 0, 4);
    packet.insert(packet.end(), {64, 6, 0, 0, 10, 0, 0, 1, 10, 0, 0, 2});
    append_big(packet, 39001, 2);
    append_big(packet, 39002, 2);
    append_big(packet, sequence, 4);
    append_big(packet, 1, 4);
    packet.insert(packet.end(), {0x50, 0x18, 0x20, 0, 0, 0, 0, 0});
    packet.insert(packet.end(), data.begin(), data.end());
    return packet;
}

std::vector<byte_list> tcp_segments(byte_view stream) {
    constexpr size_t kMost = 1400;
    std::vector<byte_list> packets;
    for (size_t at = 0; at < stream.size(); at += kMost) {
        packets.push_back(
            tcp_segment(static_cast<uint32_t>(1 + at),
                        stream.subspan(at, std::min<size_t>(kMost, stream.size() - at))));
    }
    return packets;
}

TEST_F(ACapture, OfARelayedBusPutsARecordTogether) {
    write_packets(kRawIp, tcp_segments(bus_record("method.quon.mcu.get.time", true, 10, kTime)));
    EXPECT_EQ(lines_of(tshark({"-Y", "quon_bus.name", "-T", "fields", "-e", "quon_bus.result", "-e",
                               "quon.time.month"})),
              lines{"10\t2"});
}

TEST_F(ACapture, OfARelayedBusTellsTwoRecordsOfOneStreamApart) {
    byte_list stream = bus_record("method.quon.mcu.get.time", true, 10, kTime);
    const byte_list second = bus_record("signal.quon.mcu.set.led", false, 0, {2});
    stream.insert(stream.end(), second.begin(), second.end());
    write_packets(kRawIp, tcp_segments(stream));
    EXPECT_EQ(lines_of(tshark({"-Y", "quon_bus.name", "-T", "fields", "-e", "quon_bus.name", "-e",
                               "quon.time.month", "-e", "quon.value.value"})),
              (lines{"method.quon.mcu.get.time\t2\t", "signal.quon.mcu.set.led\t\t2"}));
}

TEST_F(ACapture, OfARealStartHasItsQueriesInTheirOrder) {
    // The folder among the command's words stays visible, wherever it lies. Sanitized programs take
    // the chip link, which is none, all the same.
    const test::Result run =
        test::run({"env", "ASAN_OPTIONS=verify_asan_link_order=0",
                   "TSAN_OPTIONS=report_signal_unsafe=0:atexit_sleep_ms=0", QUON_SIMULATOR, "run",
                   "--pcap", path_, "--", "ls", QUON_CAPTURES});
    ASSERT_EQ(run.status, (test::ExitStatus{true, 0})) << run.err;
    lines shown = infos();
    std::erase_if(shown, [](const std::string& each) { return !each.starts_with("host->chip"); });
    const lines start = {
        "host->chip 0x81 get_net_info len 0",    "host->chip 0x82 get_wakeup_info len 0",
        "host->chip 0x84 get_time len 0",        "host->chip 0x86 get_battery_status len 0",
        "host->chip 0x8c get_wifi_status len 0", "host->chip 0x93 get_store_params len 0",
        "host->chip 0x80 get_version len 0"};
    EXPECT_EQ(shown, start);
}

}  // namespace
}  // namespace quon::sim
