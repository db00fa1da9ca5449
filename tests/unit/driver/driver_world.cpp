#include "driver_world.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "private_world.h"

namespace quon::test {

namespace {

namespace fs = std::filesystem;

constexpr char kTools[] = "/tmp/tools";
constexpr char kCommands[] = "/tmp/commands";
constexpr char kFailure[] = "/tmp/commands_fail";

std::string search_path() {
    const char* const path = std::getenv("PATH");
    return path != nullptr ? path : "/usr/sbin:/usr/bin:/sbin:/bin";
}

std::string path_of_tool(const std::string& name) {
    std::istringstream path(search_path() + ":/sbin:/usr/sbin");
    for (std::string folder; std::getline(path, folder, ':');) {
        if (fs::exists(fs::path(folder) / name)) {
            return (fs::path(folder) / name).string();
        }
    }
    return "/bin/false";
}

// A script of that name that notes its arguments and then does the real work.
void record_tool(const std::string& name) {
    const fs::path script = fs::path(kTools) / name;
    std::ofstream(script) << "#!/bin/sh\n"
                          << "echo \"" << name << " $*\" >>" << kCommands << "\n"
                          << "[ -e " << kFailure << " ] && exit 1\n"
                          << "exec " << path_of_tool(name) << " \"$@\"\n";
    fs::permissions(script, fs::perms::owner_all);
}

class World : public testing::Environment {
  public:
    void SetUp() override { prepare_world(); }
};

[[maybe_unused]] const testing::Environment* const kWorld =
    testing::AddGlobalTestEnvironment(new World);

}  // namespace

void prepare_world() {
    static bool prepared = false;
    if (prepared) {
        return;
    }
    prepared = true;
    enter_private_world();
    fs::create_directory(kTools);
    record_tool("ifconfig");
    record_tool("route");
    setenv("PATH", (std::string(kTools) + ":" + search_path()).c_str(), 1);
}

std::vector<std::string> commands() {
    std::istringstream content(content_of(kCommands));
    std::vector<std::string> lines;
    for (std::string line; std::getline(content, line);) {
        lines.push_back(line);
    }
    return lines;
}

void forget_commands() {
    fs::remove(kCommands);
}

void make_commands_fail(bool fail) {
    if (fail) {
        std::ofstream file(kFailure);
    } else {
        fs::remove(kFailure);
    }
}

Bytes net_record(const std::string& hex_ip, const std::string& hex_netmask,
                 const std::string& hex_gateway, const std::string& hex_mac,
                 const std::string& hex_dns1, const std::string& hex_dns2) {
    return from_hex(hex_ip + hex_netmask + hex_gateway + hex_mac + hex_dns1 + hex_dns2);
}

Bytes first_net_record() {
    return net_record("c0a8010a", "ffffff00", "c0a80101", "020000000001", "08080808", "01010101");
}

Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; i++) {
        bytes[i] = static_cast<std::uint8_t>(1 + i % 251);
    }
    return bytes;
}

void AStartedDriver::SetUp() {
    make_commands_fail(false);
    record_log(4);
    channel().reset();
    channel().answer(0x81, first_net_record());
    ASSERT_EQ(ops->init(), 0);
    channel().forget();
    forget_log();
    forget_commands();
}

void AStartedDriver::TearDown() {
    on_log_line(nullptr);
    EXPECT_EQ(ops->deinit(), 0);
}

}  // namespace quon::test
