// The generated parts of docs/ match their sources, and an outdated page is detected.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "child_process.h"
#include "scratch_folder.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

const fs::path kTop = QUON_SOURCE_FOLDER;

class TheGeneratedPages : public testing::Test {
  protected:
    TheGeneratedPages() {
        fs::copy(kTop / "docs", docs(), fs::copy_options::recursive);
        fs::create_directory(folder_.path() / "tools");
        fs::copy(kTop / "tools/wireshark", folder_.path() / "tools/wireshark");
    }

    [[nodiscard]] fs::path docs() const { return folder_.path() / "docs"; }
    [[nodiscard]] Result make(const std::vector<std::string>& options) const {
        std::vector<std::string> command = {kTop / "scripts/lib/make-docs"};
        command.insert(command.end(), options.begin(), options.end());
        command.insert(command.end(), {QUON_MCU_PROGRAM, docs()});
        return run(command);
    }
    // Changes the first `old` of a page.
    void spoil(const std::string& page, const std::string& old, const std::string& text) const {
        std::string content = content_of(docs() / page);
        const size_t at = content.find(old);
        ASSERT_NE(at, std::string::npos) << page << ": " << old;
        write_file(docs() / page, content.replace(at, old.size(), text));
    }

  private:
    ScratchFolder folder_;
};

constexpr ExitStatus kNothingStale{true, 0};
constexpr ExitStatus kStale{true, 1};

TEST_F(TheGeneratedPages, AreWhatTheirSourcesGive) {
    const Result result = make({"--check"});
    EXPECT_EQ(result.status, kNothingStale) << "make them anew with scripts/docs";
    EXPECT_EQ(result.err, "");
}

struct Spoiled {
    const char* name;
    const char* page;  // of docs/
    const char* old;
    const char* text;
};

void PrintTo(const Spoiled& row, std::ostream* out) {
    *out << row.page;
}

class AStalePage : public TheGeneratedPages, public testing::WithParamInterface<Spoiled> {};

TEST_P(AStalePage, IsNamedAndRegenerated) {
    const std::string page = GetParam().page;
    const std::string good = content_of(docs() / page);
    spoil(page, GetParam().old, GetParam().text);
    const Result checked = make({"--check"});
    EXPECT_EQ(checked.status, kStale);
    EXPECT_EQ(checked.err, "stale: " + (docs() / page).string() + "\n");
    EXPECT_FALSE(content_of(docs() / page) == good) << "a check writes nothing";

    EXPECT_EQ(make({}).err, "written: " + (docs() / page).string() + "\n");
    EXPECT_EQ(make({"--check"}).status, kNothingStale);
    EXPECT_TRUE(page.ends_with(".svg") || content_of(docs() / page) == good);
}

INSTANTIATE_TEST_SUITE_P(
    Of, AStalePage,
    testing::Values(Spoiled{"Services", "services.md", "firmware version of the chip", "version"},
                    Spoiled{"Messages", "messages.md", "No memory for", "Memory for"},
                    Spoiled{"TheDissector", "../tools/wireshark/quon.lua", "\"get_time\"",
                            "\"time\""},
                    Spoiled{"ATable", "protocol.md", "| 4 | 4 | `id`", "| 4 | 8 | `id`"},
                    Spoiled{"APicture", "pictures/layers.svg", "netlink channel", "channel"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(TheGeneratedPages, AreRedrawnWhenTheSourceOfAPictureHasChanged) {
    spoil("pictures/layers.dot", "netlink channel", "the channel");
    EXPECT_EQ(make({"--check"}).err, "stale: " + (docs() / "pictures/layers.svg").string() + "\n");
}

TEST_F(TheGeneratedPages, AreNotWrittenWhenATableHasNoEnd) {
    const std::string good = content_of(docs() / "protocol.md");
    spoil("protocol.md", "<!-- end of services-table -->", "");
    const Result result = make({});
    EXPECT_EQ(result.status, kStale);
    EXPECT_NE(result.err.find("protocol.md: the table "), std::string::npos) << result.err;
    EXPECT_FALSE(content_of(docs() / "protocol.md") == good);
}

TEST_F(TheGeneratedPages, AreNotWrittenWhenASourceCannotBeDrawn) {
    write_file(docs() / "pictures/broken.dot", "digraph {");
    const Result result = make({});
    EXPECT_EQ(result.status, kStale);
    EXPECT_NE(result.err.find("does not draw "), std::string::npos) << result.err;
    EXPECT_FALSE(fs::exists(docs() / "pictures/broken.svg"));
}

}  // namespace
}  // namespace quon::test
