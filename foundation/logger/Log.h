#pragma once

#include "foundation/logger/ILogger.h"

class CStaticLogger;

namespace halvane {

// The process-wide logger. It exists from the start of the program to its exit and is closed until
// the host opens it; what is logged before that is lost. Safe from any thread.
ILogger& Log();

// Its holder, where another logger can be put in its place.
CStaticLogger& TheStaticLogger();

// Waits, for a few seconds at most, until all that was logged before this call has been written.
void DrainLog();

// Drains the log and closes it: nothing that was logged before an orderly end is lost.
void ShutDownLog();

} // namespace halvane
