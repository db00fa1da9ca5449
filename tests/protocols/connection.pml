/*
 * A connection of the bus server: its thread, its message threads, the results that find no room and the
 * one thread that waits for them, against a peer that reads late or goes away.
 *
 * Proved: no deadlock; results leave in the order in which their handlers finished, none twice, and none
 * is lost while the peer stays; at most one thread waits for room; nothing is used after the last user
 * has closed it, and it is closed once; no thread waits for the peer while it holds the mutex.
 *
 * Mirrors: deliver_result, send_waiting_results, wait_for_few_waiting, join_connection,
 * leave_connection.
 *
 * Variants: SENT_PAST_THE_LIST, EACH_WAITS_ITSELF, CLOSED_BY_ITS_THREAD, NO_SIGNAL_WHEN_ONE_HAS_GONE,
 * WAITS_UNDER_THE_MUTEX.
 */

#define RESULTS 3
#define ROOM 1    /* results that the socket holds */
#define WAITING 1 /* results that may wait before the thread stops reading */

bool mutex;
byte room = ROOM, waiting, users = 1;
bool has_waiter, signalled, gone, shut_down, closed;

/* Ghosts: results by the order of their handlers. */
byte finished, sent, lost, waiters;

inline lock() { atomic { !mutex -> mutex = true; holds = true } }
inline unlock() { atomic { mutex = false; holds = false } }
inline leave_connection() {
    atomic {
        assert(!closed);
        users--;
        if
        :: users == 0 -> closed = true
        :: else
        fi
    }
}

/* One write that does not wait. `order` is the result's, as `sent` and `lost` count them. */
inline try_to_send(order) {
    assert(!closed);
    if
    :: gone || shut_down -> lost++; found_room = true
    :: else ->
        if
        :: room > 0 -> assert(order == sent + lost); room--; sent++; found_room = true
        :: else -> found_room = false
        fi
    fi
}

inline send_first_ones() {
    found_room = true;
    do
    :: waiting > 0 && found_room ->
        try_to_send(sent + lost);
        if
        :: found_room ->
            waiting--;
#ifndef NO_SIGNAL_WHEN_ONE_HAS_GONE
            signalled = true
#endif
        :: else
        fi
    :: else -> break
    od
}

inline wait_for_room() {
    assert(!holds);
    (room > 0 || gone || shut_down)
}

proctype message_thread() {
    byte order;
    bool found_room, waits, holds;
    atomic { !mutex -> mutex = true; holds = true; order = finished; finished++ }
    d_step {
#ifdef SENT_PAST_THE_LIST
        found_room = true;
#else
        send_first_ones();
#endif
        if
        :: found_room -> try_to_send(order)
        :: else
        fi;
        if
        :: !found_room ->
            waiting++;
#ifdef EACH_WAITS_ITSELF
            waits = true;
#else
            waits = !has_waiter;
#endif
            has_waiter = true
        :: else
        fi
    }
#ifdef WAITS_UNDER_THE_MUTEX
    if
    :: waits -> wait_for_room()
    :: else
    fi;
#endif
    unlock();
    do
    :: waits ->
        atomic { waiters++; assert(waiters == 1) }
        wait_for_room();
        assert(!closed);
        waiters--;
        lock();
        d_step {
            send_first_ones();
            has_waiter = !found_room;
            waits = !found_room
        }
        unlock()
    :: else -> break
    od;
    leave_connection()
}

active proctype connection_thread() {
    byte read;
    bool holds;
    do
    :: read < RESULTS ->
        /* wait_for_few_waiting */
        if
        :: waiting >= WAITING ->
            lock();
            do
            :: waiting >= WAITING ->
                atomic { signalled = false; unlock() }
                signalled;
                lock()
            :: else -> break
            od;
            unlock()
        :: else
        fi;
        atomic { users++; read++; run message_thread() }
    :: gone -> break
    :: read == RESULTS -> break
    od;
    if
    :: gone -> shut_down = true /* its read has failed */
    :: sent + lost == RESULTS
    fi;
#ifdef CLOSED_BY_ITS_THREAD
    closed = true
#else
    leave_connection()
#endif
}

active proctype peer() {
    do
    :: room < ROOM -> room++
    :: atomic { sent < RESULTS -> gone = true }; break
    :: sent == RESULTS -> break
    od
}
