// How the chip link gets into LD_PRELOAD, whatever its path holds.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <stdexcept>

#include "preload_path.h"
#include "sim_process.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

// A variable of this process for the length of a test.
class variable {
  public:
    variable(const char* name, const std::string& value) : name_(name) {
        const char* old = std::getenv(name);
        old_ = old != nullptr ? std::optional<std::string>(old) : std::nullopt;
        setenv(name, value.c_str(), 1);
    }
    ~variable() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }
    variable(const variable&) = delete;
    variable& operator=(const variable&) = delete;

  private:
    const char* name_;
    std::optional<std::string> old_;
};

class ThePreloadEntry : public testing::Test {
  protected:
    // A library in a folder of this name.
    [[nodiscard]] std::string library_in(const std::string& name) const {
        fs::create_directories(folder_.file(name));
        const std::string path = folder_.file(name) + "/libhi3861l_chip_link.so";
        std::ofstream(path) << "library";
        return path;
    }
    [[nodiscard]] std::string own_folder() const {
        return runtime_ + "/hi3861l-sim-" + std::to_string(geteuid());
    }

    scratch_folder folder_;
    std::string runtime_ = folder_.file("runtime");
    variable runtime_folder_{"XDG_RUNTIME_DIR", runtime_};

    void SetUp() override { fs::create_directories(runtime_); }
};

TEST_F(ThePreloadEntry, IsThePathItselfWhereTheLoaderTakesItWhole) {
    const std::string path = library_in("plain-folder_1.0");
    EXPECT_EQ(preload_entry(path), path);
    EXPECT_FALSE(fs::exists(own_folder()));
}

TEST_F(ThePreloadEntry, IsALinkWhereTheLoaderWouldSplitOrExpandThePath) {
    std::set<std::string> links;
    for (const char* name :
         {"a blank", "a:colon", "a\ttab", "a\nline", "$ORIGIN", "all: $LIB of it"}) {
        const std::string path = library_in(name);
        const std::string entry = preload_entry(path);
        EXPECT_EQ(entry.find_first_of(" :\t\n$"), std::string::npos) << entry;
        EXPECT_TRUE(entry.starts_with(own_folder() + "/")) << entry;
        EXPECT_TRUE(entry.ends_with("/libhi3861l_chip_link.so")) << entry;
        EXPECT_EQ(fs::read_symlink(entry), path);
        EXPECT_EQ(preload_entry(path), entry);
        links.insert(entry);
    }
    EXPECT_EQ(links.size(), 6U);
    struct stat status {};
    ASSERT_EQ(lstat(own_folder().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(ThePreloadEntry, ReplacesALinkThatLeadsElsewhere) {
    const std::string path = library_in("a blank");
    const std::string entry = preload_entry(path);
    fs::remove(entry);
    fs::create_symlink("/nowhere", entry);
    EXPECT_EQ(preload_entry(path), entry);
    EXPECT_EQ(fs::read_symlink(entry), path);
}

TEST_F(ThePreloadEntry, StaysOutOfAFolderThatOthersCanWriteTo) {
    const std::string path = library_in("a blank");
    fs::create_directories(own_folder());
    fs::permissions(own_folder(), fs::perms::all);
    const std::string entry = preload_entry(path);
    EXPECT_FALSE(entry.starts_with(runtime_)) << entry;
    fs::remove_all(fs::path(entry).parent_path());
    EXPECT_TRUE(fs::is_empty(own_folder()));
}

TEST_F(ThePreloadEntry, GoesOnToAFolderThatItCanUse) {
    const std::string path = library_in("a blank");
    for (const std::string& unusable : {folder_.file("missing"), folder_.file("a blank"),
                                        std::string("relative"), std::string()}) {
        const variable elsewhere("XDG_RUNTIME_DIR", unusable);
        const std::string entry = preload_entry(path);
        EXPECT_TRUE(entry.starts_with("/tmp/hi3861l-sim-")) << entry;
        EXPECT_EQ(fs::read_symlink(entry), path);
        fs::remove_all(fs::path(entry).parent_path());
    }
}

TEST_F(ThePreloadEntry, NeedsALibraryThatCanBeRead) {
    try {
        (void)preload_entry(folder_.file("none.so"));
        FAIL() << "no complaint";
    } catch (const std::runtime_error& problem) {
        EXPECT_EQ(problem.what(),
                  "the chip link " + folder_.file("none.so") + ": No such file or directory");
    }
}

TEST_F(ThePreloadEntry, PrecedesTheLibrariesThatAreThere) {
    const std::string path = library_in("plain");
    const variable others("LD_PRELOAD", "");
    EXPECT_EQ(preload_list(path), path);
    const variable one("LD_PRELOAD", "libm.so.6");
    EXPECT_EQ(preload_list(path), path + ":libm.so.6");
}

}  // namespace
}  // namespace quon::sim
