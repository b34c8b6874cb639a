#include "foundation/support/Strings.h"
#include "request/RepWorker.h"
#include "request/orders/Orders.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

void SendLineMessage(RepWorker& worker, const Request& request) {
    if (EqualsIgnoringCase(request.Param(L"System"), L"LINE")) {
        worker.Platform().SendTopicCommand(L"MSG2LINE.UD", 1, request.Param(L"LineID"),
                                           Text(request.Param(L"Message")));
    }
    worker.SendData(SuccessReply(request.name), true); // also where nobody was told
}

} // namespace halvane
