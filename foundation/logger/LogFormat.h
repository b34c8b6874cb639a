#pragma once

#include "foundation/logger/ILogger.h"
#include "foundation/support/Text.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace halvane {

// Owns a record, which is a block of the C runtime's heap.
struct LogMsgDeleter {
    void operator()(ILogger::TLogMsg* msg) const { std::free(msg); }
};
using LogMsgPtr = std::unique_ptr<ILogger::TLogMsg, LogMsgDeleter>;

// A record of the calling thread, its time all zero; null when there is no memory. The text may be
// null, which counts as "".
LogMsgPtr NewLogMsg(ILogger::LogLevel level, const wchar_t* text);

LogMsgPtr CopyLogMsg(const ILogger::TLogMsg& msg);

// The line of the log file, in the narrow encoding of the system:
// "09:30:05.123   4312  [INFO ]  text" and CR LF. Its date is in the file's name.
std::string FormatLine(const ILogger::TLogMsg& msg);

} // namespace halvane
