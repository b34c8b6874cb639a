#include "foundation/support/AddressGuard.h"

#include "foundation/support/Utf.h"

namespace halvane {

AddressGuard::AddressGuard(TextView allowed, TextView own, std::function<void(const Text&)> refused)
    : allowed_(allowed), own_(ToUtf8(own)), refused_(std::move(refused)) {}

void AddressGuard::Guard(void* socket) const {
    constexpr std::string_view kDomain = "plain"; // without one nobody is asked
    if (IsOn()) zmq_setsockopt(socket, ZMQ_ZAP_DOMAIN, kDomain.data(), kDomain.size());
}

std::optional<std::string> AddressGuard::Judge(const ZapRequest& request) {
    if (request.mechanism == "NULL" &&
        (request.address == own_ || allowed_.Contains(request.address)))
        return std::string();
    if (seldom_.IsDue(request.address)) refused_(FromUtf8(request.address).value_or(L"?"));
    return std::nullopt;
}

} // namespace halvane
