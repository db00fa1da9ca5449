#include "dbus_state.h"

#include <stddef.h>
#include <stdlib.h>

#include "dbus_clock.h"
#include "dbus_pending_calls.h"
#include "securec.h"

namespace quon::dbus {

namespace {

static_assert(offsetof(State, aside) == 0);

State* state_of(Aside* aside) {
    return reinterpret_cast<State*>(aside);
}

void let_go_of_record(Aside* aside) {
    State* state = state_of(aside);
    release_abandoned(state->info, &state->abandoned);
    if (get_flag(&state->unregistered)) {
        pthread_mutex_destroy(&state->info->mutex);
    }
}

// For a caller that keeps another reference, so this one cannot be the last.
void leave_to_others(State* state) {
    (void)is_last_to_leave(state);
}

void free_record(DbusInfo* info) {
    for (int32_t i = 0; i < info->count; i++) {
        free(info->interfaces[i]);
    }
    free(info);
}

}  // namespace

void dispose_state(State* state) {
    // A user that left earlier may still be unlocking it.
    pthread_mutex_lock(&state->lock);
    pthread_mutex_unlock(&state->lock);
    if (get_flag(&state->released)) {
        free_record(state->info);
    }
    pthread_cond_destroy(&state->room);
    pthread_cond_destroy(&state->changed);
    pthread_mutex_destroy(&state->lock);
    free(state);
}

State* enter_state(DbusInfo* info) {
    State* state = use_state(info);
    if (state != nullptr) {
        return state;
    }
    state = static_cast<State*>(malloc(sizeof(State)));
    if (state == nullptr) {
        return nullptr;
    }
    memset_s(state, sizeof(*state), 0, sizeof(*state));
    state->info = info;
    pthread_mutex_init(&state->lock, nullptr);
    init_condition(&state->changed);
    init_condition(&state->room);
    put_aside(&state->aside, info);
    return state;
}

State* adopt_state(DbusInfo* info, bool State::*started) {
    State* state = enter_state(info);
    if (state != nullptr && swap_flag(&(state->*started), false)) {
        leave_to_others(state);  // one of the two references is enough
    }
    return state;
}

void join_state(State* state) {
    join_aside(state->info);
}

bool is_last_to_leave(State* state) {
    return leave_aside(&state->aside, let_go_of_record);
}

void leave_state(State* state) {
    if (is_last_to_leave(state)) {
        dispose_state(state);
    }
}

State* use_state(const DbusInfo* info) {
    return state_of(join_aside(info));
}

void release_record(DbusInfo* info) {
    State* state = use_state(info);
    if (state == nullptr) {
        free_record(info);
        return;
    }
    set_flag(&state->released, true);
    if (swap_flag(&state->registered, false)) {
        leave_to_others(state);
    }
    leave_state(state);
}

bool get_flag(const bool* flag) {
    return __atomic_load_n(flag, __ATOMIC_ACQUIRE);
}

void set_flag(bool* flag, bool value) {
    __atomic_store_n(flag, value, __ATOMIC_RELEASE);
}

bool swap_flag(bool* flag, bool value) {
    return __atomic_exchange_n(flag, value, __ATOMIC_ACQ_REL);
}

}  // namespace quon::dbus
