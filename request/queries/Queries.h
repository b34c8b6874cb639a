#pragma once

namespace halvane {

class RepWorker;
struct Request;

// The handlers of the queries. The session has been checked; each sends one reply. Where the
// platform refuses a row they ask again every 100 ms until it gives it.
void QueryAccounts(RepWorker& worker, const Request& request);
void QueryMargins(RepWorker& worker, const Request& request);
void QueryPositions(RepWorker& worker, const Request& request);
void QueryOptCombOrder(RepWorker& worker, const Request& request);
void QueryOptCombPosition(RepWorker& worker, const Request& request);
void QueryPositionTracker(RepWorker& worker, const Request& request);
void QueryAllInstrument(RepWorker& worker, const Request& request);
void QueryInstrumentInfo(RepWorker& worker, const Request& request);
void RestoreReports(RepWorker& worker, const Request& request);
void RestoreFills(RepWorker& worker, const Request& request);

// Of the feed, which is on: how it is, and a page of what it has carried.
void TellFeedStatus(RepWorker& worker, const Request& request);
void ReplayFeed(RepWorker& worker, const Request& request);

} // namespace halvane
