#include "request/Envelope.h"

#include "foundation/support/Numbers.h"

namespace halvane {
namespace {

void WriteResult(JsonWriter& reply, std::int32_t result) {
    reply.Member(L"Success", result == kAccepted ? L"OK" : L"Fail");
    if (result != kAccepted) reply.Member(L"ErrCode", DecimalText(result));
}

} // namespace

void BeginReply(JsonWriter& reply, TextView request) {
    reply.Member(L"Reply", request);
    reply.Member(L"Success", L"OK");
}

Text SuccessReply(TextView request) {
    JsonWriter reply;
    BeginReply(reply, request);
    return Text(reply.Finish());
}

Text OrderReply(TextView request, std::int32_t result) {
    JsonWriter reply;
    reply.Member(L"Reply", request);
    WriteResult(reply, result);
    return Text(reply.Finish());
}

Text OrderReply(TextView request, TextView reportId, std::int32_t result) {
    JsonWriter reply;
    reply.Member(L"Reply", request);
    reply.Member(L"ReportID", reportId);
    WriteResult(reply, result);
    return Text(reply.Finish());
}

Text FailureReply(TextView request, TextView errMsg, TextView sessionKey) {
    JsonWriter reply;
    reply.Member(L"Reply", request);
    reply.Member(L"Success", L"Fail");
    reply.Member(L"SessionKey", sessionKey);
    reply.Member(L"ErrMsg", errMsg);
    return Text(reply.Finish());
}

} // namespace halvane
