// The service table, and its registration on a bus that records its calls.

#include "service_table.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "captured_output.h"
#include "fake_operations.h"
#include "service_handlers.h"
#include "shell_services.h"
#include "startup_snapshot.h"

namespace {

// ---- The bus ----------------------------------------------------------------------------------

struct FakeBus {
    bool out_of_memory = false;
    std::int32_t register_result = 0;
    std::int32_t unregister_result = 0;
    std::vector<std::string> calls;
    DbusInfo registered{};                  // as it was when it was registered
    std::vector<DbusInterface> interfaces;  // likewise
    DbusInfo* record = nullptr;             // allocated and not yet freed
};

FakeBus bus;

}  // namespace

DbusInfo* DbusInfo_Alloc(int32_t count) {
    bus.calls.push_back("alloc " + std::to_string(count));
    if (bus.out_of_memory) {
        return nullptr;
    }
    bus.record = static_cast<DbusInfo*>(calloc(1, sizeof(DbusInfo)));
    bus.record->count = count;
    for (int32_t i = 0; i < count; i++) {
        bus.record->interfaces[i] = static_cast<DbusInterface*>(calloc(1, sizeof(DbusInterface)));
    }
    return bus.record;
}

void DbusInfo_Free(DbusInfo* info) {
    bus.calls.push_back(info == bus.record ? "free" : "free of a stranger");
    for (int32_t i = 0; i < info->count; i++) {
        free(info->interfaces[i]);
    }
    free(info);
    bus.record = nullptr;
}

int32_t Dbus_Register(DbusInfo* info) {
    bus.calls.push_back(info == bus.record ? "register" : "register of a stranger");
    bus.registered = *info;
    for (int32_t i = 0; i < info->count; i++) {
        bus.interfaces.push_back(*info->interfaces[i]);
    }
    return bus.register_result;
}

int32_t Dbus_UnRegister(DbusInfo* info) {
    bus.calls.push_back(info == bus.record ? "unregister" : "unregister of a stranger");
    return bus.unregister_result;
}

namespace quon::test {
namespace {

using Calls = std::vector<std::string>;

// ---- The table --------------------------------------------------------------------------------

struct MethodRow {
    int index;
    const char* name;
    method_handler* handler;
};

struct SignalRow {
    int index;
    const char* name;
    signal_handler* handler;
};

const MethodRow kMethods[] = {
    {0, "method.quon.mcu.get.ver", quon_mcu_get_version},
    {1, "method.quon.mcu.get.wakeup.info", quon_mcu_get_wakeup_info},
    {2, "method.quon.mcu.get.allwakeup.info", quon_mcu_get_allwakeup_info},
    {4, "method.quon.mcu.get.time", quon_mcu_get_time},
    {6, "method.quon.mcu.get.battery.status", quon_mcu_get_battery_status},
    {9, "method.quon.mcu.get.pir.info", quon_mcu_get_pir_info},
    {13, "method.quon.mcu.get.wifi.status", quon_mcu_get_wifi_status},
    {14, "method.quon.mcu.get.wifi.info", quon_mcu_get_wifi_info},
    {17, "method.quon.mcu.get.wifi.scanf.info", quon_mcu_get_wifi_scanf_info},
    {19, "method.quon.mcu.get.event.info", quon_mcu_get_event_info},
    {20, "method.quon.mcu.upg.start", quon_mcu_upg_start},
    {21, "method.quon.mcu.upg.transmit", quon_mcu_upg_transmit},
    {22, "method.quon.mcu.upg.finish", quon_mcu_upg_finish},
    {24, "method.quon.mcu.get.store.params", quon_mcu_get_store_params},
    {26, "method.quon.mcu.get.wdg.state", quon_mcu_get_wdg_state},
    {30, "method.quon.mcu.get.alarm", quon_mcu_get_alarm},
    {34, "method.quon.mcu.get.err.report", quon_mcu_get_err_report},
    {35, "method.quon.mcu.get.system", system_call},
    {36, "method.quon.mcu.get.popen", popen_call},
    {38, "method.quon.mcu.get.log.profile", quon_mcu_get_log_profile},
    {39, "method.quon.mcu.get.soc.min.ver", quon_mcu_get_soc_min_version},
    {42, "method.quon.mcu.get.status.info", quon_mcu_get_status_info},
    {46, "method.quon.mcu.get.config.info", quon_mcu_get_config_info},
    {47, "method.quon.mcu.get.bit.err.rate", quon_mcu_get_bit_err_rate},
    {48, "method.quon.mcu.get.socup.time", quon_mcu_get_socup_time},
    {49, "method.quon.mcu.get.wifi.extended.status", quon_mcu_get_wifi_extended_status},
    {51, "method.quon.mcu.get.soc.time.list", quon_mcu_get_soc_poweron_time_list},
    {52, "method.quon.mcu.get.soc.time.cur.info", quon_mcu_get_soc_poweron_time_cur_info},
};
static_assert(std::size(kMethods) == 28);

const SignalRow kSignals[] = {
    {3, "signal.quon.mcu.set.time", quon_mcu_set_time},
    {5, "signal.quon.mcu.set.led", quon_mcu_set_led_state},
    {7, "signal.quon.mcu.set.pir.switch", quon_mcu_set_pir_switch},
    {8, "signal.quon.mcu.set.pir.sensitivity", quon_mcu_set_pir_sensivity},
    {10, "signal.quon.mcu.set.pir.info", quon_mcu_set_pir_info},
    {11, "signal.quon.mcu.set.wifi.connect", quon_mcu_set_wifi_connect},
    {12, "signal.quon.mcu.set.wifi.disconnect", quon_mcu_set_wifi_disconnect},
    {15, "signal.quon.mcu.set.wifi.keepalive", quon_mcu_set_wifi_keepalive},
    {16, "signal.quon.mcu.set.wifi.extended.info", quon_mcu_set_wifi_extended_info},
    {18, "signal.quon.mcu.set.system.state", quon_mcu_set_system_state},
    {23, "signal.quon.mcu.set.store.params", quon_mcu_set_store_params},
    {25, "signal.quon.mcu.set.wdg.state", quon_mcu_set_wdg_state},
    {27, "signal.quon.mcu.set.wdg.period", quon_mcu_set_wdg_period},
    {28, "signal.quon.mcu.set.wdg.feed", quon_mcu_set_wdg_feed},
    {29, "signal.quon.mcu.set.alarm", quon_mcu_set_alarm},
    {31, "signal.quon.mcu.set.crash.test", quon_mcu_set_crash_test},
    {32, "signal.quon.mcu.set.ap.start", quon_mcu_set_ap_start},
    {33, "signal.quon.mcu.set.ap.stop", quon_mcu_set_ap_stop},
    {37, "signal.quon.mcu.set.log.profile", quon_mcu_set_log_profile},
    {40, "signal.quon.mcu.set.uart.switch", quon_mcu_set_uart_switch},
    {41, "signal.quon.mcu.set.wakeup.info", quon_mcu_set_wakeup_info},
    {43, "signal.quon.mcu.set.charge.auto.poweron", quon_mcu_set_charge_auto_poweron},
    {44, "signal.quon.mcu.set.cmd", quon_mcu_set_cmd},
    {45, "signal.quon.mcu.set.tamper.info", quon_mcu_set_tamper_switch},
    {50, "signal.quon.mcu.set.soc.time.info", quon_mcu_set_soc_poweron_time_info},
};
static_assert(std::size(kSignals) == 25);

TEST(TheServiceTable, Holds28MethodsAnd25SignalsAtTheirPlaces) {
    for (const MethodRow& row : kMethods) {
        EXPECT_STREQ(quon_mcu_bus_services[row.index].name, row.name);
        EXPECT_EQ(quon_mcu_bus_services[row.index].handler.method, row.handler) << row.name;
    }
    for (const SignalRow& row : kSignals) {
        EXPECT_STREQ(quon_mcu_bus_services[row.index].name, row.name);
        EXPECT_EQ(quon_mcu_bus_services[row.index].handler.signal, row.handler) << row.name;
    }
}

TEST(TheServiceTable, EndsWithAnEmptyEntry) {
    ASSERT_EQ(std::size(quon_mcu_bus_services), 54U);
    EXPECT_EQ(quon_mcu_bus_services[53].name, nullptr);
    EXPECT_EQ(quon_mcu_bus_services[53].handler.method, nullptr);
}

// ---- Registration -----------------------------------------------------------------------------

struct Attempt {
    std::int32_t result = 0;
    std::string output;
};

Attempt init(DbusInfo** handle, const bus_service* table, std::int32_t count) {
    show_whole_log();
    Attempt attempt;
    attempt.output =
        captured_output([&] { attempt.result = quon_mcu_dbus_server_init(handle, table, count); });
    return attempt;
}

Attempt deinit(DbusInfo** handle) {
    show_whole_log();
    Attempt attempt;
    attempt.output = captured_output([&] { attempt.result = quon_mcu_dbus_server_deinit(handle); });
    return attempt;
}

std::string error(const std::string& function, const std::string& message) {
    return log_line("E/", function, message);
}

const std::string kInit = "quon_mcu_dbus_server_init";
const std::string kDeinit = "quon_mcu_dbus_server_deinit";

class ARegistration : public testing::Test {
  protected:
    void SetUp() override { bus = FakeBus(); }
    void TearDown() override {
        if (bus.record != nullptr) {
            DbusInfo_Free(bus.record);
        }
    }
    DbusInfo* handle_ = nullptr;
};

TEST_F(ARegistration, OfTheWholeTableCarriesEachNameKindAndHandler) {
    const Attempt attempt = init(&handle_, quon_mcu_bus_services, 53);
    EXPECT_EQ(attempt.result, 0);
    EXPECT_EQ(attempt.output, "");
    EXPECT_EQ(handle_, bus.record);
    EXPECT_EQ(bus.calls, (Calls{"alloc 53", "register"}));
    EXPECT_STREQ(bus.registered.name, "quon.mcu.daemon");
    EXPECT_STREQ(bus.registered.server_name, "");
    ASSERT_EQ(bus.interfaces.size(), 53U);
    for (const MethodRow& row : kMethods) {
        const DbusInterface& entry = bus.interfaces[static_cast<std::size_t>(row.index)];
        EXPECT_STREQ(entry.name, row.name);
        EXPECT_STREQ(entry.method_type, "Method");
        EXPECT_EQ(entry.method_handler, row.handler);
        EXPECT_STREQ(entry.signal_type, "");
        EXPECT_EQ(entry.signal_handler, nullptr);
    }
    for (const SignalRow& row : kSignals) {
        const DbusInterface& entry = bus.interfaces[static_cast<std::size_t>(row.index)];
        EXPECT_STREQ(entry.name, row.name);
        EXPECT_STREQ(entry.signal_type, "signal");
        EXPECT_EQ(entry.signal_handler, row.handler);
        EXPECT_STREQ(entry.method_type, "");
        EXPECT_EQ(entry.method_handler, nullptr);
    }
}

TEST_F(ARegistration, OfNoServicesHasNoEntries) {
    EXPECT_EQ(init(&handle_, quon_mcu_bus_services, 0).result, 0);
    EXPECT_EQ(bus.calls, (Calls{"alloc 0", "register"}));
    EXPECT_EQ(bus.registered.count, 0);
}

TEST_F(ARegistration, ComparesSixCharactersOfTheKindOnly) {
    const bus_service table[] = {{"signals", quon_mcu_set_time}, {"methodic", quon_mcu_get_time}};
    EXPECT_EQ(init(&handle_, table, 2).result, 0);
    EXPECT_EQ(bus.interfaces[0].signal_handler, quon_mcu_set_time);
    EXPECT_EQ(bus.interfaces[1].method_handler, quon_mcu_get_time);
}

TEST_F(ARegistration, WithoutAHandleIsRefused) {
    const Attempt attempt = init(nullptr, quon_mcu_bus_services, 53);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kInit, "params invalid\n"));
    EXPECT_TRUE(bus.calls.empty());
}

TEST_F(ARegistration, WithoutMemoryIsRefused) {
    bus.out_of_memory = true;
    const Attempt attempt = init(&handle_, quon_mcu_bus_services, 53);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kInit, "DbusInfo_Alloc error\n"));
    EXPECT_EQ(handle_, nullptr);
    EXPECT_EQ(bus.calls, (Calls{"alloc 53"}));
}

TEST_F(ARegistration, WithANameOfNoKindRegistersNothing) {
    for (const char* name :
         {"Method.quon.mcu.get.time", "Signal.x", "sigma", "metho", "", "xmethod"}) {
        SCOPED_TRACE(name);
        bus = FakeBus();
        const bus_service table[] = {{"method.fine", quon_mcu_get_time}, {name, quon_mcu_get_time}};
        const Attempt attempt = init(&handle_, table, 2);
        EXPECT_EQ(attempt.result, -1);
        EXPECT_EQ(attempt.output, error(kInit, "name type error\n"));
        EXPECT_EQ(bus.calls, (Calls{"alloc 2", "free"}));
    }
}

TEST_F(ARegistration, ThatTheBusRefusesIsReleasedAndTheHandleLeftAsItIs) {
    bus.register_result = -1;
    const Attempt attempt = init(&handle_, quon_mcu_bus_services, 53);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kInit, "Dbus_Register error\n"));
    EXPECT_EQ(bus.calls, (Calls{"alloc 53", "register", "free"}));
    EXPECT_NE(handle_, nullptr);  // not reset: the caller must not use it
}

TEST_F(ARegistration, IsTakenDownOnce) {
    ASSERT_EQ(init(&handle_, quon_mcu_bus_services, 53).result, 0);
    const Attempt first = deinit(&handle_);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.output, "");
    EXPECT_EQ(handle_, nullptr);
    EXPECT_EQ(bus.calls, (Calls{"alloc 53", "register", "unregister", "free"}));

    const Attempt second = deinit(&handle_);
    EXPECT_EQ(second.result, -1);
    EXPECT_EQ(second.output, error(kDeinit, "params invalid\n"));
    EXPECT_EQ(bus.calls.size(), 4U);
}

TEST_F(ARegistration, IsNotTakenDownWithoutAHandle) {
    const Attempt attempt = deinit(nullptr);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kDeinit, "params invalid\n"));
    EXPECT_TRUE(bus.calls.empty());
}

TEST_F(ARegistration, IsKeptWhenTheBusDoesNotLetGo) {
    ASSERT_EQ(init(&handle_, quon_mcu_bus_services, 53).result, 0);
    bus.unregister_result = -1;
    DbusInfo* before = handle_;
    const Attempt attempt = deinit(&handle_);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kDeinit, "Dbus_UnRegister error\n"));
    EXPECT_EQ(handle_, before);
    EXPECT_EQ(bus.calls, (Calls{"alloc 53", "register", "unregister"}));
}

}  // namespace
}  // namespace quon::test
