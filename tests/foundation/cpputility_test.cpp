#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/Folders.h"
#include "foundation/cpputility/Notifications.h"
#include "foundation/cpputility/StringSplit.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/support/Text.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace CppUtility {
namespace {

using halvane::Text;
using Names = std::vector<std::wstring>;

struct Releaser {
    void operator()(BaseData* record) const { record->Release(); }
};
using Record = std::unique_ptr<BaseData, Releaser>;

Record NewRecord() { return Record(BaseData::CreateInstance()); }

void SetText(BaseData& record, const wchar_t* key, const wchar_t* text) {
    ChangeSet* changes = record.BeginChange();
    record.SetString(changes, ChangeKind::SetValue, key, text);
    record.ApplyChange(changes);
}

TEST(BaseData, ChangesTakeEffectInTheirFixedOrder) {
    const Record record = NewRecord();
    SetText(*record, L"old", L"1");
    SetText(*record, L"gone", L"1");
    BaseData* nested = BaseData::CreateInstance();
    ChangeSet* changes = record->BeginChange();
    record->SetString(changes, ChangeKind::SetValue, L"kept", L"first");
    record->SetString(changes, ChangeKind::SetValue, L"kept", L"second");
    record->SetRecord(changes, ChangeKind::SetRecord, L"nested", nested);
    record->Remove(changes, ChangeKind::RemoveValue, L"kept");
    record->Remove(changes, ChangeKind::RemoveRecord, L"nested");
    record->Remove(changes, ChangeKind::RemoveRecord, L"absent");
    record->AddClear(changes, ChangeKind::Clear, DataType::Values);
    record->AddClear(changes, ChangeKind::Clear, DataType::Records);
    EXPECT_EQ(record->GetString(L"old"), L"1") << "not applied yet";
    record->ApplyChange(changes);

    std::vector<std::pair<std::wstring, std::wstring>> values = {{L"rest", L""}};
    record->GetValues(values);
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].second, L"second");
    std::vector<DataTableInfo> records(3);
    record->GetRecords(records);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].key, L"nested");
    EXPECT_EQ(records[0].data, nested);
}

TEST(BaseData, EachClearEmptiesItsOwnSort) {
    const Record record = NewRecord();
    const auto fill = [&] {
        ChangeSet* changes = record->BeginChange();
        record->SetString(changes, ChangeKind::SetValue, L"v", L"1");
        record->SetRecord(changes, ChangeKind::SetRecord, L"r", BaseData::CreateInstance());
        record->ApplyChange(changes);
    };
    const auto clear = [&](DataType type) {
        ChangeSet* changes = record->BeginChange();
        record->AddClear(changes, ChangeKind::Clear, type);
        record->ApplyChange(changes);
    };
    fill();
    clear(DataType::Values);
    EXPECT_EQ(record->GetString(L"v"), L"");
    EXPECT_NE(record->GetRecord(L"r"), nullptr);
    fill();
    clear(DataType::Records);
    EXPECT_EQ(record->GetString(L"v"), L"1");
    EXPECT_EQ(record->GetRecord(L"r"), nullptr);
}

TEST(BaseData, ASetRecordIsOwnedAndMaySetItselfAgain) {
    const Record record = NewRecord();
    BaseData* nested = BaseData::CreateInstance();
    for (BaseData* next : {nested, nested, BaseData::CreateInstance()}) {
        ChangeSet* changes = record->BeginChange();
        record->SetRecord(changes, ChangeKind::SetRecord, L"r", next);
        record->ApplyChange(changes);
        EXPECT_EQ(record->GetRecord(L"r"), next);
        SetText(*next, L"alive", L"yes");
    }
}

TEST(BaseData, IntegersAreTextsAndTheDefaultIsForAbsentKeys) {
    const Record record = NewRecord();
    ChangeSet* changes = record->BeginChange();
    record->SetInteger(changes, ChangeKind::SetValue, L"least", INT64_MIN);
    record->SetString(changes, ChangeKind::SetValue, L"word", L"abc");
    record->SetString(changes, ChangeKind::SetValue, L"mixed", L" -12abc");
    record->SetString(changes, ChangeKind::SetValue, L"empty", L"");
    record->ApplyChange(changes);
    EXPECT_EQ(record->GetString(L"least"), L"-9223372036854775808");
    EXPECT_EQ(record->GetInteger(L"least", 7), INT64_MIN);
    EXPECT_EQ(record->GetInteger(L"word", 7), 0);
    EXPECT_EQ(record->GetInteger(L"mixed", 7), -12);
    EXPECT_EQ(record->GetInteger(L"empty", 7), 0);
    EXPECT_EQ(record->GetInteger(L"absent", 7), 7);
}

TEST(BaseData, TheKindOfTheCallerCounts) {
    const Record record = NewRecord();
    SetText(*record, L"a", L"1");
    ChangeSet* changes = record->BeginChange();
    record->SetString(changes, ChangeKind::RemoveValue, L"a", L"2");
    record->ApplyChange(changes);
    EXPECT_EQ(record->GetString(L"a"), L"");
}

TEST(BaseData, ListenersAreCalledInOrderWithTheChangedRecord) {
    struct Listener : ReceiveBaseData {
        Listener(char who, std::string& all) : letter(who), calls(all) {}
        void OnBaseData(BaseData* record) override {
            calls += letter;
            EXPECT_EQ(record->GetString(L"k"), L"v");
        }
        char letter;
        std::string& calls;
    };
    const Record record = NewRecord();
    std::string calls;
    Listener a('a', calls), b('b', calls);
    for (Listener* listener : {&a, &b, &a})
        record->AddListener(listener);
    SetText(*record, L"k", L"v");
    EXPECT_EQ(calls, "aba");
    record->RemoveListener(&a);
    calls.clear();
    SetText(*record, L"k", L"v");
    EXPECT_EQ(calls, "ba");
}

TEST(BaseData, IsSafeFromAnyThread) {
    const Record record = NewRecord();
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&record, t] {
            const Text key(1, static_cast<wchar_t>(L'a' + t));
            for (int i = 0; i < 1000; ++i) {
                ChangeSet* changes = record->BeginChange();
                record->SetInteger(changes, ChangeKind::SetValue, key.c_str(), i);
                record->SetRecord(changes, ChangeKind::SetRecord, key.c_str(),
                                  BaseData::CreateInstance());
                record->ApplyChange(changes);
                EXPECT_EQ(record->GetInteger(key.c_str(), -1), i);
            }
        });
}

TEST(TopicBoard, MapsNamesToRecordsItDoesNotOwn) {
    const Record first = NewRecord(), second = NewRecord();
    EXPECT_EQ(GetDataFromTopic(L"topic"), nullptr);
    SetTopic(L"topic", first.get());
    SetTopic(L"topic", second.get());
    EXPECT_EQ(GetDataFromTopic(L"topic"), second.get());
    SetText(*first, L"still", L"alive");
    SetTopic(L"topic", nullptr);
}

// Notes every call, and does what the test wants done in it.
class Receiver final : public ReceiveNotification {
  public:
    using Action = std::function<void(const Text& param)>;
    Receiver(std::wstring letter, std::vector<Text>& calls, Action action = {})
        : letter_(std::move(letter)), calls_(calls), action_(std::move(action)) {}

    void OnNotification(const wchar_t*, const wchar_t* param) override {
        calls_.push_back(letter_ + param); // on the dispatch thread alone
        if (action_) action_(param);
    }

  private:
    Text letter_;
    std::vector<Text>& calls_;
    Action action_;
};

// Returns when all that was sent so far, and what its receivers sent meanwhile, is delivered.
void AwaitDelivery() {
    for (int round = 0; round < 2; ++round) {
        struct End : ReceiveNotification {
            void OnNotification(const wchar_t*, const wchar_t*) override { reached.set_value(); }
            std::promise<void> reached;
        } end;
        RegisterNotification(L"end", &end);
        SendNotification(L"end", L"");
        end.reached.get_future().wait();
        UnregisterNotification(L"end", &end);
    }
}

TEST(Notifications, ReceiversAreCalledInTheOrderOfRegistration) {
    std::vector<Text> calls;
    Receiver a(L"a", calls), b(L"b", calls);
    for (Receiver* receiver : {&a, &b, &a})
        RegisterNotification(L"n", receiver);
    RegisterNotification(L"other", &b);
    SendNotification(L"n", L"1");
    SendNotification(L"nobody", L"2");
    SendNotification(L"n", L"3");
    AwaitDelivery();
    EXPECT_EQ(calls, (std::vector<Text>{L"a1", L"b1", L"a1", L"a3", L"b3", L"a3"}));
    UnregisterNotification(L"n", &a);
    UnregisterNotification(L"n", &b);
    UnregisterNotification(L"other", &b);
    SendNotification(L"n", L"4");
    AwaitDelivery();
    EXPECT_EQ(calls.size(), 6u);
}

TEST(Notifications, OfTwoNeighboursTheSecondStays) {
    std::vector<Text> calls;
    Receiver a(L"a", calls), b(L"b", calls);
    for (Receiver* receiver : {&a, &a, &b, &a})
        RegisterNotification(L"n", receiver);
    UnregisterNotification(L"n", &a);
    SendNotification(L"n", L"");
    AwaitDelivery();
    EXPECT_EQ(calls, (std::vector<Text>{L"a", L"b"}));
    UnregisterNotification(L"n", &a);
    UnregisterNotification(L"n", &b);
    UnregisterNotification(L"n", &b); // is not there, as the name is not
}

TEST(Notifications, WhatIsSentFromWithinComesAfterwards) {
    std::vector<Text> calls;
    Receiver a(L"a", calls, [](const Text& param) {
        if (param == L"1") SendNotification(L"n", L"2");
    });
    Receiver b(L"b", calls);
    RegisterNotification(L"n", &a);
    RegisterNotification(L"n", &b);
    SendNotification(L"n", L"1");
    AwaitDelivery();
    EXPECT_EQ(calls, (std::vector<Text>{L"a1", L"b1", L"a2", L"b2"}));
    UnregisterNotification(L"n", &a);
    UnregisterNotification(L"n", &b);
}

TEST(Notifications, ReceiversMayChangeTheListAndThrow) {
    std::vector<Text> calls;
    auto gone = std::make_unique<Receiver>(L"gone", calls);
    Receiver late(L"late", calls);
    Receiver a(L"a", calls, [&](const Text&) {
        UnregisterNotification(L"n", &a);
        UnregisterNotification(L"n", gone.get());
        gone.reset();
        RegisterNotification(L"n", &late);
        throw std::runtime_error("a receiver's own fault");
    });
    Receiver b(L"b", calls);
    for (Receiver* receiver : {&a, gone.get(), &b})
        RegisterNotification(L"n", receiver);
    SendNotification(L"n", L"1");
    SendNotification(L"n", L"2");
    AwaitDelivery();
    EXPECT_EQ(calls, (std::vector<Text>{L"a1", L"b1", L"b2", L"late2"}));
    UnregisterNotification(L"n", &b);
    UnregisterNotification(L"n", &late);
}

TEST(Folders, CreateMakesOneLevelAndToleratesNothingThere) {
    const halvane::TempFolder folder;
    halvane::WriteFile(folder / "file", "");
    EXPECT_TRUE(CreateFolder(folder.TextOf("new").c_str()));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "new"));
    EXPECT_FALSE(CreateFolder(folder.TextOf("new").c_str()));
    EXPECT_FALSE(CreateFolder(folder.TextOf("file").c_str()));
    EXPECT_TRUE(CreateFolder(folder.TextOf("deep/er").c_str())) << "tried is enough";
    EXPECT_FALSE(std::filesystem::exists(folder / "deep"));
}

TEST(Folders, DeleteSaysTrueForFailure) {
    const halvane::TempFolder folder;
    std::filesystem::create_directories(folder / "a/b/c");
    halvane::WriteFile(folder / "a/b/file", "x");
    EXPECT_FALSE(DeleteFolder(folder.TextOf("a").c_str()));
    EXPECT_FALSE(std::filesystem::exists(folder / "a"));
    EXPECT_TRUE(DeleteFolder(folder.TextOf("a").c_str()));
}

TEST(Folders, FileNamesMatchTheWildCards) {
    const halvane::TempFolder folder;
    for (const char* name : {"a.txt", "B.TXT", "ab.txt.old", "plain", ".hidden"})
        halvane::WriteFile(folder / name, "");
    std::filesystem::create_directory(folder / "sub.txt");
    const std::pair<const char*, Names> cases[] = {
        {"*.txt", {L"B.TXT", L"a.txt", L"sub.txt"}},
        {"?.txt", {L"B.TXT", L"a.txt"}},
        {"*.*", {L".hidden", L"B.TXT", L"a.txt", L"ab.txt.old", L"plain", L"sub.txt"}},
        {"a*t*d", {L"ab.txt.old"}},
        {"PLAIN", {L"plain"}},
        {"plain?", {}},
        {"none/*", {}},
    };
    for (const auto& [pattern, expected] : cases) {
        Names names;
        GetFileNameList(folder.TextOf(pattern).c_str(), names);
        std::ranges::sort(names); // their order is the file system's
        EXPECT_EQ(names, expected) << pattern;
    }
}

TEST(StringSplit, AddsToTheArray) {
    Names fields = {L"first"};
    StringSplit(L"", L',', fields);
    StringSplit(L"a,,b,", L',', fields);
    EXPECT_EQ(fields, (Names{L"first", L"", L"a", L"", L"b", L""}));
}

} // namespace
} // namespace CppUtility
