#pragma once

#include "foundation/logger/ILogger.h"

namespace halvane {

// Posts the record to the window as LOG_MESSAGE. True when it was accepted: the window frees it.
bool PostToWindow(HWND__* window, const ILogger* logger, ILogger::TLogMsg* msg);

} // namespace halvane
