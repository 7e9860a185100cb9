// Starts the daemon's logger, and writes to the system log what happens without one.
#pragma once

#include <string>

// Starts the logging library at the place and level that the settings ask for and sets `logger`. When the library does
// not start, writes "Pellux Launcher for NAME : Failed to initialize logger" to the system log and leaves `logger`
// null: everything logged is dropped then. `name` is the launcher's name and used for nothing else.
//
// Called once, on the main thread, before there are others.
void InitLog(std::string name);

// Writes "SOURCE : MESSAGE" to the system log at `priority`, with the system's default identity and facility. The text
// is the system log's format, on purpose, so a percent sign in it is read as a conversion. Takes locks; not for a
// forked child.
void WriteEvent(const std::string& source, unsigned short priority, const std::string& message);
