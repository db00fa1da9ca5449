// One function a service: what it puts on the bus, and which sizes it takes for an answer.
// Generated is only which function a row calls.
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

#include "expected_table.h"
#include "fake_daemon.h"
#include "quon_mcu_client.h"

namespace quon::test {
namespace {

constexpr int32_t kTimeout = 20000;

struct Row {
    const char* name;  // without "method.quon.mcu." or "signal.quon.mcu."
    quon_mcu_status (*call)(quon_mcu_client* client);
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

template <typename Reply>
quon_mcu_status get(quon_mcu_client* client,
                    quon_mcu_status (*function)(quon_mcu_client*, Reply*, int32_t)) {
    const auto reply = std::make_unique<Reply>();
    return function(client, reply.get(), kTimeout);
}

template <typename Request>
quon_mcu_status set(quon_mcu_client* client,
                    quon_mcu_status (*function)(quon_mcu_client*, const Request*, int32_t)) {
    const auto request = std::make_unique<Request>();
    return function(client, request.get(), kTimeout);
}

template <typename Request, typename Reply>
quon_mcu_status ask(quon_mcu_client* client,
                    quon_mcu_status (*function)(quon_mcu_client*, const Request*, Reply*,
                                                int32_t)) {
    const auto request = std::make_unique<Request>();
    const auto reply = std::make_unique<Reply>();
    return function(client, request.get(), reply.get(), kTimeout);
}

// clang-format off
#define GET(function) [](quon_mcu_client* client) { return get(client, quon_mcu_client_##function); }
#define SET(function) [](quon_mcu_client* client) { return set(client, quon_mcu_client_##function); }
#define ASK(function) [](quon_mcu_client* client) { return ask(client, quon_mcu_client_##function); }
#define DO(function) [](quon_mcu_client* client) { return quon_mcu_client_##function(client, kTimeout); }
constexpr Row kRows[] = {
#include "services_rows.inc"
};
// clang-format on
static_assert(std::size(kRows) == std::size(expected::kServices));

class AService : public testing::TestWithParam<Row> {
  protected:
    // The function's result when the daemon answers with that many zeros.
    quon_mcu_status answered_with(int size) {
        const FakeDaemon daemon([size](const DbusMsg& request) {
            return make_result(request, size, std::string(static_cast<size_t>(size), '\0'));
        });
        quon_mcu_client* client = quon_mcu_client_connect("test.client", kTimeout);
        const quon_mcu_status status = GetParam().call(client);
        request_ = daemon.request();
        quon_mcu_client_disconnect(client);
        return status;
    }
    // Zeros; an empty command's text is its end alone.
    std::string empty_request() const {
        const int size = service_.request_size != kAnySize  ? service_.request_size
                         : service_.passed == Passed::kText ? 1
                                                            : 0;
        return std::string(static_cast<size_t>(size), '\0');
    }
    const ExpectedService& service_ = expected::service(GetParam().name);
    DbusMsg request_{};
};

TEST_P(AService, IsAskedByItsNameWithItsBytes) {
    EXPECT_EQ(answered_with(std::max(service_.reply_size, 0)), QUON_MCU_OK);
    EXPECT_EQ(text_of(request_.name), service_.name);
    EXPECT_EQ(text_of(request_.dst_name), "quon.mcu.daemon");
    EXPECT_EQ(text_of(request_.src_name), "test.client");
    EXPECT_EQ(request_.type, service_.is_signal() ? 0U : 1U);
    EXPECT_EQ(payload_of(request_), empty_request());
}

TEST_P(AService, TakesNoAnswerOfAnotherSize) {
    if (service_.is_signal()) {
        EXPECT_EQ(answered_with(0), QUON_MCU_OK) << "a signal has no answer";
    } else if (service_.reply_size == kAnySize) {
        EXPECT_EQ(answered_with(1), QUON_MCU_OK);
    } else {
        EXPECT_EQ(answered_with(service_.reply_size - 1), QUON_MCU_MALFORMED);
        EXPECT_EQ(answered_with(service_.reply_size + 1), QUON_MCU_MALFORMED);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, AService, testing::ValuesIn(kRows), [](const auto& row) {
    std::string name = row.param.name;
    std::ranges::replace(name, '.', '_');
    return name;
});

}  // namespace
}  // namespace quon::test
