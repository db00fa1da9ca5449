#include "dbus_aside.h"

#include <pthread.h>
#include <stddef.h>

namespace quon::dbus {

namespace {

constexpr size_t kChains = 64;

pthread_mutex_t table_lock = PTHREAD_MUTEX_INITIALIZER;
Aside* chains[kChains];

Aside** chain_of(const void* record) {
    const auto address = reinterpret_cast<uintptr_t>(record);
    return &chains[(address / 16 + address / 4096) % kChains];  // the last bits are alignment
}

Aside* find_locked(const void* record) {
    Aside* aside = *chain_of(record);
    while (aside != nullptr && aside->record != record) {
        aside = aside->next;
    }
    return aside;
}

void remove_locked(const Aside* aside) {
    Aside** at = chain_of(aside->record);
    while (*at != aside) {
        at = &(*at)->next;
    }
    *at = aside->next;
}

}  // namespace

void put_aside(Aside* aside, const void* record) {
    pthread_mutex_lock(&table_lock);
    Aside** chain = chain_of(record);
    *aside = {record, *chain, 1};
    *chain = aside;
    pthread_mutex_unlock(&table_lock);
}

Aside* join_aside(const void* record) {
    pthread_mutex_lock(&table_lock);
    Aside* aside = find_locked(record);
    if (aside != nullptr) {
        aside->users++;
    }
    pthread_mutex_unlock(&table_lock);
    return aside;
}

Aside* take_aside(const void* record) {
    pthread_mutex_lock(&table_lock);
    Aside* aside = find_locked(record);
    if (aside != nullptr) {
        remove_locked(aside);
    }
    pthread_mutex_unlock(&table_lock);
    return aside;
}

bool leave_aside(Aside* aside, void (*let_go)(Aside*)) {
    pthread_mutex_lock(&table_lock);
    const bool last = --aside->users == 0;
    if (last) {
        let_go(aside);
        remove_locked(aside);
    }
    pthread_mutex_unlock(&table_lock);
    return last;
}

}  // namespace quon::dbus
