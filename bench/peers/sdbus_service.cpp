#include <systemd/sd-bus.h>

#include "sdbus.h"

namespace quon::bench {
namespace {

int copy_bytes(sd_bus_message* request, void* context, sd_bus_error* /*error*/) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    sd_bus_message* answer = nullptr;
    if (sd_bus_message_read_array(request, 'y', &bytes, &size) < 0 ||
        sd_bus_message_new_method_return(request, &answer) < 0) {
        return -1;
    }
    if (static_cast<SdBusService*>(context)->pauses) {
        pause_as_the_bus_does();
    }
    sd_bus_message_append_array(answer, 'y', bytes, size);
    const int sent = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return sent < 0 ? sent : 1;
}

int count_bytes(sd_bus_message* /*record*/, void* context, sd_bus_error* /*error*/) {
    (*static_cast<SdBusService*>(context)->received)++;
    return 1;
}

const sd_bus_vtable kMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Copy", "ay", "ay", copy_bytes, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Count", "ay", "", count_bytes,
                  SD_BUS_VTABLE_UNPRIVILEGED | SD_BUS_VTABLE_METHOD_NO_REPLY),
    SD_BUS_VTABLE_END,
};

sd_bus_message* make_message(sd_bus* bus, const char* destination, const char* member,
                             Payload payload) {
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_method_call(bus, &message, destination, kBusPath, kBusName, member));
    check(sd_bus_message_append_array(message, 'y', payload.data(), payload.size()));
    return message;
}

}  // namespace

void serve_sdbus(sd_bus* bus, SdBusService& service, bool named,
                 const std::function<void()>& ready) {
    check(sd_bus_add_object_vtable(bus, nullptr, kBusPath, kBusName, kMethods, &service));
    if (named) {
        check(sd_bus_request_name(bus, kBusName, 0));
    }
    ready();
    while (sd_bus_is_open(bus) > 0) {
        if (check(sd_bus_process(bus, nullptr)) == 0) {
            check(sd_bus_wait(bus, UINT64_MAX));
        }
    }
}

sd_bus* open_sdbus(const std::string& path) {
    sd_bus* bus = nullptr;
    check(sd_bus_new(&bus));
    check(sd_bus_set_address(bus, ("unix:path=" + path).c_str()));
    check(sd_bus_set_bus_client(bus, 1));
    check(sd_bus_start(bus));
    return bus;
}

void call_sdbus(sd_bus* bus, const char* destination, Payload payload) {
    sd_bus_message* request = make_message(bus, destination, "Copy", payload);
    sd_bus_message* answer = nullptr;
    check(sd_bus_call(bus, request, 0, nullptr, &answer));
    sd_bus_message_unref(request);
    sd_bus_message_unref(answer);
}

void send_sdbus(sd_bus* bus, const char* destination, Payload payload) {
    sd_bus_message* record = make_message(bus, destination, "Count", payload);
    check(sd_bus_message_set_expect_reply(record, 0));
    check(sd_bus_send(bus, record, nullptr));
    sd_bus_message_unref(record);
}

}  // namespace quon::bench
