// What the system tests stand on: a private world with the simulated chip and the daemon in it.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus_peer.h"
#include "child_process.h"
#include "daemon_process.h"
#include "expected_lines.h"
#include "files.h"
#include "hex.h"
#include "log_lines.h"
#include "scripted_chip.h"
#include "waiting.h"

namespace quon::test {

using namespace std::chrono_literals;

// Bytes that differ from their neighbours, so that a shifted or cut copy shows.
Bytes pattern(std::size_t size, std::uint8_t first = 1);
Bytes joined(const Bytes& front, const Bytes& back);
Bytes padded(const Bytes& bytes, std::size_t size);  // with zeros
Bytes little_endian(std::uint32_t value, std::size_t size = 4);
std::uint32_t word_at(const Bytes& bytes, std::size_t offset);
Bytes slice(const Bytes& bytes, std::size_t offset, std::size_t size);
std::string text_of(const Bytes& bytes);
bool file_exists(const std::string& path);

// Processes whose parent is `parent`, zombies included.
std::vector<pid_t> children_of(pid_t parent);
// Writes to a reader that waits at the named pipe; false when there is none.
bool feed_fifo(const std::string& path, const std::string& text);

class SystemTest : public ::testing::Test {
  protected:
    void SetUp() override;
    // Every daemon still running is ended with SIGTERM; it must then end with status 1, and none
    // may have printed a report of a sanitizer.
    void TearDown() override;

    // The chip first, then the daemon, until all its threads have started.
    void start();
    ScriptedChip& start_chip();
    void restart_chip();  // with nothing of what was set; the daemon comes back to it by itself
    // Does not wait for anything but the program's start.
    DaemonProcess& start_daemon(const DaemonProcess::Environment& environment = {});
    // In a shell: after these commands, and with these redirections.
    DaemonProcess& start_daemon_after(const std::string& before,
                                      const std::string& redirections = "");
    void wait_until_started();

    ScriptedChip& chip() { return *chip_; }
    DaemonProcess& daemon() { return *daemons_.front(); }
    BusPeer& peer();  // one connection that lives as long as the test

    // Through "set.log.profile"; back when the daemon has taken it over.
    void set_level(std::uint8_t level);
    void print_every_level() { set_level(4); }

    // A call whose exchange with the chip, of this message, is answered with this payload.
    BusRecord call_answered(std::string_view name, const Bytes& request, std::uint8_t type,
                            const Bytes& answer);

    // Fails the test when a request is not served any more.
    void expect_still_serving();
    bool wait_for_log(const Expected& expected, std::size_t from = 0) {
        return daemon().wait_for_log(expected, from);
    }

  private:
    void check_end(DaemonProcess& daemon);

    std::unique_ptr<ScriptedChip> chip_;
    std::vector<std::unique_ptr<DaemonProcess>> daemons_;
    std::unique_ptr<BusPeer> peer_;
};

}  // namespace quon::test
