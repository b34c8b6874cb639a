#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/Folders.h"
#include "foundation/cpputility/Notifications.h"
#include "foundation/cpputility/StringSplit.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/logger/CStaticLogger.h"

#include <future>

// A module that is loaded into the running program and uses what the program exports. The logger it
// calls as modules of other compilers do: by the number of the slot, whatever the operation's name.

namespace {

constexpr std::size_t kDelete = 0, kOpen = 1, kDebug = 12, kInfo = 14, kTryError = 23, kIsOpen = 25,
                      kGetPrintFlag = 28, kGetLogLevel = 29, kGetLastError = 31, kFreeLogMsg = 34;

template <class Operation> Operation* Slot(ILogger* logger, std::size_t slot) {
    return (*reinterpret_cast<Operation***>(logger))[slot];
}
int Ask(ILogger* logger, std::size_t slot) { return Slot<int(ILogger*)>(logger, slot)(logger); }

using namespace CppUtility;

class Receiver final : public ReceiveNotification {
  public:
    void OnNotification(const wchar_t* name, const wchar_t* param) override {
        received.set_value(std::wstring(name) + L"=" + param);
    }
    std::promise<std::wstring> received;
};

// The logger stays open until the program ends, so that nothing is dropped.
std::wstring UseLogger() {
    using Opening = int(ILogger*, const wchar_t*, std::int32_t, int);
    using Logging = void(ILogger*, const wchar_t*, ...);
    static CStaticLogger holder(1);
    ILogger* const logger = holder.Get();
    const int opened = Slot<Opening>(logger, kOpen)(logger, L"guest.log", ILogger::LL_INFO, 1);
    Slot<Logging>(logger, kInfo)(logger, L"%s logs number %d", L"the guest", 7);
    Slot<Logging>(logger, kDebug)(logger, L"not this");
    Slot<Logging>(logger, kTryError)(logger, L"%s", L"the end");
    Slot<void(ILogger*, const void*)>(logger, kFreeLogMsg)(logger, nullptr);
    const bool fine = Ask(logger, kIsOpen) == 1 && Ask(logger, kGetPrintFlag) == 1 &&
                      Ask(logger, kGetLogLevel) == ILogger::LL_INFO;

    ILogger* const other = ILogger_Create();
    Slot<Logging>(other, kInfo)(other, L"closed");
    const bool closed = Ask(other, kIsOpen) == 0 && Ask(other, kGetLastError) == 15;
    const bool deleted = Slot<void*(ILogger*, unsigned int)>(other, kDelete)(other, 1) == other;
    ILogger_Destroy(ILogger_Create());
    return std::to_wstring(opened) + ILogger_GetLogLevelDesc(ILogger::LL_WARN) +
           (fine && closed && deleted && ILogger_GetErrorDesc(1) != nullptr ? L" fine"
                                                                            : L" broken");
}

std::wstring UseRecords() {
    BaseData* const record = BaseData::CreateInstance();
    ChangeSet* const changes = record->BeginChange();
    record->SetString(changes, ChangeKind::SetValue, L"name", L"value");
    record->SetInteger(changes, ChangeKind::SetValue, L"number", -5);
    record->ApplyChange(changes);
    SetTopic(L"Guest", record);
    const bool found = GetDataFromTopic(L"Guest") == record;
    std::wstring said =
        record->GetString(L"name") + std::to_wstring(record->GetInteger(L"number", 0));
    SetTopic(L"Guest", nullptr);
    record->Release();
    std::vector<DataTableInfo> sessions;
    if (BaseData* const logins = GetDataFromTopic(L"LoginInfo")) logins->GetRecords(sessions);
    return said + (found ? L" sessions " : L" lost ") + std::to_wstring(sessions.size());
}

std::wstring UseHelpers() {
    std::vector<std::wstring> names;
    const bool created = CreateFolder(L"guest-folder");
    GetFileNameList(L"guest-f*", names);
    const bool deleted = !DeleteFolder(L"guest-folder");
    StringSplit(L"a|b", L'|', names);
    std::wstring said = created && deleted ? L"" : L"broken ";
    for (const std::wstring& name : names)
        said += name + L",";
    return said;
}

std::wstring UseNotifications() {
    Receiver receiver;
    auto received = receiver.received.get_future();
    RegisterNotification(L"GuestNews", &receiver);
    SendNotification(L"GuestNews", L"hello");
    const std::wstring said = received.get();
    UnregisterNotification(L"GuestNews", &receiver);
    return said;
}

} // namespace

extern "C" const wchar_t* GuestReport() {
    static const std::wstring report =
        UseLogger() + L"\n" + UseRecords() + L"\n" + UseHelpers() + L"\n" + UseNotifications();
    return report.c_str();
}
