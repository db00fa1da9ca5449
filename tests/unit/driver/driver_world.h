// The driver under test between a fake channel and real network tools in a private world.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "fake_channel.h"
#include "files.h"
#include "hi3861l_dev.h"
#include "log_recorder.h"

namespace quon::test {

// The function in a slot of the driver's table, by number.
template <typename Function>
Function slot(std::size_t number) {
    Function function = nullptr;
    static_assert(sizeof(function) == sizeof(void*));
    std::memcpy(&function,
                reinterpret_cast<const char*>(hi3861l_get_ops_handle()) + number * sizeof(function),
                sizeof(function));
    return function;
}

using Query = std::int32_t (*)(std::uint8_t*);
using TextQuery = std::int32_t (*)(char*);
using Command = std::int32_t (*)();
using ByteCommand = std::int32_t (*)(std::uint8_t);

// The commands that the shell was given since the last call of forget_commands, in order, with
// their arguments ("ifconfig wlan0 up").
std::vector<std::string> commands();
void forget_commands();

// From now on every command ends with status 1 instead of doing its work.
void make_commands_fail(bool fail);

// A network record of 26 bytes: IP address, netmask, gateway, MAC, two DNS servers.
Bytes net_record(const std::string& hex_ip, const std::string& hex_netmask,
                 const std::string& hex_gateway, const std::string& hex_mac,
                 const std::string& hex_dns1, const std::string& hex_dns2);

// The record that the chip reports when the driver starts.
Bytes first_net_record();

// Byte pattern without zeros or repetitions close by.
Bytes pattern(std::size_t size);

// Enters the private world, and has ifconfig and route recorded. Call before any thread exists.
void prepare_world();

class AStartedDriver : public testing::Test {
  protected:
    void SetUp() override;     // leaves no frames, log lines or commands behind
    void TearDown() override;  // stops the driver
    const mcu_ops* ops = hi3861l_get_ops_handle();
};

}  // namespace quon::test
