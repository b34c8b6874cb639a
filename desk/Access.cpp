#include "desk/Access.h"

#include <algorithm>
#include <random>
#include <utility>

namespace halvane::desk {
namespace {

constexpr std::string_view kScheme = "http://";
constexpr std::string_view kBearer = "Bearer ";
constexpr int kMostWrong = 5;
constexpr std::int64_t kClosedForMs = 30'000;

} // namespace

std::string RandomWord() {
    constexpr char kDigits[] = "0123456789abcdef";
    std::random_device device;
    std::uniform_int_distribution<std::size_t> digit(0, 15);
    std::string word(32, '0');
    std::generate(word.begin(), word.end(), [&] { return kDigits[digit(device)]; });
    return word;
}

bool EqualsSecret(std::string_view given, std::string_view secret) {
    std::size_t differences = given.size() ^ secret.size();
    for (std::size_t i = 0; i < given.size() && !secret.empty(); ++i)
        differences |= static_cast<unsigned char>(given[i] ^ secret[i % secret.size()]);
    return differences == 0 && !secret.empty();
}

Access::Access(const std::vector<std::string>& names, int port) : token_(RandomWord()) {
    for (const std::string& name : names)
        hosts_.push_back(name + ":" + std::to_string(port));
}

bool Access::IsOurName(const Caller& caller) const {
    return std::find(hosts_.begin(), hosts_.end(), caller.host) != hosts_.end();
}

int Access::Refusal(const Caller& caller, bool changes) const {
    if (!IsOurName(caller)) return 403;
    const bool isOurOrigin =
        caller.origin.starts_with(kScheme) && caller.origin.substr(kScheme.size()) == caller.host;
    if (!isOurOrigin && (changes || !caller.origin.empty())) return 403;
    if (!caller.site.empty() && caller.site != "same-origin") return 403;
    if (!caller.authorization.starts_with(kBearer)) return 401;
    return EqualsSecret(caller.authorization.substr(kBearer.size()), token_) ? 0 : 401;
}

Unlocking::Unlocking(std::string serviceKey) : serviceKey_(std::move(serviceKey)) {}

std::optional<std::string> Unlocking::Unlock(std::string_view serviceKey, std::int64_t nowMs) {
    if (nowMs < closedUntilMs_) return std::nullopt;
    if (!EqualsSecret(serviceKey, serviceKey_)) {
        if (++wrong_ % kMostWrong == 0) closedUntilMs_ = nowMs + kClosedForMs;
        return std::nullopt;
    }
    wrong_ = 0;
    word_ = RandomWord();
    goodUntilMs_ = nowMs + kGoodForMs;
    return word_;
}

bool Unlocking::IsUnlocked(std::string_view word, std::int64_t nowMs) const {
    return nowMs < goodUntilMs_ && EqualsSecret(word, word_);
}

} // namespace halvane::desk
