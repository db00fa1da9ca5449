// No call of a bounds-checked function fails in normal operation: each one is counted at link time.
#include <atomic>
#include <cstdarg>

#include "driver_world.h"
#include "securec.h"

namespace {

std::atomic<int> g_calls = 0;
std::atomic<int> g_failures = 0;

int counted(int result, bool failed) {
    g_calls++;
    g_failures += failed ? 1 : 0;
    return result;
}

}  // namespace

extern "C" {

errno_t __real_memcpy_s(void* dest, size_t destMax, const void* src, size_t count);
errno_t __wrap_memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    const errno_t result = __real_memcpy_s(dest, destMax, src, count);
    return counted(result, result != EOK);
}

errno_t __real_memset_s(void* dest, size_t destMax, int c, size_t count);
errno_t __wrap_memset_s(void* dest, size_t destMax, int c, size_t count) {
    const errno_t result = __real_memset_s(dest, destMax, c, count);
    return counted(result, result != EOK);
}

int __wrap_snprintf_s(char* text, size_t size, size_t count, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = vsnprintf_s(text, size, count, format, arguments);
    va_end(arguments);
    return counted(written, written < 0);
}

}  // extern "C"

namespace quon::test {
namespace {

constexpr std::size_t kAreaSize = 384;

class ABoundedCopy : public AStartedDriver {
  protected:
    void SetUp() override {
        AStartedDriver::SetUp();
        g_calls = 0;
        g_failures = 0;
    }

    void call_every_operation() {
        for (const std::size_t number : {2U, 36U}) {
            EXPECT_EQ(slot<TextQuery>(number)(reinterpret_cast<char*>(area)), 0) << number;
        }
        for (const std::size_t number :
             {3U, 5U, 7U, 10U, 14U, 15U, 25U, 27U, 31U, 35U, 39U, 43U, 48U, 50U, 51U}) {
            EXPECT_EQ(slot<Query>(number)(area), 0) << number;
        }
        for (const std::size_t number : {6U, 8U, 9U, 19U, 26U, 37U, 42U}) {
            EXPECT_EQ(slot<ByteCommand>(number)(1), 0) << number;
        }
        for (const std::size_t number : {13U, 23U, 29U, 33U, 34U}) {
            EXPECT_EQ(slot<Command>(number)(), 0) << number;
        }
        EXPECT_EQ(ops->get_wifi_scanf_info(1, area), 0);
        EXPECT_EQ(ops->set_time(area), 0);
        EXPECT_EQ(ops->set_wdg_period(1), 0);
        EXPECT_EQ(ops->set_cmd(area, 0), 0);
        EXPECT_EQ(ops->set_cmd(area, 384), 0);
        EXPECT_EQ(ops->set_alarm({}), 0);
        EXPECT_EQ(ops->upg_start(1, 2), 0);
        (void)ops->upg_transmit(area);  // refused by an answer without its byte
    }

    std::uint8_t area[kAreaSize] = {};
};

TEST_F(ABoundedCopy, NeverFailsWhateverTheLengthOfTheAnswers) {
    for (const std::size_t size : {0U, 1U, 71U, 384U}) {
        SCOPED_TRACE(size);
        for (int type = 0x80; type <= 0xad; type++) {
            channel().answer(static_cast<std::uint8_t>(type), pattern(size));
        }
        call_every_operation();
    }
    EXPECT_GT(g_calls, 100);
    EXPECT_EQ(g_failures, 0);
}

TEST_F(ABoundedCopy, NeverFailsWhenTheDriverStartsAndTheNetworkChanges) {
    ASSERT_EQ(ops->deinit(), 0);
    channel().answer(0x81, {});
    ASSERT_EQ(ops->init(), 0);
    Bytes payload = {0, 1};
    const Bytes record = first_net_record();
    payload.insert(payload.end(), record.begin(), record.end());
    channel().deliver(chip_frame(0x03, payload));
    EXPECT_EQ(ops->get_wifi_info(area), 0);
    EXPECT_GT(g_calls, 0);
    EXPECT_EQ(g_failures, 0);
}

}  // namespace
}  // namespace quon::test
