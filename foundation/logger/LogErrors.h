#pragma once

#include <cstdint>

namespace halvane {

// The logger's own error codes. 0 to 14 stand for errors of the system (the texts in LogErrors.cpp
// name them); ILogger_GetErrorDesc gives the text of each.
enum LogError : std::int32_t {
    kLogNoError = 0,
    kLogUnspecified = 1,
    kLogWrongState = 15,
    kLogBadLevel = 16,
    kLogBadPrintFlag = 17,
    kLogNoThread = 18,
};

// The error code for an error number of Windows; every system's errors are told in these.
std::int32_t ToLogError(std::uint32_t osError);

} // namespace halvane
