#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "paper/Announcer.h"
#include "paper/Outbox.h"
#include "paper/Paper.h"
#include "paper/Topics.h"
#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/exchange/Exchange.h"
#include "paper/file/MarketChoice.h"
#include "paper/market/Pacer.h"
#include "paper/rows/AccountItems.h"
#include "paper/rows/AccountLists.h"
#include "paper/rows/ContractFiles.h"
#include "paper/rows/InstrumentInfo.h"
#include "paper/rows/Parameters.h"
#include "paper/rows/ReportItems.h"
#include "paper/rows/Tracker.h"

#include <thread>
#include <utility>

namespace halvane {
namespace {

using namespace paper;

// What the platform and its clients say to each other by number or name.
constexpr std::int32_t kConnected = 1;
constexpr std::int32_t kRefused = 0;
constexpr std::int32_t kRead = 1;
constexpr std::int32_t kNothingRead = 0;
constexpr std::int32_t kCheckKeyCommand = 3;
constexpr std::int32_t kLineMessage = 1, kCombinationRequest = 1;

// The calls and the threads around an Exchange. One lock guards all state; the event queue's own
// lock is taken inside it, and neither is held while a sink is called.
class PaperTradeApi : public TradeApi {
  public:
    std::unique_ptr<Item> CreateItem(ItemClass itemClass) override;
    std::unique_ptr<OrderParameters> CreateParameters(ItemClass itemClass) override;
    std::unique_ptr<PositionTracker> CreatePositionTracker() override;
    bool Advise(HostEvents& sink) override;
    bool Advise(TradeEvents& sink) override;
    std::int32_t Connect(TextView hostAddress, TextView systemName, TextView serviceKey,
                         std::int32_t mode) override;
    void GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                        std::optional<Text>& inOut) override;
    std::int32_t GetDataItem(std::int32_t kind, std::int32_t index, TextView accountMask,
                             Item& item) override;
    std::int32_t ReplaceOrder(OrderParameters& parameters) override;
    std::int32_t CancelOrder(TextView reportId, TextView key) override;
    std::int32_t QueryReport(std::int32_t kind, TextView id, Item& item) override;
    Text GetPlatformValue(TextView name) override;
    void SubscribeTopic(TextView topic) override;
    void SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                          std::optional<Text> data) override;
    void SendRequest(std::int32_t kind, TextView name, TextView command, std::int32_t option,
                     TextView accountKey) override;
    Text GetInstrumentData(TextView name, TextView symbol) override;
    void SetMode(std::int32_t mode) override;
    std::int32_t NewOrder(std::int32_t kind, OrderParameters& parameters) override;
    Text GetExpirationDate(TextView symbol) override;
    void AttachPositionTracker(PositionTracker& tracker) override;
    std::int32_t GetTradingDays(TextView symbol, std::int32_t expiration) override;
    void NewStrategyOrder(TextView text) override;
    std::optional<IdentifierPage> QueryPage(std::int32_t kind, std::int32_t start,
                                            std::int32_t most) override;

  private:
    void RunMarket(const std::stop_token& stop, Pacer pacer);
    void StepMarket() REQUIRES(lock_);
    void Delay();
    bool IsUp() const REQUIRES(lock_);
    bool RefusesRow() REQUIRES(lock_);
    template <typename Result, typename Read>
    Result ReadInstrument(TextView symbol, Result unknown, Read read);
    template <typename Call> std::int32_t Change(Call call);
    std::int32_t PutRow(std::int32_t kind, std::int32_t index, TextView mask, PaperItem& item)
        REQUIRES(lock_);
    std::int32_t PutOneReport(TextView id, PaperItem& item) REQUIRES(lock_);
    const ServiceKey* FindKey(TextView key) const REQUIRES(lock_);

    Outbox outbox_{ToPath(ExecutableFolder() + L"PaperOutbox.log")}; // has a lock of its own
    Mutex lock_;
    std::optional<Exchange> exchange_ GUARDED_BY(lock_); // from Connect on
    std::vector<ServiceKey> keys_ GUARDED_BY(lock_);
    Announcer announcer_ GUARDED_BY(lock_){lock_}; // ends before what it tells of
    std::jthread market_;                          // ends before the queue that it posts to
};

std::unique_ptr<Item> PaperTradeApi::CreateItem(ItemClass itemClass) {
    return std::make_unique<PaperItem>(itemClass);
}

std::unique_ptr<OrderParameters> PaperTradeApi::CreateParameters(ItemClass) {
    return std::make_unique<PaperParameters>();
}

std::unique_ptr<PositionTracker> PaperTradeApi::CreatePositionTracker() {
    return std::make_unique<Tracker>();
}

bool PaperTradeApi::Advise(HostEvents& sink) {
    const MutexLock guard(lock_);
    return announcer_.Advise(sink);
}

bool PaperTradeApi::Advise(TradeEvents& sink) {
    const MutexLock guard(lock_);
    return announcer_.Advise(sink);
}

std::int32_t PaperTradeApi::Connect(TextView hostAddress, TextView systemName, TextView serviceKey,
                                    std::int32_t) {
    const MutexLock guard(lock_);
    keys_.insert(keys_.begin(), {Text(serviceKey), Text(systemName)});
    if (exchange_) return kConnected;
    std::optional<MarketPlan> plan = ChooseMarket(hostAddress);
    if (!plan) return kRefused;
    const Pacer pacer(plan->stepMs, plan->speed);
    keys_.insert(keys_.end(), plan->serviceKeys.begin(), plan->serviceKeys.end());
    const Day today = plan->start ? DayOf(*plan->start) : Today();
    Market market = BuildMarket(*std::move(plan), today);
    WriteContractLists(ExecutableFolder(), market, today);
    exchange_.emplace(std::move(market));
    market_ = std::jthread([this, pacer](std::stop_token stop) { RunMarket(stop, pacer); });
    announcer_.Start(*exchange_);
    return kConnected;
}

void PaperTradeApi::RunMarket(const std::stop_token& stop, Pacer pacer) {
    while (TheClock().Sleep(pacer.PauseMs(), stop)) {
        for (std::int64_t due = pacer.Due(); due > 0; --due) { // calls come in between
            const MutexLock guard(lock_);
            StepMarket();
        }
    }
}

void PaperTradeApi::StepMarket() {
    exchange_->Step();
    announcer_.Tell(exchange_->TakeNotices());
    announcer_.TellStep();
}

// In our time, and without the lock: others are served meanwhile.
void PaperTradeApi::Delay() {
    std::uint32_t delayMs = 0;
    {
        const MutexLock guard(lock_);
        if (!exchange_) return;
        const Incident* delay = exchange_->TheIncidents().Active(IncidentKind::DelayAnswers);
        if (delay != nullptr) delayMs = static_cast<std::uint32_t>(delay->delayMs);
    }
    if (delayMs != 0) TheClock().Sleep(delayMs);
}

bool PaperTradeApi::IsUp() const { return exchange_ && exchange_->Hours().IsConnected(); }

bool PaperTradeApi::RefusesRow() {
    return exchange_->TheIncidents().Strikes(IncidentKind::RefuseRows);
}

const ServiceKey* PaperTradeApi::FindKey(TextView key) const {
    for (const ServiceKey& row : keys_) {
        if (row.key == key) return &row;
    }
    return nullptr;
}

void PaperTradeApi::GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView,
                                   std::optional<Text>& inOut) {
    if (kind != kCheckKeyCommand || subKind != 0) return;
    const MutexLock guard(lock_);
    const ServiceKey* row = inOut ? FindKey(*inOut) : nullptr;
    inOut = row == nullptr ? std::nullopt : std::optional(row->systemName);
}

std::int32_t PaperTradeApi::GetDataItem(std::int32_t kind, std::int32_t index, TextView accountMask,
                                        Item& item) {
    auto* paperItem = dynamic_cast<PaperItem*>(&item);
    if (index == 0) Delay(); // once a list
    const MutexLock guard(lock_);
    if (paperItem == nullptr || !IsUp() || index < 0 || RefusesRow()) return kNothingRead;
    paperItem->Clear();
    return PutRow(kind, index, accountMask, *paperItem);
}

std::int32_t PaperTradeApi::PutRow(std::int32_t kind, std::int32_t index, TextView mask,
                                   PaperItem& item) {
    const auto at = static_cast<std::size_t>(index);
    if (kind == kAccounts) {
        if (at >= exchange_->Accounts().size()) return kNothingRead;
        PutAccount(item, exchange_->Accounts()[at]->Setup(), exchange_->TheMarket().plan);
        return kRead;
    }
    const Account* account = exchange_->FindAccount(mask);
    if (account == nullptr) return kNothingRead;
    const RowSetting setting{exchange_->TheMarket().plan.currency, exchange_->Clock()};
    return PutAccountRow(item, kind, *account, at, setting) ? kRead : kNothingRead;
}

template <typename Call> std::int32_t PaperTradeApi::Change(Call call) {
    Delay();
    const MutexLock guard(lock_);
    if (!IsUp()) return kNotConnected;
    exchange_->EndDayIfOver();
    const std::int32_t result = call(*exchange_);
    announcer_.Tell(exchange_->TakeNotices());
    return result;
}

std::int32_t PaperTradeApi::NewOrder(std::int32_t kind, OrderParameters& parameters) {
    const auto* paperParameters = dynamic_cast<PaperParameters*>(&parameters);
    if (paperParameters == nullptr) return kForeignObject;
    return Change(
        [&](Exchange& exchange) { return exchange.NewOrder(ReadTicket(kind, *paperParameters)); });
}

std::int32_t PaperTradeApi::ReplaceOrder(OrderParameters& parameters) {
    const auto* paperParameters = dynamic_cast<PaperParameters*>(&parameters);
    if (paperParameters == nullptr) return kForeignObject;
    return Change([&](Exchange& exchange) {
        return exchange.ReplaceOrder(ReadReplacement(*paperParameters));
    });
}

std::int32_t PaperTradeApi::CancelOrder(TextView reportId, TextView) {
    return Change([&](Exchange& exchange) { return exchange.CancelOrder(reportId); });
}

std::int32_t PaperTradeApi::QueryReport(std::int32_t kind, TextView id, Item& item) {
    auto* paperItem = dynamic_cast<PaperItem*>(&item);
    const MutexLock guard(lock_);
    if (paperItem == nullptr || !exchange_) return kNothingRead;
    paperItem->Clear();
    // An event that is on its way when the platform goes away still finds its report.
    if (kind == kOneReport) return PutOneReport(id, *paperItem);
    if (!IsUp() || (kind != kReports && kind != kReportsWithFills)) return kNothingRead;
    if (paperItem->Class() != ItemClass::ReportList) return kNothingRead;
    PutReportList(*paperItem, announcer_.Shown().Ids(kind == kReportsWithFills));
    return kRead;
}

std::int32_t PaperTradeApi::PutOneReport(TextView id, PaperItem& item) {
    if (item.Class() == ItemClass::ExecutionReport) {
        const ShownReports::Row* row = announcer_.Shown().Find(id);
        if (row == nullptr) return kNothingRead;
        PutReport(item, *row->order, row->state);
        return kRead;
    }
    const Fill* fill = item.Class() == ItemClass::Fill ? exchange_->FindFill(id) : nullptr;
    if (fill == nullptr) return kNothingRead;
    PutFill(item, *fill);
    return kRead;
}

// As QueryReport answers the lists: when the platform is away they are empty.
std::optional<IdentifierPage> PaperTradeApi::QueryPage(std::int32_t kind, std::int32_t start,
                                                       std::int32_t most) {
    const MutexLock guard(lock_);
    if (!IsUp()) return IdentifierPage{};
    const ShownReports& shown = announcer_.Shown();
    const bool fills = kind == kReportsWithFills;
    const std::size_t count = fills ? shown.CountFills() : shown.CountReports();
    IdentifierPage page{{}, static_cast<std::int32_t>(count)};
    if (start < 0 || most <= 0) return page;
    const auto from = static_cast<std::size_t>(start);
    const auto size = static_cast<std::size_t>(most);
    page.identifiers = fills ? shown.FillIds(from, size) : shown.ReportIds(from, size);
    return page;
}

Text PaperTradeApi::GetPlatformValue(TextView name) {
    if (name == L"PERMISSIONS.General.LoginType") return L"1";
    if (name == L"ModulePath") return ExecutableFolder();
    return {};
}

// The modes of a connection are alike on paper.
void PaperTradeApi::SetMode(std::int32_t) {}

void PaperTradeApi::SubscribeTopic(TextView topic) {
    const MutexLock guard(lock_);
    announcer_.Subscribe(topic);
}

void PaperTradeApi::SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                                     std::optional<Text> data) {
    if (topic == kLineTopic) {
        if (value == kLineMessage && data) outbox_.Add(text, *data);
        return;
    }
    const MutexLock guard(lock_);
    if (topic == kRecoverTopic && exchange_ && announcer_.IsSubscribed(kReturnTopic))
        announcer_.TellRecovered(text, value);
}

void PaperTradeApi::SendRequest(std::int32_t kind, TextView name, TextView command, std::int32_t,
                                TextView accountKey) {
    if (kind != kCombinationRequest || name != L"OPTCOMB") return;
    Change([&](Exchange& exchange) {
        exchange.ActOnCombination(accountKey, command);
        return kAccepted;
    });
}

void PaperTradeApi::NewStrategyOrder(TextView text) {
    Change([&](Exchange& exchange) {
        exchange.NewStrategyOrder(text);
        return kAccepted;
    });
}

template <typename Result, typename Read>
Result PaperTradeApi::ReadInstrument(TextView symbol, Result unknown, Read read) {
    const MutexLock guard(lock_);
    const Book* book = IsUp() ? exchange_->FindBook(symbol) : nullptr;
    return book == nullptr ? unknown : read(*book);
}

Text PaperTradeApi::GetInstrumentData(TextView name, TextView symbol) {
    return ReadInstrument(symbol, Text(), [&](const Book& book) {
        if (name == L"Instrument") return book.TheInstrument().shortId;
        return name == L"ALL" ? InstrumentJson(book) : Text();
    });
}

Text PaperTradeApi::GetExpirationDate(TextView symbol) {
    return ReadInstrument(symbol, Text(), ExpirationText);
}

std::int32_t PaperTradeApi::GetTradingDays(TextView symbol, std::int32_t expiration) {
    return ReadInstrument(symbol, std::int32_t{0},
                          [&](const Book& book) { return TradingDaysLeft(book, expiration); });
}

void PaperTradeApi::AttachPositionTracker(PositionTracker& tracker) {
    auto* paperTracker = dynamic_cast<Tracker*>(&tracker);
    const MutexLock guard(lock_);
    if (paperTracker == nullptr || !exchange_) return;
    paperTracker->Clear();
    for (const auto& account : exchange_->Accounts())
        paperTracker->Add(*account);
}

} // namespace

std::unique_ptr<TradeApi> MakePaperTradeApi() {
    Log().Warn(
        L"PAPER: this is the paper platform: no order leaves this program, no money is real");
    return std::make_unique<PaperTradeApi>();
}

} // namespace halvane
