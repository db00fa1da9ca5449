// Every exchange with the chip against every way in which the chip can disturb it: the result is
// right and in time, the next request is served, and events come in order.
#include <array>

#include "system_test.h"

namespace quon::test {
namespace {

constexpr std::size_t kPayloadSize = 384;
constexpr std::size_t kLongestOnTheChannel = 363;  // anything cut off reads as zero
constexpr char kEventService[] = "method.quon.mcu.get.event.info";
// How much later than its time-out a result may come on a busy machine.
constexpr auto kSlack = 5s;

// ---- The exchanges

enum class Shape { kRecord, kText, kDigit, kList, kAccepted, kAcceptedByByte };

struct Exchange {
    const char* service;
    std::uint8_t type;
    std::chrono::milliseconds time_out;
    Shape shape;
    std::size_t size;  // of a record or list
    Bytes request = {};
};

void PrintTo(const Exchange& exchange, std::ostream* stream) {
    *stream << exchange.service;
}

Shape shape_of(const ExpectedService& service, const ExpectedOperation& operation) {
    if (operation.answer != Answer::kByLength) {
        return operation.answer == Answer::kText    ? Shape::kText
               : operation.answer == Answer::kList  ? Shape::kList
               : service.passed == Passed::kPointer ? Shape::kAcceptedByByte
                                                    : Shape::kAccepted;
    }
    return service.reply == Reply::kTextOfNumber ? Shape::kDigit : Shape::kRecord;
}

// The part of the chip's normal answer that the service's reply does not show.
std::size_t size_of(const ExpectedService& service, Shape shape) {
    switch (shape) {
        case Shape::kText:
            return 6;
        case Shape::kAccepted:
        case Shape::kAcceptedByByte:
            return 5;
        default:
            return static_cast<std::size_t>(service.reply_size);
    }
}

std::vector<Exchange> exchanges() {
    std::vector<Exchange> all;
    for (const ExpectedOperation& operation : expected::waiting_operations()) {
        const ExpectedService& service = expected::service_of(operation);
        const Shape shape = shape_of(service, operation);
        const auto request = static_cast<std::size_t>(service.request_size);
        all.push_back({service.short_name(), operation.message(),
                       std::chrono::milliseconds(operation.timeout_ms), shape,
                       size_of(service, shape),
                       shape == Shape::kAcceptedByByte ? Bytes(request) : pattern(request)});
    }
    return all;
}

// A normal answer of the chip; different for every `first`.
Bytes healthy_answer(const Exchange& exchange, std::uint8_t first) {
    Bytes answer = pattern(exchange.size, first);
    if (exchange.shape == Shape::kList) {
        answer[0] = 5;  // entries, which fill the list
    } else if (exchange.shape == Shape::kDigit) {
        answer[0] = first % 10;  // the reply holds the first digit alone
    } else if (exchange.shape == Shape::kAcceptedByByte) {
        answer[4] = 0xA1;
    }
    return answer;
}

struct Outcome {
    std::int32_t result;
    Bytes payload;
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << outcome.result << ": " << to_hex(outcome.payload);
}

Outcome of_size(const Bytes& payload, std::size_t size) {
    return {static_cast<std::int32_t>(size), slice(payload, 0, size)};
}

const Outcome kFailed{-1, {}};

// The service's reply to a payload that the driver has accepted.
Outcome outcome_of(const Exchange& exchange, const Bytes& taken) {
    const Bytes payload = padded(taken, kPayloadSize);
    switch (exchange.shape) {
        case Shape::kText: {
            const std::string text = text_of(slice(payload, 0, kPayloadSize - 1));
            return of_size(payload, std::min(text.size(), text.find('\0')));
        }
        case Shape::kDigit:
            return of_size(bytes_of(std::to_string(payload[0])), 1);
        case Shape::kList:
            return of_size(payload[0] != 0 ? payload : Bytes(kPayloadSize), exchange.size);
        case Shape::kAccepted:
            return {4, Bytes(4)};
        case Shape::kAcceptedByByte:
            return payload[4] == 0xA1 ? Outcome{4, Bytes(4)} : kFailed;
        case Shape::kRecord:
            break;
    }
    return of_size(payload, exchange.size);
}

// ---- The faults

using Frames = std::vector<Bytes>;
using Payloads = std::vector<Bytes>;

struct Fault {
    const char* name;
    enum class Moment { kBefore, kAfter, kBeforeAndAfter } moment;  // the result
    bool restart;  // of the chip, before it sends anything
    Frames (*frames)(std::uint8_t type, const Bytes& answer);
    // The payloads that the driver may accept; none: the exchange times out.
    Payloads (*taken)(const Bytes& answer);
};

void PrintTo(const Fault& fault, std::ostream* stream) {
    *stream << fault.name;
}

Payloads nothing_taken(const Bytes& /*answer*/) {
    return {};
}

Frames healthy_frame(std::uint8_t type, const Bytes& answer) {
    return {chip_frame(type, answer)};
}

Bytes beginning_of(const Bytes& answer) {
    return slice(answer, 0, 3);
}

Bytes too_long(const Bytes& answer) {
    return joined(answer, pattern(kPayloadSize + 16 - answer.size(), 77));
}

Bytes other_answer(const Bytes& answer) {
    Bytes other = answer;
    other.back() ^= 0x01;
    return other;
}

// clang-format off
const Fault kFaults[] = {
    {"Silent", Fault::Moment::kBefore, false,
     [](std::uint8_t, const Bytes&) { return Frames{}; }, nothing_taken},
    {"Late", Fault::Moment::kAfter, false, healthy_frame, nothing_taken},
    {"OfAnotherType", Fault::Moment::kBefore, false,
     [](std::uint8_t type, const Bytes& answer) {
         return Frames{chip_frame(static_cast<std::uint8_t>(type ^ 0x01), answer)};
     }, nothing_taken},
    {"Empty", Fault::Moment::kBefore, false,
     [](std::uint8_t type, const Bytes&) { return Frames{chip_frame(type)}; },
     [](const Bytes&) { return Payloads{Bytes{}}; }},
    {"OverLong", Fault::Moment::kBefore, false,
     [](std::uint8_t type, const Bytes& answer) {
         return Frames{chip_frame(type, too_long(answer))};
     },
     [](const Bytes& answer) {
         return Payloads{padded(slice(too_long(answer), 0, kLongestOnTheChannel), kPayloadSize)};
     }},
    {"DeclaringMoreThanItHas", Fault::Moment::kBefore, false,
     [](std::uint8_t type, const Bytes& answer) {
         return Frames{chip_frame_declaring(type, 0xFFFFFFFF, beginning_of(answer))};
     },
     [](const Bytes& answer) { return Payloads{padded(beginning_of(answer), kPayloadSize)}; }},
    {"Twice", Fault::Moment::kBeforeAndAfter, false,
     [](std::uint8_t type, const Bytes& answer) {
         return Frames{chip_frame(type, answer), chip_frame(type, other_answer(answer))};
     },
     [](const Bytes& answer) { return Payloads{answer, other_answer(answer)}; }},
    {"FromARestartedChip", Fault::Moment::kBefore, true,
     [](std::uint8_t, const Bytes&) { return Frames{}; }, nothing_taken},
    {"AmongEvents", Fault::Moment::kBefore, false,
     [](std::uint8_t type, const Bytes& answer) {
         return Frames{chip_frame(0x00, pattern(33, 101)), chip_frame(0x05, pattern(33, 102)),
                       chip_frame(type, answer), chip_frame(0x02, pattern(33, 103))};
     },
     [](const Bytes& answer) { return Payloads{answer}; }},
};
// clang-format on

class AChipsFault : public SystemTest {
  protected:
    // The part of the fault that precedes the result, after an event.
    void begin(const Fault& fault, std::uint8_t type, const Bytes& answer) {
        send_event(0x01, 1);
        if (fault.restart) {
            restart_chip();
            chip().ignore(type);
        }
        if (fault.moment != Fault::Moment::kAfter) {
            send_frames(fault, type, answer);
        }
    }
    // The part that follows it, with one more event at the end.
    void end(const Fault& fault, std::uint8_t type, const Bytes& answer) {
        if (fault.moment != Fault::Moment::kBefore) {
            send_frames(fault, type, answer);
        }
        send_event(0x04, 2);
        chip().answer_as_usual(type);
    }
    // Everything that was sent; the last one's arrival shows that all before it have been
    // processed.
    void expect_events() {
        for (const Bytes& event : events_) {
            BusRecord next;
            EXPECT_TRUE(wait_until([&] {
                next = peer().call(kEventService);
                return next.result == 33;
            }));
            EXPECT_EQ(to_hex(next.payload()), to_hex(event));
        }
        EXPECT_EQ(peer().call(kEventService).result, -1);
        events_.clear();
    }

  private:
    void send_event(std::uint8_t type, std::uint8_t first) {
        send_frame(chip_frame(type, pattern(33, first)));
    }
    void send_frames(const Fault& fault, std::uint8_t type, const Bytes& answer) {
        for (const Bytes& frame : fault.frames(type, answer)) {
            send_frame(frame);
        }
    }
    // A chip that has just started waits for the daemon.
    void send_frame(const Bytes& frame) {
        ASSERT_TRUE(wait_until([&] {
            try {
                chip().send_raw(frame);
                return true;
            } catch (const std::runtime_error&) {
                return false;
            }
        }));
        if (frame.at(0) <= 0x05) {
            events_.push_back(slice(frame, 5, 33));
        }
    }

    std::vector<Bytes> events_;
};

// ---- In a service

class AChipsFaultIn : public AChipsFault, public ::testing::WithParamInterface<Exchange> {
  protected:
    // Each with a different answer, so that none is mistaken for another's.
    void expect_right_outcome(const Exchange& exchange, const Fault& fault) {
        const Bytes answer = healthy_answer(exchange, ++answers_);
        const std::size_t asked = chip().count(exchange.type);
        chip().ignore(exchange.type);
        const auto sent = std::chrono::steady_clock::now();
        peer().send(method_request(name_of(exchange), exchange.request));
        ASSERT_TRUE(chip().wait_for(exchange.type, asked + 1));
        begin(fault, exchange.type, answer);
        const std::optional<BusRecord> result = peer().receive(exchange.time_out + kSlack);
        const auto taken = std::chrono::steady_clock::now() - sent;
        ASSERT_TRUE(result);
        expect_one_of(outcomes(exchange, fault.taken(answer)), *result);
        if (fault.taken(answer).empty()) {
            EXPECT_GE(taken, exchange.time_out - 1ms);
        }
        end(fault, exchange.type, answer);
        expect_events();
        expect_healthy(exchange);
    }

  private:
    static std::string name_of(const Exchange& exchange) {
        return "method.quon.mcu." + std::string(exchange.service);
    }
    static std::vector<Outcome> outcomes(const Exchange& exchange, const Payloads& payloads) {
        std::vector<Outcome> all;
        for (const Bytes& payload : payloads) {
            all.push_back(outcome_of(exchange, payload));
        }
        return all.empty() ? std::vector{kFailed} : all;
    }
    static void expect_one_of(const std::vector<Outcome>& allowed, const BusRecord& result) {
        const Outcome outcome{result.result, result.payload()};
        if (std::find(allowed.begin(), allowed.end(), outcome) == allowed.end()) {
            EXPECT_EQ(outcome, allowed.front());
        }
    }
    // Another peer's request must get its own answer.
    void expect_healthy(const Exchange& exchange) {
        const Bytes answer = healthy_answer(exchange, ++answers_);
        chip().answer(exchange.type, answer);
        BusPeer other;
        expect_one_of({outcome_of(exchange, answer)},
                      other.call(name_of(exchange), exchange.request));
        expect_still_serving();
    }

    std::uint8_t answers_ = 0;
};

TEST_P(AChipsFaultIn, EndsTheExchangeWithItsOwnResultAndSpoilsNoOther) {
    start();
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE(fault.name);
        expect_right_outcome(GetParam(), fault);
        if (HasFatalFailure()) {
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, AChipsFaultIn, ::testing::ValuesIn(exchanges()),
                         [](const auto& row) {
                             std::string name = row.param.service;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

// ---- In the start-up's first query

class AChipsFaultAtTheStart : public AChipsFault, public ::testing::WithParamInterface<Fault> {
  protected:
    // The address that the daemon reports, from the network record that it has stored.
    static std::string address_in(const Bytes& taken) {
        const Bytes record = padded(taken, kPayloadSize);
        std::string text = std::to_string(record[0]);
        for (std::size_t byte = 1; byte < 4; ++byte) {
            text += "." + std::to_string(record[byte]);
        }
        return text;
    }
    std::string address_told() {
        const Bytes info = peer().call("method.quon.mcu.get.wifi.info").payload();
        const std::string text = text_of(slice(info, 32, 32));
        return text.substr(0, text.find('\0'));
    }
};

TEST_P(AChipsFaultAtTheStart, DelaysItForASecondAtMostAndLeavesADaemonThatServes) {
    const std::uint8_t kNetwork = expected::kNetQuery.message();
    const std::uint8_t kAfterNetwork = expected::message_of("get.wakeup.info");
    const Bytes answer = pattern(26, 10);
    const Fault& fault = GetParam();
    start_chip().ignore(kNetwork);
    start_daemon();
    ASSERT_TRUE(chip().wait_for(kNetwork));
    const auto asked = std::chrono::steady_clock::now();
    begin(fault, kNetwork, answer);
    ASSERT_TRUE(chip().wait_for(kAfterNetwork, 1, 1s + kSlack)) << daemon().output();
    const Payloads taken = fault.taken(answer);
    if (taken.empty()) {
        EXPECT_GE(std::chrono::steady_clock::now() - asked, 800ms);  // seen a little later
    }
    end(fault, kNetwork, answer);
    wait_until_started();
    expect_events();
    EXPECT_EQ(address_told(), taken.empty() ? "0.0.0.0" : address_in(taken.front()));
    expect_still_serving();
}

INSTANTIATE_TEST_SUITE_P(Each, AChipsFaultAtTheStart, ::testing::ValuesIn(kFaults),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace quon::test
