#include "foundation/support/Json.h"
#include "foundation/support/Process.h"
#include "paper/Paper.h"
#include "tests/EventNotes.h"
#include "tests/TempFolder.h"
#include "tests/paper/PaperTests.h"

namespace halvane {
namespace {

using namespace paper;

constexpr std::int64_t kDayMs = 24 * 60 * 60 * 1000;

const std::vector<Text> kCounts = {
    L"count 1  2",
    L"count 7 PAPER-1000001 0",
    L"count 9 PAPER-1000001 1",
    L"count 8 PAPER-1000001 0",
    L"count 32 PAPER-1000001 0",
    L"count 7 PAPER-1000002 0",
    L"count 9 PAPER-1000002 1",
    L"count 8 PAPER-1000002 0",
    L"count 32 PAPER-1000002 0",
};

// A platform that has greeted, and whose market moves when a test lets time pass.
class PlatformTest : public ::testing::Test {
  protected:
    PlatformTest() : PlatformTest(L"paper:") {}
    explicit PlatformTest(const Text& address) {
        notes_.ReadFrom(*api_);
        EXPECT_TRUE(api_->Advise(static_cast<HostEvents&>(notes_)));
        EXPECT_EQ(api_->Connect(address, L"Sys", L"my-key", 1), 1);
        EXPECT_TRUE(api_->Advise(static_cast<TradeEvents&>(notes_)));
        api_->SendTopicCommand(L"VANTOR.RECOVER", 1, L"before it is subscribed", std::nullopt);
        api_->SubscribeTopic(L"VANTOR.RETURN");
        clock_.WaitForSleeps(1);
        greeting_ = All();
    }

    // The market's thread does one round, however much time passes.
    void Tick(std::int64_t ms = 250) {
        const int sleeps = clock_.Sleeps();
        clock_.Advance(ms);
        clock_.WaitForSleeps(sleeps + 1);
    }

    std::int32_t Send(const Wish& wish) {
        const auto parameters = api_->CreateParameters(ItemClass::StockOrder);
        PutWish(*parameters, wish);
        return api_->NewOrder(KindOf(wish), *parameters);
    }

    // All that has been told since the last time.
    std::vector<Text> All() {
        const Text mark = L"mark" + DecimalText(++marks_);
        api_->SendTopicCommand(L"VANTOR.RECOVER", 1, mark, std::nullopt);
        std::vector<Text> notes = notes_.TakeUntil(L"VANTOR.RETURN 1 " + mark + L" ");
        notes.pop_back();
        return notes;
    }
    // The same without counts and fills.
    std::vector<Text> Settle() {
        std::vector<Text> notes = All();
        std::erase_if(notes, [](const Text& note) {
            return note.starts_with(L"count ") || note.starts_with(L"fill ");
        });
        return notes;
    }

    JumpingClock clock_{200}; // the market's own steps are longer
    ScopedClock scoped_{clock_};
    EventNotes notes_;
    int marks_ = 0;
    std::vector<Text> greeting_;
    std::unique_ptr<TradeApi> api_ = MakePaperTradeApi(); // ends before its listener
};

TEST_F(PlatformTest, GreetsInOrderOnAThreadOfItsOwn) {
    std::vector<Text> expected = {L"service", L"command 2 1 "};
    expected.insert(expected.end(), kCounts.begin(), kCounts.end());
    expected.emplace_back(L"count 100  1");
    EXPECT_EQ(greeting_, expected);
    EXPECT_EQ(notes_.Threads().size(), 1u);
    EXPECT_FALSE(notes_.Threads().contains(std::this_thread::get_id()));
    EXPECT_FALSE(api_->Advise(static_cast<TradeEvents&>(notes_)));
    EXPECT_EQ(api_->Connect(L"paper:", L"Other", L"other-key", 1), 1);
    EXPECT_TRUE(All().empty());
}

TEST_F(PlatformTest, FiresReportBeforeFillAndCountsAfter) {
    ASSERT_EQ(Send({kStock, kBuy, kMarket, kDay, 1}), kAccepted);
    const std::vector<Text> expected = {
        L"report 0", L"report 2", L"fill 1", L"count 9 PAPER-1000001 1", L"count 7 PAPER-1000001 1",
    };
    EXPECT_EQ(All(), expected); // each report as it was then
}

TEST_F(PlatformTest, KnowsServiceKeys) {
    const struct {
        std::int32_t kind, subKind;
        std::optional<Text> in, out;
    } kCases[] = {
        {3, 0, L"demo-key", L"DEMO"},
        {3, 0, L"my-key", L"Sys"},
        {3, 0, L"MY-KEY", {}},
        {3, 0, L"", {}},
        {3, 0, {}, {}},
        {2, 0, L"", L""},
        {3, 1, L"my-key", L"my-key"},
        {99, 0, L"x", L"x"},
    };
    for (const auto& each : kCases) {
        std::optional<Text> inOut = each.in;
        api_->GeneralCommand(each.kind, each.subKind, L"COM", inOut);
        EXPECT_EQ(inOut, each.out);
    }
}

TEST_F(PlatformTest, AnswersBeforeItIsConnectedAndForWhatItLacks) {
    const auto account = api_->CreateItem(ItemClass::Account);
    const auto before = MakePaperTradeApi();
    EXPECT_EQ(before->GetDataItem(kAccounts, 0, L"", *account), 0);
    EXPECT_EQ(before->NewOrder(kStockOrder, *api_->CreateParameters(ItemClass::StockOrder)),
              kNotConnected);
    EXPECT_EQ(before->CancelOrder(L"R1", L""), kNotConnected);
    EXPECT_EQ(before->GetInstrumentData(L"ALL", kStock), L"");
    EXPECT_LT(before->Connect(L"paper:market.json", L"Sys", L"my-key", 1), 1);
    const struct {
        std::int32_t kind, index;
        const wchar_t* mask;
        std::int32_t result;
    } kCases[] = {
        {kAccounts, 1, L"", 1},
        {kAccounts, 2, L"", 0},
        {kAccounts, -1, L"", 0},
        {kMargins, 0, L"PAPER-1000001", 1},
        {kMargins, 1, L"PAPER-1000001", 0},
        {kMargins, 0, L"", 0},
        {kPositions, 0, L"PAPER-1000001", 0},
        {kDetailPositions, 0, L"PAPER-1000001", 0},
        {kCombinationOrders, 0, L"PAPER-1000001", 0},
        {55, 0, L"PAPER-1000001", 0},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(api_->GetDataItem(each.kind, each.index, each.mask, *account), each.result)
            << each.kind << " " << each.index;
    }
    EXPECT_EQ(api_->QueryReport(kOneReport, L"R1", *account), 0);
    EXPECT_EQ(api_->QueryReport(kReports, L"", *account), 0);
    EXPECT_EQ(api_->GetPlatformValue(L"nothing"), L"");
}

TEST_F(PlatformTest, DescribesInstruments) {
    EXPECT_EQ(api_->GetInstrumentData(L"Instrument", kFuture), L"IDX202612");
    EXPECT_EQ(api_->GetInstrumentData(L"Instrument", L"OV.O.PAPF.IDX.202612.C.20000"),
              L"IDX202612C20000");
    EXPECT_EQ(api_->GetInstrumentData(L"Instrument", L"OV.S.PAPX.NONE"), L"");
    EXPECT_EQ(api_->GetExpirationDate(kFuture), L"20261216");
    EXPECT_EQ(api_->GetExpirationDate(kStock), L"");
    EXPECT_GT(api_->GetTradingDays(kFuture, 0), 20);
    EXPECT_EQ(api_->GetTradingDays(kFuture, 20261216), api_->GetTradingDays(kFuture, 0));
    EXPECT_EQ(api_->GetTradingDays(kStock, 0), 0);
    JsonDocument document;
    ASSERT_TRUE(ParseJson(api_->GetInstrumentData(L"ALL", kFuture), document));
    EXPECT_EQ(StringMember(document, L"Symbol"), kFuture);
    EXPECT_EQ(StringMember(document, L"TickSize"), L"1");
    EXPECT_EQ(StringMember(document, L"Multiplier"), L"50");
}

TEST_F(PlatformTest, TellOfTheTrackerOnceATick) {
    for (int order = 0; order < 3; ++order)
        Send({kStock, kBuy, kMarket, kImmediateOrCancel, 1});
    const std::vector<Text> orders = Settle();
    EXPECT_EQ(std::count(orders.begin(), orders.end(), L"tracker"), 0);
    Tick();
    EXPECT_EQ(Settle(), std::vector<Text>{L"tracker"});
    Tick();
    EXPECT_TRUE(Settle().empty());
}

TEST_F(PlatformTest, EndADayInOrder) {
    Send({kStock, kBuy, kLimit, kDay, 1, 110 * kE10});
    Settle();
    Tick(kDayMs);
    std::vector<Text> expected = {L"report 12", L"reset 0"};
    expected.insert(expected.end(), kCounts.begin(), kCounts.end());
    expected.emplace_back(L"tracker");
    EXPECT_EQ(All(), expected);
    Tick(60 * kDayMs);
    std::vector<Text> clears = Settle();
    EXPECT_EQ(clears.front(), L"reset 0");
    EXPECT_EQ(std::count(clears.begin(), clears.end(), L"command 2 5 OV.F.PAPF.ORE.202612"), 1);
    EXPECT_EQ(clears.size(), 1 + 3 + 10 + 1u); // three futures, ten options, the tracker
}

// Whoever orders before the first tick of a new day trades in that day.
TEST_F(PlatformTest, TakeNoOrderIntoTheOldDay) {
    Send({kStock, kBuy, kStop, kDay, 1, kNoInt64, 125 * kE10});
    EXPECT_EQ(Settle(), std::vector<Text>{L"report 0"});
    clock_.SetUnixTimeMs(clock_.UnixTimeMs() + kDayMs);
    Send({kStock, kBuy, kStop, kDay, 1, kNoInt64, 125 * kE10});
    const std::vector<Text> expected = {L"report 12", L"reset 0", L"report 0"};
    EXPECT_EQ(Settle(), expected);
    Tick();
    EXPECT_EQ(Settle(), std::vector<Text>{L"tracker"});
}

TEST_F(PlatformTest, RecoverContractLists) {
    const Text folder = api_->GetPlatformValue(L"ModulePath") + L"Configs" + kPathSeparator;
    EXPECT_NE(ReadFile(ToPath(folder + L"ContractList_PaperFut.ini")), "");
    const Text path = folder + L"Recover" + kPathSeparator + L"PaperFut_20240105.ini";
    std::error_code ignored;
    std::filesystem::remove(ToPath(path), ignored);
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20240105, L"PaperFut", std::nullopt);
    notes_.TakeUntil(L"VANTOR.RETURN 20240105 PaperFut " + path);
    EXPECT_NE(ReadFile(ToPath(path)).find("OV.F.PAPF.IDX.202403"), std::string::npos);
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20990105, L"PaperFut", std::nullopt);
    notes_.TakeUntil(L"VANTOR.RETURN 20990105 PaperFut ");
}

TEST_F(PlatformTest, TellSignalsToWhoSubscribes) {
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

class PlatformTrouble : private TroubledFolder, public PlatformTest {
  protected:
    PlatformTrouble() : PlatformTest(L"paper:" + folder_.TextOf("market.json")) { Settle(); }

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
    std::int32_t Order() { return Send({kStock, kBuy, kLimit, kDay, 1, 95 * kE10}); }

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

    GoToSecond(2);
    const std::vector<Text> back = All();
    ASSERT_EQ(back.size(), 8u); // service, command, five counts, and that they are loaded
    EXPECT_EQ(back[2], L"count 1  1");
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

TEST(PlatformEnd, IsPromptInEveryState) {
    EventNotes unused;
    MakePaperTradeApi();
    const auto advised = MakePaperTradeApi();
    EXPECT_TRUE(advised->Advise(static_cast<HostEvents&>(unused)));
    for (int round = 0; round < 20; ++round) {
        EventNotes listener; // one for each platform: events of two come on two threads
        const auto connected = MakePaperTradeApi();
        EXPECT_TRUE(connected->Advise(static_cast<TradeEvents&>(listener)));
        EXPECT_EQ(connected->Connect(L"paper:", L"Sys", L"key", 1), 1);
    }
}

} // namespace
} // namespace halvane
