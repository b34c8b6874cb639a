#include "relay/Row.h"

#include <algorithm>
#include <sstream>

namespace halvane::relay {
namespace {

constexpr std::string_view kForbidden = ".*>% \x7F";
constexpr std::size_t kLongestToken = 200; // the whole line may have 4,096 bytes

void AppendEscaped(std::string& out, unsigned char byte) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    out += {'%', kDigits[byte / 16], kDigits[byte % 16]};
}

std::string TokenOf(std::string_view text) {
    if (text.empty()) return "_";
    if (text == "_") return "%5F";
    std::string token;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= ' ' || byte >= 0x7F || kForbidden.find(c) != std::string_view::npos) {
            AppendEscaped(token, byte);
        } else {
            token += c;
        }
        if (token.size() >= kLongestToken) break;
    }
    return token;
}

// The feed writes the points in kind and account as %2E and percents as %25.
std::string PlainPart(std::string_view part) {
    std::string plain;
    for (std::size_t i = 0; i < part.size(); i++) {
        const std::string_view three = part.substr(i, 3);
        const bool escaped = three == "%2E" || three == "%25";
        plain += three == "%2E" ? '.' : part[i];
        if (escaped) i += 2;
    }
    return plain;
}

std::string SymbolTokens(std::string_view symbol) {
    std::string tokens;
    for (std::size_t at = 0; at <= symbol.size() && tokens.size() < kLongestToken;) {
        const std::size_t end = std::min(symbol.find('.', at), symbol.size());
        tokens += "." + TokenOf(symbol.substr(at, end - at));
        at = end + 1;
    }
    return tokens;
}

std::string HeaderOf(const client::FeedRow& row, std::int64_t number) {
    return std::to_string(number) + " " + row.run + " " + std::to_string(row.timeNs) + " " +
           (row.recovered ? "recovered" : "live") + " " + row.journal;
}

} // namespace

std::string SubjectOf(const std::string& desk, std::string_view topic) {
    const std::size_t kindEnd = std::min(topic.find('.'), topic.size());
    const std::string_view rest = topic.substr(std::min(kindEnd + 1, topic.size()));
    const std::size_t accountEnd = std::min(rest.find('.'), rest.size());
    const std::string_view symbol = rest.substr(std::min(accountEnd + 1, rest.size()));
    return "halvane.feed." + desk + "." + TokenOf(PlainPart(topic.substr(0, kindEnd))) + "." +
           TokenOf(PlainPart(rest.substr(0, accountEnd))) + SymbolTokens(symbol);
}

Row RowOf(const client::FeedRow& row, std::size_t index, const std::string& desk) {
    return {.desk = index,
            .number = row.number,
            .timeNs = row.timeNs,
            .subject = SubjectOf(desk, row.topic),
            .id = row.run + "-" + std::to_string(row.number),
            .header = HeaderOf(row, row.number),
            .json = row.publication.Json()};
}

Row GapBefore(const client::FeedRow& next, std::int64_t first, std::int64_t last, std::size_t index,
              const std::string& desk) {
    const client::Members gap{
        {"DataType", "RELAYGAP"}, {"From", std::to_string(first)}, {"To", std::to_string(last)}};
    return {.desk = index,
            .number = last,
            .timeNs = next.timeNs,
            .subject = SubjectOf(desk, "RELAYGAP.."),
            .id = next.run + "-gap-" + std::to_string(last),
            .header = HeaderOf(next, last),
            .json = "{" + gap.Inside() + "}"};
}

std::optional<Position> PositionIn(std::string_view header) {
    std::istringstream words{std::string(header)};
    Position position{.header = std::string(header)};
    std::string time, origin;
    if (!(words >> position.number >> position.run >> time >> origin >> position.journal))
        return {};
    return position;
}

} // namespace halvane::relay
