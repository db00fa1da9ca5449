/*
 * An exchange with the chip: the request lock, the pending-reply slot and its condition, against
 * the time-out, answers that come late or twice, answers of other types, events in between and
 * spurious wake-ups.
 *
 * Proved: no deadlock; an answer that comes before the time-out is never missed (no lost wake-up);
 * a caller gets no answer of another type, and none that came before its own announcement.
 * An answer that is late for one exchange may serve a later one of the same type: frames carry no
 * number, so this is how it is meant to be.
 *
 * Mirrors: hi3861l_send_msg_sync, wait_for_reply, hand_to_waiter, hi3861l_msg_dispatch.
 *
 * Variants: SEND_BEFORE_LOCK, NO_REQUEST_LOCK, NO_TYPE_TEST, SLOT_NOT_EMPTIED.
 */

#define EVENT 9 /* a type that no caller waits for */

bool request_locked, reply_locked;

/* The pending-reply slot. */
byte slot_type;
bool slot_filled;

/* The condition: at most one thread waits. */
bool waiting, signalled;
bool spurious; /* a wake-up without a signal: once */

/* Ghosts: the number of the last announcement, of the one that stood when the slot was filled, and
   the exchange whose time is over. */
byte announced, filled_at, expired;

chan to_chip = [1] of { byte, byte };  /* type, exchange */
chan from_chip = [2] of { byte };      /* type */
chan delayed = [1] of { byte };        /* type */

inline lock(mutex) { atomic { !mutex -> mutex = true } }
inline unlock(mutex) { mutex = false }

inline announce() {
    atomic {
        announced++;
        exchange = announced;
        slot_type = type;
#ifndef SLOT_NOT_EMPTIED
        slot_filled = false;
#endif
    }
}

/* One wait, not repeated: whatever wakes it before the time is over counts as the reply. */
inline wait_for_reply() {
    atomic { waiting = true; signalled = false; unlock(reply_locked) }
    if
    :: signalled -> timed_out = false
    :: expired == exchange -> timed_out = true
    :: atomic { !spurious -> spurious = true; timed_out = false }
    fi;
    atomic { !reply_locked -> reply_locked = true; waiting = false }
}

inline send_msg_sync() {
#ifndef NO_REQUEST_LOCK
    lock(request_locked);
#endif
#ifdef SEND_BEFORE_LOCK
    announce();
    to_chip!type, exchange;
    lock(reply_locked);
#else
    lock(reply_locked);
    announce();
    to_chip!type, exchange;
#endif
    wait_for_reply();
    if
    :: !timed_out && slot_filled ->
        assert(slot_type == type);
        assert(filled_at == exchange)
    :: else
    fi;
    unlock(reply_locked);
#ifndef NO_REQUEST_LOCK
    unlock(request_locked);
#endif
}

/* A bus thread that asks the chip. */
proctype caller(byte type; byte rounds) {
    byte exchange;
    bool timed_out;
    do
    :: rounds > 0 -> send_msg_sync(); rounds--
    :: else -> break
    od
}

/* Answers once or twice, after an event, too late or not at all. Only where it does not answer in
   time can the wait end by its time-out: a waiter that nobody wakes is then a deadlock. */
active proctype chip() {
    byte type, exchange;
end:
    do
    :: to_chip?type, exchange ->
        if
        :: from_chip!type
        :: from_chip!type; from_chip!type
        :: from_chip!EVENT; from_chip!type
        :: atomic { len(delayed) == 0 -> delayed!type; expired = exchange }
        :: expired = exchange
        fi
    od
}

active proctype slow_answers() {
    byte type;
end:
    do
    :: delayed?type -> from_chip!type
    od
}

active proctype receive_thread() {
    byte type;
end:
    do
    :: from_chip?type ->
        lock(reply_locked);
        if
#ifdef NO_TYPE_TEST
        :: true ->
            slot_type = type;
#else
        :: slot_type == type ->
#endif
            slot_filled = true;
            filled_at = announced;
            signalled = waiting
#ifndef NO_TYPE_TEST
        :: else
#endif
        fi;
        unlock(reply_locked)
    od
}

init {
    atomic { run caller(1, 2); run caller(2, 1) }
}
