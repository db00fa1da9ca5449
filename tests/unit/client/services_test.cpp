// One function a service: what it puts on the bus, and which sizes it takes for an answer.
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

#include "fake_daemon.h"
#include "quon_mcu_client.h"

namespace quon::test {
namespace {

constexpr int32_t kTimeout = 20000;

struct Row {
    const char* name;  // on the bus
    int request;       // bytes
    int reply;         // bytes; kAny: as many as there are; kSignal: none
    quon_mcu_status (*call)(quon_mcu_client* client);
};
constexpr int kAny = -1;
constexpr int kSignal = -2;

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
    {"method.quon.mcu.get.ver", 0, kAny, GET(get_ver)},
    {"method.quon.mcu.get.wakeup.info", 0, 71, GET(get_wakeup_info)},
    {"method.quon.mcu.get.allwakeup.info", 0, 400, GET(get_allwakeup_info)},
    {"signal.quon.mcu.set.time", 10, kSignal, SET(set_time)},
    {"method.quon.mcu.get.time", 0, 10, GET(get_time)},
    {"signal.quon.mcu.set.led", 1, kSignal, SET(set_led)},
    {"method.quon.mcu.get.battery.status", 0, 5, GET(get_battery_status)},
    {"signal.quon.mcu.set.pir.switch", 1, kSignal, SET(set_pir_switch)},
    {"signal.quon.mcu.set.pir.sensitivity", 1, kSignal, SET(set_pir_sensitivity)},
    {"method.quon.mcu.get.pir.info", 0, 36, GET(get_pir_info)},
    {"signal.quon.mcu.set.pir.info", 36, kSignal, SET(set_pir_info)},
    {"signal.quon.mcu.set.wifi.connect", 134, kSignal, SET(set_wifi_connect)},
    {"signal.quon.mcu.set.wifi.disconnect", 0, kSignal, DO(set_wifi_disconnect)},
    {"method.quon.mcu.get.wifi.status", 0, 70, GET(get_wifi_status)},
    {"method.quon.mcu.get.wifi.info", 0, 160, GET(get_wifi_info)},
    {"signal.quon.mcu.set.wifi.keepalive", 164, kSignal, SET(set_wifi_keepalive)},
    {"signal.quon.mcu.set.wifi.extended.info", 66, kSignal, SET(set_wifi_extended_info)},
    {"method.quon.mcu.get.wifi.scanf.info", 1, 241, ASK(get_wifi_scanf_info)},
    {"signal.quon.mcu.set.system.state", 1, kSignal, SET(set_system_state)},
    {"method.quon.mcu.get.event.info", 0, 33, GET(get_event_info)},
    {"method.quon.mcu.upg.start", 5, 4, ASK(upg_start)},
    {"method.quon.mcu.upg.transmit", 265, 4, ASK(upg_transmit)},
    {"method.quon.mcu.upg.finish", 0, 4, GET(upg_finish)},
    {"signal.quon.mcu.set.store.params", 48, kSignal, SET(set_store_params)},
    {"method.quon.mcu.get.store.params", 0, 48, GET(get_store_params)},
    {"signal.quon.mcu.set.wdg.state", 1, kSignal, SET(set_wdg_state)},
    {"method.quon.mcu.get.wdg.state", 0, 1, GET(get_wdg_state)},
    {"signal.quon.mcu.set.wdg.period", 4, kSignal, SET(set_wdg_period)},
    {"signal.quon.mcu.set.wdg.feed", 0, kSignal, DO(set_wdg_feed)},
    {"signal.quon.mcu.set.alarm", 7, kSignal, SET(set_alarm)},
    {"method.quon.mcu.get.alarm", 0, 7, GET(get_alarm)},
    {"signal.quon.mcu.set.crash.test", 0, kSignal, DO(set_crash_test)},
    {"signal.quon.mcu.set.ap.start", 166, kSignal, SET(set_ap_start)},
    {"signal.quon.mcu.set.ap.stop", 0, kSignal, DO(set_ap_stop)},
    {"method.quon.mcu.get.err.report", 0, 181, GET(get_err_report)},
    {"method.quon.mcu.get.system", 1, kAny, ASK(get_system)},
    {"method.quon.mcu.get.popen", 1, kAny, ASK(get_popen)},
    {"signal.quon.mcu.set.log.profile", 35, kSignal, SET(set_log_profile)},
    {"method.quon.mcu.get.log.profile", 0, 35, GET(get_log_profile)},
    {"method.quon.mcu.get.soc.min.ver", 0, kAny, GET(get_soc_min_ver)},
    {"signal.quon.mcu.set.uart.switch", 1, kSignal, SET(set_uart_switch)},
    {"signal.quon.mcu.set.wakeup.info", 71, kSignal, SET(set_wakeup_info)},
    {"method.quon.mcu.get.status.info", 0, 136, GET(get_status_info)},
    {"signal.quon.mcu.set.charge.auto.poweron", 67, kSignal, SET(set_charge_auto_poweron)},
    {"signal.quon.mcu.set.cmd", 0, kSignal, SET(set_cmd)},
    {"signal.quon.mcu.set.tamper.info", 1, kSignal, SET(set_tamper_info)},
    {"method.quon.mcu.get.config.info", 0, 256, GET(get_config_info)},
    {"method.quon.mcu.get.bit.err.rate", 0, 259, GET(get_bit_err_rate)},
    {"method.quon.mcu.get.socup.time", 0, 12, GET(get_socup_time)},
    {"method.quon.mcu.get.wifi.extended.status", 0, 264, GET(get_wifi_extended_status)},
    {"signal.quon.mcu.set.soc.time.info", 44, kSignal, SET(set_soc_time_info)},
    {"method.quon.mcu.get.soc.time.list", 0, 221, GET(get_soc_time_list)},
    {"method.quon.mcu.get.soc.time.cur.info", 0, 212, GET(get_soc_time_cur_info)},
};
// clang-format on
static_assert(std::size(kRows) == 53);

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
    DbusMsg request_{};
};

TEST_P(AService, IsAskedByItsNameWithItsBytes) {
    EXPECT_EQ(answered_with(std::max(GetParam().reply, 0)), QUON_MCU_OK);
    EXPECT_EQ(text_of(request_.name), GetParam().name);
    EXPECT_EQ(text_of(request_.dst_name), "quon.mcu.daemon");
    EXPECT_EQ(text_of(request_.src_name), "test.client");
    EXPECT_EQ(request_.type, GetParam().reply == kSignal ? 0U : 1U);
    EXPECT_EQ(payload_of(request_), std::string(static_cast<size_t>(GetParam().request), '\0'));
}

TEST_P(AService, TakesNoAnswerOfAnotherSize) {
    if (GetParam().reply == kSignal) {
        EXPECT_EQ(answered_with(0), QUON_MCU_OK) << "a signal has no answer";
    } else if (GetParam().reply == kAny) {
        EXPECT_EQ(answered_with(1), QUON_MCU_OK);
    } else {
        EXPECT_EQ(answered_with(GetParam().reply - 1), QUON_MCU_MALFORMED);
        EXPECT_EQ(answered_with(GetParam().reply + 1), QUON_MCU_MALFORMED);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, AService, testing::ValuesIn(kRows), [](const auto& row) {
    std::string name = row.param.name;
    std::ranges::replace(name, '.', '_');
    return name;
});

}  // namespace
}  // namespace quon::test
