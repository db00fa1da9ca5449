// A piece of a camera's software: may it record?
#pragma once

#include <quon_mcu_client.h>

// Only with enough charge, and not when the chip does not say.
bool may_record(quon_mcu_client* client);

// Takes the daemon's connection to the server over and answers its question.
bool answer_server(const char* ip, unsigned short port);
