/*
 * Method calls over one registration: two callers and the method thread, against a server that answers,
 * answers twice, too late or not at all, closes the connection or is killed; with reconnection, healing,
 * calls that end while the list is out of reach, and the disconnection at the end.
 *
 * Proved: no deadlock, so every call and every thread ends; a result that comes before the time-out is
 * never missed, and neither is the end of the method thread, also by a call that looks only after
 * another caller has healed the connection; no result goes to another call; nothing is used after it is
 * freed; every call, the connection and the registration go once; no caller waits in the mutex for a
 * reconnection.
 *
 * Mirrors: Dbus_Method_Call, lock_until, try_to_send, wait_for_result, end_call, heal, heal_now,
 * Dbus_Method_Thread, Dbus_Method_Msg_Result, begin_reconnection, reconnect, end_reconnection,
 * end_client_role, leave, start_method_thread, stop_method_thread, request_end, release_abandoned,
 * Dbus_Client_Disconnect, leave_state, dispose_state, release_record.
 *
 * Variants: LINKED_AFTER_SENDING, RESULT_NOT_LOOKED_AT_FIRST, WOKEN_BEFORE_THE_RESULT,
 * WOKEN_WITHOUT_THE_LOCK, FOUND_BY_NAME_ALONE, NOBODY_WOKEN_AT_THE_END, FREED_ON_THE_LIST,
 * NO_ENTERING, LOOKED_BEFORE_ENTERING, NOT_SHUT_DOWN, LEFT_OPEN_WITHOUT_THE_LOCK,
 * OUT_OF_THE_TABLE_FIRST, PHASE_ALONE.
 */

#define CALLS 2
#define CLOSED 8 /* what the method thread reads when the server has closed */
#define RESET 9  /* and when it was killed with unread requests */

#define READING 1
#define RECONNECTING 2
#define ENDED 3
#define GONE 4

/* The registration's mutex, and the state beside the record. */
bool mutex;
byte phase = READING, entering, users = 2, connections;
bool healing, started = true, stop, left_open, in_table = true, released;

/* Of each call. */
bool linked[CALLS], signalled[CALLS], freed[CALLS], abandoned[CALLS], node_locked[CALLS];
byte stored[CALLS]; /* 0, or the number of the call that the result answers, and 1 */
byte noted[CALLS];  /* the connection that it was sent on */

/* The connection. */
bool connected = true, shut_down;
chan requests = [CALLS] of { byte };
chan results = [4] of { byte };

/* Ghosts: callers that wait in the mutex, the reconnection in it, the method thread about to read or
   reading, calls that the server does not answer in time, closed connections, the record freed. */
byte queued, closed, done;
bool reconnection_holds, reading, late[CALLS], record_freed;

inline lock(which) { atomic { !which -> which = true } }
inline unlock(which) { which = false }

/* A call's memory goes once, and from no list. */
inline free_call(which) {
    d_step {
        assert(!freed[which] && !linked[which]);
        freed[which] = true;
        stored[which] = 0; noted[which] = 0; signalled[which] = false; late[which] = false
    }
}

inline release_abandoned() {
    d_step {
        assert(!record_freed);
        for (i : 0 .. CALLS - 1) {
            if
            :: abandoned[i] ->
                d_step { abandoned[i] = false; linked[i] = false }
                free_call(i)
            :: else
            fi
        }
        i = 0
    }
}

/* ---- The last user of the state */

inline dispose_state() {
    release_abandoned();
    assert(!record_freed); /* its mutex is destroyed */
    if
    :: released -> record_freed = true
    :: else
    fi
}

#ifdef OUT_OF_THE_TABLE_FIRST
inline leave_state() {
    atomic { users--; last = users == 0; in_table = in_table && !last };
    if
    :: last -> dispose_state()
    :: else
    fi
}
#else
inline leave_state() {
    atomic {
        users--;
        if
        :: users == 0 -> dispose_state(); in_table = false
        :: else
        fi
    }
}
#endif

/* ---- The method thread */

inline wake(which) {
    assert(!freed[which]);
#ifdef WOKEN_WITHOUT_THE_LOCK
    signalled[which] = true
#else
    d_step { !node_locked[which] -> signalled[which] = true }
#endif
}

/* Leaves the answered call in `i`, or CALLS. */
inline find_call() {
    d_step {
        i = 0;
        do
#ifdef FOUND_BY_NAME_ALONE
        :: i < CALLS && !linked[i] -> i++
#else
        :: i < CALLS && !(linked[i] && i == read) -> i++
#endif
        :: else -> break
        od
    }
}

inline store_result() {
    atomic { lock(mutex); find_call() };
    if
    :: i < CALLS ->
        d_step {
            !node_locked[i] ->
            assert(!freed[i]);
            if
            :: stored[i] == 0 -> stored[i] = read + 1
            :: else
            fi
        }
    :: else
    fi;
    atomic { i = 0; unlock(mutex) }
}

inline wake_caller() {
    atomic { lock(mutex); find_call() };
    if
    :: i < CALLS -> wake(i)
    :: else
    fi;
    atomic { i = 0; unlock(mutex) }
}

inline msg_result() {
#ifdef WOKEN_BEFORE_THE_RESULT
    wake_caller();
    store_result()
#else
    store_result();
    wake_caller()
#endif
}

inline reconnect_daemon() {
    phase = RECONNECTING;
    entering == 0;
    lock(mutex);
    d_step { reconnection_holds = true; assert(queued == 0) };
    if
    :: !stop -> d_step { connected = true; shut_down = false; more = true }
    :: more = false /* nobody listens, or the thread is to stop */
    fi;
    d_step { phase = READING; reconnection_holds = false };
    release_abandoned();
    unlock(mutex)
}

inline end_client_role() {
    phase = ENDED;
    connections++;
    lock(mutex);
#ifndef NOBODY_WOKEN_AT_THE_END
    for (i : 0 .. CALLS - 1) {
        if
        :: linked[i] -> wake(i)
        :: else
        fi
    }
    i = 0;
#endif
    unlock(mutex)
}

inline close_connection() {
    d_step { assert(!record_freed); closed++; assert(closed == 1) }
}

inline leave() {
    end_client_role();
    atomic {
        if
        :: left_open -> close_connection()
        :: else
        fi;
        phase = GONE
    };
    leave_state()
}

inline run_method_thread() {
    more = true;
    do
    :: more ->
        reading = true;
        if
        :: stop -> break
        :: else
        fi;
        if
        :: results?read
        :: shut_down -> break
        fi;
        reading = false;
        if
        :: stop -> break
        :: else
        fi;
        if
        :: read < CALLS -> msg_result()
        :: read == CLOSED -> reconnect_daemon()
        :: read == RESET -> more = false
        fi;
        read = 0
    :: else -> break
    od;
    reading = false;
    leave()
}

/* One after the other: whoever starts the next has joined the last. */
active proctype method_thread() {
    byte read, i;
    bool more, last;
end:
    do
    :: atomic { started -> started = false }; run_method_thread()
    od
}

/* ---- Callers */

/* Leaves `locked`: false when a reconnection is going on and the caller's time is over. */
inline lock_until() {
    locked = false;
    do
    ::
#ifdef LOOKED_BEFORE_ENTERING
        may_enter = phase != RECONNECTING;
        entering++;
#else
#ifndef NO_ENTERING
        entering++;
#endif
        may_enter = phase != RECONNECTING;
#endif
        if
        :: may_enter ->
            d_step { assert(!reconnection_holds); queued++ };
            d_step { !mutex -> mutex = true; queued--; locked = true }
        :: else
        fi;
#ifndef NO_ENTERING
        entering--;
#endif
        if
        :: locked -> break
        :: !locked && phase != RECONNECTING
        :: !locked && phase == RECONNECTING -> break
        fi
    od
}

inline heal_now() {
    if
    :: lock(mutex);
        d_step { connected = true; shut_down = false };
        unlock(mutex);
        d_step { stop = false; phase = READING; users++; started = true }
    :: true /* nobody listens */
    fi
}

inline heal() {
    if
    :: phase >= ENDED ->
        if
        :: atomic { !healing && phase == GONE -> healing = true };
            heal_now();
            healing = false
        :: !healing && phase < ENDED
        :: healing || phase == ENDED /* the caller's time is over */
        fi
    :: else
    fi
}

inline send_record() {
    atomic {
        if
        :: connected -> requests!call; sent = true
        :: else -> sent = false
        fi
    }
}

/* With the mutex held. */
inline try_to_send() {
    release_abandoned();
    noted[call] = connections;
    if
    :: phase >= ENDED -> sent = false
    :: else ->
#ifdef LINKED_AFTER_SENDING
        send_record();
        unlock(mutex);
        lock(mutex);
        linked[call] = sent
#else
        linked[call] = true;
        send_record();
        linked[call] = sent
#endif
    fi
}

inline wait_for_result() {
    lock(node_locked[call]);
#ifdef RESULT_NOT_LOOKED_AT_FIRST
    waiting = true;
#else
    waiting = stored[call] == 0;
#endif
    do
#ifdef PHASE_ALONE
    :: waiting && phase < ENDED ->
#else
    :: waiting && phase < ENDED && noted[call] == connections ->
#endif
        atomic { assert(!freed[call]); signalled[call] = false; unlock(node_locked[call]) };
        if
        :: signalled[call] -> lock(node_locked[call]); waiting = stored[call] == 0
        :: late[call] -> lock(node_locked[call]); waiting = false
        fi
    :: else -> break
    od;
    assert(!freed[call] && (stored[call] == 0 || stored[call] == call + 1));
    unlock(node_locked[call])
}

inline end_call() {
    lock_until();
    if
    :: locked ->
        release_abandoned();
        linked[call] = false;
        unlock(mutex);
        free_call(call)
    :: else ->
#ifdef FREED_ON_THE_LIST
        freed[call] = true
#else
        abandoned[call] = true
#endif
    fi
}

inline method_call() {
    sent = false;
    heal();
    lock_until();
    if
    :: locked -> try_to_send(); unlock(mutex)
    :: else
    fi;
    if
    :: sent -> wait_for_result(); end_call()
    :: else -> free_call(call)
    fi
}

proctype caller(byte call; byte last_call) {
    byte i;
    bool locked, may_enter, waiting, sent;
    do
    :: call <= last_call -> method_call(); call++
    :: else -> break
    od;
    done++
}

/* ---- The end: no call is in progress */

inline stop_method_thread() {
    stop = true;
    do
    :: phase == GONE -> break
#ifndef NOT_SHUT_DOWN
    :: atomic { phase != GONE && !mutex && !shut_down -> shut_down = true }
#endif
    :: phase != GONE && (!reading || shut_down) -> break /* a second is over */
    od;
#ifdef LEFT_OPEN_WITHOUT_THE_LOCK
    gone = phase == GONE;
    left_open = !gone
#else
    atomic { gone = phase == GONE; left_open = !gone }
#endif
}

inline release_record() {
    atomic {
        found = in_table;
        if
        :: found -> users++; released = true
        :: else -> assert(!record_freed); record_freed = true
        fi
    };
    if
    :: found -> leave_state()
    :: else
    fi
}

init {
    byte i;
    bool gone, found, last;
    atomic { run caller(0, 0); run caller(1, 1) };
    done == 2;
    users++;
    stop_method_thread();
    if
    :: gone -> close_connection()
    :: else
    fi;
    leave_state(); /* as a registration */
    leave_state(); /* as the one who disconnects */
    release_record();
    /* The method thread has gone as well. */
    users == 0 && phase == GONE && !in_table;
    record_freed -> assert(closed == 1 && freed[0] && freed[1])
}

/* ---- The server: what it does not answer in time may end by its time-out, and nothing else may. */

inline answer() {
    atomic { connected && nfull(results) -> results!call }
}

inline hang_up(what, forgets) {
    d_step {
        connected = false;
        late[call] = forgets && !freed[call];
        do
        :: len(requests) > 0 -> requests?call; late[call] = forgets && !freed[call]
        :: else -> break
        od;
        results!what
    }
}

active proctype server() {
    byte call;
    bool has_closed, was_killed;
end:
    do
    :: requests?call ->
        if
        :: answer()
        :: answer(); answer()
        :: late[call] = !freed[call]
        :: late[call] = !freed[call]; freed[call] || abandoned[call]; answer()
        :: !has_closed -> has_closed = true; hang_up(CLOSED, true)
        :: !was_killed -> was_killed = true; hang_up(RESET, false)
        fi
    od
}
