#include "capture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "chip_fixture.h"

namespace quon::sim {
namespace {

class TheCapture : public testing::Test {
  protected:
    ~TheCapture() override { std::filesystem::remove(path_); }

    [[nodiscard]] byte_list content() const {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    std::string path_ = testing::TempDir() + "capture." + std::to_string(getpid());
};

TEST_F(TheCapture, BeginsAsAPcapFileOfNetlinkMessages) {
    const capture packets(path_);
    EXPECT_EQ(content(), (byte_list{0xd4, 0xc3, 0xb2, 0xa1, 2,    0,    4, 0, 0,   0, 0, 0,
                                    0,    0,    0,    0,    0xff, 0xff, 0, 0, 253, 0, 0, 0}));
}

TEST_F(TheCapture, HasEachFrameAsTheKernelWouldHaveIt) {
    capture packets(path_);
    packets.frame(true, byte_list{0x84, 0, 0, 0, 0});
    packets.frame(false, byte_list{0x04, 1, 0, 0, 0, 9});
    const byte_list all = content();
    ASSERT_EQ(all.size(), 24u + 16 + 37 + 16 + 38);
    EXPECT_EQ(byte_list(all.begin() + 32, all.begin() + 77),
              (byte_list{37,   0, 0,    0,    37, 0, 0, 0,                              // sizes
                         0,    4, 0x03, 0x38, 0,  0, 0, 0, 0, 0, 0, 0, 0,    0, 0, 28,  // cooked
                         21,   0, 0,    0,    0,  0, 0, 0, 0, 0, 0, 0, 0x4c, 4, 0, 0,   // netlink
                         0x84, 0, 0,    0,    0}));
    EXPECT_EQ(byte_list(all.begin() + 85, all.end()),
              (byte_list{38,   0, 0,    0,    38, 0, 0, 0,                           //
                         0,    0, 0x03, 0x38, 0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 28,  //
                         22,   0, 0,    0,    0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,   //
                         0x04, 1, 0,    0,    0,  9}));
}

TEST_F(TheCapture, ThatCannotBeMadeIsAnError) {
    try {
        const capture packets("/nonexistent/capture");
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "/nonexistent/capture: No such file or directory");
    }
}

TEST_F(TheCapture, HasWhatTheJournalHas) {
    test_chip chip;
    std::vector<std::pair<bool, byte_list>> seen;
    chip.log.tap([&seen](bool from_host, byte_view frame) {
        seen.emplace_back(from_host, byte_list(frame.begin(), frame.end()));
    });
    chip.link.deliver(byte_list{0x97, 0, 0, 0, 0});
    chip.link.deliver(byte_list{0x95, 0, 0, 0, 0});
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0], std::pair(true, (byte_list{0x97, 0, 0, 0, 0})));
    EXPECT_EQ(seen[1], std::pair(true, (byte_list{0x95, 0, 0, 0, 0})));
    EXPECT_FALSE(seen[2].first);
    EXPECT_EQ(seen[2].second, chip.link.sent.at(0));
}

}  // namespace
}  // namespace quon::sim
