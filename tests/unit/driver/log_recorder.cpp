#include "log_recorder.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

#include "quon_log.h"

namespace quon::test {

namespace {

struct Recorder {
    std::mutex lock;
    std::vector<LogLine> lines;
    std::function<void(const LogLine&)> listener;
};

Recorder& recorder() {
    static auto* const kRecorder = new Recorder;
    return *kRecorder;
}

void keep_line(QnLogRecord record) {
    const LogLine line{record.level, record.tag, record.file, record.func, record.msg};
    const std::lock_guard guard(recorder().lock);
    recorder().lines.push_back(line);
    if (recorder().listener) {
        recorder().listener(line);
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << line.level << " " << line.tag << " " << line.source << " " << line.function
               << ": " << line.text;
}

LogLine driver_line(unsigned level, const std::string& function, const std::string& text) {
    return {level, "HI3861L", "hi3861l_dev", function.substr(0, 31), text};
}

LogLine failure_line(const std::string& function, const std::string& reason) {
    return driver_line(1, function, "[" + reason + "] failed\n");
}

void record_log(unsigned level) {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.level_limit = level;
    profile.hook = keep_line;
    QnLogSetProfile(profile);
    on_log_line(nullptr);
    forget_log();
}

std::vector<LogLine> log_lines() {
    const std::lock_guard guard(recorder().lock);
    return recorder().lines;
}

std::vector<LogLine> log_lines_up_to(unsigned level) {
    std::vector<LogLine> lines;
    std::ranges::copy_if(log_lines(), std::back_inserter(lines),
                         [level](const LogLine& line) { return line.level <= level; });
    return lines;
}

void forget_log() {
    const std::lock_guard guard(recorder().lock);
    recorder().lines.clear();
}

void on_log_line(std::function<void(const LogLine&)> function) {
    const std::lock_guard guard(recorder().lock);
    recorder().listener = std::move(function);
}

}  // namespace quon::test
