#include "request/queries/RowQuery.h"

#include "foundation/support/Numbers.h"
#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeData.h"

namespace halvane {
namespace {

constexpr std::uint32_t kRetryMs = 100;

// False when the platform refused a row and the page has to be read again.
bool WriteRows(JsonWriter& reply, const RowQuery& query, TradeApi& tradeApi, Item& item,
               TextView accountMask, std::int32_t start) {
    const std::optional<std::int32_t> count = RowCount(query.kind, accountMask);
    if (!count) return true;
    RowTexts row{.tradeApi = &tradeApi};
    std::int32_t rows = 0;
    for (std::int32_t index = start; index < *count && rows < query.pageSize; ++rows) {
        // A refused row below 0 will never come: asking again would hold the client for ever.
        if (tradeApi.GetDataItem(query.kind, index, accountMask, item) == 0) return index < 0;
        row.qryIndex = DecimalText(++index);
        if (query.symbolOf != nullptr) row.symbol = query.symbolOf(item);
        reply.BeginObject();
        WriteRecord(reply, query.fields, Form::Published, item, row);
        reply.EndObject();
    }
    return true;
}

} // namespace

void AnswerRows(RepWorker& worker, const Request& request, ItemClass itemClass,
                const JsonKey& arrayName,
                const std::function<bool(JsonWriter& reply, Item& item)>& write) {
    const auto item = CreateItem(worker, request, itemClass);
    if (item == nullptr) return;
    do {
        JsonWriter reply;
        BeginReply(reply, request.name);
        reply.BeginArray(arrayName);
        const bool whole = write(reply, *item);
        reply.EndArray();
        if (whole) return worker.SendData(reply.Finish(), true);
    } while (worker.PauseForRetry(request, kRetryMs));
}

void AnswerRowQuery(RepWorker& worker, const Request& request, const RowQuery& query) {
    const bool paged = query.pageSize != kAllRows;
    const std::int32_t start = paged ? ToInt32(request.Member(L"QryIndex")) : 0;
    AnswerRows(worker, request, query.itemClass, query.arrayName,
               [&](JsonWriter& reply, Item& item) {
                   return WriteRows(reply, query, worker.Platform(), item,
                                    request.Member(L"AccountMask"), start);
               });
}

Text SymbolOfPosition(Item& item) {
    constexpr std::int32_t kSymbol = 13;
    Text symbol(item.GetText(kSymbol));
    if (symbol.find(L'^') == Text::npos) return symbol;
    const auto [first, second] = SplitCombinedSymbol(symbol);
    return first + L"&" + second;
}

} // namespace halvane
