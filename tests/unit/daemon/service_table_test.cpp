// The service table, and its registration on a bus that records its calls.

#include "service_table.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "captured_output.h"
#include "expected_table.h"
#include "expected_texts.h"
#include "fake_operations.h"
#include "service_handlers.h"
#include "services.h"
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

constexpr int kCount = static_cast<int>(std::size(expected::kServices));
const std::string kAllocation = "alloc " + std::to_string(kCount);

// ---- The table --------------------------------------------------------------------------------

// Each row's handler is told from the others by what it asks of the chip and by the name under
// which it logs. These ask and log nothing.
struct SilentRow {
    const char* service;
    method_handler* handler;
};

const SilentRow kSilent[] = {
    {"get.allwakeup.info", quon_mcu_get_allwakeup_info},
    {"get.socup.time", quon_mcu_get_socup_time},
    {"get.system", system_call},
    {"get.popen", popen_call},
    {"get.event.info", quon_mcu_get_event_info},
};

TEST(TheServiceTable, HoldsEachServiceAtItsPlace) {
    for (const ExpectedService& row : expected::kServices) {
        EXPECT_STREQ(quon_mcu_bus_services[row.index].name, row.name);
    }
}

TEST(TheServiceTable, HoldsTheHandlersThatAskAndLogNothing) {
    for (const SilentRow& row : kSilent) {
        EXPECT_EQ(method_named(row.service), row.handler) << row.service;
    }
}

TEST(TheServiceTable, EndsWithAnEmptyEntry) {
    ASSERT_EQ(std::size(quon_mcu_bus_services), std::size(expected::kServices) + 1);
    EXPECT_EQ(quon_mcu_bus_services[kCount].name, nullptr);
    EXPECT_EQ(quon_mcu_bus_services[kCount].handler.method, nullptr);
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

void expect_entry(const DbusInterface& entry, const ExpectedService& row) {
    const bus_service& service = quon_mcu_bus_services[row.index];
    EXPECT_STREQ(entry.name, row.name);
    EXPECT_STREQ(entry.method_type, row.is_signal() ? "" : "Method") << row.name;
    EXPECT_STREQ(entry.signal_type, row.is_signal() ? "signal" : "") << row.name;
    EXPECT_EQ(entry.method_handler, row.is_signal() ? nullptr : service.handler.method) << row.name;
    EXPECT_EQ(entry.signal_handler, row.is_signal() ? service.handler.signal : nullptr) << row.name;
}

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
    const Attempt attempt = init(&handle_, quon_mcu_bus_services, kCount);
    EXPECT_EQ(attempt.result, 0);
    EXPECT_EQ(attempt.output, "");
    EXPECT_EQ(handle_, bus.record);
    EXPECT_EQ(bus.calls, (Calls{kAllocation, "register"}));
    EXPECT_STREQ(bus.registered.name, "quon.mcu.daemon");
    EXPECT_STREQ(bus.registered.server_name, "");
    ASSERT_EQ(bus.interfaces.size(), std::size(expected::kServices));
    for (const ExpectedService& row : expected::kServices) {
        expect_entry(bus.interfaces[static_cast<std::size_t>(row.index)], row);
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
    const Attempt attempt = init(nullptr, quon_mcu_bus_services, kCount);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kInit, "params invalid\n"));
    EXPECT_TRUE(bus.calls.empty());
}

TEST_F(ARegistration, WithoutMemoryIsRefused) {
    bus.out_of_memory = true;
    const Attempt attempt = init(&handle_, quon_mcu_bus_services, kCount);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kInit, "DbusInfo_Alloc error\n"));
    EXPECT_EQ(handle_, nullptr);
    EXPECT_EQ(bus.calls, (Calls{kAllocation}));
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
    const Attempt attempt = init(&handle_, quon_mcu_bus_services, kCount);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kInit, expected::kRegisterFailed));
    EXPECT_EQ(bus.calls, (Calls{kAllocation, "register", "free"}));
    EXPECT_NE(handle_, nullptr);  // not reset: the caller must not use it
}

TEST_F(ARegistration, IsTakenDownOnce) {
    ASSERT_EQ(init(&handle_, quon_mcu_bus_services, kCount).result, 0);
    const Attempt first = deinit(&handle_);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.output, "");
    EXPECT_EQ(handle_, nullptr);
    EXPECT_EQ(bus.calls, (Calls{kAllocation, "register", "unregister", "free"}));

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
    ASSERT_EQ(init(&handle_, quon_mcu_bus_services, kCount).result, 0);
    bus.unregister_result = -1;
    DbusInfo* before = handle_;
    const Attempt attempt = deinit(&handle_);
    EXPECT_EQ(attempt.result, -1);
    EXPECT_EQ(attempt.output, error(kDeinit, "Dbus_UnRegister error\n"));
    EXPECT_EQ(handle_, before);
    EXPECT_EQ(bus.calls, (Calls{kAllocation, "register", "unregister"}));
}

}  // namespace
}  // namespace quon::test
