#pragma once

#include "tradeapi/Fields.h"
#include "tradeapi/Items.h"

namespace halvane {

class RepWorker;
struct Request;

// One query over rows that the platform keeps for an account mask: which rows, into which item, by
// which table, under which member of the reply.
struct RowQuery {
    std::int32_t kind;
    ItemClass itemClass;
    const wchar_t* arrayName;
    std::span<const Field> fields;
    std::int32_t pageSize;
    Text (*symbolOf)(Item& item); // the row's symbol; null where the table has none
};

inline constexpr std::int32_t kPage = 50;
inline constexpr std::int32_t kAllRows = INT32_MAX;

// Between two tries at rows that the platform refuses.
inline constexpr std::uint32_t kRetryMs = 100;

// Replies with a page of rows from member "QryIndex" on, or with all rows where there are no pages.
void AnswerRowQuery(RepWorker& worker, const Request& request, const RowQuery& query);

// The symbol of a position item: of a spread both legs' identifiers with "&" between.
Text SymbolOfPosition(Item& item);

} // namespace halvane
