#include "foundation/support/Format.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "paper/Paper.h"
#include "tests/TempFolder.h"
#include "tests/paper/PaperTests.h"
#include "tradeapi/TradeEvents.h"

#include <chrono>

namespace halvane {
namespace {

using namespace paper;

constexpr std::int64_t kDayMs = 24 * 60 * 60 * 1000;

// Notes the trade events, counts and fills left out unless they are asked for.
class Notes : public TradeEvents {
  public:
    void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override {
        if (countsToo) Note(DecimalText(kind) + L" " + Text(key) + L" " + DecimalText(value));
    }
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override {
        Note(Format(L"command %d %d %s", kind, subKind, text));
    }
    void OnExecutionReport(TextView reportId) override {
        const auto item = api->CreateItem(ItemClass::ExecutionReport);
        api->QueryReport(kOneReport, reportId, *item);
        Note(L"report " + DecimalText(item->GetInt(report_id::kExecType)));
    }
    void OnFilledReport(TextView) override {}
    void OnReportReset() override {
        const auto list = api->CreateItem(ItemClass::ReportList);
        api->QueryReport(kReports, L"", *list);
        Note(L"reset " + DecimalText(list->GetInt(list_id::kCount)));
    }
    void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                    const std::optional<Text>& data) override {
        Note(Format(L"%s %d %s %s", topic, lParam, strParam, data.value_or(L"none")));
    }
    void OnPositionTracker() override { Note(L"tracker"); }

    // The events so far, once the last one has come.
    std::vector<Text> WaitFor(const Text& last) {
        MutexLock guard(lock_);
        EXPECT_TRUE(changed_.wait_for(guard, std::chrono::seconds(60), [&] {
            return std::find(notes_.begin(), notes_.end(), last) != notes_.end();
        })) << ToUtf8(last);
        return std::exchange(notes_, {});
    }

    TradeApi* api = nullptr;
    std::atomic<bool> countsToo = false;

  private:
    void Note(Text text) {
        const MutexLock guard(lock_);
        notes_.push_back(std::move(text));
        changed_.notify_all();
    }

    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Text> notes_;
};

class PlatformEvents : public ::testing::Test {
  protected:
    PlatformEvents() : PlatformEvents(L"paper:") {}
    explicit PlatformEvents(const Text& address) {
        notes_.api = api_.get();
        EXPECT_TRUE(api_->Advise(notes_));
        EXPECT_EQ(api_->Connect(address, L"Sys", L"my-key", 1), 1);
        api_->SubscribeTopic(L"VANTOR.RETURN");
        clock_.WaitForSleeps(1);
    }

    // The market's thread does one round, however much time passes.
    void Tick(std::int64_t ms = 250) {
        const int sleeps = clock_.Sleeps();
        clock_.Advance(ms);
        clock_.WaitForSleeps(sleeps + 1);
    }

    void Send(const Wish& wish) {
        const auto parameters = api_->CreateParameters(ItemClass::StockOrder);
        PutWish(*parameters, wish);
        EXPECT_EQ(api_->NewOrder(KindOf(wish), *parameters), kAccepted);
    }

    // All that has been told until now.
    std::vector<Text> Settle() {
        const Text mark = L"mark" + DecimalText(++marks_);
        api_->SendTopicCommand(L"VANTOR.RECOVER", 1, mark, std::nullopt);
        const Text last = L"VANTOR.RETURN 1 " + mark + L" ";
        std::vector<Text> notes = notes_.WaitFor(last);
        std::erase(notes, last);
        return notes;
    }

    JumpingClock clock_{200}; // the market's own steps are longer
    ScopedClock scoped_{clock_};
    Notes notes_;
    int marks_ = 0;
    std::unique_ptr<TradeApi> api_ = MakePaperTradeApi(); // ends before its listener
};

TEST_F(PlatformEvents, TellOfTheTrackerOnceATick) {
    for (int order = 0; order < 3; ++order)
        Send({kStock, kBuy, kMarket, kImmediateOrCancel, 1});
    const std::vector<Text> orders = Settle();
    EXPECT_EQ(std::count(orders.begin(), orders.end(), L"tracker"), 0);
    Tick();
    EXPECT_EQ(Settle(), std::vector<Text>{L"tracker"});
    Tick();
    EXPECT_TRUE(Settle().empty());
}

TEST_F(PlatformEvents, EndADayInOrder) {
    Send({kStock, kBuy, kLimit, kDay, 1, 110 * kE10});
    Settle();
    notes_.countsToo = true;
    Tick(kDayMs);
    const std::vector<Text> expected = {
        L"report 12",
        L"reset 0",
        L"1  2",
        L"7 PAPER-1000001 0",
        L"9 PAPER-1000001 1",
        L"8 PAPER-1000001 0",
        L"32 PAPER-1000001 0",
        L"7 PAPER-1000002 0",
        L"9 PAPER-1000002 1",
        L"8 PAPER-1000002 0",
        L"32 PAPER-1000002 0",
        L"tracker",
    };
    EXPECT_EQ(Settle(), expected);
    notes_.countsToo = false;
    Tick(60 * kDayMs);
    std::vector<Text> clears = Settle();
    EXPECT_EQ(clears.front(), L"reset 0");
    EXPECT_EQ(std::count(clears.begin(), clears.end(), L"command 2 5 OV.F.PAPF.ORE.202612"), 1);
    EXPECT_EQ(clears.size(), 1 + 3 + 10 + 1u); // three futures, ten options, the tracker
}

// Whoever orders before the first tick of a new day trades in that day.
TEST_F(PlatformEvents, TakeNoOrderIntoTheOldDay) {
    Send({kStock, kBuy, kStop, kDay, 1, kNoInt64, 125 * kE10});
    EXPECT_EQ(Settle(), std::vector<Text>{L"report 0"});
    clock_.SetUnixTimeMs(clock_.UnixTimeMs() + kDayMs);
    Send({kStock, kBuy, kStop, kDay, 1, kNoInt64, 125 * kE10});
    const std::vector<Text> expected = {L"report 12", L"reset 0", L"report 0"};
    EXPECT_EQ(Settle(), expected);
    Tick();
    EXPECT_EQ(Settle(), std::vector<Text>{L"tracker"});
}

TEST_F(PlatformEvents, RecoverContractLists) {
    const Text folder = api_->GetPlatformValue(L"ModulePath") + L"Configs" + kPathSeparator;
    EXPECT_NE(ReadFile(ToPath(folder + L"ContractList_PaperFut.ini")), "");
    const Text path = folder + L"Recover" + kPathSeparator + L"PaperFut_20240105.ini";
    std::error_code ignored;
    std::filesystem::remove(ToPath(path), ignored);
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20240105, L"PaperFut", std::nullopt);
    notes_.WaitFor(L"VANTOR.RETURN 20240105 PaperFut " + path);
    EXPECT_NE(ReadFile(ToPath(path)).find("OV.F.PAPF.IDX.202403"), std::string::npos);
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20990105, L"PaperFut", std::nullopt);
    notes_.WaitFor(L"VANTOR.RETURN 20990105 PaperFut ");
}

TEST_F(PlatformEvents, TellSignalsToWhoSubscribes) {
    const auto ticks = [this] {
        for (int tick = 0; tick < 1'200; ++tick)
            Tick();
        return Settle();
    };
    EXPECT_TRUE(ticks().empty());
    api_->SubscribeTopic(L"Corvinta");
    const std::vector<Text> signals = ticks();
    EXPECT_FALSE(signals.empty());
    for (const Text& signal : signals) {
        EXPECT_TRUE(signal.starts_with(L"Corvinta 0 OV.")) << ToUtf8(signal);
        EXPECT_TRUE(signal.ends_with(L" none"));
        EXPECT_EQ(std::count(signal.begin(), signal.end(), L'|'), 11);
    }
}

// What the platform does on demand, once a second.
constexpr const char* kTroubledMarket = R"({
 "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 1000000}],
 "exchanges": [{"exchange": "PAPX"}],
 "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 100, "tick": 0.05}],
 "incidents": [{"kind": "disconnect", "after": 1, "for": 1},
               {"kind": "delayAnswers", "after": 2, "for": 1, "delayMs": 150},
               {"kind": "refuseRows", "after": 3, "for": 1, "every": 2},
               {"kind": "resetReports", "after": 4}]})";

class TroubledFolder {
  protected:
    TroubledFolder() { std::ofstream(folder_ / "market.json") << kTroubledMarket; }
    TempFolder folder_;
};

class PlatformTrouble : private TroubledFolder, public PlatformEvents {
  protected:
    PlatformTrouble() : PlatformEvents(L"paper:" + folder_.TextOf("market.json")) { Settle(); }

    void GoToSecond(int second) {
        for (int tick = 4 * (second - second_); tick > 0; --tick)
            Tick();
        second_ = second;
    }
    int RowsOfTen() {
        const auto item = api_->CreateItem(ItemClass::Account);
        int rows = 0;
        for (int row = 0; row < 10; ++row)
            rows += api_->GetDataItem(1, 0, L"", *item);
        return rows;
    }
    std::int32_t Order() {
        const auto parameters = api_->CreateParameters(ItemClass::StockOrder);
        PutWish(*parameters, {kStock, kBuy, kLimit, kDay, 1, 95 * kE10});
        return api_->NewOrder(kStockOrder, *parameters);
    }

  private:
    int second_ = 0;
};

TEST_F(PlatformTrouble, ComesOnDemandAndGoes) {
    EXPECT_EQ(Order(), kAccepted);
    EXPECT_EQ(RowsOfTen(), 10);
    EXPECT_EQ(Settle(), std::vector<Text>{L"report 0"});

    GoToSecond(1);
    EXPECT_EQ(Order(), kNotConnected);
    EXPECT_EQ(RowsOfTen(), 0);
    EXPECT_EQ(api_->GetInstrumentData(L"Instrument", kStock), L"");

    notes_.countsToo = true;
    GoToSecond(2);
    const std::vector<Text> back = Settle();
    EXPECT_EQ(back.front(), L"1  1");
    EXPECT_EQ(back.size(), 6u); // five counts, and that they are loaded
    notes_.countsToo = false;
    const std::int64_t before = clock_.UnixTimeMs();
    EXPECT_EQ(Order(), kAccepted);
    EXPECT_EQ(clock_.UnixTimeMs() - before, 150);

    GoToSecond(3);
    EXPECT_EQ(RowsOfTen(), 5);

    Settle();
    GoToSecond(4);
    EXPECT_EQ(Settle(), std::vector<Text>{L"reset 2"}); // both orders are still in the list
    EXPECT_EQ(RowsOfTen(), 10);
}

} // namespace
} // namespace halvane
