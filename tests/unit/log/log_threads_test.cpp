// Many threads under one log lock.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_log.h"
#include "text_lines.h"
#include "waiting.h"

namespace {

using quon::test::captured_output;
using quon::test::lines_of;
using quon::test::set_profile;
using quon::test::wait_until;

constexpr int kThreads = 4;
constexpr int kRounds = 200;

class ManyThreads : public quon::test::WithDefaultProfile {};

template <typename Work>
void run_threads(Work work) {
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int number = 0; number < kThreads; number++) {
        threads.emplace_back(work, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(ManyThreads, PrintWholeLinesWithTheirOwnThreadFieldInTheirOwnOrder) {
    set_profile({.fmt_mask = QN_LOG_FMT_THREAD});
    std::vector<std::string> fields(kThreads);
    const std::string text = captured_output([&] {
        run_threads([&](int number) {
            fields[static_cast<size_t>(number)] =
                "[tid:" + std::to_string(static_cast<long>(pthread_self())).substr(0, 5) + "] ";
            for (int round = 0; round < kRounds; round++) {
                QnLogPrint(1, "t", "f", "g", 1, "thread %d round %d\n", number, round);
            }
        });
    });
    std::map<int, std::vector<std::string>> by_thread;
    for (const std::string& line : lines_of(text)) {
        const size_t at = line.find("thread ");
        ASSERT_NE(at, std::string::npos) << line;
        by_thread[line[at + 7] - '0'].push_back(line);
    }
    for (int number = 0; number < kThreads; number++) {
        ASSERT_EQ(by_thread[number].size(), size_t{kRounds});
        for (int round = 0; round < kRounds; round++) {
            EXPECT_EQ(by_thread[number][static_cast<size_t>(round)],
                      fields[static_cast<size_t>(number)] + "thread " + std::to_string(number) +
                          " round " + std::to_string(round));
        }
    }
}

TEST_F(ManyThreads, NeverPrintBetweenTheLinesOfADump) {
    set_profile({});
    constexpr size_t kDumpLines = 16;
    const std::string text = captured_output([] {
        run_threads([](int number) {
            const std::vector<unsigned char> data(kDumpLines,
                                                  static_cast<unsigned char>('0' + number));
            for (int round = 0; round < kRounds; round++) {
                QnLogHexDump("dump", 1, data.data(), static_cast<unsigned short>(data.size()));
                QnLogPrint(1, "t", "f", "g", 1, "line\n");
            }
        });
    });
    size_t dumps = 0;
    const auto lines = lines_of(text);
    for (size_t at = 0; at < lines.size();) {
        if (lines[at] == "line") {
            at++;
            continue;
        }
        const char owner = lines[at].back();
        for (size_t i = 0; i < kDumpLines; i++, at++) {
            ASSERT_LT(at, lines.size());
            char head[32];
            snprintf(head, sizeof(head), "D/HEX dump: %04zX-%04zX: ", i, i);
            ASSERT_EQ(lines[at].substr(0, 23), head);
            ASSERT_EQ(lines[at].back(), owner);
        }
        dumps++;
    }
    EXPECT_EQ(dumps, size_t{kThreads} * kRounds);
}

int inside_hook;  // plain on purpose: the log lock is all that guards it
int hook_calls;
int hook_collisions;

void count_collisions(QnLogRecord) {
    hook_calls++;
    hook_collisions += inside_hook;
    inside_hook = 1;
    std::this_thread::yield();
    inside_hook = 0;
}

TEST_F(ManyThreads, EnterTheHookOneAtATime) {
    hook_calls = 0;
    hook_collisions = 0;
    set_profile({.hook = count_collisions});
    captured_output([] {
        run_threads([](int) {
            for (int round = 0; round < kRounds; round++) {
                QnLogPrint(1, "t", "f", "g", 1, "m\n");
            }
        });
    });
    EXPECT_EQ(hook_calls, kThreads * kRounds);
    EXPECT_EQ(hook_collisions, 0);
}

TEST_F(ManyThreads, MayChangeTheProfileWhileOthersLog) {
    set_profile({});
    const std::string text = captured_output([] {
        run_threads([](int number) {
            for (int round = 0; round < kRounds; round++) {
                if (number == 0) {
                    set_profile({.level_limit = static_cast<uint32_t>(round % 6)});
                }
                QnLogPrint(QN_LOG_DEBUG, "t", "f", "g", 1, "m\n");
                QnLogPrint(QN_LOG_FATAL, "t", "f", "g", 1, "always\n");
                QnLogHexDump("n", 8, reinterpret_cast<const unsigned char*>("data"), 4);
            }
        });
    });
    int always = 0;
    for (const std::string& line : lines_of(text)) {
        always += line == "always" ? 1 : 0;
    }
    EXPECT_EQ(always, kThreads * kRounds);
}

std::atomic<bool> hook_entered;
std::atomic<bool> hook_may_leave;

void wait_inside(QnLogRecord) {
    hook_entered = true;
    wait_until([] { return hook_may_leave.load(); });
    pthread_testcancel();
}

class WhileAHookHoldsTheLock : public quon::test::WithDefaultProfile {
  protected:
    WhileAHookHoldsTheLock() {
        hook_entered = false;
        hook_may_leave = false;
        set_profile({.level_limit = 1, .hook = wait_inside});
    }
};

TEST_F(WhileAHookHoldsTheLock, LinesThatTheFilterDropsAreNotDelayed) {
    const std::string text = captured_output([] {
        std::thread holder([] { QnLogPrint(1, "t", "f", "g", 1, "held\n"); });
        EXPECT_TRUE(wait_until([] { return hook_entered.load(); }));
        QnLogPrint(2, "t", "f", "g", 1, "dropped\n");
        QnLogHexDump("dropped", 8, reinterpret_cast<const unsigned char*>("data"), 4);
        EXPECT_FALSE(hook_may_leave);
        hook_may_leave = true;
        holder.join();
    });
    EXPECT_EQ(text, "held\n");
}

bool is_asleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string stat;
    std::getline(file, stat);
    const size_t state = stat.rfind(')') + 2;  // the field after the name
    return state < stat.size() && stat[state] == 'S';
}

struct LockedCall {
    const char* what;
    std::function<void()> call;
};

TEST_F(WhileAHookHoldsTheLock, DumpsAndCopiesOfTheProfileWait) {
    QnLogProfile profile = {};
    QnLogGetProfile(&profile);
    profile.level_limit = QN_LOG_DEBUG;
    QnLogSetProfile(profile);
    const std::vector<LockedCall> rows = {
        {"QnLogSetProfile", [&] { QnLogSetProfile(profile); }},
        {"QnLogGetProfile", [&] { QnLogGetProfile(&profile); }},
        {"QnLogHexDump",
         [] { QnLogHexDump("n", 8, reinterpret_cast<const unsigned char*>("data"), 4); }},
    };
    for (const LockedCall& row : rows) {
        SCOPED_TRACE(row.what);
        hook_entered = false;
        hook_may_leave = false;
        std::atomic<pid_t> waiter_id = 0;
        std::atomic<bool> returned = false;
        captured_output([&] {
            std::thread holder([] { QnLogPrint(1, "t", "f", "g", 1, "held\n"); });
            EXPECT_TRUE(wait_until([] { return hook_entered.load(); }));
            std::thread waiter([&] {
                waiter_id = gettid();
                row.call();
                returned = true;
            });
            EXPECT_TRUE(
                wait_until([&] { return returned || (waiter_id != 0 && is_asleep(waiter_id)); }));
            EXPECT_FALSE(returned);
            hook_may_leave = true;
            holder.join();
            waiter.join();
        });
    }
}

void* log_until_cancelled(void*) {
    QnLogPrint(1, "t", "f", "g", 1, "held\n");
    for (;;) {
        pthread_testcancel();
    }
}

TEST_F(WhileAHookHoldsTheLock, ACancelledThreadStillReleasesIt) {
    const std::string text = captured_output([] {
        pthread_t holder;
        ASSERT_EQ(pthread_create(&holder, nullptr, log_until_cancelled, nullptr), 0);
        EXPECT_TRUE(wait_until([] { return hook_entered.load(); }));
        EXPECT_EQ(pthread_cancel(holder), 0);
        hook_may_leave = true;
        void* result = nullptr;
        EXPECT_EQ(pthread_join(holder, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        QnLogPrint(1, "t", "f", "g", 1, "next\n");
    });
    EXPECT_EQ(text, "held\nnext\n");
}

}  // namespace
