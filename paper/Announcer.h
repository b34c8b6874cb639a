#pragma once

#include "foundation/support/Mutex.h"
#include "foundation/support/Text.h"
#include "paper/EventQueue.h"
#include "paper/exchange/Notices.h"
#include "paper/exchange/Signals.h"
#include "paper/rows/ShownReports.h"

#include <set>

namespace halvane {
class HostEvents;
class TradeEvents;
} // namespace halvane

namespace halvane::paper {

class Exchange;

// Tells the sinks what happens, as events that run one after the other on a thread of its own. It
// is a part of the platform under the platform's lock, which is held by whoever calls it; its
// events take that lock where they need it, and never while a sink is called.
class Announcer {
  public:
    explicit Announcer(Mutex& platformLock) : lock_(platformLock) {}

    // False when there is such a sink already. Sinks are greeted once the market has started.
    bool Advise(HostEvents& sink);
    bool Advise(TradeEvents& sink);
    void Start(const Exchange& exchange);

    void Subscribe(TextView topic) { topics_.emplace(topic); }
    bool IsSubscribed(TextView topic) const { return topics_.contains(topic); }

    void Tell(const std::vector<Notice>& notices);
    // What comes once a step, however much has happened in it.
    void TellStep();
    // Writes a contract list as it was on that day and tells where. The answer names no file when
    // there is no such list.
    void TellRecovered(TextView alias, std::int32_t date);

    const ShownReports& Shown() const { return shown_; }

  private:
    void GreetHost();
    void GreetTrader();
    void PostCounts();
    void PostCount(std::int32_t kind, const Account* account, std::size_t count);
    void PostSignals();

    void Post(const ReportNotice& notice);
    void Post(const FillNotice& notice);
    void Post(const CountsNotice& notice);
    void Post(const CombinationNotice& notice);
    void Post(const ResetNotice& notice);
    void Post(const ClearNotice& notice);
    void Post(const ConnectionNotice& notice);

    // An event that calls the trade sink, if there is one by then.
    template <typename Call> void PostToTrader(Call call);
    template <typename Call> void CallTrader(Call call);

    Mutex& lock_; // guards the rest as well: the platform marks the whole of us with it
    const Exchange* exchange_ = nullptr; // from Start on
    HostEvents* host_ = nullptr;
    TradeEvents* trader_ = nullptr;
    ShownReports shown_;
    Signals signals_;
    bool trackerMoved_ = false; // since its last event
    std::set<Text, std::less<>> topics_;
    EventQueue events_; // ends before what its events use
};

} // namespace halvane::paper
