#pragma once

#include "access/Clients.h"

#include <filesystem>
#include <map>

namespace halvane {

// Who may come in by the doors, as the files say at the moment. One thread's own.
class ClientTable {
  public:
    using Clients = std::map<std::string, AccessClient, std::less<>>; // by key

    explicit ClientTable(Text folder) : folder_(std::move(folder)) {}

    // Looks at the day and at the files, and logs what has become of whom. True when something has.
    bool Refresh();

    const Clients& All() const { return clients_; }
    // Also one that may not come in any more; null for an unknown key.
    const AccessClient* Find(std::string_view key) const;
    // Null, too, for one that may not.
    const AccessClient* FindLive(std::string_view key) const;
    bool IsLive(const AccessClient& client) const { return *client.WhyNot(today_) == L'\0'; }
    const Text& Day() const { return today_; }

  private:
    using FileMarks = std::map<std::filesystem::path, std::filesystem::file_time_type>;
    FileMarks LookAtFiles() const;

    Text folder_;
    Text today_;
    FileMarks marks_;
    Clients clients_;
};

} // namespace halvane
