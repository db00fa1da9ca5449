#include "chip_clock.h"

#include <ctime>

#include "mcu_records.h"

namespace quon::sim {
namespace {

constexpr int kEpochYear = 2000;

int8_t part(byte_view record, size_t index) {
    return static_cast<int8_t>(record[index]);
}

bool within(int8_t value, int limit) {
    return value >= 0 && value < limit;
}

std::chrono::year_month_day date_of(byte_view record) {
    using namespace std::chrono;
    return {year(kEpochYear + part(record, 0)), month(static_cast<unsigned>(part(record, 1))),
            day(static_cast<unsigned>(part(record, 2)))};
}

}  // namespace

bool is_time(byte_view record) {
    return date_of(record).ok() && within(part(record, 3), 24) && within(part(record, 4), 60) &&
           within(part(record, 5), 60);
}

void chip_clock::set(byte_view record, time_point now) {
    using namespace std::chrono;
    record_.assign(record.begin(), record.end());
    set_at_ = now;
    runs_ = is_time(record);
    if (runs_) {
        base_ = local_days(date_of(record)) + hours(part(record, 3)) + minutes(part(record, 4)) +
                seconds(part(record, 5));
    }
}

byte_list chip_clock::read(time_point now) const {
    using namespace std::chrono;
    if (!runs_) {
        return record_;
    }
    const local_seconds time = base_ + floor<seconds>(now - set_at_);
    const local_days midnight = floor<days>(time);
    const year_month_day date(midnight);
    const hh_mm_ss clock(time - midnight);
    byte_list record = record_;
    record[0] = static_cast<uint8_t>(static_cast<int>(date.year()) - kEpochYear);
    record[1] = static_cast<uint8_t>(static_cast<unsigned>(date.month()));
    record[2] = static_cast<uint8_t>(static_cast<unsigned>(date.day()));
    record[3] = static_cast<uint8_t>(clock.hours().count());
    record[4] = static_cast<uint8_t>(clock.minutes().count());
    record[5] = static_cast<uint8_t>(clock.seconds().count());
    return record;
}

byte_list machine_time() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    byte_list record(kMcuTimeSize);
    record[0] = static_cast<uint8_t>(parts.tm_year + 1900 - kEpochYear);
    record[1] = static_cast<uint8_t>(parts.tm_mon + 1);
    record[2] = static_cast<uint8_t>(parts.tm_mday);
    record[3] = static_cast<uint8_t>(parts.tm_hour);
    record[4] = static_cast<uint8_t>(parts.tm_min);
    record[5] = static_cast<uint8_t>(parts.tm_sec % 60);
    return record;
}

}  // namespace quon::sim
