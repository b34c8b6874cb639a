#include <winsock2.h> // before windows.h

#include "tests/windows/probe/Remote.h"

#include "tests/windows/probe/Live.h"
#include "tests/windows/probe/Objects.h"
#include "tests/windows/probe/Recorder.h"

#include <objbase.h>
#include <oleauto.h>
#include <psapi.h>
#include <winternl.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const wchar_t* kHostEvents = L"{34DBB30A-5EEC-4F17-B62F-95D47EFCA465}";
constexpr const wchar_t* kTradeEvents = L"{485C6CCF-70AE-4CAD-810F-9B67B9BD135E}";

std::wstring ToWide(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

std::string ToBytes(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

std::vector<std::wstring> FieldsOf(const std::wstring& line) {
    std::vector<std::wstring> fields(1);
    for (const wchar_t unit : line) {
        if (unit == L'\t')
            fields.emplace_back();
        else
            fields.back().push_back(unit);
    }
    return fields;
}

long NumberOf(const std::wstring& text) { return std::wcstol(text.c_str(), nullptr, 10); }

// A value that was told, with what it refers to.
struct ToldValue {
    explicit ToldValue(std::wstring text) {
        const bool byReference = text.starts_with(L"&");
        if (byReference) text.erase(0, 1);
        const std::wstring type = text.substr(0, text.find(L':'));
        const std::wstring rest = type.size() < text.size() ? text.substr(type.size() + 1) : L"";
        if (type == L"I4") {
            held.vt = VT_I4;
            held.lVal = NumberOf(rest);
        } else if (type == L"I8") {
            held.vt = VT_I8;
            held.llVal = std::wcstoll(rest.c_str(), nullptr, 10);
        } else if (type == L"BSTR") {
            held.vt = VT_BSTR;
            held.bstrVal = SysAllocStringLen(rest.data(), static_cast<UINT>(rest.size()));
        }
        passed = held;
        if (!byReference) return;
        passed.vt = VT_BYREF | VT_VARIANT;
        passed.pvarVal = &held;
    }
    ~ToldValue() { VariantClear(&held); }
    ToldValue(const ToldValue&) = delete;
    ToldValue& operator=(const ToldValue&) = delete;

    VARIANT held{};
    VARIANT passed{};
};

std::wstring Fire(const std::vector<std::wstring>& fields) {
    std::vector<std::unique_ptr<ToldValue>> told;
    std::vector<VARIANT> lastToFirst;
    for (std::size_t i = fields.size(); i > 3; --i) {
        told.push_back(std::make_unique<ToldValue>(fields[i - 1]));
        lastToFirst.push_back(told.back()->passed);
    }
    IID events;
    IIDFromString(fields[1] == L"host" ? kHostEvents : kTradeEvents, &events);
    const HRESULT result = FireEvent(events, NumberOf(fields[2]), lastToFirst.data(),
                                     static_cast<UINT>(lastToFirst.size()), DISPATCH_METHOD);
    return std::to_wstring(result);
}

// From the system's list of all handles: Wine has no count of one process.
std::ptrdiff_t CountHandles() {
    std::vector<char> block(1 << 16);
    while (NtQuerySystemInformation(SystemHandleInformation, block.data(),
                                    static_cast<ULONG>(block.size()), nullptr) < 0)
        block.resize(block.size() * 2);
    const auto* all = reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(block.data());
    return std::count_if(all->Handle, all->Handle + all->Count,
                         [](const auto& each) { return each.OwnerPid == GetCurrentProcessId(); });
}

std::wstring CountResources() {
    DWORD bytes = 0;
    EnumProcessModules(GetCurrentProcess(), nullptr, 0, &bytes);
    return std::to_wstring(CountHandles()) + L" " + std::to_wstring(bytes / sizeof(HMODULE));
}

std::wstring AskGuest(const std::wstring& file) {
    const HMODULE guest = LoadLibraryW(file.c_str());
    if (guest == nullptr) return L"not loaded: " + std::to_wstring(GetLastError());
    using Report = const wchar_t* (*)();
    const auto report =
        reinterpret_cast<Report>(reinterpret_cast<void*>(GetProcAddress(guest, "GuestReport")));
    return report != nullptr ? report() : L"no GuestReport";
}

std::wstring Obey(const std::wstring& line) {
    const std::vector<std::wstring> fields = FieldsOf(line);
    const std::wstring& command = fields[0];
    const DISPID id = fields.size() > 1 ? NumberOf(fields[1]) : 0;
    if (command == L"fire") return Fire(fields);
    if (command == L"calls") return TakeCalls();
    if (command == L"objects") return std::to_wstring(liveObjects);
    if (command == L"resources") return CountResources();
    if (command == L"guest") return AskGuest(fields[1]);
    if (command == L"answer") TellAnswer(id, ToldValue(fields[2]).held);
    if (command == L"reference") TellAnswerByReference(id, ToldValue(fields[2]).held);
    if (command == L"fail")
        TellFailure(id, NumberOf(fields[2]), NumberOf(fields[3]), fields[4].c_str());
    if (command == L"mend") MendFailure(id);
    return L"";
}

// Nothing when the other side has closed.
std::optional<std::wstring> ReadLine(SOCKET connection) {
    std::string line;
    for (char byte = 0; recv(connection, &byte, 1, 0) == 1;) {
        if (byte == '\n') return ToWide(line);
        line.push_back(byte);
    }
    return std::nullopt;
}

// False when the other side has closed.
bool ObeyUntilGo(SOCKET connection) {
    while (const auto line = ReadLine(connection)) {
        const std::string answer = ToBytes(Obey(*line)) + '\0';
        send(connection, answer.data(), static_cast<int>(answer.size()), 0);
        if (*line == L"go") return true;
    }
    return false;
}

void Connect(const wchar_t* port) {
    WSADATA ignored;
    if (WSAStartup(MAKEWORD(2, 2), &ignored) != 0) return;
    const SOCKET connection = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(NumberOf(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) return;
    if (!ObeyUntilGo(connection)) return;
    std::thread([connection] {
        while (ObeyUntilGo(connection)) {
        }
    }).detach();
}

} // namespace

void StartRemote() {
    static std::once_flag started;
    wchar_t port[16] = L"";
    if (GetEnvironmentVariableW(L"PROBE_PORT", port, 16) == 0) return;
    std::call_once(started, [&] {
        HMODULE pinned = nullptr; // the thread needs its code, whatever becomes of the objects
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<const wchar_t*>(&started), &pinned);
        Connect(port);
    });
}
