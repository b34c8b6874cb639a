#include "request/Envelope.h"

#include "foundation/support/Numbers.h"

namespace halvane {
namespace {

constexpr TextView kOk = L"OK", kFail = L"Fail";

void WriteResult(JsonWriter& reply, std::int32_t result) {
    reply.Member(L"Success", result == kAccepted ? kOk : kFail);
    if (result != kAccepted) reply.Member(L"ErrCode", DecimalDigits(result));
}

} // namespace

void BeginReply(JsonWriter& reply, TextView request) {
    reply.Member(L"Reply", request);
    reply.Member(L"Success", kOk);
}

std::string SuccessReply(TextView request) {
    JsonWriter reply;
    BeginReply(reply, request);
    return reply.Finish();
}

std::string OrderReply(TextView request, std::int32_t result) {
    JsonWriter reply;
    reply.Member(L"Reply", request);
    WriteResult(reply, result);
    return reply.Finish();
}

std::string OrderReply(TextView request, TextView reportId, std::int32_t result) {
    JsonWriter reply;
    reply.Member(L"Reply", request);
    reply.Member(L"ReportID", reportId);
    WriteResult(reply, result);
    return reply.Finish();
}

std::string FailureReply(TextView request, TextView errMsg, TextView sessionKey) {
    JsonWriter reply;
    reply.Member(L"Reply", request);
    reply.Member(L"Success", kFail);
    reply.Member(L"SessionKey", sessionKey);
    reply.Member(L"ErrMsg", errMsg);
    return reply.Finish();
}

} // namespace halvane
