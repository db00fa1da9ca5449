// `enable` and `use_mutex` keep their start-up values for life; these tests start with others.
#include <gtest/gtest.h>

#include <string>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_log.h"
#include "quon_log_internal.h"

namespace {

using quon::test::captured_output;
using quon::test::set_profile;

class ALogThatStarts : public quon::test::WithDefaultProfile {
  protected:
    ~ALogThatStarts() override {
        qn_log_profile()->enable = 1;
        qn_log_profile()->use_mutex = 1;
    }
};

std::string line_and_dump() {
    return captured_output([] {
        QnLogPrint(0, "t", "f", "g", 1, "line\n");
        QnLogHexDump("n", 1, reinterpret_cast<const unsigned char*>("a"), 1);
    });
}

TEST_F(ALogThatStarts, DisabledPrintsNothingNotEvenLevelZero) {
    set_profile({});
    ASSERT_EQ(line_and_dump(), "line\nD/HEX n: 0000-0000: 61   a\n");
    qn_log_profile()->enable = 0;
    EXPECT_EQ(line_and_dump(), "");
}

TEST_F(ALogThatStarts, DisabledIsNotEnabledByAProfile) {
    qn_log_profile()->enable = 0;
    QnLogProfile profile = {
        .enable = 1, .color = 0, .use_mutex = 1, .fmt_mask = 0, .level_limit = 4, .hook = nullptr};
    EXPECT_EQ(QnLogSetProfile(profile), 0);
    EXPECT_EQ(QnLogGetProfile(&profile), 0);
    EXPECT_EQ(profile.enable, 0);
    EXPECT_EQ(line_and_dump(), "");
}

int depth;

// With the mutex this would wait for itself.
void log_once_more(QnLogRecord record) {
    if (depth++ == 0) {
        QnLogPrint(record.level, "t", "f", "g", 1, "from the hook\n");
    }
}

TEST_F(ALogThatStarts, WithoutItsMutexExcludesNobody) {
    qn_log_profile()->use_mutex = 0;
    depth = 0;
    set_profile({.hook = log_once_more});
    EXPECT_EQ(captured_output([] { QnLogPrint(1, "t", "f", "g", 1, "line\n"); }),
              "line\nfrom the hook\n");
    EXPECT_EQ(depth, 2);
}

}  // namespace
