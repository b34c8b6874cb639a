#pragma once

#include "clients/cpp/halvane.h"

#include <map>
#include <unordered_map>
#include <unordered_set>

namespace halvane::client {

// "BrokerID-Account" of a row.
std::string MaskOf(const Message& row);

// Whether two records are the same state of an order, published and restored forms alike.
bool AreSameState(const Message& one, const Message& other);

// Rows by their ReportID, in the order in which they first came.
class Rows {
  public:
    // Puts the row in the place of the one with its ReportID, or at the end: true.
    bool Put(const std::string& reportId, const Message& row);

    const Message* Find(std::string_view reportId) const;
    std::vector<Message> Select(std::string_view accountMask) const; // "" for all
    const std::vector<Message>& All() const { return rows_; }

    // Those that have had this text in that member, in order; the member is always the same.
    std::vector<Message> With(const std::string& text) const;
    explicit Rows(std::string_view indexed) : indexed_(indexed) {}

  private:
    std::string_view indexed_;
    std::vector<Message> rows_;
    std::unordered_map<std::string, std::size_t> places_;
    std::unordered_map<std::string, std::vector<std::size_t>> with_;
};

// All orders and fills that the platform knows. Publications and restored records may come in
// between each other in any way, as long as the publications themselves are in order and everything
// restored was asked for after this was made; docs/protocol.md tells why nothing is missed then.
class Records {
  public:
    void PublishOrder(const Message& report);

    // One that was published meanwhile stays: if the restored one is newer, then so is a
    // publication that is still to come.
    void RestoreOrder(const Message& report);

    // Published or restored; whether it is a new one. Fills never change.
    bool AddFill(const Message& fill);

    // What the old records of the same platform and the same day had besides: a platform that does
    // not list it was away while it was asked.
    void CarryOver(const Records& old);

    // An order that has not changed keeps its published form, which says more.
    void KeepForms(const Records& old);

    const Rows& Orders() const { return orders_; }
    const Rows& Fills() const { return fills_; }

  private:
    Rows orders_{"UserKey1"};
    Rows fills_{"OrderID"};
    std::unordered_set<std::string> published_;
};

// The states that orders have gone through.
class Lives {
  public:
    explicit Lives(std::size_t longest) : longest_(longest) {}

    void Published(const Message& report, Time at);
    void Restored(const Message& report, Time at); // nothing new if it is the last state known
    void Clear() { lives_.clear(); }
    std::vector<Report> Of(std::string_view reportId) const;

  private:
    void Add(std::vector<Report>& life, Report report);

    std::size_t longest_;
    std::map<std::string, std::vector<Report>, std::less<>> lives_;
};

} // namespace halvane::client
