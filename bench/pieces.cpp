// The cost of the individual pieces, measured through their headers.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>

#include "hi3861l_receive.h"
#include "quon_log.h"
#include "quon_queue.h"

namespace {

void set_level(std::uint32_t level) {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.level_limit = level;
    QnLogSetProfile(profile);
}

void print_line(std::uint32_t level) {
    QnLogPrint(level, "BENCH", "pieces", __func__, __LINE__, "value %d of %s\n", 42, "a text");
}

void log_line_off(benchmark::State& state) {
    set_level(QN_LOG_ERROR);
    for (auto _ : state) {
        print_line(QN_LOG_INFO);
    }
}
BENCHMARK(log_line_off);

void log_line_on(benchmark::State& state) {
    set_level(QN_LOG_INFO);
    for (auto _ : state) {
        print_line(QN_LOG_INFO);
    }
    set_level(QN_LOG_ERROR);
}
BENCHMARK(log_line_on);

// Like the driver's dump of a frame; the argument is its size.
void hex_dump_on(benchmark::State& state) {
    const std::array<std::uint8_t, 384> bytes{};
    set_level(QN_LOG_DEBUG);
    for (auto _ : state) {
        QnLogHexDump("bench", 16, bytes.data(), static_cast<unsigned short>(state.range(0)));
    }
    set_level(QN_LOG_ERROR);
}
BENCHMARK(hex_dump_on)->Arg(15)->Arg(384);

void hex_dump_off(benchmark::State& state) {
    const std::array<std::uint8_t, 384> bytes{};
    set_level(QN_LOG_ERROR);
    for (auto _ : state) {
        QnLogHexDump("bench", 16, bytes.data(), 384);
    }
}
BENCHMARK(hex_dump_off);

// An event in and out.
void queue_push_pop(benchmark::State& state) {
    std::array<std::uint8_t, 33> event{};
    QN_QUEUE* queue = QN_QUEUE_Create(static_cast<int>(event.size()), 10, 0, "bench");
    for (auto _ : state) {
        QN_QUEUE_Push(queue, event.data());
        QN_QUEUE_Pop(queue, event.data());
    }
    QN_QUEUE_Destroy(queue);
}
BENCHMARK(queue_push_pop);

// A frame with a payload of the given size.
void decode_frame(benchmark::State& state) {
    std::array<std::uint8_t, 389> frame{0x84};
    const auto size = static_cast<std::uint16_t>(state.range(0));
    frame[1] = static_cast<std::uint8_t>(size);
    frame[2] = static_cast<std::uint8_t>(size >> 8);
    for (auto _ : state) {
        benchmark::DoNotOptimize(hi3861l_decode(frame.data(), size + 5));
    }
}
BENCHMARK(decode_frame)->Arg(10)->Arg(384);

void* do_nothing(void* /*unused*/) {
    return nullptr;
}

// As the bus makes one for a message, including its end.
void thread_start_and_end(benchmark::State& state) {
    pthread_attr_t small;
    pthread_attr_init(&small);
    pthread_attr_setstacksize(&small, 64 * 1024);
    for (auto _ : state) {
        pthread_t thread;
        if (pthread_create(&thread, &small, do_nothing, nullptr) != 0 ||
            pthread_join(thread, nullptr) != 0) {
            state.SkipWithError("no thread");
        }
    }
    pthread_attr_destroy(&small);
}
BENCHMARK(thread_start_and_end)->UseRealTime();

// Output of the pieces is discarded; the report goes where the caller wants it.
int keep_report_apart() {
    const int report = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    return report;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const int report = keep_report_apart();
    std::ostringstream text;
    benchmark::JSONReporter reporter;
    reporter.SetOutputStream(&text);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const std::string shown = text.str();
    return write(report, shown.data(), shown.size()) == static_cast<ssize_t>(shown.size()) ? 0 : 1;
}
