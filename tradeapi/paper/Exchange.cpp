#include "tradeapi/paper/Exchange.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Numbers.h"
#include "tradeapi/paper/Codes.h"
#include "tradeapi/paper/PaperItem.h"
#include "tradeapi/paper/Units.h"

#include <algorithm>
#include <utility>

namespace halvane::paper {
namespace {

// The ids of the replace parameters.
enum : std::int32_t { kReplaceReportId = 1, kReplaceQty = 3, kReplacePrice = 4, kReplaceStop = 5 };

bool IsWithinLimits(const Instrument& instrument, std::int64_t priceE10) {
    if (priceE10 == kNoInt64) return true;
    return priceE10 >= instrument.lowerE10 && priceE10 <= instrument.upperE10;
}

// The most that a buy may have to pay, or what a sale will at least be worth holding.
std::int64_t PriceToFund(const Order& order) {
    const std::int64_t limit = order.state.priceE10;
    const std::int64_t last = order.book.LastE10();
    if (!order.IsBuy()) return std::max(limit, last);
    if (limit != kNoInt64) return limit;
    return std::max(order.book.CurrentQuote().askE10, order.state.stopE10);
}

std::int32_t ReadPrice(const PaperValue* value, const Order& order, bool allowed,
                       std::int32_t refusal, std::int64_t& priceE10) {
    if (value == nullptr) return kAccepted;
    const Instrument& instrument = order.book.TheInstrument();
    priceE10 = AsInt64(value);
    if (!allowed || priceE10 <= 0) return refusal;
    if (!IsWithinLimits(instrument, priceE10)) return kOutsidePriceLimits;
    return CheckPrice(priceE10, instrument);
}

} // namespace

Exchange::Exchange(Market market)
    : market_(std::move(market)), idStem_(DecimalText(TheClock().UnixTimeMs())),
      prices_(market_.drivers, market_.seed) {
    for (const Instrument& instrument : market_.instruments) {
        Book& book = books_.emplace_back(instrument);
        book.SetTick(prices_.NextTick(instrument));
        bySymbol_.emplace(instrument.symbol, &book);
    }
    for (const AccountSetup& setup : market_.accounts) {
        accounts_.push_back(std::make_unique<Account>(setup));
    }
}

std::int32_t Exchange::NewOrder(std::int32_t kind, const PaperParameters& parameters) {
    if (kind != kStockOrder && kind != kFutOptOrder) return kUnknownOrderKind;
    Ticket ticket = ReadTicket(kind, parameters);
    if (IsSpread(ticket)) return kSpreadUnsupported;
    const auto book = bySymbol_.find(ticket.symbol);
    if (book == bySymbol_.end()) return kUnknownSymbol;
    Account* account = AccountOf(ticket.brokerId + L"-" + ticket.account);
    if (account == nullptr) return kUnknownAccount;
    TicketPrices prices;
    const std::int32_t result = CheckTicket(ticket, book->second->TheInstrument(), prices);
    if (result != kAccepted) return result;

    Order& order = Enter(std::move(ticket), prices, *account, *book->second);
    order.state.errorCode = CheckMarket(order);
    if (order.state.errorCode != 0) {
        order.state.leaves = 0;
        Report(order, kRejected);
        return kAccepted;
    }
    order.account.Freeze(order, NeedNow(order));
    Report(order, kNew);
    if (order.waiting) {
        order.book.Rest(order);
    } else {
        Work(order);
    }
    Sweep(order.book);
    return kAccepted;
}

Order& Exchange::Enter(Ticket ticket, const TicketPrices& prices, Account& account, Book& book) {
    const OrderState state{.quantity = ticket.quantity,
                           .leaves = ticket.quantity,
                           .priceE10 = prices.limitE10,
                           .stopE10 = prices.stopE10};
    const bool waiting = ticket.NeedsStop();
    Order& order = orders_.emplace_back(Order{.reportId = NextId(L"R"),
                                              .orderId = NextId(L"O"),
                                              .ticket = std::move(ticket),
                                              .tradeDate = Now().date,
                                              .account = account,
                                              .book = book,
                                              .state = state,
                                              .fills = {},
                                              .frozen = {},
                                              .place = ++lastPlace_,
                                              .waiting = waiting});
    byReportId_.emplace(order.reportId, &order);
    return order;
}

std::int32_t Exchange::ReplaceOrder(const PaperParameters& parameters) {
    const auto found = byReportId_.find(AsText(parameters.Value(kReplaceReportId)));
    if (found == byReportId_.end()) return kUnknownReport;
    Order& order = *found->second;
    OrderState wanted = order.state;
    const std::int32_t result = ReadReplacement(order, parameters, wanted);
    if (result != kAccepted) return result;

    const bool moved = wanted.priceE10 != order.state.priceE10 ||
                       wanted.leaves > order.state.leaves || wanted.stopE10 != order.state.stopE10;
    const Frozen before = order.frozen;
    order.book.Remove(order);
    order.account.Release(order);
    std::swap(order.state, wanted);
    const Frozen need = NeedNow(order);
    if (need.Total() > before.Total() && need.Total() > order.account.Reckon().Free()) {
        std::swap(order.state, wanted);
        order.account.Freeze(order, before);
        order.book.Rest(order);
        return kFundsShort;
    }
    order.account.Freeze(order, need);
    if (moved) order.place = ++lastPlace_;
    Report(order, kReplaced);
    if (moved && !order.waiting) {
        Work(order);
    } else {
        order.book.Rest(order);
    }
    Sweep(order.book);
    return kAccepted;
}

std::int32_t Exchange::ReadReplacement(const Order& order, const PaperParameters& parameters,
                                       OrderState& wanted) const {
    if (!order.IsWorking()) return kNotWorking;
    const PaperValue* value = parameters.Value(kReplaceQty);
    const std::int32_t quantity = value == nullptr ? 0 : AsInt(value);
    if (quantity != 0) {
        if (quantity <= order.state.filled) return kBadQuantity;
        if (quantity > order.book.TheInstrument().maxQuantity) return kBadQuantity;
        wanted.quantity = quantity;
        wanted.leaves = quantity - order.state.filled;
    }
    const std::int32_t result =
        ReadPrice(parameters.Value(kReplacePrice), order, order.state.priceE10 != kNoInt64,
                  kBadPrice, wanted.priceE10);
    if (result != kAccepted) return result;
    return ReadPrice(parameters.Value(kReplaceStop), order, order.waiting, kBadStopPrice,
                     wanted.stopE10);
}

std::int32_t Exchange::CancelOrder(TextView reportId) {
    const auto found = byReportId_.find(reportId);
    if (found == byReportId_.end()) return kUnknownReport;
    Order& order = *found->second;
    if (!order.IsWorking()) return kNotWorking;
    order.book.Remove(order);
    End(order, kCancelled);
    return kAccepted;
}

void Exchange::Tick() {
    prices_.Step();
    for (Book& book : books_) {
        book.SetTick(prices_.NextTick(book.TheInstrument()));
        Sweep(book);
    }
}

std::vector<Notice> Exchange::TakeNotices() {
    for (const auto& account : accounts_) {
        if (std::find(traded_.begin(), traded_.end(), account.get()) != traded_.end()) {
            notices_.emplace_back(CountsNotice{account.get(), account->Held().size()});
        }
    }
    traded_.clear();
    return std::exchange(notices_, {});
}

const Account* Exchange::FindAccount(TextView mask) const { return AccountOf(mask); }

const Book* Exchange::FindBook(TextView symbol) const {
    const auto found = bySymbol_.find(symbol);
    return found == bySymbol_.end() ? nullptr : found->second;
}

const Fill* Exchange::FindFill(TextView fillId) const {
    const auto found = byFillId_.find(fillId);
    return found == byFillId_.end() ? nullptr : found->second;
}

Account* Exchange::AccountOf(TextView mask) const {
    const auto found = std::find_if(accounts_.begin(), accounts_.end(),
                                    [&](const auto& account) { return account->Mask() == mask; });
    return found == accounts_.end() ? nullptr : found->get();
}

Text Exchange::NextId(const wchar_t* kind) {
    return kind + idStem_ + L"-" + DecimalText(static_cast<std::int64_t>(++lastId_));
}

Frozen Exchange::NeedNow(const Order& order) const {
    return NeedOf(order, order.account.PositionIn(order.book), PriceToFund(order));
}

// The limits come first: an amount is only sure to fit for a price within them.
std::int32_t Exchange::CheckMarket(const Order& order) const {
    const Instrument& instrument = order.book.TheInstrument();
    if (!IsWithinLimits(instrument, order.state.priceE10)) return kOutsidePriceLimits;
    if (!IsWithinLimits(instrument, order.state.stopE10)) return kOutsidePriceLimits;
    const Frozen need = NeedNow(order);
    const bool opens = need.cashE6 != 0 || need.marginE6 != 0; // closing must always be possible
    return opens && need.Total() > order.account.Reckon().Free() ? kFundsShort : 0;
}

void Exchange::Work(Order& order) {
    const std::int32_t timeInForce = order.ticket.timeInForce;
    if (timeInForce == kFillOrKill && order.book.AvailableTo(order) < order.state.leaves) {
        return End(order, kCancelled);
    }
    while (order.IsWorking()) {
        const std::optional<Match> match = order.book.BestFor(order);
        if (!match) break;
        Trade(order, *match);
    }
    if (!order.IsWorking()) return;
    if (timeInForce == kImmediateOrCancel) return End(order, kCancelled);
    order.book.Rest(order);
}

void Exchange::Trade(Order& taker, const Match& match) {
    taker.book.SetLast(match.priceE10);
    AddFill(taker, match.priceE10, match.quantity);
    if (match.order == nullptr) {
        taker.book.TakeFromQuote(taker.ticket.side, match.quantity);
    } else {
        AddFill(*match.order, match.priceE10, match.quantity);
        if (!match.order->IsWorking()) taker.book.Remove(*match.order);
    }
}

void Exchange::AddFill(Order& order, std::int64_t priceE10, std::int32_t quantity) {
    const Fill& fill = fills_.emplace_back(Fill{.fillId = NextId(L"F"),
                                                .order = order,
                                                .priceE10 = priceE10,
                                                .quantity = quantity,
                                                .stamp = Now()});
    byFillId_.emplace(fill.fillId, &fill);
    order.account.Release(order);
    order.fills.push_back(&fill);
    order.state.fillCount = order.fills.size();
    order.state.filled += quantity;
    order.state.leaves -= quantity;
    order.state.paidE6 += AmountE6(priceE10, quantity);
    order.account.Apply(fill);
    if (order.IsWorking()) order.account.Freeze(order, NeedNow(order));
    Report(order, order.IsWorking() ? kPartlyFilled : kFilled);
    notices_.emplace_back(FillNotice{&fill});
    traded_.push_back(&order.account);
}

void Exchange::Trigger(Order& order) {
    order.book.Remove(order);
    order.waiting = false;
    order.place = ++lastPlace_;
    order.state.triggeredE10 = order.book.LastE10();
    Report(order, kTriggered);
    Work(order);
}

void Exchange::End(Order& order, std::int32_t execType) {
    order.account.Release(order);
    order.state.leaves = 0;
    order.waiting = false;
    Report(order, execType);
}

void Exchange::Report(Order& order, std::int32_t execType) {
    OrderState& state = order.state;
    state.execType = execType;
    state.stamp = Now();
    if (!state.history.empty()) state.history += L';';
    state.history += DecimalText(execType);
    notices_.emplace_back(ReportNotice{&order, state});
}

void Exchange::Sweep(Book& book) {
    for (;;) {
        if (const auto reached = book.NextReached()) {
            auto& [order, match] = *reached;
            Trade(*order, match);
            if (!order->IsWorking()) book.Remove(*order);
        } else if (Order* stop = book.NextTriggered()) {
            Trigger(*stop);
        } else {
            return;
        }
    }
}

} // namespace halvane::paper
