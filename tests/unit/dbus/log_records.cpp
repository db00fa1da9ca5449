#include "log_records.h"

#include <mutex>

#include "quon_log.h"

namespace quon::test {

namespace {

struct Store {
    std::mutex lock;
    std::vector<LogLine> lines;
};

Store& store() {
    static auto* const only = new Store;
    return *only;
}

void keep(QnLogRecord record) {
    const std::lock_guard guard(store().lock);
    store().lines.push_back({record.level, record.tag, record.file, record.func, record.msg});
}

}  // namespace

LogRecords::LogRecords() {
    {
        const std::lock_guard guard(store().lock);
        store().lines.clear();
    }
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.level_limit = QN_LOG_DEBUG;
    profile.hook = keep;
    QnLogSetProfile(profile);
}

std::vector<LogLine> LogRecords::lines() const {
    const std::lock_guard guard(store().lock);
    return store().lines;
}

bool LogRecords::wait_for(std::size_t count) const {
    return wait_until([&] { return lines().size() >= count; });
}

}  // namespace quon::test
