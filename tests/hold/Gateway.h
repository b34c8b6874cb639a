#pragma once

#include "app/CHalvaneDlg.h"
#include "app/QueueLoop.h"
#include "tests/TempFolder.h"
#include "tests/hold/FaultyPlatform.h"

#include <deque>
#include <random>
#include <set>
#include <string>

namespace halvane {

// Something that was promised did not hold.
struct Broken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline void Keep(bool kept, const std::string& promise) {
    if (!kept) throw Broken(promise);
}

using Random = std::mt19937_64;
inline std::int64_t Within(Random& random, std::int64_t first, std::int64_t last) {
    return first +
           static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(last - first + 1));
}
inline bool OneIn(Random& random, std::uint64_t n) { return random() % n == 0; }
const auto& AnyOf(Random& random, const auto& all) {
    return *(std::begin(all) + Within(random, 0, std::ssize(all) - 1));
}

// When the paper platform itself is not as it should be, in milliseconds of the simulation.
struct Trouble {
    const char* kind;
    std::int64_t fromMs, untilMs;
};

// A whole gateway on the paper platform, in a market that is drawn: its faults, its hours, its
// first tick.
class Gateway {
  public:
    Gateway(Random& random, std::int64_t durationMs);
    ~Gateway();

    std::string RequestEndpoint() const { return "tcp://127.0.0.1:" + std::to_string(port_); }
    std::string PublishEndpoint() const;
    FaultyPlatform& Platform() { return *platform_; }
    void Harm(bool on) { platform_->SetChances(on ? chances_ : FaultyPlatform::Chances()); }

    // Whether rows and reports can be had, and nothing is held back; also since then.
    bool IsCalm() const { return IsCalmSince(Turns::All().NowMs()); }
    bool IsCalmSince(std::int64_t ms) const;
    std::int64_t ReadyAtMs() const { return readyAtMs_; } // when trade data is there

    // What the platform has told that is to be published, oldest first: data type, blank, key.
    std::deque<std::string> told;

    static int Logged(const std::string& start); // lines at Error and Fatal that begin so
    static void CheckLog();                      // that all of them may be

  private:
    std::string MarketFile(Random& random, std::int64_t durationMs);

    TempFolder folder_;
    std::vector<Trouble> troubles_;
    FaultyPlatform::Chances chances_;
    std::int64_t readyAtMs_ = 0;
    int stepMs_ = 0;
    int port_ = 0;
    QueueLoop loop_;
    FaultyPlatform* platform_ = nullptr;
    std::optional<CHalvaneDlg> dialog_;
    std::jthread host_;
};

} // namespace halvane
