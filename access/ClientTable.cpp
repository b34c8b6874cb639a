#include "access/ClientTable.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Utf.h"

namespace halvane {
namespace {

void LogClient(const AccessClient& client, const wchar_t* whyNot) {
    if (*whyNot != L'\0')
        Log().Info(L"[Access]%s is %s: not let in any more", client.name, whyNot);
    else
        Log().Info(L"[Access]%s may come in, until: %s, %s, %s", client.name, client.until,
                   client.readOnly ? L"to read" : L"to trade",
                   client.allAccounts ? L"all accounts" : L"some accounts");
}

} // namespace

bool ClientTable::Refresh() {
    const Text day = Today();
    FileMarks marks = LookAtFiles();
    if (day == today_ && marks == marks_) return false;
    Clients clients;
    for (AccessClient& client : ReadClients(folder_)) {
        const AccessClient* before = Find(client.key);
        const wchar_t* const whyNot = client.WhyNot(day);
        const bool same =
            before != nullptr && *before == client && TextView(before->WhyNot(today_)) == whyNot;
        if (!same) LogClient(client, whyNot);
        std::string key = client.key;
        clients.insert_or_assign(std::move(key), std::move(client));
    }
    for (const auto& [key, client] : clients_) {
        if (!clients.contains(key)) Log().Info(L"[Access]%s is known no more", client.name);
    }
    today_ = day;
    marks_ = std::move(marks);
    clients_ = std::move(clients);
    return true;
}

const AccessClient* ClientTable::Find(std::string_view key) const {
    const auto found = clients_.find(key);
    return found == clients_.end() ? nullptr : &found->second;
}

const AccessClient* ClientTable::FindLive(std::string_view key) const {
    const AccessClient* client = Find(key);
    return client != nullptr && IsLive(*client) ? client : nullptr;
}

// A file that goes while it is looked at is not there.
ClientTable::FileMarks ClientTable::LookAtFiles() const {
    FileMarks marks;
    std::error_code gone;
    for (std::filesystem::directory_iterator entry(ToPath(folder_), gone), end; entry != end;
         entry.increment(gone))
        marks[entry->path()] = std::filesystem::last_write_time(entry->path(), gone);
    return marks;
}

} // namespace halvane
