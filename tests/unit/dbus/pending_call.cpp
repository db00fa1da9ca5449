#include "pending_call.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace quon::test {

PendingCall::PendingCall(DbusInfo* info, const std::string& member, std::uint32_t id)
    : info_(info), request_(make_request(member, id)) {
    node_.request_msg = &request_;
    pthread_mutex_init(&node_.lock, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&node_.cond, &attributes);
    pthread_condattr_destroy(&attributes);
    pthread_mutex_lock(&info_->mutex);
    node_.next = info_->method_list;
    info_->method_list = &node_;
    pthread_mutex_unlock(&info_->mutex);
}

PendingCall::~PendingCall() {
    pthread_mutex_lock(&info_->mutex);
    DbusMethodNode** at = &info_->method_list;
    while (*at != &node_) {
        at = &(*at)->next;
    }
    *at = node_.next;
    pthread_mutex_unlock(&info_->mutex);
    pthread_cond_destroy(&node_.cond);
    pthread_mutex_destroy(&node_.lock);
    std::free(node_.result_msg);
}

const DbusMsg* PendingCall::result() {
    pthread_mutex_lock(&node_.lock);
    const DbusMsg* now = node_.result_msg;
    pthread_mutex_unlock(&node_.lock);
    return now;
}

void PendingCall::lock() {
    pthread_mutex_lock(&node_.lock);
}

void PendingCall::unlock() {
    pthread_mutex_unlock(&node_.lock);
}

bool PendingCall::wait_signalled(std::chrono::milliseconds bound) {
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += static_cast<time_t>(bound.count() / 1000);
    until.tv_nsec += static_cast<long>(bound.count() % 1000) * 1'000'000;
    if (until.tv_nsec >= 1'000'000'000) {
        until.tv_sec++;
        until.tv_nsec -= 1'000'000'000;
    }
    return pthread_cond_timedwait(&node_.cond, &node_.lock, &until) == 0;
}

bool PendingCall::wait_result(std::chrono::milliseconds bound) {
    return wait_until([this] { return result() != nullptr; }, bound);
}

}  // namespace quon::test
