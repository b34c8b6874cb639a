#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvane::desk {

// A word that cannot be guessed: 32 hexadecimal digits.
std::string RandomWord();

// Equality whose time does not tell how much of the text was right.
bool EqualsSecret(std::string_view given, std::string_view secret);

// What a request says of where it comes from; "" for what it does not say.
struct Caller {
    std::string_view host;          // Host
    std::string_view origin;        // Origin
    std::string_view site;          // Sec-Fetch-Site
    std::string_view authorization; // Authorization
};

// Decides who may see the page and who what it shows.
class Access {
  public:
    // `names` are those that a browser on this machine may use for the address that is served on.
    Access(const std::vector<std::string>& names, int port);

    const std::string& Token() const { return token_; }

    // The page itself holds nothing secret; it goes to whoever uses one of our names, so that a
    // foreign name that leads here finds nobody.
    bool IsOurName(const Caller& caller) const;

    // Why what the page shows is refused: 403, or 401 for a token that is not ours; 0 when it is
    // not. Who would change something has to name the origin.
    int Refusal(const Caller& caller, bool changes) const;

  private:
    std::vector<std::string> hosts_;
    const std::string token_;
};

// Cancelling wants the gateway's service key, which gives a word that is good for some minutes.
// After some wrong keys nobody is asked for a while.
class Unlocking {
  public:
    static constexpr std::int64_t kGoodForMs = 300'000;

    explicit Unlocking(std::string serviceKey);

    // The word; nothing when the key is wrong, or too many were.
    std::optional<std::string> Unlock(std::string_view serviceKey, std::int64_t nowMs);
    bool IsUnlocked(std::string_view word, std::int64_t nowMs) const;

  private:
    const std::string serviceKey_;
    std::string word_;
    std::int64_t goodUntilMs_ = 0;
    std::int64_t closedUntilMs_ = 0;
    int wrong_ = 0;
};

} // namespace halvane::desk
