#pragma once

namespace halvane {

class RepWorker;
struct Request;

// The handlers of order entry. The session and "Param" have been checked; each sends one reply.
void NewOrder(RepWorker& worker, const Request& request);
void ReplaceOrder(RepWorker& worker, const Request& request);
void CancelOrder(RepWorker& worker, const Request& request);
void NewStrategyOrder(RepWorker& worker, const Request& request);
void ActOnOptionCombination(RepWorker& worker, const Request& request);
void SendLineMessage(RepWorker& worker, const Request& request);

} // namespace halvane
