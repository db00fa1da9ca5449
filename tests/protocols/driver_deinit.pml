/*
 * The end of the driver against the receive thread and a bus thread that asks for an event: the queue
 * goes first, then the channel, whose thread is cancelled between two messages and waited for, for a
 * bounded time.
 *
 * Proved: no deadlock; no push and no pop meets a freed queue; the thread never meets a freed context,
 * also when a network update outlasts the wait; no lock is left held by a thread that was cancelled.
 *
 * Mirrors: hi3861l_api_deinit, hi3861l_event_deinit, hi3861l_event_push, hi3861l_api_get_event_info,
 * hi_channel_deinit, hi_channel_host_thread.
 *
 * Variants: NO_EVENT_LOCK, FREED_WITHOUT_WAITING, CANCELLED_ANYWHERE, QUEUE_KEPT_IN_SIGHT.
 */

#define MESSAGES 3

bool event_locked, reply_locked;
bool queue_in_sight = true, queue_freed;
bool context_freed;
bool cancelled, receiving = true, thread_ended;

chan messages = [MESSAGES] of { bit };

inline lock(mutex) { atomic { !mutex -> mutex = true } }
inline unlock(mutex) { mutex = false }

#ifdef NO_EVENT_LOCK
#define EVENT_LOCK skip
#define EVENT_UNLOCK skip
#else
#define EVENT_LOCK lock(event_locked)
#define EVENT_UNLOCK unlock(event_locked)
#endif

inline use_queue() {
    EVENT_LOCK;
    if
    :: queue_in_sight -> assert(!queue_freed)
    :: else
    fi;
    EVENT_UNLOCK
}

active proctype chip() {
    byte sent;
    do
    :: sent < MESSAGES -> messages!0; sent++
    :: break
    od
}

active proctype receive_thread() {
    do
    :: receiving = true;
        if
        :: cancelled -> break
        :: messages?_
        fi;
        receiving = false;
        assert(!context_freed);
        use_queue();
        lock(reply_locked);
#ifdef CANCELLED_ANYWHERE
        if
        :: cancelled -> break
        :: true
        fi;
#endif
        unlock(reply_locked);
        assert(!context_freed)
    od;
    thread_ended = true
}

active proctype asking_thread() {
    use_queue();
    lock(reply_locked);
    unlock(reply_locked)
}

active proctype deinit() {
    EVENT_LOCK;
#ifndef QUEUE_KEPT_IN_SIGHT
    queue_in_sight = false;
#endif
    queue_freed = true;
    EVENT_UNLOCK;
    cancelled = true;
    if
    :: thread_ended -> context_freed = true
    /* Time passes while the thread is busy: the context stays allocated. */
    :: !receiving && !thread_ended ->
#ifdef FREED_WITHOUT_WAITING
        context_freed = true
#else
        skip
#endif
    fi
}
