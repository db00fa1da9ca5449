#include <dbus_socket_common.h>
#include <quon_mcu_services.h>
#include <stddef.h>
#include <stdio.h>

/* The daemon's names, as a program of another team takes them. */
#define NAME_OF(index, name, handler) name,
static const char* const names[] = {QUON_MCU_SERVICES(NAME_OF)};

int main(void) {
    DbusInfo* info = DbusInfo_Alloc(2);
    if (info == NULL || sizeof(DbusMsg) != DBUS_MSG_SIZE) {
        return 1;
    }
    printf("entries %d\n", (int)info->count);
    printf("first %s of %d at %s\n", names[0], (int)(sizeof(names) / sizeof(names[0])),
           QUON_MCU_BUS_NAME);
    DbusInfo_Free(info);
    return Dbus_Method_Call(NULL, names[0], NULL, 0, 0, NULL) == DBUS_CALL_INVALID ? 0 : 2;
}
