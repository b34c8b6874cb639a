#include "desk/System.h"

#include "foundation/support/Utf.h"

#include <windows.h>

#include <shellapi.h>

namespace halvane::desk {

const bool kReuseAddress = false;

bool OpenInBrowser(const std::string& url) {
    const Text address = FromUtf8(url).value_or(L"");
    const HINSTANCE result =
        ShellExecuteW(nullptr, L"open", address.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(result) > 32; // what is less is an error
}

} // namespace halvane::desk
