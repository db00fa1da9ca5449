// Part of a camera's software: may it record?
#pragma once

#include <quon_mcu_client.h>

// Only with enough charge, and not if the chip does not answer.
bool may_record(quon_mcu_client* client);

// Takes over the daemon's connection to the server and answers its question.
bool answer_server(const char* ip, unsigned short port);
