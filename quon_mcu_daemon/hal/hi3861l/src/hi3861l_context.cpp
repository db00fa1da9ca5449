#include "hi3861l_context.h"

#include <time.h>

constinit hi3861l_context g_hi3861l{
    .initialised = 0,
    .mac_applied = false,
    .request_lock = PTHREAD_MUTEX_INITIALIZER,
    .reply_lock = PTHREAD_MUTEX_INITIALIZER,
    .reply_cond = PTHREAD_COND_INITIALIZER,
    .reply_cond_attr = {},
    .pending = {},
    .net_info = {},
    .second_mac = {},
    .events = nullptr,
    .ip_updated = 0,
    .event_lock = PTHREAD_MUTEX_INITIALIZER,
    .record_lock = PTHREAD_MUTEX_INITIALIZER,
};

namespace {

void clear_records() {
    pthread_mutex_lock(&g_hi3861l.record_lock);
    g_hi3861l.mac_applied = false;
    g_hi3861l.net_info = {};
    g_hi3861l.second_mac = {};
    g_hi3861l.ip_updated = 0;
    pthread_mutex_unlock(&g_hi3861l.record_lock);
}

void clear_events() {
    pthread_mutex_lock(&g_hi3861l.event_lock);
    g_hi3861l.events = nullptr;
    pthread_mutex_unlock(&g_hi3861l.event_lock);
}

void init_reply_cond() {
    pthread_condattr_init(&g_hi3861l.reply_cond_attr);
    pthread_condattr_setclock(&g_hi3861l.reply_cond_attr, CLOCK_MONOTONIC);
    pthread_cond_init(&g_hi3861l.reply_cond, &g_hi3861l.reply_cond_attr);
}

}  // namespace

int32_t hi3861l_failed(const char* function, int line, const char* reason) {
    QnLogPrint(QN_LOG_ERROR, kHi3861lTag, kHi3861lSource, function, line, "[%s] failed\n", reason);
    return -1;
}

void hi3861l_context_init() {
    pthread_mutex_lock(&g_hi3861l.request_lock);
    pthread_mutex_lock(&g_hi3861l.reply_lock);
    g_hi3861l.initialised = 0;
    g_hi3861l.pending = {};
    clear_events();
    clear_records();
    init_reply_cond();
    pthread_mutex_unlock(&g_hi3861l.reply_lock);
    pthread_mutex_unlock(&g_hi3861l.request_lock);
}

void hi3861l_context_deinit() {
    pthread_mutex_destroy(&g_hi3861l.request_lock);
    pthread_mutex_destroy(&g_hi3861l.reply_lock);
    pthread_cond_destroy(&g_hi3861l.reply_cond);
    pthread_condattr_destroy(&g_hi3861l.reply_cond_attr);
    pthread_mutex_init(&g_hi3861l.request_lock, nullptr);
    pthread_mutex_init(&g_hi3861l.reply_lock, nullptr);
}
