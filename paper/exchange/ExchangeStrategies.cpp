#include "paper/base/Codes.h"
#include "paper/exchange/Exchange.h"
#include "paper/orders/Strategy.h"

#include <utility>

namespace halvane::paper {

void Exchange::NewStrategyOrder(TextView json) {
    const std::optional<Strategy> strategy = ReadStrategy(json);
    if (!strategy) return;
    Draft draft{.ticket = strategy->ticket};
    std::int32_t result = Check(draft); // of the whole
    if (draft.account == nullptr || draft.book == nullptr) return;
    if (result == kAccepted) result = strategy->result;
    if (result == kAccepted) {
        AdmitParts(std::move(draft));
    } else {
        Reject(Enter(draft), result);
    }
}

void Exchange::AdmitParts(Draft&& whole) {
    AdmitPart(Slices::FirstPart(std::move(whole)));
    AdmitNextParts();
}

// It may be filled at once, so what follows it has to be known before it trades.
void Exchange::AdmitPart(Slices::Part&& part) {
    Order& order = Enter(part.draft);
    if (part.left > 0) slices_.Hide(order, std::move(part.draft.ticket), part.left);
    Admit(order);
    if (!order.IsWorking() && order.state.execType != kFilled) slices_.Forget(order);
}

// Parts that are filled at once have the next one follow at once.
void Exchange::AdmitNextParts() {
    while (std::optional<Slices::Part> part = slices_.TakeNext())
        AdmitPart(*std::move(part));
}

} // namespace halvane::paper
