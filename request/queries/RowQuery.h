#pragma once

#include "tradeapi/Fields.h"
#include "tradeapi/Items.h"

#include <functional>

namespace halvane {

class RepWorker;
struct Request;

// One query over rows that the platform keeps for an account mask: which rows, into which item, by
// which table, under which member of the reply.
struct RowQuery {
    std::int32_t kind;
    ItemClass itemClass;
    JsonKey arrayName;
    std::span<const Field> fields;
    std::int32_t pageSize;
    Text (*symbolOf)(Item& item); // the row's symbol; null where the table has none
};

inline constexpr std::int32_t kPage = 50;
inline constexpr std::int32_t kAllRows = INT32_MAX;

// Replies with an array of that name. `write` fills it with the help of an item of that class; as
// long as it gives false, because the platform refuses a row, it is asked again with an empty
// array.
void AnswerRows(RepWorker& worker, const Request& request, ItemClass itemClass,
                const JsonKey& arrayName,
                const std::function<bool(JsonWriter& reply, Item& item)>& write);

// Replies with a page of rows from member "QryIndex" on, or with all rows where there are no pages.
void AnswerRowQuery(RepWorker& worker, const Request& request, const RowQuery& query);

// The symbol of a position item: of a spread both legs' identifiers with "&" between.
Text SymbolOfPosition(Item& item);

} // namespace halvane
