// events, wait: polling until something happens.
#include <algorithm>
#include <chrono>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"
#include "shared/suggestions.h"

namespace quon::client {
namespace {

using steady = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr size_t kQueueDepth = 10;
constexpr std::string_view kZeroInEvent = "zero, or not in the event";

// Paces a polling loop: the next poll comes after the interval, but not after the deadline.
class pace {
  public:
    pace(output& out, int32_t interval_ms, std::optional<int32_t> timeout_ms)
        : out_(out), interval_(interval_ms) {
        if (timeout_ms) {
            deadline_ = steady::now() + milliseconds(*timeout_ms);
        }
    }

    // False once the time is over.
    bool rest() const {
        const auto left =
            deadline_ ? std::chrono::ceil<milliseconds>(*deadline_ - steady::now()) : interval_;
        out_.rest(std::min(left, interval_));
        return !deadline_ || steady::now() < *deadline_;
    }

    // A call's time-out, limited to the remaining time.
    int32_t at_most(int32_t timeout_ms) const {
        if (!deadline_) {
            return timeout_ms;
        }
        const auto left = std::chrono::ceil<milliseconds>(*deadline_ - steady::now()).count();
        return static_cast<int32_t>(std::clamp<int64_t>(left, 0, timeout_ms));
    }

  private:
    output& out_;
    milliseconds interval_;
    std::optional<steady::time_point> deadline_;
};

std::optional<int32_t> optional_duration(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(parse_duration(text));
}

class event_poller {
  public:
    event_poller(context& ctx, const events_words& words) : ctx_(ctx), as_(nullptr) {
        if (!words.as.empty()) {
            as_ = catalog::find_record(words.as);
            if (as_ == nullptr) {
                throw failure(exit_status::usage, unknown("record", words.as, record_names()));
            }
        }
        if (!words.count.empty()) {
            wanted_ = parse_number("--count", words.count, 1, INT32_MAX);
        }
        waits_ = words.follow || wanted_ || !words.timeout.empty();
        timeout_ms_ = optional_duration(words.timeout);
        interval_ms_ = parse_duration(words.interval);
    }

    void run() {
        bus_session bus(ctx_.timeout_ms);
        const pace rhythm(ctx_.out, interval_ms_, timeout_ms_);
        for (;;) {
            drain(bus);
            if (enough() || !waits_) {
                return;
            }
            if (!rhythm.rest()) {
                break;
            }
        }
        if (wanted_) {
            throw failure(exit_status::timed_out, std::to_string(seen_) + " of " +
                                                      std::to_string(*wanted_) + " events in time");
        }
    }

  private:
    static std::vector<std::string> record_names() {
        std::vector<std::string> names;
        for (const catalog::record* each : catalog::records()) {
            names.emplace_back(each->name);
        }
        return names;
    }

    bool enough() const { return wanted_ && seen_ >= *wanted_; }

    void drain(bus_session& bus) {
        size_t in_a_row = 0;
        while (!enough() && take(bus)) {
            ++in_a_row;
        }
        hint_at_lost_events(ctx_.out, in_a_row);
    }

    // False if no event is pending: the service's result is then -1.
    bool take(bus_session& bus) {
        const catalog::service& service = service_named("get.event.info");
        quon_mcu_event_info event;
        const quon_mcu_status status =
            quon_mcu_client_get_event_info(bus.library(), &event, ctx_.timeout_ms);
        if (status == QUON_MCU_FAILED) {
            return false;
        }
        bus.check(service, status, 0, 0);
        ++seen_;
        show(event.bytes);
        return true;
    }

    void show(byte_view event) {
        const std::string hex = catalog::to_hex(event);
        switch (ctx_.out.mode) {
            case output_mode::people:
                ctx_.out.line(std::to_string(seen_) + "  " +
                              (as_ == nullptr ? hex : line_text(*as_, event, kZeroInEvent)));
                break;
            case output_mode::json: {
                json document = {{"event", seen_}, {"length", event.size()}, {"hex", hex}};
                if (as_ != nullptr) {
                    add_fields(document, event);
                }
                print(ctx_.out, document);
                break;
            }
            case output_mode::hex:
                ctx_.out.line(hex);
                break;
            case output_mode::raw:
                ctx_.out.write(event);
                break;
        }
    }

    void add_fields(json& document, byte_view event) const {
        document["fields"] = fields_json(*as_, event, kZeroInEvent);
        const json reasons = reasons_json(*as_, event, kZeroInEvent);
        if (!reasons.empty()) {
            document["reasons"] = reasons;
        }
    }

    context& ctx_;
    const catalog::record* as_;
    std::optional<int64_t> wanted_;
    bool waits_ = false;
    std::optional<int32_t> timeout_ms_;
    int32_t interval_ms_ = 0;
    int64_t seen_ = 0;
};

class waiter {
  public:
    waiter(context& ctx, const wait_words& words)
        : ctx_(ctx),
          service_(service_of("get", words.object)),
          condition_(words.condition),
          timeout_ms_(parse_duration(words.timeout)),
          interval_ms_(parse_duration(words.interval)) {
        if (service_.request != nullptr) {
            throw failure(exit_status::usage,
                          "wait cannot ask for " + std::string(short_name(service_)));
        }
        const size_t equals = condition_.find('=');
        if (equals == std::string::npos) {
            throw failure(exit_status::usage, "'" + condition_ + "' is no FIELD=VALUE");
        }
        wanted_ = as_shown(condition_.substr(0, equals), condition_.substr(equals + 1));
    }

    void run() {
        bus_session bus(ctx_.timeout_ms);
        const pace rhythm(ctx_.out, interval_ms_, timeout_ms_);
        do {
            const int32_t bound = rhythm.at_most(ctx_.timeout_ms);
            const std::optional<answer> got = ask(bus, bound);
            if (got && got->result >= 0 && holds(got->payload)) {
                const std::string_view zero = zero_reason(service_);
                show_record(ctx_.out, *service_.reply, got->payload,
                            answer_json(service_, got->payload, zero), zero);
                return;
            }
        } while (rhythm.rest());
        throw failure(exit_status::timed_out, std::string(short_name(service_)) + ": no " +
                                                  condition_ + " within " +
                                                  std::to_string(timeout_ms_) + " ms");
    }

  private:
    // Nothing if the remaining time was too short for an answer.
    std::optional<answer> ask(bus_session& bus, int32_t bound) const {
        bus.set_timeout(bound);
        try {
            return bus.call(service_, {});
        } catch (const failure& error) {
            if (error.status() != exit_status::timed_out || bound == ctx_.timeout_ms) {
                throw;
            }
            return std::nullopt;
        }
    }

    // The field with that value as an answer shows it. Fields that have names only there (count,
    // bytes, rest_6) are included.
    catalog::decoded_field as_shown(const std::string& name, const std::string& value) const {
        const catalog::record& reply = *service_.reply;
        const std::string_view text = value;
        if (is_only_shown(reply, name)) {
            return name == "count"
                       ? shown_as({name, 0, 1, catalog::field_kind::u8, "", {}, ""}, text)
                       : shown_as({name, 0, 0, catalog::field_kind::bytes, "", {}, ""}, text);
        }
        return shown_as(field_named(reply, name), text);
    }

    static bool is_only_shown(const catalog::record& reply, const std::string& name) {
        const row_list rows = field_rows(reply);  // including a header
        const bool shown = std::ranges::any_of(std::span(rows).subspan(1),
                                               [&](const auto& row) { return row[3] == name; });
        return shown && !name.starts_with("entry") &&
               std::ranges::find(reply.fields, name, &catalog::field::name) == reply.fields.end();
    }

    static catalog::decoded_field shown_as(const catalog::field& field, std::string_view value) {
        if (field.kind == catalog::field_kind::text) {
            return {std::string(field.name), std::string(value), "", "", field.kind};
        }
        catalog::field alone = field;
        alone.offset = 0;
        const catalog::record holder{"", 0, 0, std::span(&alone, 1)};
        return catalog::decode(holder, encode_field(field, value)).at(0);
    }

    bool holds(const byte_list& payload) const {
        const auto fields = catalog::decode(*service_.reply, payload);
        return std::ranges::any_of(fields, [this](const catalog::decoded_field& each) {
            return each.name == wanted_.name && each.value == wanted_.value;
        });
    }

    context& ctx_;
    const catalog::service& service_;
    std::string condition_;
    int32_t timeout_ms_;
    int32_t interval_ms_;
    catalog::decoded_field wanted_;
};

}  // namespace

void hint_at_lost_events(output& out, size_t in_a_row) {
    if (in_a_row >= kQueueDepth) {
        out.note("the daemon's queue of " + std::to_string(kQueueDepth) +
                 " events may have been full: further ones may be lost");
    }
}

void take_events(context& ctx, const events_words& words) {
    event_poller(ctx, words).run();
}

void wait_for(context& ctx, const wait_words& words) {
    waiter(ctx, words).run();
}

}  // namespace quon::client
