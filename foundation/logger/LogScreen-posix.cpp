#include "foundation/logger/LogScreen.h"

namespace halvane {

bool PostToWindow(HWND__*, const ILogger*, ILogger::TLogMsg*) {
    return false; // there are no windows to post to
}

} // namespace halvane
