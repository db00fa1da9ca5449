#include <quon_queue.h>
#include <stdio.h>

int main(void) {
    int value = 7;
    QN_QUEUE* queue = QN_QUEUE_Create((int)sizeof(value), 2, 1, "user");
    if (queue == NULL || QN_QUEUE_Push(queue, &value) != 0) {
        return 1;
    }
    value = 0;
    printf("length %d\n", QN_QUEUE_GetLen(queue));
    if (QN_QUEUE_Pop(queue, &value) != 0) {
        return 2;
    }
    printf("value %d\n", value);
    QN_QUEUE_Destroy(queue);
    return 0;
}
