#include "publish/AccountRecord.h"
#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "request/queries/Queries.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

void QueryAccounts(RepWorker& worker, const Request& request) {
    const auto item = CreateItem(worker, request, ItemClass::Account);
    if (item == nullptr) return;
    do {
        JsonWriter reply;
        BeginReply(reply, request.name);
        reply.BeginArray(L"Accounts");
        const bool whole = WriteAccounts(reply, Form::Restored, worker.Platform(), *item);
        reply.EndArray();
        if (whole) return worker.SendData(reply.Finish(), true);
    } while (worker.Pause(kRetryMs));
}

} // namespace halvane
