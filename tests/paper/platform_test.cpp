#include "foundation/support/Mutex.h"
#include "paper/Paper.h"
#include "tests/paper/PaperTests.h"
#include "tradeapi/TradeEvents.h"

#include "foundation/support/Json.h"

#include <chrono>
#include <set>
#include <thread>

namespace halvane {
namespace {

using namespace paper;

// Notes all events as texts; a test waits for what it expects.
class Listener : public HostEvents, public TradeEvents {
  public:
    void OnGeneralServiceUpdate() override { Note(L"service"); }
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView) override {
        Note(L"command " + DecimalText(kind) + L" " + DecimalText(subKind));
    }
    void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override {
        Note(DecimalText(kind) + L" " + Text(key) + L" " + DecimalText(value));
    }
    // Reads the report from inside the event, as the publishing side does.
    void OnExecutionReport(TextView reportId) override {
        const auto item = api_->CreateItem(ItemClass::ExecutionReport);
        const std::int32_t read = api_->QueryReport(kOneReport, reportId, *item);
        Note(L"report " + DecimalText(read) + L" " +
             DecimalText(item->GetInt(report_id::kExecType)));
    }
    void OnFilledReport(TextView reportId) override {
        const auto item = api_->CreateItem(ItemClass::Fill);
        const std::int32_t read = api_->QueryReport(kOneReport, reportId, *item);
        Note(L"fill " + DecimalText(read) + L" " + DecimalText(item->GetInt(fill_id::kMatchedQty)));
        const MutexLock guard(lock_);
        fills_.insert(Text(reportId));
    }
    void OnReportReset() override { Note(L"reset"); }
    void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                    const std::optional<Text>& data) override {
        Note(Text(topic) + L" " + DecimalText(lParam) + L" " + Text(strParam) + L" " + *data);
    }
    void OnPositionTracker() override { Note(L"tracker"); }

    void ReadFrom(TradeApi& api) { api_ = &api; }

    // The events so far, once there are as many as that.
    std::vector<Text> Wait(std::size_t count) {
        MutexLock guard(lock_);
        EXPECT_TRUE(changed_.wait_for(guard, std::chrono::seconds(60),
                                      [&] { return notes_.size() >= count; }));
        return notes_;
    }
    void WaitFor(const Text& note) {
        MutexLock guard(lock_);
        EXPECT_TRUE(changed_.wait_for(guard, std::chrono::seconds(60), [&] {
            return std::find(notes_.begin(), notes_.end(), note) != notes_.end();
        }));
    }
    void Forget() {
        const MutexLock guard(lock_);
        notes_.clear();
    }
    std::set<Text> Fills() {
        const MutexLock guard(lock_);
        return fills_;
    }
    std::thread::id Thread() {
        const MutexLock guard(lock_);
        return thread_;
    }

  private:
    void Note(Text text) {
        const MutexLock guard(lock_);
        notes_.push_back(std::move(text));
        EXPECT_TRUE(thread_ == std::thread::id() || thread_ == std::this_thread::get_id());
        thread_ = std::this_thread::get_id();
        changed_.notify_all();
    }

    TradeApi* api_ = nullptr;
    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Text> notes_;
    std::set<Text> fills_;
    std::thread::id thread_;
};

const std::vector<Text> kGreeting = {
    L"service",
    L"command 2 1",
    L"1  2",
    L"7 PAPER-1000001 0",
    L"9 PAPER-1000001 1",
    L"8 PAPER-1000001 0",
    L"32 PAPER-1000001 0",
    L"7 PAPER-1000002 0",
    L"9 PAPER-1000002 1",
    L"8 PAPER-1000002 0",
    L"32 PAPER-1000002 0",
    L"100  1",
};

class PlatformTest : public ::testing::Test {
  protected:
    void Start() {
        listener_.ReadFrom(*api_);
        ASSERT_TRUE(api_->Advise(static_cast<HostEvents&>(listener_)));
        ASSERT_EQ(api_->Connect(L"paper:", L"Sys", L"my-key", 1), 1);
        ASSERT_TRUE(api_->Advise(static_cast<TradeEvents&>(listener_)));
        listener_.Wait(kGreeting.size());
    }

    std::int32_t Send(const Wish& wish) {
        const auto parameters = api_->CreateParameters(ItemClass::StockOrder);
        PutWish(*parameters, wish);
        return api_->NewOrder(KindOf(wish), *parameters);
    }

    // Waits until all that has happened so far was told.
    void Settle(const Text& mark) {
        api_->SubscribeTopic(L"VANTOR.RETURN");
        api_->SendTopicCommand(L"VANTOR.RECOVER", 1, mark, std::nullopt);
        listener_.WaitFor(L"VANTOR.RETURN 1 " + mark + L" ");
    }

    JumpingClock clock_;
    ScopedClock scoped_{clock_};
    Listener listener_;
    std::unique_ptr<TradeApi> api_ = MakePaperTradeApi(); // ends before its listener
};

TEST_F(PlatformTest, GreetsInOrderOnAThreadOfItsOwn) {
    Start();
    EXPECT_EQ(listener_.Wait(0), kGreeting);
    EXPECT_NE(listener_.Thread(), std::this_thread::get_id());
    EXPECT_FALSE(api_->Advise(static_cast<TradeEvents&>(listener_)));
    EXPECT_EQ(api_->Connect(L"paper:", L"Other", L"other-key", 1), 1);
    EXPECT_EQ(listener_.Wait(0).size(), kGreeting.size());
}

TEST_F(PlatformTest, FiresReportBeforeFillAndCountsAfter) {
    Start();
    listener_.Forget();
    ASSERT_EQ(Send({kStock, kBuy, kMarket, kDay, 1}), kAccepted);
    const std::vector<Text> expected = {
        L"report 1 0", L"report 1 2", L"fill 1 1", L"9 PAPER-1000001 1", L"7 PAPER-1000001 1",
    };
    EXPECT_EQ(listener_.Wait(expected.size()), expected); // each report as it was then
}

TEST_F(PlatformTest, KnowsServiceKeys) {
    Start();
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
    EXPECT_EQ(api_->GetDataItem(kAccounts, 0, L"", *account), 0);
    EXPECT_EQ(Send({kStock}), kNotConnected);
    EXPECT_EQ(api_->CancelOrder(L"R1", L""), kNotConnected);
    EXPECT_EQ(api_->GetInstrumentData(L"ALL", kStock), L"");
    EXPECT_LT(api_->Connect(L"paper:market.json", L"Sys", L"my-key", 1), 1);
    EXPECT_LT(MakePaperTradeApi()->Connect(L"paper:x", L"Sys", L"key", 1), 1);
    Start();
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
    Start();
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

TEST_F(PlatformTest, AnswersARecoverRequestOnceItsTopicIsSubscribed) {
    Start();
    listener_.Forget();
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20240105, L"early", std::nullopt);
    api_->SubscribeTopic(L"VANTOR.RETURN");
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20240105, L"list", std::nullopt);
    EXPECT_EQ(listener_.Wait(1), std::vector<Text>{L"VANTOR.RETURN 20240105 list "});
}

// Clients order, change and read from several threads while prices move; what is restored then is
// what was announced, and reports, fills and positions agree.
TEST_F(PlatformTest, ServesManyThreadsAtOnce) {
    Start();
    constexpr int kThreads = 4, kOrders = 150;
    std::vector<std::jthread> clients;
    clients.reserve(kThreads);
    for (int client = 0; client < kThreads; ++client) {
        clients.emplace_back([this, client] {
            const auto list = api_->CreateItem(ItemClass::ReportList);
            const auto row = api_->CreateItem(ItemClass::Margin);
            for (int order = 0; order < kOrders; ++order) {
                const Text account = client % 2 == 0 ? L"1000001" : L"1000002";
                EXPECT_EQ(Send({kStock, order % 2 == 0 ? kBuy : kSell, kMarket, kDay, 1 + order,
                                kNoInt64, kNoInt64, account}),
                          kAccepted);
                api_->QueryReport(kReports, L"", *list);
                api_->CancelOrder(list->GetIndexed(list_id::kEntry, order), L"");
                api_->GetDataItem(kMargins, 0, L"PAPER-" + account, *row);
                clock_.Advance(100);
            }
        });
    }
    clients.clear();
    Settle(L"all sent");
    const auto list = api_->CreateItem(ItemClass::ReportList);
    ASSERT_EQ(api_->QueryReport(kReports, L"", *list), 1);
    EXPECT_EQ(list->GetInt(list_id::kCount), kThreads * kOrders);
    for (std::int32_t at = 0; at < list->GetInt(list_id::kCount); ++at) {
        api_->CancelOrder(list->GetIndexed(list_id::kEntry, at), L"");
    }
    Settle(L"all at rest");

    const auto report = api_->CreateItem(ItemClass::ExecutionReport);
    const auto fill = api_->CreateItem(ItemClass::Fill);
    for (std::int32_t at = 0; at < list->GetInt(list_id::kCount); ++at) {
        ASSERT_EQ(api_->QueryReport(kOneReport, list->GetIndexed(list_id::kEntry, at), *report), 1);
        std::int32_t filled = 0;
        for (std::int32_t each = 0; each < report->GetInt(report_id::kFilledOrdersCount); ++each) {
            const Text fillId = report->GetIndexed(report_id::kFillEntry, each);
            ASSERT_EQ(api_->QueryReport(kOneReport, fillId, *fill), 1);
            EXPECT_TRUE(listener_.Fills().contains(fillId));
            filled += fill->GetInt(fill_id::kMatchedQty);
        }
        ASSERT_EQ(filled, report->GetInt(report_id::kCumQty));
    }
}

TEST(PlatformEnd, IsPromptInEveryState) {
    Listener unused;
    MakePaperTradeApi();
    const auto advised = MakePaperTradeApi();
    EXPECT_TRUE(advised->Advise(static_cast<HostEvents&>(unused)));
    for (int round = 0; round < 20; ++round) {
        Listener listener; // one for each platform: events of two come on two threads
        const auto connected = MakePaperTradeApi();
        EXPECT_TRUE(connected->Advise(static_cast<TradeEvents&>(listener)));
        EXPECT_EQ(connected->Connect(L"paper:", L"Sys", L"key", 1), 1);
    }
}

} // namespace
} // namespace halvane
