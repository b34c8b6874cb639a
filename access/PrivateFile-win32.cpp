#include "access/PrivateFile.h"

#include <windows.h>

#include <sddl.h>

namespace halvane {

bool WritePrivateFile(const Text& path, std::string_view bytes) {
    SECURITY_ATTRIBUTES rights{sizeof rights, nullptr, FALSE};
    // Nothing from the folder; all for the owner, the system and the administrators.
    constexpr const wchar_t* kOwnersAlone = L"D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
            kOwnersAlone, SDDL_REVISION_1, &rights.lpSecurityDescriptor, nullptr))
        return false;
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, &rights, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    LocalFree(rights.lpSecurityDescriptor);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const BOOL done =
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return done && written == bytes.size();
}

} // namespace halvane
