// Where the engine's own lines go. vrn-call defines the platform's log function, so it gets them all: they would
// drown what the two parties type.
#ifndef TOOLS_CALL_ENGINE_LOG_H
#define TOOLS_CALL_ENGINE_LOG_H

#include "call/PacketCounter.h"

#include <string>

// Appends the engine's lines from now on to the file, each with the time of day. Without it they are dropped. False
// with errno when the file cannot be opened.
bool OpenEngineLog(const std::string& path);

// How many starts and changes of direction have failed since the process began. The methods' results do not tell. Needs
// the lines of failures.
unsigned EngineRefusals();

// What the lines tell of packets, since the process began.
PacketCounter& EnginePackets();

#endif
