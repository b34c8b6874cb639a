#include "request/Sessions.h"

#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/Notifications.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Md5.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Random.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <atomic>
#include <map>

namespace halvane {
namespace {

using CppUtility::BaseData;
using CppUtility::ChangeKind;

constexpr const wchar_t* kLoginInfo = L"LoginInfo";
constexpr const wchar_t* kPingTime = L"PingTime";
constexpr std::uint32_t kLongestSilenceMs = 60000;

std::atomic<std::int32_t> loginCounter = 0;

struct SessionStore {
    // Around every removal of a session, and wherever a nested record of the table is in hand: a
    // removal frees it. Taken before mapLock.
    Mutex removalLock;
    Mutex mapLock;
    std::map<Text, std::uint32_t, std::less<>> map GUARDED_BY(mapLock); // key to its log-in's tick
};

SessionStore& TheStore() {
    static SessionStore store;
    return store;
}

BaseData& Table() { return *CppUtility::GetDataFromTopic(kLoginInfo); }

void SetPingTime(BaseData& session, std::uint32_t tick) {
    auto* changes = session.BeginChange();
    session.SetInteger(changes, ChangeKind::SetValue, kPingTime, tick);
    session.ApplyChange(changes);
}

// A ping that came after the clock was read lies ahead of it: it is just now.
std::uint32_t SilenceMs(std::uint32_t now, std::uint32_t pingTime) {
    const std::uint32_t silenceMs = now - pingTime;
    return silenceMs < 0x80000000 ? silenceMs : 0;
}

void RemoveFromMap(TextView key) {
    SessionStore& store = TheStore();
    const MutexLock guard(store.mapLock);
    if (const auto found = store.map.find(key); found != store.map.end()) store.map.erase(found);
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
        if (session == nullptr) continue; // its log-in is under way
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
    BaseData* session = BaseData::CreateInstance();
    SetPingTime(*session, tick);
    auto* changes = Table().BeginChange();
    Table().SetRecord(changes, ChangeKind::SetRecord, key.c_str(), session);
    Table().ApplyChange(changes);
    Log().Info(L"SaveLoginInfo() Session:%s, PingTime:%lld", key, std::int64_t{tick});
}

void RemoveLoginInfo(const Text& key) {
    Log().Info(L"RemoveLoginInfo(%s)", key);
    if (key.find(L'\0') != Text::npos) return; // the table would take it for a shorter key
    auto* changes = Table().BeginChange();
    Table().Remove(changes, ChangeKind::RemoveRecord, key.c_str());
    Table().ApplyChange(changes);
}

void UpdatePingTime(const Text& key) {
    const std::uint32_t tick = TheClock().TickCount();
    const MutexLock removal(TheStore().removalLock);
    BaseData* session = Table().GetRecord(key.c_str());
    if (session == nullptr) return;
    SetPingTime(*session, tick);
    Log().Info(L"UpdatePingTime() SessionKey:%s, PingTime:%lld", key, std::int64_t{tick});
}

void OpenSession(const Text& key) {
    const std::uint32_t openedAt = TheClock().TickCount();
    SaveLoginInfo(key);
    SessionStore& store = TheStore();
    const MutexLock guard(store.mapLock);
    store.map.insert_or_assign(key, openedAt);
}

void CloseSession(const Text& key) {
    const MutexLock removal(TheStore().removalLock);
    RemoveLoginInfo(key);
    RemoveFromMap(key);
}

void DropSession(const Text& key) {
    const MutexLock removal(TheStore().removalLock);
    if (!IsSessionKnown(key)) return;
    RemoveFromMap(key);
    RemoveLoginInfo(key);
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
