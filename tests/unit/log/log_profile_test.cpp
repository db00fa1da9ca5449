// The process-wide profile and the filter.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_log.h"

namespace {

using quon::test::captured_output;
using quon::test::set_profile;

class TheProfile : public quon::test::WithDefaultProfile {};

void ignore_record(QnLogRecord) {}

TEST(TheProfileAtProcessStart, HasItsDefaultBytes) {
    std::vector<unsigned char> bytes(sizeof(QnLogProfile), 0xEE);
    ASSERT_EQ(QnLogGetProfile(reinterpret_cast<QnLogProfile*>(bytes.data())), 0);
    std::vector<unsigned char> expected = {1, 1, 1, 0, 0xC7, 0, 0, 0, 1, 0, 0, 0};
    expected.resize(sizeof(QnLogProfile), 0);
    EXPECT_EQ(bytes, expected);
}

TEST_F(TheProfile, CannotBeCopiedToNull) {
    EXPECT_EQ(QnLogGetProfile(nullptr), -1);
}

TEST_F(TheProfile, TakesOverLimitMaskColourAndHook) {
    const QnLogProfile wanted = {.enable = 1,
                                 .color = 0,
                                 .use_mutex = 1,
                                 .fmt_mask = 0x12345678,
                                 .level_limit = 3,
                                 .hook = ignore_record};
    EXPECT_EQ(QnLogSetProfile(wanted), 0);
    QnLogProfile got = {};
    EXPECT_EQ(QnLogGetProfile(&got), 0);
    EXPECT_EQ(got.color, 0);
    EXPECT_EQ(got.fmt_mask, 0x12345678U);
    EXPECT_EQ(got.level_limit, 3U);
    EXPECT_EQ(got.hook, ignore_record);
}

TEST_F(TheProfile, KeepsEnableAndUseMutexWhateverIsSet) {
    QnLogProfile profile = {};
    QnLogGetProfile(&profile);
    profile.enable = 0;
    profile.use_mutex = 0;
    EXPECT_EQ(QnLogSetProfile(profile), 0);
    QnLogGetProfile(&profile);
    EXPECT_EQ(profile.enable, 1);
    EXPECT_EQ(profile.use_mutex, 1);
    EXPECT_NE(captured_output([] { QnLogPrint(1, "t", "f", "g", 1, "still printed"); }), "");
}

bool prints(unsigned level) {
    return !captured_output([=] { QnLogPrint(level, "t", "f", "g", 1, "message"); }).empty();
}

TEST_F(TheProfile, LetsErrorsButNoWarningsThroughAtProcessStart) {
    EXPECT_TRUE(prints(QN_LOG_FATAL));
    EXPECT_TRUE(prints(QN_LOG_ERROR));
    EXPECT_FALSE(prints(QN_LOG_WARN));
    EXPECT_FALSE(prints(QN_LOG_DEBUG));
}

TEST_F(TheProfile, LetsWarningsThroughOnceTheLimitIsRaised) {
    QnLogProfile profile = {};
    QnLogGetProfile(&profile);
    profile.level_limit = 4;
    QnLogSetProfile(profile);
    EXPECT_TRUE(prints(QN_LOG_WARN));
}

TEST_F(TheProfile, LetsThroughTheLevelsUpToItsLimit) {
    for (unsigned limit = 0; limit <= 6; limit++) {
        set_profile({.level_limit = limit});
        for (unsigned level = 0; level <= 6; level++) {
            EXPECT_EQ(prints(level), level <= limit) << "level " << level << " limit " << limit;
        }
    }
}

TEST_F(TheProfile, NeverLetsANegativeLevelThrough) {
    set_profile({.level_limit = 0x7FFFFFFF});
    EXPECT_FALSE(prints(static_cast<unsigned>(-1)));
}

}  // namespace
