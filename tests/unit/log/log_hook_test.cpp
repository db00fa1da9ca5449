// The hook that gets a copy of each printed call.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_log.h"

namespace {

using quon::test::captured_output;
using quon::test::OutputCapture;
using quon::test::set_profile;

std::vector<QnLogRecord> records;
const OutputCapture* output;
std::vector<std::string> printed_before;

void keep(QnLogRecord record) {
    records.push_back(record);
    if (output != nullptr) {
        printed_before.push_back(output->text());
    }
    std::memset(&record, 0, sizeof(record));  // a hook's own copy
}

class AHook : public quon::test::WithDefaultProfile {
  protected:
    AHook() {
        records.clear();
        printed_before.clear();
    }
    ~AHook() override { output = nullptr; }
};

QnLogRecord record_of(uint32_t level, const std::string& tag, const std::string& file,
                      const std::string& func, int line, const std::string& msg) {
    QnLogRecord record;
    std::memset(&record, 0, sizeof(record));
    record.level = level;
    tag.copy(record.tag, sizeof(record.tag));
    file.copy(record.file, sizeof(record.file));
    func.copy(record.func, sizeof(record.func));
    record.line = line;
    msg.copy(record.msg, sizeof(record.msg));
    return record;
}

void expect_records(const std::vector<QnLogRecord>& expected) {
    ASSERT_EQ(records.size(), expected.size());
    for (size_t i = 0; i < expected.size(); i++) {
        EXPECT_EQ(std::memcmp(&records[i], &expected[i], sizeof(QnLogRecord)), 0) << "record " << i;
    }
}

TEST_F(AHook, GetsTheRecordOfEachPrintedLineWithUnusedBytesZero) {
    set_profile({.hook = keep});
    captured_output([] {
        QnLogPrint(1, "HI3861L", "hi3861l_dev", "main", 594, "value %d\n", 42);
        QnLogPrint(4, "", "", "", -7, "%s", "");
    });
    expect_records({record_of(1, "HI3861L", "hi3861l_dev", "main", 594, "value 42\n"),
                    record_of(4, "", "", "", -7, "")});
}

TEST_F(AHook, GetsTheTextsCutToTheirFields) {
    set_profile({.hook = keep});
    const std::string text(600, 'x');
    captured_output([&] {
        QnLogPrint(2, text.c_str(), text.c_str(), text.c_str(), 100000, "%s", text.c_str());
    });
    expect_records({record_of(2, text.substr(0, 15), text.substr(0, 19), text.substr(0, 31), 100000,
                              text.substr(0, 255))});
}

TEST_F(AHook, GetsTheLevelAsItWasGivenAlsoAboveFour) {
    set_profile({.level_limit = 9, .hook = keep});
    captured_output([] { QnLogPrint(9, "t", "f", "g", 1, "m"); });
    expect_records({record_of(9, "t", "f", "g", 1, "m")});
}

TEST_F(AHook, IsNotCalledForALineThatIsNotPrinted) {
    set_profile({.level_limit = 1, .hook = keep});
    captured_output([] { QnLogPrint(2, "t", "f", "g", 1, "m"); });
    expect_records({});
}

TEST_F(AHook, IsNotCalledForAHexDump) {
    set_profile({.hook = keep});
    const unsigned char byte = 1;
    EXPECT_NE(captured_output([&] { QnLogHexDump("n", 16, &byte, 1); }), "");
    expect_records({});
}

TEST_F(AHook, IsCalledAfterItsLineWasPrinted) {
    set_profile({.hook = keep});
    const OutputCapture capture;
    output = &capture;
    QnLogPrint(1, "t", "f", "g", 1, "first\n");
    QnLogPrint(1, "t", "f", "g", 1, "second\n");
    EXPECT_EQ(printed_before, (std::vector<std::string>{"first\n", "first\nsecond\n"}));
}

// Standard output on a device that refuses every byte, from construction to the end of its life.
class FullOutput {
  public:
    FullOutput() : saved_(dup(1)) {
        std::fflush(stdout);
        const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
        dup2(full, 1);
        close(full);
    }
    ~FullOutput() {
        __fpurge(stdout);
        std::clearerr(stdout);
        dup2(saved_, 1);
        close(saved_);
    }
    FullOutput(const FullOutput&) = delete;
    FullOutput& operator=(const FullOutput&) = delete;

  private:
    int saved_;
};

TEST_F(AHook, IsCalledAlsoWhenStandardOutputFails) {
    constexpr size_t kLines = 100;  // of 255 bytes: more than any buffer of standard output
    set_profile({.hook = keep});
    const std::string text(255, 'x');
    bool failed = false;
    {
        const FullOutput full;
        for (size_t i = 0; i < kLines; i++) {
            QnLogPrint(1, "t", "f", "g", 1, "%s", text.c_str());
        }
        failed = std::ferror(stdout) != 0;
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(records.size(), kLines);
}

TEST_F(AHook, IsNoLongerCalledOnceItIsTakenAway) {
    set_profile({.hook = keep});
    set_profile({.hook = nullptr});
    captured_output([] { QnLogPrint(1, "t", "f", "g", 1, "m"); });
    expect_records({});
}

}  // namespace
