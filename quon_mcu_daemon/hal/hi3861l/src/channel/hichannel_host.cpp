#include "hichannel_host.h"

#include <errno.h>
#include <linux/netlink.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>

#include "quon_descriptor.h"
#include "securec.h"

namespace {

constexpr char kSource[] = "quon_mcu_daemon/hal/hi3861l/src/channel/hichannel_host";

constexpr int kSocketLevelNetlink = 270;    // SOL_NETLINK, which some C libraries do not define
constexpr int kReceiveBufferSize = 262144;  // hundreds of chip messages
constexpr useconds_t kPauseUs = 10;

static_assert(NLMSG_HDRLEN == HI_CHANNEL_HEADER_SIZE);
static_assert(sizeof(nlmsghdr) == HI_CHANNEL_HEADER_SIZE);
static_assert(sizeof(sockaddr_nl) == 12);

constexpr time_t kThreadEndS = 1;  // how long closing waits for the receive thread

struct channel_context {
    int32_t socket;
    pthread_t thread;
    hi_channel_rx_cb callback;
    bool receiving;               // the thread holds nothing and may be cancelled
    pthread_cond_t is_receiving;  // on CLOCK_MONOTONIC
    channel_context* next;        // list of contexts left to their threads
};

// Null while the channel is closed. The lock is held only for single accesses, never across a
// blocking call.
channel_context* g_context = nullptr;
channel_context* g_left_behind = nullptr;
pthread_mutex_t g_context_lock = PTHREAD_MUTEX_INITIALIZER;

std::atomic<uint8_t> g_stop_flag{0};

void set_context(channel_context* context) {
    pthread_mutex_lock(&g_context_lock);
    g_context = context;
    pthread_mutex_unlock(&g_context_lock);
}

channel_context* get_context() {
    pthread_mutex_lock(&g_context_lock);
    channel_context* const context = g_context;
    pthread_mutex_unlock(&g_context_lock);
    return context;
}

// -1 while the channel is closed.
int32_t get_socket() {
    pthread_mutex_lock(&g_context_lock);
    const int32_t socket = g_context != nullptr ? g_context->socket : -1;
    pthread_mutex_unlock(&g_context_lock);
    return socket;
}

hi_channel_rx_cb get_callback(const channel_context* context) {
    pthread_mutex_lock(&g_context_lock);
    const hi_channel_rx_cb callback = context->callback;
    pthread_mutex_unlock(&g_context_lock);
    return callback;
}

channel_context* new_context() {
    auto* const context = static_cast<channel_context*>(malloc(sizeof(channel_context)));
    if (context != nullptr) {
        *context = channel_context{.socket = -1,
                                   .thread = {},
                                   .callback = nullptr,
                                   .receiving = false,
                                   .is_receiving = {},
                                   .next = nullptr};
        pthread_condattr_t monotonic;
        pthread_condattr_init(&monotonic);
        pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
        pthread_cond_init(&context->is_receiving, &monotonic);
        pthread_condattr_destroy(&monotonic);
    }
    return context;
}

void free_context(channel_context* context) {
    pthread_cond_destroy(&context->is_receiving);
    free(context);
}

sockaddr_nl address_of(uint32_t port) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = port;
    return address;
}

// A receive buffer overrun must not end the receive thread: the kernel is asked not to report it,
// and the buffer is enlarged so that it rarely happens. Both are best effort.
void make_tolerant_of_bursts(int32_t socket) {
    const int on = 1;
    (void)setsockopt(socket, kSocketLevelNetlink, NETLINK_NO_ENOBUFS, &on, sizeof(on));
    const int size = kReceiveBufferSize;
    if (setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof(size)) != 0) {
        (void)setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
    }
}

// Opens and binds the socket. Returns 0, or -1 with everything closed.
int32_t open_socket(channel_context* context) {
    context->socket = quon_socket(AF_NETLINK, SOCK_RAW, HI_CHANNEL_NETLINK_PROTOCOL);
    if (context->socket < 0) {
        printf("[%s][%s][l:%d],create is fail:%s\n\r\n", kSource, "hi_channel_init", __LINE__,
               strerror(errno));
        return -1;
    }
    make_tolerant_of_bursts(context->socket);
    const sockaddr_nl local = address_of(HI_CHANNEL_HOST_PORT);
    if (bind(context->socket, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
        close(context->socket);
        return -1;
    }
    return 0;
}

// Returns false when the channel must stop; anything received is then dropped.
bool set_receiving(channel_context* context, bool receiving) {
    pthread_mutex_lock(&g_context_lock);
    context->receiving = receiving;
    pthread_cond_signal(&context->is_receiving);
    const bool goes_on = g_stop_flag.load(std::memory_order_relaxed) == 0;
    pthread_mutex_unlock(&g_context_lock);
    return goes_on;
}

// The only place where the receive thread can be cancelled: elsewhere it may hold a lock or be in
// the middle of a network update.
ssize_t receive_message(int32_t socket, uint8_t (&message)[HI_CHANNEL_RECEIVE_SIZE],
                        sockaddr_nl* from, socklen_t* from_size) {
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
    const ssize_t received = recvfrom(socket, message, sizeof(message), MSG_WAITALL,
                                      reinterpret_cast<sockaddr*>(from), from_size);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    return received;
}

void deliver(const channel_context* context, const uint8_t* message, ssize_t size) {
    const hi_channel_rx_cb callback = get_callback(context);
    if (callback != nullptr) {
        callback(message + HI_CHANNEL_HEADER_SIZE,
                 static_cast<int32_t>(size) - HI_CHANNEL_HEADER_SIZE);
    }
}

// Waits until cancelling would end the thread at once. Returns false if its callback takes too
// long.
bool wait_until_receiving(channel_context* context) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += kThreadEndS;
    pthread_mutex_lock(&g_context_lock);
    int result = 0;
    while (!context->receiving && result == 0) {
        result = pthread_cond_timedwait(&context->is_receiving, &g_context_lock, &deadline);
    }
    const bool receiving = context->receiving;
    pthread_mutex_unlock(&g_context_lock);
    return receiving;
}

// Returns false if the thread is still in its callback; everything that it uses is then kept.
bool end_thread(channel_context* context) {
    pthread_cancel(context->thread);
    if (wait_until_receiving(context)) {
        pthread_join(context->thread, nullptr);
        return true;
    }
    pthread_detach(context->thread);
    pthread_mutex_lock(&g_context_lock);
    context->next = g_left_behind;
    g_left_behind = context;
    pthread_mutex_unlock(&g_context_lock);
    return false;
}

// One message: header and the caller's bytes. Null when out of memory.
nlmsghdr* make_message(const uint8_t* data, int32_t len) {
    const size_t payload_size = static_cast<size_t>(len);
    const size_t size = payload_size + HI_CHANNEL_HEADER_SIZE;
    auto* const message = static_cast<nlmsghdr*>(malloc(size));
    if (message == nullptr) {
        return nullptr;
    }
    *message = nlmsghdr{};
    message->nlmsg_len = static_cast<uint32_t>(size);
    message->nlmsg_pid = HI_CHANNEL_HOST_PORT;
    (void)memcpy_s(message + 1, payload_size, data, payload_size);
    return message;
}

}  // namespace

int32_t hi_channel_init(void) {
    if (get_context() != nullptr) {
        printf("[%s][%s][l:%d],hi_channel_init is fail\n\r\n", kSource, __func__, __LINE__);
        return -1;
    }
    channel_context* const context = new_context();
    if (context == nullptr) {
        return -1;
    }
    g_stop_flag.store(0, std::memory_order_relaxed);
    if (open_socket(context) != 0) {
        free_context(context);
        return -1;
    }
    set_context(context);
    if (pthread_create(&context->thread, nullptr, hi_channel_host_thread, nullptr) != 0) {
        set_context(nullptr);
        close(context->socket);
        free_context(context);
        return -1;
    }
    return 0;
}

int32_t hi_channel_register_rx_cb(hi_channel_rx_cb cb) {
    pthread_mutex_lock(&g_context_lock);
    const bool accepted = g_context != nullptr && cb != nullptr;
    if (accepted) {
        g_context->callback = cb;
    }
    pthread_mutex_unlock(&g_context_lock);
    if (!accepted) {
        printf("[%s][%s][l:%d],hi_channel_register_rx_cb is fail\n\r\n", kSource, __func__,
               __LINE__);
        return -1;
    }
    return 0;
}

int32_t hi_channel_send_to_dev(const uint8_t* data, int32_t len) {
    if (data == nullptr || len < 1 || len > HI_CHANNEL_SEND_MAX) {
        printf("[%s][%s][l:%d],sendto sata len:%d\n\r\n", kSource, __func__, __LINE__, len);
        return -1;
    }
    const sockaddr_nl kernel = address_of(HI_CHANNEL_KERNEL_PORT);
    nlmsghdr* const message = make_message(data, len);
    if (message == nullptr) {
        printf("[%s][%s][l:%d],malloc mem is fail\n\r\n", kSource, __func__, __LINE__);
        return -1;
    }
    const ssize_t sent = sendto(get_socket(), message, message->nlmsg_len, 0,
                                reinterpret_cast<const sockaddr*>(&kernel), sizeof(kernel));
    if (sent < 0) {
        printf("[%s][%s][l:%d],sendto error:%s\n\r\n", kSource, __func__, __LINE__,
               strerror(errno));
    }
    free(message);
    return sent < 0 ? -1 : 0;
}

int32_t hi_channel_deinit(void) {
    channel_context* const context = get_context();
    if (context == nullptr) {
        printf("[%s][%s][l:%d],hi_channel_deinit is fail\n\r\n", kSource, __func__, __LINE__);
        return -1;
    }
    g_stop_flag.store(1, std::memory_order_relaxed);
    const bool ended = context->thread == 0 || end_thread(context);
    set_context(nullptr);
    if (ended) {
        if (context->socket != -1) {
            close(context->socket);
        }
        free_context(context);
    }
    return 0;
}

void* hi_channel_host_thread(void* /*unused*/) {
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    channel_context* const context = get_context();
    const int32_t socket = context->socket;
    sockaddr_nl from{};
    socklen_t from_size = sizeof(from);
    while (set_receiving(context, true)) {
        uint8_t message[HI_CHANNEL_RECEIVE_SIZE] = {};
        const ssize_t size = receive_message(socket, message, &from, &from_size);
        const int error = errno;
        if (!set_receiving(context, false)) {
            break;
        }
        if (size < 0 && error != EINTR) {
            printf("[%s][%s][l:%d],recvfrom error! fd:%d\n\r\n", kSource, __func__, __LINE__,
                   socket);
            break;
        }
        if (size <= HI_CHANNEL_HEADER_SIZE) {
            usleep(kPauseUs);
            continue;
        }
        deliver(context, message, size);
    }
    (void)set_receiving(context, true);
    return nullptr;
}
