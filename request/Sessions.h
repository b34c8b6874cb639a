#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <vector>

namespace halvane {

// The logged-in clients: the session map says who is one, the login-info table (topic "LoginInfo")
// when each last gave a sign of life, in ticks of the system clock. Safe from any thread.

// Puts an empty login-info table on the board, and takes it away again, with all sessions, when the
// host that has made it is destroyed. Nothing else here may be called without one.
class LoginInfoTable {
  public:
    LoginInfoTable();
    ~LoginInfoTable();
    LoginInfoTable(const LoginInfoTable&) = delete;
    LoginInfoTable& operator=(const LoginInfoTable&) = delete;
};

bool IsSessionKnown(TextView key);
std::size_t SessionCount();

// How long ago a session was opened and last gave a sign of life.
struct SessionAges {
    std::uint32_t ageMs;
    std::uint32_t silentMs;
};

// Of all sessions, in no order that means anything.
std::vector<SessionAges> AgesOfSessions();

// A session key that no other log-in of this process gets.
Text FormSessionKey();

// Makes the key a session whose last sign of life is now.
void OpenSession(const Text& key);
// Ends a session at the client's wish: the table first, and whether the key is known or not.
void CloseSession(const Text& key);
// Ends a session that fell silent: the map first, and only when the key is known.
void DropSession(const Text& key);

// The table's three changes; unknown keys are left alone.
void SaveLoginInfo(const Text& key);
void RemoveLoginInfo(const Text& key);
void UpdatePingTime(const Text& key);

// Sends the notification "RemoveLoginInfo" for every session whose last sign of life is more than
// 60 s old.
void ReportSilentSessions();

} // namespace halvane
