#include "publish/AccountRecord.h"
#include "request/RepWorker.h"
#include "request/queries/Queries.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

void QueryAccounts(RepWorker& worker, const Request& request) {
    AnswerRows(worker, request, ItemClass::Account, L"Accounts",
               [&worker](JsonWriter& reply, Item& item) {
                   return WriteAccounts(reply, Form::Restored, worker.Platform(), item);
               });
}

} // namespace halvane
