#include "foundation/support/Event.h"
#include "foundation/support/Format.h"
#include "foundation/support/Json.h"
#include "foundation/support/Md5.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"
#include "foundation/support/Zmq.h"
#include "paper/Paper.h"
#include "publish/PublishWorker.h"
#include "tests/TempFolder.h"
#include "tests/paper/PaperTests.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeData.h"

#include <map>
#include <random>
#include <thread>

namespace halvane {
namespace {

using namespace paper;

constexpr int kTicks = 3'000, kParts = 16;
constexpr int kTickMs = 10'000;
constexpr std::int64_t kBegin = 1'794'000'000'000;

// A Thursday on which contracts expire, and the first hours of the Friday.
constexpr const char* kMarketFile = R"({
 "seed": 20261119, "tickMs": 10000, "start": "2026-11-19 08:40:00",
 "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 10000000},
              {"brokerId": "PAPER", "account": "1000002", "balance": 600000.25,
               "userName": "Zo\u00EB", "commissionRate": 0.5, "marginRate": 1.25}],
 "exchanges": [{"exchange": "PAPX", "sessions": [{"opens": "09:00", "closes": "13:30"}]},
               {"exchange": "PAPF", "sessions": [{"opens": "00:00", "closes": "02:00"},
                                                 {"opens": "08:45", "closes": "13:45"}]},
               {"exchange": "PAPO"}],
 "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05,
             "commission": 0.001425},
            {"security": "BETU", "exchange": "PAPO", "price": 45.5, "tick": 0.0125,
             "volatility": 0.45, "quoteSize": 90}],
 "futures": [{"security": "IDX", "exchange": "PAPF", "price": 20000, "tick": 1, "multiplier": 50,
              "carry": 0.0005, "expiries": ["2026-11-19", "2026-12-16"], "commissionPerLot": 2},
             {"security": "ORE", "exchange": "PAPO", "price": 1850, "tick": 0.1, "multiplier": 10}],
 "options": [{"future": "IDX", "strikes": [19800, 20000, 20200], "tick": 1, "months": 2}],
 "incidents": [{"kind": "resetReports", "at": "09:30:00"},
               {"kind": "rejectOrders", "at": "09:40:00", "for": 600, "every": 3},
               {"kind": "delayAnswers", "at": "10:00:00", "for": 600, "delayMs": 30},
               {"kind": "disconnect", "at": "11:00:00", "for": 300},
               {"kind": "refuseRows", "at": "11:04:00", "for": 120, "every": 2},
               {"kind": "closeMarket", "at": "12:00:00", "for": 600, "exchange": "PAPX"},
               {"kind": "rollDay", "at": "14:30:00"}]})";

constexpr const wchar_t* kAlfa = L"OV.S.PAPX.ALFA";
constexpr const wchar_t* kLastCall = L"OV.O.PAPF.IDX.202611.C.19800";
constexpr const wchar_t* kLastPut = L"OV.O.PAPF.IDX.202611.P.20000";
constexpr const wchar_t* kNearFuture = L"OV.F.PAPF.IDX.202611";
constexpr const wchar_t* kLongFuture = L"OV.F.PAPF.IDX.202612";
constexpr const wchar_t* kSymbols[] = {
    kAlfa,
    L"OV.S.PAPO.BETU",
    kNearFuture,
    kLongFuture,
    L"OV.F.PAPO.ORE.202612",
    kLastCall,
    kLastPut,
    L"OV.O.PAPF.IDX.202612.C.20000",
    L"OV.O.PAPF.IDX.202612.P.20200",
};
constexpr std::pair<const wchar_t*, const wchar_t*> kPairs[] = {
    {kLastCall, kLastPut},
    {kNearFuture, kLongFuture},
    {L"OV.O.PAPF.IDX.202612.C.20000", L"OV.O.PAPF.IDX.202612.C.20200"},
};

// Moves by the market's ticks alone: the publisher's heartbeats, which go by our time, stop after
// the first one.
class TickClock : public JumpingClock {
  public:
    using JumpingClock::JumpingClock;
    bool Sleep(std::uint32_t timeMs, std::stop_token stop) override {
        return JumpingClock::Sleep(timeMs > kTickMs ? UINT32_MAX : timeMs, std::move(stop));
    }
};

// A price text in units of 1e-10; 0 for an empty one.
std::int64_t PriceE10(TextView text) {
    const std::vector<TextView> parts = Split(text, L'.');
    Text digits(parts.back());
    if (parts.size() == 1) return ToInt64(text) * kE10;
    digits.resize(10, L'0');
    return ToInt64(parts.front()) * kE10 + ToInt64(digits);
}

// The platform and the publisher as they stand in the program, a subscriber, and clients that draw
// what they do. What the subscriber receives is kept byte for byte.
class SeededDay {
  public:
    explicit SeededDay(const std::string& marketFile = kMarketFile) {
        WriteFile(folder_ / "market.json", marketFile);
        ClearSettings();
        ForgetTradeData();
        SetSetting(L"MyIP", L"127.0.0.1");
        EXPECT_TRUE(publisher_.StartService(*api_));
        clock_.WaitForSleeps(1);
        Subscribe();
        clock_.SetUnixTimeMs(kBegin); // identities begin with it
        api_->SubscribeTopic(L"Corvinta");
        api_->SubscribeTopic(L"VANTOR.RETURN");
        EXPECT_EQ(api_->Connect(L"paper:" + folder_.TextOf("market.json"), L"Sys", L"key", 1), 1);
        clock_.WaitForSleeps(2);
        Settle();
    }

    // What the day was: how many publications there were of each kind, how often the platform
    // answered with what, and a digest of all publications after each part of the day.
    std::string Run(int ticks = kTicks) {
        std::string digests;
        for (int tick = 1; tick <= ticks && !testing::Test::HasFatalFailure(); ++tick) {
            Tick();
            if (tick == 60) HoldOptions();
            if (Upto(3) == 0) Act();
            Settle();
            if (tick * kParts / kTicks != (tick - 1) * kParts / kTicks) digests += DigestSoFar();
        }
        std::string day;
        for (const auto& [name, count] : counts_)
            day += name + "=" + std::to_string(count) + "\n";
        return day + digests;
    }

  private:
    void Subscribe() {
        zmq_setsockopt(subscriber_.get(), ZMQ_SUBSCRIBE, "", 0);
        SetZmqOption(subscriber_.get(), ZMQ_RCVHWM, 0);
        SetZmqOption(subscriber_.get(), ZMQ_RCVTIMEO, 5);
        const std::string port = ToUtf8(GetSetting(L"PublishPort"));
        EXPECT_EQ(zmq_connect(subscriber_.get(), ("tcp://127.0.0.1:" + port).c_str()), 0);
        while (Receive().empty())
            publisher_.SendData(L"is anybody there?", false);
        SetZmqOption(subscriber_.get(), ZMQ_RCVTIMEO, 20'000);
        publisher_.SendData(L"now", false);
        while (Receive() != std::string("now") + '\0') {
        }
        received_ = publisher_.Sent();
    }

    std::string Receive() {
        ZmqMessage message;
        return message.Receive(subscriber_.get()) ? std::string(message.Bytes()) : std::string();
    }

    void Tick() {
        const int sleeps = clock_.Sleeps();
        clock_.Advance(kTickMs);
        clock_.WaitForSleeps(sleeps + 1);
    }

    // While the platform is away its events wait until it is back.
    bool IsAway() { return api_->GetInstrumentData(L"Instrument", kAlfa).empty(); }

    // Takes in all that has been told until now: the platform tells its answer to a question last.
    // No two questions are alike, so that none is answered by the event of the one before.
    void Settle() {
        if (IsAway()) return;
        const Text question = Format(L"Day%lld-%d", std::int64_t{CurrentProcessId()}, ++questions_);
        auto answered = NamedEvent::Open(question + L"_1");
        api_->SendTopicCommand(L"VANTOR.RECOVER", 1, question, std::nullopt);
        while (!answered->Wait(0))
            std::this_thread::yield();
        for (const std::uint64_t sent = publisher_.Sent(); received_ < sent; ++received_) {
            const std::string publication = Receive();
            ASSERT_FALSE(publication.empty()) << "one of " << sent << " did not arrive";
            Note(publication);
        }
    }

    void Note(const std::string& publication) {
        part_ += publication; // with the zero byte that ends it
        const std::string kind = publication.substr(13, publication.find('"', 13) - 13);
        ++counts_[kind];
        if (kind != "EXECUTIONREPORT") return;
        const std::size_t start = publication.find("\"ReportID\":\"") + 12;
        const std::size_t end = publication.find('"', start);
        const Text report = *FromUtf8(publication.substr(start, end - start));
        std::erase(working_, report);
        if (publication.find("\"LeavesQty\":\"0\"") == std::string::npos)
            working_.push_back(report);
    }

    std::string DigestSoFar() {
        digest_ = Md5Hex(digest_ + std::exchange(part_, {}));
        return digest_ + "\n";
    }

    // From 0 to `most`. The library's own distributions differ between systems, and so does the
    // order in which two draws within one expression are made.
    std::int32_t Upto(std::int32_t most) {
        return static_cast<std::int32_t>(random_() % (static_cast<std::uint64_t>(most) + 1));
    }
    const auto& AnyOf(const auto& all) {
        return all[static_cast<std::size_t>(Upto(static_cast<std::int32_t>(std::size(all)) - 1))];
    }
    Text SomeReport() { return working_.empty() ? L"none" : AnyOf(working_); }

    // So many ticks from the last price, in the direction that is worse for the client.
    std::int64_t Near(const Wish& wish, std::int32_t ticks) {
        JsonDocument data;
        if (!ParseJson(api_->GetInstrumentData(L"ALL", wish.symbol), data)) return kE10;
        const std::int64_t tick = PriceE10(StringMember(data, L"TickSize"));
        const std::int64_t away = wish.side == kBuy ? ticks : -ticks;
        return std::max<std::int64_t>(PriceE10(StringMember(data, L"Last")) / tick + away, 1) *
               tick;
    }

    void Answer(std::int32_t code) { ++counts_["answer " + std::to_string(code)]; }

    void Send(const Wish& wish) {
        const auto parameters = api_->CreateParameters(
            IsStock(wish.symbol) ? ItemClass::StockOrder : ItemClass::FutOptOrder);
        PutWish(*parameters, wish);
        Answer(api_->NewOrder(KindOf(wish), *parameters));
    }

    // Until they expire.
    void HoldOptions() {
        Send({.symbol = kLastCall, .quantity = 3});
        Send({.symbol = kLastPut, .side = kSell, .quantity = 2});
    }

    void Act() {
        static constexpr void (SeededDay::*kActs[])(Wish) = {
            &SeededDay::Take,   &SeededDay::Take,     &SeededDay::Take,    &SeededDay::Rest,
            &SeededDay::Rest,   &SeededDay::Rest,     &SeededDay::Wait,    &SeededDay::Touch,
            &SeededDay::Slice,  &SeededDay::Pair,     &SeededDay::Combine, &SeededDay::Plan,
            &SeededDay::Change, &SeededDay::Withdraw, &SeededDay::Babble,
        };
        Wish wish{AnyOf(kSymbols)};
        wish.side = 1 + Upto(1);
        wish.quantity = 1 + Upto(IsStock(wish.symbol) ? 200 : 3);
        if (Upto(3) == 0) wish.account = L"1000002";
        (this->*AnyOf(kActs))(wish);
    }

    void Take(Wish wish) {
        wish.timeInForce = Upto(3);
        wish.orderType = 1 + Upto(1);
        if (wish.orderType == kLimit) wish.priceE10 = Near(wish, 1 - Upto(3));
        Send(wish);
    }

    void Rest(Wish wish) {
        wish.orderType = kLimit;
        wish.priceE10 = Near(wish, -Upto(60));
        Send(wish);
    }

    void Wait(Wish wish) {
        wish.orderType = 3 + Upto(1);
        wish.stopE10 = Near(wish, Upto(6));
        if (wish.orderType == kStopLimit) wish.priceE10 = wish.stopE10;
        if (Upto(1) == 0) wish.trailing = 1 + Upto(6);
        wish.trailingField = Upto(3);
        wish.trailingType = kByTicks;
        Send(wish);
    }

    void Touch(Wish wish) {
        wish.touchE10 = Near(wish, -Upto(6));
        wish.touchField = Upto(3);
        wish.touchCondition = Upto(2);
        Send(wish);
    }

    void Slice(Wish wish) {
        wish.orderType = kLimit;
        wish.priceE10 = Near(wish, Upto(3) - 1);
        wish.quantity += 4;
        wish.shown = 2 + wish.quantity / 8;
        Send(wish);
    }

    void Pair(Wish wish) {
        const auto& [first, second] = AnyOf(kPairs);
        wish.symbol = first;
        wish.orderType = kLimit;
        wish.priceE10 = Near(wish, Upto(8) - 4) - Near({second}, 0);
        wish.symbol = CombineSymbols(first, second);
        Send(wish);
    }

    void Combine(Wish wish) {
        const auto& [first, second] = AnyOf(kPairs);
        const Text both = Text(L"ACTIONTYPE=1&SIDEA=1&SIDEB=2&SYMBOLA=") + first;
        const Text command = Upto(2) == 0 ? L"ACTIONTYPE=2&SYMBOL=" + CombineSymbols(first, second)
                                          : both + L"&SYMBOLB=" + second;
        api_->SendRequest(1, L"OPTCOMB", command + L"&VOLUME=1", 0, L"PAPER-" + wish.account);
    }

    void Plan(Wish wish) {
        JsonWriter json;
        json.Member(L"StrategyType", Upto(1) == 0 ? L"SIMPLE" : L"ICEBERG");
        json.Member(L"BrokerID", L"PAPER");
        json.Member(L"Account", wish.account);
        json.Member(L"Symbol", wish.symbol);
        json.Member(L"Side", DecimalText(wish.side));
        json.Member(L"OrderType", L"2");
        json.Member(L"Price", PriceText(Near(wish, Upto(4) - 2)));
        json.Member(L"OrderQty", DecimalText(wish.quantity));
        json.Member(L"DiscloseQty", L"2");
        json.Member(L"UserKey7", L"na\u00EFve \xD83D\xDE00");
        api_->NewStrategyOrder(json.Finish());
    }

    void Change(Wish wish) {
        const auto changes = api_->CreateParameters(ItemClass::ReplaceOrder);
        changes->PutText(replace_id::kReportId, SomeReport());
        if (Upto(1) == 0) changes->PutInt(replace_id::kOrderQty, wish.quantity);
        if (Upto(1) == 0) changes->PutInt64(replace_id::kPrice, Near(wish, Upto(6) - 3));
        Answer(api_->ReplaceOrder(*changes));
    }

    void Withdraw(Wish) { Answer(api_->CancelOrder(SomeReport(), L"")); }

    void Babble(Wish wish) {
        static constexpr void (*kNonsense[])(Wish&) = {
            [](Wish& each) { each.symbol += L"?"; }, [](Wish& each) { each.account = L"9"; },
            [](Wish& each) { each.quantity = 0; },   [](Wish& each) { each.priceE10 += 1; },
            [](Wish& each) { each.priceE10 *= 2; },  [](Wish& each) { each.quantity = 1'000; },
        };
        wish.orderType = kLimit;
        wish.priceE10 = Near(wish, 0);
        AnyOf(kNonsense)(wish);
        Send(wish);
    }

    TempFolder folder_;
    TickClock clock_{200}; // moves by itself when answers are delayed
    ScopedClock scoped_{clock_};
    std::mt19937_64 random_{1}; // gives the same numbers by definition
    std::map<std::string, int> counts_;
    std::string part_, digest_;
    std::vector<Text> working_; // the reports' identities
    std::uint64_t received_ = 0;
    int questions_ = 0;
    ZmqContext context_ = MakeZmqContext();
    ZmqSocket subscriber_{zmq_socket(context_.get(), ZMQ_SUB)};
    PublishWorker publisher_;
    std::unique_ptr<TradeApi> api_ = MakePaperTradeApi(); // ends before its listener
};

// The same publications, byte for byte, on every system and from every compiler, whoever runs it.
TEST(SeededDay, IsTheSameEverywhere) {
    const std::string day = SeededDay().Run();
    const Text path = ExecutableFolder() + L"paper_day.txt";
    WriteFile(ToPath(path), day);
    EXPECT_EQ(day, ReadFile(HALVANE_TESTS "/golden/paper_day.txt"))
        << "the day that it was is in " << ToUtf8(path);
}

TEST(SeededDay, IsTheSameAgainAndAnotherFromAnotherSeed) {
    constexpr int kMorning = kTicks / 8;
    const std::string day = SeededDay().Run(kMorning);
    EXPECT_EQ(SeededDay().Run(kMorning), day);
    std::string other = kMarketFile;
    other.replace(other.find("20261119"), 8, "20261120");
    EXPECT_NE(SeededDay(other).Run(kMorning), day);
}

} // namespace
} // namespace halvane
