#pragma once

#include "tradeapi/paper/Account.h"
#include "tradeapi/paper/Book.h"
#include "tradeapi/paper/Market.h"
#include "tradeapi/paper/Order.h"
#include "tradeapi/paper/PriceProcess.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <variant>
#include <vector>

namespace halvane {
class PaperParameters;
}

namespace halvane::paper {

// What has happened, for those who tell it on. Orders and fills live as long as the exchange.
struct ReportNotice {
    const Order* order;
    OrderState state;
};
struct FillNotice {
    const Fill* fill;
};
struct CountsNotice {
    const Account* account;
    std::size_t positions;
};
using Notice = std::variant<ReportNotice, FillNotice, CountsNotice>;

// The paper market at work: takes orders, matches them, keeps the accounts. It has no thread and no
// lock; whoever owns it calls Tick and does the locking. With the same market, clock and calls it
// does the same, to the unit.
class Exchange {
  public:
    explicit Exchange(Market market);

    // ResultCodes. `kind` is one of OrderKind.
    std::int32_t NewOrder(std::int32_t kind, const PaperParameters& parameters);
    // The new quantity counts what is filled already; 0 and prices that were not put leave as it
    // is. A smaller quantity alone keeps the place in the queue.
    std::int32_t ReplaceOrder(const PaperParameters& parameters);
    std::int32_t CancelOrder(TextView reportId);

    // Prices move by one step; resting orders that they reach are filled.
    void Tick();

    // What has happened since the last call: for each order its report before its fill, and the
    // counts of the accounts that traded at the end.
    std::vector<Notice> TakeNotices();

    const Market& TheMarket() const { return market_; }
    const std::vector<std::unique_ptr<Account>>& Accounts() const { return accounts_; }
    const Account* FindAccount(TextView mask) const;
    const Book* FindBook(TextView symbol) const;
    const Fill* FindFill(TextView fillId) const;

  private:
    Account* AccountOf(TextView mask) const;
    Text NextId(const wchar_t* kind);
    Order& Enter(Ticket ticket, const TicketPrices& prices, Account& account, Book& book);

    Frozen NeedNow(const Order& order) const;
    std::int32_t CheckMarket(const Order& order) const; // 0 or the ErrorCode of a rejection
    std::int32_t ReadReplacement(const Order& order, const PaperParameters& parameters,
                                 OrderState& wanted) const;

    // Trades what can be traded now; the rest stays in the book or ends, as the order wants it.
    void Work(Order& order);
    void Trade(Order& taker, const Match& match);
    void AddFill(Order& order, std::int64_t priceE10, std::int32_t quantity);
    void Trigger(Order& order);
    void End(Order& order, std::int32_t execType);
    void Report(Order& order, std::int32_t execType);
    // Carries out what a new price has made possible, and what follows from that.
    void Sweep(Book& book);

    Market market_;
    Text idStem_;
    std::uint64_t lastId_ = 0;
    std::uint64_t lastPlace_ = 0;
    PriceProcess prices_;
    std::deque<Book> books_;
    std::vector<std::unique_ptr<Account>> accounts_;
    std::deque<Order> orders_;
    std::deque<Fill> fills_;
    std::map<Text, Order*, std::less<>> byReportId_;
    std::map<Text, const Fill*, std::less<>> byFillId_;
    std::map<TextView, Book*> bySymbol_;
    std::vector<Notice> notices_;
    std::vector<const Account*> traded_;
};

} // namespace halvane::paper
