#pragma once

#include "paper/accounts/Account.h"
#include "paper/exchange/Notices.h"
#include "paper/exchange/OrderRegistry.h"
#include "paper/exchange/Slices.h"
#include "paper/exchange/TradingHours.h"
#include "paper/market/Market.h"
#include "paper/market/PriceProcess.h"
#include "paper/orders/Book.h"

#include <deque>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace halvane::paper {

struct CombinationCommand;

// The paper market at work: takes orders, matches them, keeps the accounts. It has no thread and no
// lock; whoever owns it calls Step and does the locking. With the same market, clock and calls it
// does the same, to the unit.
class Exchange {
  public:
    explicit Exchange(Market market);

    // ResultCodes.
    std::int32_t NewOrder(Ticket ticket);
    // A smaller quantity alone keeps the place in the queue.
    std::int32_t ReplaceOrder(const Replacement& replacement);
    std::int32_t CancelOrder(TextView reportId);

    // A strategy order, see Strategy.h. What is wrong with it shows in a rejected report, if its
    // account and its instrument are known, and nowhere otherwise.
    void NewStrategyOrder(TextView json);
    // An order to combine or split positions, see Combinations.h; the mask names the account. It
    // shows in the account's rows, also when it is refused.
    void ActOnCombination(TextView mask, TextView command);

    // On a new day, ends the old one: all working orders expire, contracts whose last day it was
    // are settled in cash, today's figures become yesterday's. To be called before orders are
    // handed in.
    void EndDayIfOver();

    // Time and prices move by one step, in a new day if it is time; resting orders that they reach
    // are filled. What stands still: contracts that have expired and exchanges that are closed.
    void Step();

    // What has happened since the last call: for each order its report before its fill, and the
    // counts of the accounts that traded at the end. A day ends with the reports of the orders that
    // it takes along, the reset, and the contracts that are gone.
    std::vector<Notice> TakeNotices();

    const Market& TheMarket() const { return market_; }
    const std::vector<std::unique_ptr<Account>>& Accounts() const { return accounts_; }
    const Account* FindAccount(TextView mask) const;
    const Book* FindBook(TextView symbol) const;
    const Fill* FindFill(TextView fillId) const { return registry_.FindFill(fillId); }
    const std::deque<Book>& Books() const { return books_; }

    const TradingHours& Hours() const { return hours_; }
    const MarketClock& Clock() const { return hours_.Clock(); }
    Incidents& TheIncidents() { return hours_.TheIncidents(); }

  private:
    Account* AccountOf(TextView mask) const;
    // Finds what the ticket names, and a ResultCode.
    std::int32_t Check(Draft& draft);
    std::int32_t FindBooks(Draft& draft);
    std::int32_t FindLegs(Draft& draft);
    Order& Enter(Draft& draft);
    void Admit(Order& order);
    void Reject(Order& order, std::int32_t errorCode);
    void AdmitParts(Draft&& whole);
    void AdmitPart(Slices::Part&& part);
    void AdmitNextParts();

    Needs NeedNow(const Order& order) const;
    bool BreaksCombination(const Order& order) const;
    bool IsOpenTo(const Order& order) const;
    static bool IsPermitted(const Order& order);
    std::int32_t CheckMarket(const Order& order); // 0 or the ErrorCode of a rejection
    std::int32_t CheckReplacement(const Order& order, const Replacement& replacement,
                                  OrderState& wanted) const;

    // Trades what can be traded now; the rest stays in the book or ends, as the order wants it.
    void Work(Order& order);
    std::int64_t AvailableTo(const Order& order) const;
    bool TradeOnce(Order& order);
    bool TradeSpread(Order& order);
    void Trade(Order& taker, const Match& match);
    void Serve(Book& book, const PriceStep& step);
    struct LegFill {
        const Book& book;
        std::int32_t side;
        std::int64_t priceE10;
    };
    void AddFill(Order& order, std::int64_t priceE10, std::int32_t quantity);
    // One trade of the order at its own price, with one fill for each leg.
    void AddFills(Order& order, std::span<const LegFill> legs, std::int64_t priceE10,
                  std::int32_t quantity);
    void Rest(Order& order);
    void Remove(Order& order);
    void Trigger(Order& order);
    void End(Order& order, std::int32_t execType);
    void Report(Order& order, std::int32_t execType);
    static void Count(Order& order);
    // Carries out what a new price has made possible, and what follows from that.
    void Sweep(Book& book);
    void SweepSpreads();

    bool CombineIn(Account& account, const CombinationCommand& command, const Text& newId);

    void StepTime();
    void StepPrices();
    void LinkOptions();
    void EndDay(Day next);
    void SetReferences();
    void Expire(const Book& book);

    Market market_;
    TradingHours hours_;
    OrderRegistry registry_;
    Slices slices_;
    PriceProcess prices_;
    std::deque<Book> books_;
    std::map<TextView, Book*> bySymbol_;
    std::vector<std::unique_ptr<Account>> accounts_;
    std::vector<Order*> spreads_; // that rest
    std::vector<Notice> notices_;
    std::vector<const Account*> traded_;
};

} // namespace halvane::paper
