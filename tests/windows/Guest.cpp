#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/Folders.h"
#include "foundation/cpputility/Notifications.h"
#include "foundation/cpputility/StringSplit.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/logger/CStaticLogger.h"

#include <future>

// A module that is loaded into the running program and uses what the program exports.

namespace {

using namespace CppUtility;

class Receiver : public ReceiveNotification {
  public:
    void OnNotification(const wchar_t* name, const wchar_t* param) override {
        received.set_value(std::wstring(name) + L"=" + param);
    }
    std::promise<std::wstring> received;
};

// The logger stays open until the program ends, so that nothing is dropped.
std::wstring UseLogger() {
    static CStaticLogger logger(1);
    const int opened = logger->Open(L"guest.log", ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
    logger->Info(L"%s logs number %d", L"the guest", 7);
    logger->Debug(L"not this");
    ILogger* const other = ILogger_Create();
    const bool closed = other->IsOpen() == 0 && other->GetLogLevel() == ILogger::LL_NONE;
    ILogger_Destroy(other);
    return std::to_wstring(opened) + ILogger_GetLogLevelDesc(ILogger::LL_WARN) +
           (closed && ILogger_GetErrorDesc(1) != nullptr ? L" closed" : L" broken");
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

extern "C" __declspec(dllexport) const wchar_t* GuestReport() {
    static const std::wstring report =
        UseLogger() + L"\n" + UseRecords() + L"\n" + UseHelpers() + L"\n" + UseNotifications();
    return report.c_str();
}
