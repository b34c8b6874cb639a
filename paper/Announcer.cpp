#include "paper/Announcer.h"

#include "foundation/support/Mutex.h"
#include "foundation/support/Process.h"
#include "paper/Topics.h"
#include "paper/exchange/Exchange.h"
#include "paper/rows/AccountLists.h"
#include "paper/rows/ContractFiles.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeEvents.h"

#include <utility>

namespace halvane::paper {
namespace {

constexpr std::int32_t kServiceCommand = 2, kServiceStarts = 1, kSymbolClear = 5;

} // namespace

bool Announcer::Advise(HostEvents& sink) {
    if (host_ != nullptr) return false;
    host_ = &sink;
    if (exchange_ != nullptr) GreetHost();
    return true;
}

bool Announcer::Advise(TradeEvents& sink) {
    if (trader_ != nullptr) return false;
    trader_ = &sink;
    if (exchange_ != nullptr) GreetTrader();
    return true;
}

void Announcer::Start(const Exchange& exchange) {
    exchange_ = &exchange;
    GreetHost();
    GreetTrader();
}

void Announcer::GreetHost() {
    if (host_ == nullptr) return;
    HostEvents& host = *host_;
    events_.Post([&host] { host.OnGeneralServiceUpdate(); });
    events_.Post([&host] { host.OnCommandMsg(kServiceCommand, kServiceStarts, L""); });
}

void Announcer::GreetTrader() {
    if (trader_ == nullptr) return;
    PostCounts();
    PostCount(kTradeDataLoaded, nullptr, 1);
}

void Announcer::PostCounts() {
    PostCount(kAccounts, nullptr, exchange_->Accounts().size());
    for (const auto& account : exchange_->Accounts()) {
        for (const AccountList& list : AccountLists())
            PostCount(list.kind, account.get(), list.count(*account));
    }
}

void Announcer::PostCount(std::int32_t kind, const Account* account, std::size_t count) {
    PostToTrader([kind, account, count](TradeEvents& trader) {
        const TextView mask = account == nullptr ? TextView() : account->Mask();
        trader.OnAccountUpdate(kind, mask, static_cast<std::int32_t>(count));
    });
}

void Announcer::Tell(const std::vector<Notice>& notices) {
    for (const Notice& notice : notices) {
        std::visit([this](const auto& each) { Post(each); }, notice);
    }
}

void Announcer::Post(const ReportNotice& notice) {
    events_.Post([this, notice] {
        {
            const MutexLock guard(lock_);
            shown_.Show(*notice.order, notice.state);
        }
        CallTrader(
            [&](TradeEvents& trader) { trader.OnExecutionReport(notice.order->ReportId()); });
    });
}

void Announcer::Post(const FillNotice& notice) {
    trackerMoved_ = true;
    PostToTrader(
        [fill = notice.fill](TradeEvents& trader) { trader.OnFilledReport(fill->FillId()); });
}

void Announcer::Post(const CountsNotice& notice) {
    PostCount(kMargins, notice.account, 1);
    PostCount(kPositions, notice.account, notice.positions);
}

void Announcer::Post(const CombinationNotice& notice) {
    PostCount(kPositions, notice.account, notice.positions);
    PostCount(kDetailPositions, notice.account, notice.combinations);
    PostCount(kCombinationOrders, notice.account, notice.actions);
}

void Announcer::Post(const ResetNotice& notice) {
    events_.Post([this, notice] {
        if (notice.newDay) {
            const MutexLock guard(lock_);
            shown_ = {};
        }
        CallTrader([](TradeEvents& trader) { trader.OnReportReset(); });
    });
    if (!notice.newDay) return;
    trackerMoved_ = true;
    PostCounts();
    // Files are slow, so they are written without the lock; contracts do not change after the
    // start.
    events_.Post([&market = exchange_->TheMarket(), today = exchange_->Clock().Today()] {
        WriteContractLists(ExecutableFolder(), market, today);
    });
}

// What the sinks know may be out of date by then, so they are greeted as if they were new.
void Announcer::Post(const ConnectionNotice& notice) {
    if (!notice.isUp) return events_.Hold();
    events_.Release();
    GreetHost();
    GreetTrader();
}

void Announcer::Post(const ClearNotice& notice) {
    PostToTrader([&symbol = notice.book->TheInstrument().symbol](TradeEvents& trader) {
        trader.OnCommandMsg(kServiceCommand, kSymbolClear, symbol);
    });
}

void Announcer::TellStep() {
    if (std::exchange(trackerMoved_, false))
        PostToTrader([](TradeEvents& trader) { trader.OnPositionTracker(); });
    PostSignals();
}

// The means follow the prices also while nobody listens: who subscribes later hears the same.
void Announcer::PostSignals() {
    const std::vector<Signal> signals = signals_.Step(*exchange_);
    if (!IsSubscribed(kSignalTopic)) return;
    for (const Signal& signal : signals) {
        for (const auto& account : exchange_->Accounts()) {
            PostToTrader([text = SignalText(signal, *account)](TradeEvents& trader) {
                trader.OnSetTopic(kSignalTopic, 0, text, std::nullopt);
            });
        }
    }
}

void Announcer::TellRecovered(TextView alias, std::int32_t date) {
    events_.Post([this, date, alias = Text(alias), &plan = exchange_->TheMarket().plan,
                  today = exchange_->Clock().Today()] {
        const Text path = RecoverContractList(ExecutableFolder(), alias, date, plan, today);
        CallTrader(
            [&](TradeEvents& trader) { trader.OnSetTopic(kReturnTopic, date, alias, path); });
    });
}

template <typename Call> void Announcer::PostToTrader(Call call) {
    events_.Post([this, call = std::move(call)] { CallTrader(call); });
}

template <typename Call> void Announcer::CallTrader(Call call) {
    TradeEvents* trader = nullptr;
    {
        const MutexLock guard(lock_);
        trader = trader_;
    }
    if (trader != nullptr) call(*trader);
}

} // namespace halvane::paper
