#pragma once

#include "foundation/support/Json.h"
#include "foundation/support/JsonWriter.h"

namespace halvane {

// What every request and every reply looks like.

// The platform's result for an order that it has taken.
inline constexpr std::int32_t kAccepted = 1;

// Reasons in failure replies.
inline constexpr TextView kIllegalSession = L"the Session is illegal";
inline constexpr TextView kInitialFailed = L"Initial failed";
inline constexpr TextView kUndefined = L"Undefined";
inline constexpr TextView kNoParam = L"cannot find the Param field";
inline constexpr TextView kHandlerFailed = L"internal error";

// The name under which a request is answered that could not be read or has no known name.
inline constexpr TextView kNoRequest = L"Req";

// One request as its handler sees it; lives as long as the handler runs.
struct Request {
    TextView name;
    const JsonValue& root;  // an object
    TextView sessionKey;    // as the client sent it, "" when it did not
    const JsonValue& param; // the object "Param", or an empty one
    bool hasParam;

    // The text of a string member of the request; "" when missing or of another type.
    TextView Member(TextView member) const { return StringMember(root, member); }
    // The same for a member of "Param".
    TextView Param(TextView member) const { return StringMember(param, member); }
};

// Writes what a success reply begins with: "Reply" and "Success".
void BeginReply(JsonWriter& reply, TextView request);

// The whole success reply of an operation that has nothing to add.
std::string SuccessReply(TextView request);

// The whole reply to an order that the platform has taken or refused: "Reply", for a replacement or
// a cancellation "ReportID", then "Success", and for a refusal "ErrCode", the platform's code as
// text.
std::string OrderReply(TextView request, std::int32_t result);
std::string OrderReply(TextView request, TextView reportId, std::int32_t result);

// The whole reply to a request that was not carried out.
std::string FailureReply(TextView request, TextView errMsg, TextView sessionKey);

} // namespace halvane
