#pragma once

#include "tests/hold/Turns.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeEvents.h"

#include <functional>
#include <random>
#include <utility>

namespace halvane {

// A platform in front of another that now and then is slow, throws, or gives no object, as far as
// requests see it; what is published goes through unharmed, and is told to `onEvent` beforehand.
class FaultyPlatform final : public TradeApi, private TradeEvents {
  public:
    struct Chances { // one in so many, 0 for never
        std::uint32_t slow = 0, fails = 0, noObject = 0;
    };
    using OnEvent = std::function<void(const wchar_t* dataType, TextView key)>;

    FaultyPlatform(std::unique_ptr<TradeApi> platform, std::uint64_t seed, OnEvent onEvent)
        : onEvent_(std::move(onEvent)), random_(seed), platform_(std::move(platform)) {}

    void SetChances(Chances chances) { chances_ = chances; } // never, at first

    int Failed() const { return failed_; } // calls, so far

    // Until then nobody hears that the trade data is there, nor of what follows.
    void HoldReadyUntil(std::int64_t ms) { readyAtMs_ = ms; }

    std::unique_ptr<Item> CreateItem(ItemClass itemClass) override {
        return Refuses() ? nullptr : platform_->CreateItem(itemClass);
    }
    std::unique_ptr<OrderParameters> CreateParameters(ItemClass itemClass) override {
        return Refuses() ? nullptr : platform_->CreateParameters(itemClass);
    }
    std::unique_ptr<PositionTracker> CreatePositionTracker() override {
        return Refuses() ? nullptr : platform_->CreatePositionTracker();
    }
    bool Advise(HostEvents& sink) override { return platform_->Advise(sink); }
    bool Advise(TradeEvents& sink) override {
        sink_ = &sink;
        return platform_->Advise(static_cast<TradeEvents&>(*this));
    }
    std::int32_t Connect(TextView address, TextView system, TextView key,
                         std::int32_t mode) override {
        return platform_->Connect(address, system, key, mode);
    }
    void GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                        std::optional<Text>& inOut) override {
        Strain().GeneralCommand(kind, subKind, source, inOut);
    }
    std::int32_t GetDataItem(std::int32_t kind, std::int32_t index, TextView mask,
                             Item& item) override {
        return Strain().GetDataItem(kind, index, mask, item);
    }
    std::int32_t ReplaceOrder(OrderParameters& changes) override {
        return Strain().ReplaceOrder(changes);
    }
    std::int32_t CancelOrder(TextView reportId, TextView key) override {
        return Strain().CancelOrder(reportId, key);
    }
    std::int32_t QueryReport(std::int32_t kind, TextView id, Item& item) override {
        return Strain().QueryReport(kind, id, item);
    }
    Text GetPlatformValue(TextView name) override { return Strain().GetPlatformValue(name); }
    void SubscribeTopic(TextView topic) override { platform_->SubscribeTopic(topic); }
    void SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                          std::optional<Text> data) override {
        Strain().SendTopicCommand(topic, value, text, std::move(data));
    }
    void SendRequest(std::int32_t kind, TextView name, TextView command, std::int32_t option,
                     TextView accountKey) override {
        Strain().SendRequest(kind, name, command, option, accountKey);
    }
    Text GetInstrumentData(TextView name, TextView symbol) override {
        return Strain().GetInstrumentData(name, symbol);
    }
    void SetMode(std::int32_t mode) override { Strain().SetMode(mode); }
    std::int32_t NewOrder(std::int32_t kind, OrderParameters& order) override {
        return Strain().NewOrder(kind, order);
    }
    Text GetExpirationDate(TextView symbol) override { return Strain().GetExpirationDate(symbol); }
    void AttachPositionTracker(PositionTracker& tracker) override {
        Strain().AttachPositionTracker(tracker);
    }
    std::int32_t GetTradingDays(TextView symbol, std::int32_t expiration) override {
        return Strain().GetTradingDays(symbol, expiration);
    }
    void NewStrategyOrder(TextView text) override { Strain().NewStrategyOrder(text); }
    std::optional<IdentifierPage> QueryPage(std::int32_t kind, std::int32_t start,
                                            std::int32_t most) override {
        return Strain().QueryPage(kind, start, most);
    }

  private:
    bool Strikes(std::uint32_t chance) {
        return !telling_ && chance != 0 && random_() % chance == 0;
    }
    bool Refuses() {
        const bool refuses = Strikes(chances_.noObject);
        failed_ += refuses ? 1 : 0;
        return refuses;
    }
    TradeApi& Strain() {
        if (Strikes(chances_.slow))
            Turns::All().Sleep(static_cast<std::uint32_t>(random_() % 30'000));
        if (Strikes(chances_.fails)) {
            ++failed_;
            throw TradeApiError(-1, L"drawn");
        }
        return *platform_;
    }

    template <class Call> void Tell(const wchar_t* dataType, TextView key, Call call) {
        if (dataType != nullptr) onEvent_(dataType, key);
        telling_ = true;
        call();
        telling_ = false;
    }
    void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override {
        if (const auto now = Turns::All().NowMs(); kind == kTradeDataLoaded && now < readyAtMs_)
            Turns::All().Sleep(static_cast<std::uint32_t>(readyAtMs_ - now));
        Tell(kind == kAccounts ? L"ACCOUNTS" : nullptr, L"",
             [&] { sink_->OnAccountUpdate(kind, key, value); });
    }
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override {
        Tell(kind == 2 && subKind == 5 ? L"SYMBOLCLEAR" : nullptr, text,
             [&] { sink_->OnCommandMsg(kind, subKind, text); });
    }
    void OnExecutionReport(TextView reportId) override {
        Tell(L"EXECUTIONREPORT", reportId, [&] { sink_->OnExecutionReport(reportId); });
    }
    void OnFilledReport(TextView fillId) override {
        Tell(L"FILLEDREPORT", fillId, [&] { sink_->OnFilledReport(fillId); });
    }
    void OnReportReset() override {
        Tell(L"REPORTRESET", L"", [&] { sink_->OnReportReset(); });
    }
    void OnSetTopic(TextView topic, std::int32_t number, TextView text,
                    const std::optional<Text>& data) override {
        Tell(topic == L"Corvinta" ? L"CorvintaSignal" : nullptr, L"",
             [&] { sink_->OnSetTopic(topic, number, text, data); });
    }
    void OnPositionTracker() override {
        Tell(L"POSITIONTRACKER", L"", [&] { sink_->OnPositionTracker(); });
    }

    inline static thread_local bool telling_ = false; // this thread tells what has happened

    OnEvent onEvent_;
    std::mt19937_64 random_;
    Chances chances_;
    int failed_ = 0;
    std::int64_t readyAtMs_ = 0;
    TradeEvents* sink_ = nullptr;
    std::unique_ptr<TradeApi> platform_; // ends before what its events use
};

} // namespace halvane
