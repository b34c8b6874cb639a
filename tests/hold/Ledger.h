#pragma once

#include "foundation/support/Json.h"
#include "tests/hold/Turns.h"

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace halvane {

// The text of a member as UTF-8; "" when it is none.
std::string Of(const JsonValue& object, const char* name);
// The elements of an array; none when it is none.
std::vector<const JsonValue*> RowsOf(const JsonValue& object, const char* name);

// What a client knows of its own session: since when it was not heard of, at the latest and at the
// earliest.
struct Session {
    std::string key;
    std::int64_t heardAfterMs, heardBeforeMs;
    int asking = 0; // requests under way
    bool leaving = false, left = false;

    bool IsAlive(std::int64_t nowMs) const; // for sure
    bool IsGone(std::int64_t nowMs) const;
};

// An order as its client wants it.
struct Wanted {
    enum Fate { Unknown, Taken, Refused };
    std::string account, symbol, side, quantity, price, type, force;
    std::map<std::string, std::string> keys{}; // UserKey2 and further ones
    Fate fate = Unknown;
    std::string reportId; // once it was reported
};

// All that can be known from outside: what was asked for and what was published. Throws Broken when
// that does not fit.
class Ledger {
  public:
    std::map<std::string, Wanted> wanted;                   // by user key
    std::set<std::pair<std::string, std::string>> replaced; // reports, and to which quantity

    // A publication, and what the platform has told so far and not been published yet.
    void Read(const JsonValue& publication, std::deque<std::string>& told);

    void CheckReports(const std::vector<const JsonValue*>& restored);
    void CheckFills(const std::vector<const JsonValue*>& restored) const;
    // Gives what the positions are worth.
    double CheckPositions(const std::string& account,
                          const std::vector<const JsonValue*>& rows) const;
    double Paid(const std::string& account) const;
    void CheckFrozen(const std::string& account, const JsonValue& margins) const;
    void CheckHeartbeats() const;
    void CheckFates() const; // what was taken or replaced has been reported

    std::vector<std::string> WorkingReports() const;

  private:
    struct Report {
        std::map<std::string, std::string> last; // members
        std::int64_t sinceMs = Turns::All().NowMs();
        std::int64_t filled = 0;
        std::vector<std::string> fills;
    };
    void ReadReport(const JsonValue& row);
    void ReadFill(const JsonValue& row);
    void CheckResting(const std::string& symbol, double price) const;

    std::vector<std::string> listed_; // reports, oldest first
    std::vector<std::size_t> resets_; // so many were listed before each
    std::map<std::string, Report> reports_;
    std::map<std::string, std::string> reportOf_; // an order
    std::map<std::pair<std::string, std::string>, std::pair<std::int64_t, double>> held_;
    std::set<std::pair<std::string, std::string>> restated_; // as `replaced`
    std::set<std::pair<std::string, std::string>> shorted_;  // an account and what it was short of
    std::int64_t beats_ = 0;
};

double UnitsOf(const std::string& symbol);

} // namespace halvane
