// The descriptions for systemd, Buildroot and OpenWrt, read as these systems read them.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "child_process.h"
#include "files.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr ExitStatus kDone{.exited = true, .code = 0};

const fs::path kPackaging = QUON_PACKAGING;
const fs::path kStandIns = QUON_STAND_INS;
constexpr char kOptions[] = "-DQUON_TOOLS=OFF -DQUON_TESTS=OFF\n";

class ADescription : public testing::Test {
  protected:
    ADescription() {
        std::string path = "/tmp/quon-descriptions-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("mkdtemp " + path);
        }
        scratch_ = path;
        copy_checkout();
    }
    ~ADescription() override {
        std::error_code ignored;
        fs::remove_all(scratch_, ignored);
    }
    [[nodiscard]] fs::path scratch(const std::string& name) const { return scratch_ / name; }
    [[nodiscard]] fs::path checkout() const { return scratch("checkout"); }
    [[nodiscard]] fs::path stand_ins() const { return scratch("stand_ins"); }

  private:
    // For make, a blank in the checkout's own path would be the end of a name.
    void copy_checkout() const {
        for (const char* folder : {"build", ".git"}) {
            fs::create_directories(checkout() / folder);
        }
        fs::copy(kPackaging, checkout() / "packaging", fs::copy_options::recursive);
        fs::copy(kPackaging.parent_path() / "CMakeLists.txt", checkout());
        fs::copy(kStandIns, stand_ins(), fs::copy_options::recursive);
    }

    fs::path scratch_;
};

fs::perms mode_of(const fs::path& file) {
    return fs::status(file).permissions();
}

// --- systemd

class TheSystemdUnit : public ADescription {
  protected:
    // "Section.Key" to its values, joined by a blank.
    static std::map<std::string, std::string> settings() {
        std::map<std::string, std::string> all;
        std::ifstream unit(kPackaging / "systemd/quon_mcu_daemon.service");
        std::string section;
        for (std::string line; std::getline(unit, line);) {
            const std::size_t equals = line.find('=');
            if (line.starts_with('[')) {
                section = line.substr(1, line.size() - 2);
            } else if (!line.starts_with('#') && equals != std::string::npos) {
                all[section + "." + line.substr(0, equals)] += line.substr(equals + 1);
            }
        }
        return all;
    }
};

TEST_F(TheSystemdUnit, StartsTheInstalledDaemonAgainHoweverItEndsWithRoomFor4096Descriptors) {
    const std::map<std::string, std::string> expected = {
        {"Unit.Description", "Service of the camera's companion chip"},
        {"Unit.Documentation", "man:quon_mcu_daemon(8)"},
        {"Unit.StartLimitIntervalSec", "0"},
        {"Service.ExecStart", "/usr/bin/quon_mcu_daemon"},
        {"Service.ExecStartPre", "rm -f /tmp/quon_mcu_daemon_run"},
        {"Service.ExecStopPost", "rm -f /tmp/quon_mcu_daemon_run"},
        {"Service.Restart", "always"},
        {"Service.RestartSec", "1"},
        {"Service.SuccessExitStatus", "1"},
        {"Service.LimitNOFILE", "4096"},
        {"Install.WantedBy", "multi-user.target"}};
    EXPECT_EQ(settings(), expected);
}

// --- Buildroot

class TheBuildrootPackage : public ADescription {
  protected:
    [[nodiscard]] Result make(const std::string& target) const {
        return run({"make", "-s", "-f", stand_ins() / "buildroot.mk",
                    "BR2_EXTERNAL_QUON_PATH=" + (checkout() / "packaging/buildroot").string(),
                    "TARGET_DIR=" + scratch("root").string(), target});
    }
};

TEST_F(TheBuildrootPackage, BuildsThisCheckoutWithoutToolsAndTests) {
    const Result result = make("show");
    EXPECT_EQ(result.out, std::string("version ") + QUON_VERSION + "\nsite local " +
                              checkout().string() + "\nstaging YES\noptions " + kOptions);
    EXPECT_EQ(result.err, "");
}

TEST_F(TheBuildrootPackage, InstallsTheInitScriptOrTheUnit) {
    const std::string site = checkout().string();
    const Result sysv = make(site + "/sysv");
    ASSERT_EQ(sysv.status, kDone) << sysv.err;
    const fs::path script = scratch("root") / "etc/init.d/S60quon_mcu_daemon";
    EXPECT_EQ(content_of(script), content_of(kPackaging / "init.d/S60quon_mcu_daemon"));
    EXPECT_EQ(mode_of(script), fs::perms{0755});

    const Result systemd = make(site + "/systemd");
    ASSERT_EQ(systemd.status, kDone) << systemd.err;
    const fs::path unit = scratch("root") / "usr/lib/systemd/system/quon_mcu_daemon.service";
    EXPECT_EQ(content_of(unit), content_of(kPackaging / "systemd/quon_mcu_daemon.service"));
    EXPECT_EQ(mode_of(unit), fs::perms{0644});
}

TEST_F(TheBuildrootPackage, IsFoundByItsNameAndSaysWhatItNeeds) {
    EXPECT_TRUE(content_of(kPackaging / "buildroot/external.desc").starts_with("name: QUON\n"));
    EXPECT_EQ(content_of(kPackaging / "buildroot/Config.in"),
              "source \"$BR2_EXTERNAL_QUON_PATH/package/quon-mcu-daemon/Config.in\"\n");
    const std::string config =
        content_of(kPackaging / "buildroot/package/quon-mcu-daemon/Config.in");
    EXPECT_TRUE(
        config.starts_with("config BR2_PACKAGE_QUON_MCU_DAEMON\n\tbool \"quon-mcu-daemon\"\n"
                           "\tdepends on BR2_INSTALL_LIBSTDCPP "))
        << config;
}

// --- OpenWrt

class TheOpenWrtPackage : public ADescription {
  protected:
    [[nodiscard]] Result make(const std::string& target) const {
        return run({"make", "-s", "-C", checkout() / "packaging/openwrt/quon-mcu-daemon",
                    "TOPDIR=" + (stand_ins() / "openwrt").string(),
                    "SCRATCH=" + scratch("").string(), target});
    }
};

TEST_F(TheOpenWrtPackage, BuildsThisCheckoutWithoutToolsAndTests) {
    EXPECT_EQ(make("show").out, std::string("package quon-mcu-daemon quon-mcu-daemon ") +
                                    QUON_VERSION + "-1\noptions -DBUILD_SHARED_LIBS=OFF " +
                                    kOptions);
    const Result prepared = make("prepare");
    ASSERT_EQ(prepared.status, kDone) << prepared.err;
    EXPECT_EQ(content_of(scratch("build") / "CMakeLists.txt"),
              content_of(kPackaging.parent_path() / "CMakeLists.txt"));
    EXPECT_FALSE(fs::exists(scratch("build") / "build"));
    EXPECT_FALSE(fs::exists(scratch("build") / ".git"));
}

TEST_F(TheOpenWrtPackage, InstallsBothProgramsAndItsInitScript) {
    const fs::path programs = scratch("installed") / "usr/bin";
    fs::create_directories(programs);
    for (const char* name : {"quon_mcu_daemon", "quon-mcu-small", "quon_mcu_daemon_static"}) {
        std::ofstream(programs / name) << name << "\n";
    }
    const Result installed = make("install");
    ASSERT_EQ(installed.status, kDone) << installed.err;
    std::map<std::string, fs::perms> found;
    for (const auto& entry : fs::recursive_directory_iterator(scratch("root"))) {
        if (entry.is_regular_file()) {
            found[entry.path().lexically_relative(scratch("root"))] = mode_of(entry.path());
        }
    }
    const std::map<std::string, fs::perms> expected = {
        {"etc/init.d/quon_mcu_daemon", fs::perms{0755}},
        {"usr/bin/quon-mcu-small", fs::perms{0755}},
        {"usr/bin/quon_mcu_daemon", fs::perms{0755}}};
    EXPECT_EQ(found, expected);
}

TEST_F(TheOpenWrtPackage, AsksProcdToKeepTheDaemonRunning) {
    constexpr char kSession[] =
        "rm() { echo rm \"$@\"; }; procd_open_instance() { echo open; };"
        "procd_close_instance() { echo close; }; procd_set_param() { echo set \"$@\"; };"
        ". \"$1\"; start_service; echo \"$START $STOP $USE_PROCD\"";
    const Result result = run({"sh", "-c", kSession, "sh",
                               kPackaging / "openwrt/quon-mcu-daemon/files/quon_mcu_daemon.init"});
    EXPECT_EQ(result.out,
              "rm -f /tmp/quon_mcu_daemon_run\nopen\nset command /usr/bin/quon_mcu_daemon\n"
              "set respawn 3600 1 0\nset limits nofile=4096 4096\nset stdout 1\nset stderr 1\n"
              "close\n60 40 1\n");
    EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace quon::test
