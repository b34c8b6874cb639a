#pragma once

#include "foundation/support/Json.h"

#include <string_view>
#include <unordered_set>

namespace halvane {

struct AccessClient;

// The reports that a client has been shown: only these orders are his to replace or cancel.
using ShownReports = std::unordered_set<Text>;

// How an operation concerns accounts.
enum class Concerns {
    Nothing,  // none
    Account,  // the one that "Param" names
    Report,   // that of the report which "Param" names
    Mask,     // the one that "AccountMask" names
    Rows,     // those in the reply's rows
    Pages,    // the same, in pages
    Whatever, // nobody can tell
};

// What has to be known of an operation to judge who may ask for it.
struct OperationRight {
    const wchar_t* name;
    Concerns concerns;
    bool onlyReads;
    const wchar_t* rows; // the array of the reply
};

// Of an operation that is not in the table, one that may do anything.
const OperationRight& RightOf(TextView operation);

// Why the client may not ask for this; "" when it may.
TextView RefusalOf(const AccessClient& client, const JsonValue& request, const ShownReports& shown);

// Takes the rows of other accounts out of an array.
void KeepOwnRows(const AccessClient& client, JsonValue& rows);

// Makes of a publication what the client may see of it. False when that is nothing. What it tells
// of reports is noted.
[[nodiscard]] bool KeepOwnPublication(const AccessClient& client, JsonDocument& publication,
                                      ShownReports& shown);

} // namespace halvane
