#include <cstddef>

#include "dbus_socket_common.h"

namespace {

// The record, row by row.
static_assert(sizeof(DbusMsg) == 4568);
static_assert(offsetof(DbusMsg, head) == 0 && sizeof(DbusMsg::head) == 4);
static_assert(offsetof(DbusMsg, id) == 4 && sizeof(DbusMsg::id) == 4);
static_assert(offsetof(DbusMsg, src_name) == 8 && sizeof(DbusMsg::src_name) == 64);
static_assert(offsetof(DbusMsg, dst_name) == 72 && sizeof(DbusMsg::dst_name) == 64);
static_assert(offsetof(DbusMsg, type) == 136 && sizeof(DbusMsg::type) == 4);
static_assert(offsetof(DbusMsg, name) == 140 && sizeof(DbusMsg::name) == 64);
static_assert(offsetof(DbusMsg, result) == 204 && sizeof(DbusMsg::result) == 4);
static_assert(offsetof(DbusMsg, data_len) == 208 && sizeof(DbusMsg::data_len) == 4);
static_assert(offsetof(DbusMsg, data) == 212 && sizeof(DbusMsg::data) == 4356);
static_assert(DBUS_MSG_HEAD == 0x5AA55AA5U);

// The registration and its entries: sizes, and fields in this order.
static_assert(sizeof(DbusInterface::name) == 64 && sizeof(DbusInterface::signal_type) == 32 &&
              sizeof(DbusInterface::method_type) == 64);
static_assert(offsetof(DbusInterface, name) == 0);
static_assert(offsetof(DbusInterface, signal_type) == 64);
static_assert(offsetof(DbusInterface, signal_handler) == 96);
static_assert(offsetof(DbusInterface, method_type) == 96 + sizeof(void*));
static_assert(offsetof(DbusInterface, method_handler) == 160 + sizeof(void*));

constexpr std::size_t kAfterInterfaces = 128 + sizeof(void*) + 256 * sizeof(void*);
static_assert(offsetof(DbusInfo, name) == 0 && sizeof(DbusInfo::name) == 64);
static_assert(offsetof(DbusInfo, server_name) == 64 && sizeof(DbusInfo::server_name) == 64);
static_assert(offsetof(DbusInfo, count) == 128 && sizeof(DbusInfo::count) == 4);
static_assert(offsetof(DbusInfo, interfaces) == 128 + sizeof(void*));
static_assert(sizeof(DbusInfo::interfaces) == 256 * sizeof(void*));
static_assert(offsetof(DbusInfo, method_list) == kAfterInterfaces);
static_assert(offsetof(DbusInfo, listen_fd) == kAfterInterfaces + sizeof(void*));
static_assert(offsetof(DbusInfo, client_fd) == kAfterInterfaces + sizeof(void*) + 4);
static_assert(offsetof(DbusInfo, path) == kAfterInterfaces + sizeof(void*) + 8);
static_assert(sizeof(DbusInfo::path) == 128);
static_assert(offsetof(DbusInfo, method_thread) == kAfterInterfaces + sizeof(void*) + 136);
static_assert(offsetof(DbusInfo, spare_thread) ==
              offsetof(DbusInfo, method_thread) + sizeof(pthread_t));
static_assert(offsetof(DbusInfo, listen_thread) ==
              offsetof(DbusInfo, spare_thread) + sizeof(pthread_t));
static_assert(offsetof(DbusInfo, mutex) == offsetof(DbusInfo, listen_thread) + sizeof(pthread_t));

// No field more: other programs make these records too.
struct LastFields {
    pthread_t listen_thread;
    pthread_mutex_t mutex;
};
static_assert(sizeof(DbusInfo) == offsetof(DbusInfo, listen_thread) + sizeof(LastFields));
static_assert(offsetof(ListenArgs, info) == 0);
static_assert(offsetof(ListenArgs, fd) == sizeof(void*));
static_assert(sizeof(ListenArgs) == 2 * sizeof(void*));
static_assert(offsetof(DbusProcessArgs, info) == 0);
static_assert(offsetof(DbusProcessArgs, msg) == sizeof(void*));
static_assert(offsetof(DbusProcessArgs, fd) == sizeof(void*) + 4568);
static_assert(sizeof(DbusProcessArgs) == 2 * sizeof(void*) + 4568);

static_assert(offsetof(DbusMethodNode, request_msg) == 0);
static_assert(offsetof(DbusMethodNode, result_msg) == sizeof(void*));
static_assert(offsetof(DbusMethodNode, lock) == 2 * sizeof(void*));
static_assert(offsetof(DbusMethodNode, cond) > offsetof(DbusMethodNode, lock));
static_assert(offsetof(DbusMethodNode, next) > offsetof(DbusMethodNode, cond));

}  // namespace
