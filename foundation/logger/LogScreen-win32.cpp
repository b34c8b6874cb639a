#include "foundation/logger/LogScreen.h"

#include <windows.h>

namespace halvane {

bool PostToWindow(HWND__* window, const ILogger* logger, ILogger::TLogMsg* msg) {
    // The tag is widened with its sign: the upper half of the result is all ones.
    const auto tag = static_cast<INT_PTR>(ILogger::LOGGER_FAKE_WINDOW_BASE);
    const auto first = reinterpret_cast<INT_PTR>(logger) | tag;
    return PostMessageW(window, static_cast<UINT>(ILogger::LOG_MESSAGE), static_cast<WPARAM>(first),
                        reinterpret_cast<LPARAM>(msg)) != 0;
}

} // namespace halvane
