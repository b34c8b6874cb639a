#include "request/Sessions.h"

#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/Notifications.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Hex.h"
#include "foundation/support/Md5.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Random.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>

namespace halvane {
namespace {

using CppUtility::BaseData;
using CppUtility::ChangeKind;

constexpr const wchar_t* kLoginInfo = L"LoginInfo";
constexpr const wchar_t* kPingTime = L"PingTime";
constexpr std::uint32_t kLongestSilenceMs = 60000;

std::atomic<std::int32_t> loginCounter = 0;

using SessionMap = std::map<Text, std::uint32_t, std::less<>>; // key to its log-in's tick

struct SessionStore {
    // Around every removal of a session, and wherever a nested record of the table is in hand: a
    // removal frees it. Taken before mapLock.
    Mutex removalLock;
    Mutex mapLock;
    SessionMap map GUARDED_BY(mapLock);
};

SessionStore& TheStore() {
    static SessionStore store;
    return store;
}

BaseData& Table() { return *CppUtility::GetDataFromTopic(kLoginInfo); }

struct RecordEnd {
    void operator()(BaseData* record) const { record->Release(); }
};

// A change that cannot be put together changes nothing: it is applied all the same, which frees it.
void Change(BaseData& record, const std::function<void(CppUtility::ChangeSet*)>& put) {
    auto* changes = record.BeginChange();
    try {
        put(changes);
    } catch (...) {
        record.ApplyChange(changes);
        throw;
    }
    record.ApplyChange(changes);
}

void SetPingTime(BaseData& session, std::uint32_t tick) {
    Change(session, [&](CppUtility::ChangeSet* changes) {
        session.SetInteger(changes, ChangeKind::SetValue, kPingTime, tick);
    });
}

// A ping that came after the clock was read lies ahead of it: it is just now.
std::uint32_t SilenceMs(std::uint32_t now, std::uint32_t pingTime) {
    const std::uint32_t silenceMs = now - pingTime;
    return silenceMs < 0x80000000 ? silenceMs : 0;
}

// What stood in the map; to be put back when the rest fails.
SessionMap::node_type TakeFromMap(const Text& key) {
    SessionStore& store = TheStore();
    const MutexLock guard(store.mapLock);
    return store.map.extract(key);
}

// With what exists already: this does not fail.
void PutIntoMap(SessionMap::node_type session) {
    SessionStore& store = TheStore();
    const MutexLock guard(store.mapLock);
    store.map.insert(std::move(session));
}

} // namespace

LoginInfoTable::LoginInfoTable() { CppUtility::SetTopic(kLoginInfo, BaseData::CreateInstance()); }

LoginInfoTable::~LoginInfoTable() {
    SessionStore& store = TheStore();
    const MutexLock removal(store.removalLock);
    const MutexLock guard(store.mapLock);
    store.map.clear();
    Table().Release();
    CppUtility::SetTopic(kLoginInfo, nullptr);
}

bool IsSessionKnown(TextView key) {
    SessionStore& store = TheStore();
    const MutexLock guard(store.mapLock);
    return store.map.contains(key);
}

std::size_t SessionCount() {
    SessionStore& store = TheStore();
    const MutexLock guard(store.mapLock);
    return store.map.size();
}

std::vector<SessionAges> AgesOfSessions() {
    SessionStore& store = TheStore();
    const MutexLock removal(store.removalLock);
    const MutexLock guard(store.mapLock);
    const std::uint32_t now = TheClock().TickCount();
    std::vector<SessionAges> ages;
    for (const auto& [key, openedAt] : store.map) {
        BaseData* const session = Table().GetRecord(key.c_str());
        if (session == nullptr) continue; // the table is open to others: one has removed it
        const auto pingTime = static_cast<std::uint32_t>(session->GetInteger(kPingTime, now));
        ages.push_back({now - openedAt, SilenceMs(now, pingTime)});
    }
    return ages;
}

Text FormSessionKey() {
    constexpr std::size_t kKeyBytes = 16;
    if (GetSetting(L"SessionKey") == L"random") return *FromUtf8(HexDigits(RandomBytes(kKeyBytes)));
    const LocalTime now = ToLocalTime(TheClock().UnixTimeMs());
    const Text text = Format(L"%02d%02d%02d%d", std::int32_t{now.hour}, std::int32_t{now.minute},
                             std::int32_t{now.second}, loginCounter++);
    return *FromUtf8(Md5Hex(ToNarrow(text)));
}

void SaveLoginInfo(const Text& key) {
    const std::uint32_t tick = TheClock().TickCount();
    std::unique_ptr<BaseData, RecordEnd> session(BaseData::CreateInstance());
    SetPingTime(*session, tick);
    Change(Table(), [&](CppUtility::ChangeSet* changes) {
        Table().SetRecord(changes, ChangeKind::SetRecord, key.c_str(), session.get());
    });
    static_cast<void>(session.release()); // the table's from here on
    Log().Info(L"SaveLoginInfo() Session:%s, PingTime:%lld", key, std::int64_t{tick});
}

void RemoveLoginInfo(const Text& key) {
    Log().Info(L"RemoveLoginInfo(%s)", key);
    if (key.find(L'\0') != Text::npos) return; // the table would take it for a shorter key
    Change(Table(), [&](CppUtility::ChangeSet* changes) {
        Table().Remove(changes, ChangeKind::RemoveRecord, key.c_str());
    });
}

void UpdatePingTime(const Text& key) {
    const std::uint32_t tick = TheClock().TickCount();
    {
        const MutexLock removal(TheStore().removalLock);
        BaseData* session = Table().GetRecord(key.c_str());
        if (session == nullptr) return;
        SetPingTime(*session, tick);
    }
    Log().Info(L"UpdatePingTime() SessionKey:%s, PingTime:%lld", key, std::int64_t{tick});
}

void OpenSession(const Text& key) {
    SessionMap session{{key, TheClock().TickCount()}};
    SaveLoginInfo(key);
    PutIntoMap(session.extract(session.begin()));
}

void CloseSession(const Text& key) {
    const MutexLock removal(TheStore().removalLock);
    RemoveLoginInfo(key);
    TakeFromMap(key);
}

void DropSession(const Text& key) {
    const MutexLock removal(TheStore().removalLock);
    if (!IsSessionKnown(key)) return;
    SessionMap::node_type session = TakeFromMap(key);
    try {
        RemoveLoginInfo(key);
    } catch (...) {
        PutIntoMap(std::move(session)); // the next round of the supervision finds it
        throw;
    }
}

void ReportSilentSessions() {
    const MutexLock removal(TheStore().removalLock);
    std::vector<CppUtility::DataTableInfo> sessions;
    const std::uint32_t now = TheClock().TickCount();
    Table().GetRecords(sessions);
    for (const auto& [key, session] : sessions) {
        const auto pingTime = static_cast<std::uint32_t>(session->GetInteger(kPingTime, 0));
        if (SilenceMs(now, pingTime) <= kLongestSilenceMs) continue;
        Log().Info(L"ExecuteCheckPingTime() timeout. Session:%s PingTime:%d, lUserPingTime:%lld",
                   key, static_cast<std::int32_t>(now), std::int64_t{pingTime});
        CppUtility::SendNotification(L"RemoveLoginInfo", key.c_str());
    }
}

} // namespace halvane
