// Stands in for the unwinder library, which needs another C library. Thread cancellation asks it to
// walk the stack; for programs without exceptions one step, the last one, does all the work.
#include <stdlib.h>

struct _Unwind_Exception;
struct _Unwind_Context;

typedef int (*stop_function)(int version, int actions, unsigned long long exception_class,
                             struct _Unwind_Exception* exception, struct _Unwind_Context* context,
                             void* argument);

enum {
    unwind_version = 1,
    action_cleanup_phase = 2,
    action_force_unwind = 8,
    action_end_of_stack = 16,
    reason_end_of_stack = 5,
};

int _Unwind_ForcedUnwind(struct _Unwind_Exception* exception, stop_function stop, void* argument) {
    stop(unwind_version, action_cleanup_phase | action_force_unwind | action_end_of_stack, 0,
         exception, NULL, argument);
    return reason_end_of_stack;
}

void _Unwind_Resume(struct _Unwind_Exception* exception) {
    (void)exception;
    abort();
}

unsigned long _Unwind_GetCFA(struct _Unwind_Context* context) {
    (void)context;
    return 0;
}

void __gcc_personality_v0(void) {
    abort();
}
