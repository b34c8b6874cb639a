#include "tradeapi/TradeApi.h"

#include "foundation/support/Utf.h"

namespace halvane {

TradeApiError::TradeApiError(std::int32_t code, TextView text)
    : std::runtime_error(ToUtf8(text)), code_(code), text_(text) {}

std::optional<IdentifierPage> TradeApi::QueryPage(std::int32_t, std::int32_t, std::int32_t) {
    return std::nullopt;
}

} // namespace halvane
