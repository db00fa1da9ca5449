#include "dbus_message_thread.h"

#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "dbus_module.h"
#include "dbus_records.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr useconds_t kAfterMethodUs = 1000;
constexpr size_t kThreadNameLength = 15;

bool fits(const DbusInterface& entry, const DbusMsg& msg) {
    // Any type but a signal is a method: intended.
    const char* marker = msg.type != DBUS_TYPE_SIGNAL ? entry.method_type : entry.signal_type;
    return marker[0] != '\0' && same_name(entry.name, msg.name);
}

int32_t find_entry(const DbusInfo* info, const DbusMsg& msg) {
    for (int32_t i = 0; i < info->count; i++) {
        if (fits(*info->interfaces[i], msg)) {
            return i;
        }
    }
    return -1;
}

// The end of a long member name tells more than its beginning.
void name_thread_after(const DbusInterface& entry, int32_t index) {
    char name[kThreadNameLength + 1];
    const size_t length = strnlen(entry.name, sizeof(entry.name));
    if (length <= kThreadNameLength) {
        snprintf_s(name, sizeof(name), sizeof(name) - 1, "DBUS-%d", index);
    } else {
        memcpy_s(name, sizeof(name), entry.name + length - kThreadNameLength, kThreadNameLength);
        name[kThreadNameLength] = '\0';
    }
    prctl(PR_SET_NAME, name);
}

void fill_head(DbusMsg* result, const DbusMsg& request, int32_t returned) {
    result->head = DBUS_MSG_HEAD;
    result->id = request.id;
    copy_name(result->src_name, request.dst_name);
    copy_name(result->dst_name, request.src_name);
    result->type = DBUS_TYPE_METHOD;
    copy_name(result->name, request.name);
    result->result = returned;
    result->data_len = returned >= 0 ? static_cast<uint32_t>(returned) : 0;
}

void answer_method(const DbusProcessArgs* args, int32_t index) {
    const DbusInterface& entry = *args->info->interfaces[index];
    DbusMsg result;
    memset_s(&result, sizeof(result), 0, sizeof(result));
    name_thread_after(entry, index);
    int32_t returned = -1;
    if (entry.method_handler != nullptr) {
        returned = entry.method_handler(args->msg.data, static_cast<int32_t>(args->msg.data_len),
                                        result.data, DBUS_DATA_SIZE);
        usleep(kAfterMethodUs);  // after every handler: intended
    }
    fill_head(&result, args->msg, returned);
    write_result(args->info, args->fd, &result);
}

void take_signal(const DbusProcessArgs* args, int32_t index) {
    const DbusInterface& entry = *args->info->interfaces[index];
    name_thread_after(entry, index);
    if (entry.signal_handler != nullptr) {
        entry.signal_handler(args->msg.data, static_cast<int32_t>(args->msg.data_len));
    }
}

}  // namespace

void process_message(DbusProcessArgs* args) {
    prctl(PR_SET_NAME, kThreadName);
    const int32_t index = find_entry(args->info, args->msg);
    if (index >= 0) {
        if (args->msg.type != DBUS_TYPE_SIGNAL) {
            answer_method(args, index);
        } else {
            take_signal(args, index);
        }
    }
    leave_connection(args->connection);
    free(args);
}

}  // namespace quon::dbus

using namespace quon::dbus;

void* Dbus_ReadWrite_Process(void* args) {
    // Without it the pause after a method takes 50 microseconds more than it should.
    prctl(PR_SET_TIMERSLACK, 1UL);
    process_message(static_cast<DbusProcessArgs*>(args));
    return nullptr;
}
