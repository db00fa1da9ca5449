#include "dbus_message_thread.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "dbus_calm.h"
#include "dbus_module.h"
#include "dbus_records.h"
#include "securec.h"

namespace quon::dbus {

namespace {

constexpr useconds_t kAfterMethodUs = 1000;
constexpr size_t kThreadNameLength = 15;

static_assert(offsetof(Message, waiting) == 0);  // freeing it frees the message

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

// The end of a long member name is more telling than its beginning.
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

// The timer slack is set after the handler so that its commands do not inherit it; without it the
// pause lasts 50 microseconds too long.
void pause_after_handler() {
    prctl(PR_SET_TIMERSLACK, 1UL);
    usleep(kAfterMethodUs);  // after every handler: intended
}

void answer_method(const DbusProcessArgs& args, int32_t index, DbusMsg* result) {
    const DbusInterface& entry = *args.info->interfaces[index];
    memset_s(result, sizeof(*result), 0, sizeof(*result));
    name_thread_after(entry, index);
    int32_t returned = -1;
    if (entry.method_handler != nullptr) {
        returned = entry.method_handler(args.msg.data, static_cast<int32_t>(args.msg.data_len),
                                        result->data, DBUS_DATA_SIZE);
        pause_after_handler();
    }
    fill_head(result, args.msg, returned);
}

void take_signal(const DbusProcessArgs& args, int32_t index) {
    const DbusInterface& entry = *args.info->interfaces[index];
    name_thread_after(entry, index);
    if (entry.signal_handler != nullptr) {
        entry.signal_handler(args.msg.data, static_cast<int32_t>(args.msg.data_len));
    }
}

// True: there is a result to send.
bool run_handler(const DbusProcessArgs& args, DbusMsg* result) {
    prctl(PR_SET_NAME, kThreadName);
    const int32_t index = find_entry(args.info, args.msg);
    if (index < 0) {
        return false;
    }
    if (args.msg.type == DBUS_TYPE_SIGNAL) {
        take_signal(args, index);
        return false;
    }
    answer_method(args, index, result);
    return true;
}

Message* message_of(Aside* aside) {
    return reinterpret_cast<Message*>(reinterpret_cast<uint8_t*>(aside) - offsetof(Message, aside));
}

// A record from elsewhere in the process has no connection; this thread writes the result.
void process_alone(DbusProcessArgs* args) {
    DbusMsg result;
    if (run_handler(*args, &result)) {
        write_result(args->info, args->fd, &result);
    }
    free(args);
}

void process_for_connection(Message* message) {
    Connection* connection = message->connection;
    if (process_message(message)) {
        send_waiting_results(connection);
    }
    leave_connection(connection);
}

}  // namespace

bool process_message(Message* message) {
    DbusMsg result;
    Delivery delivery = Delivery::kDone;
    if (run_handler(message->args, &result)) {
        message->waiting.record = &message->args.msg;
        delivery = deliver_result(message->connection, &result, &message->waiting);
    }
    if (delivery == Delivery::kDone) {
        free(message);
        load_ends();
    }
    return delivery == Delivery::kWaitsFor;
}

}  // namespace quon::dbus

using namespace quon::dbus;

void* Dbus_ReadWrite_Process(void* args) {
    if (Aside* aside = take_aside(args)) {
        process_for_connection(message_of(aside));
    } else {
        process_alone(static_cast<DbusProcessArgs*>(args));
    }
    return nullptr;
}
