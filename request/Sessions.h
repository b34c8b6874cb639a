#pragma once

#include "foundation/support/Text.h"

namespace halvane {

class RepWorker;
struct Request;

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

// The handlers of LOGIN, LOGOUT and PONG.
void LogIn(RepWorker& worker, const Request& request);
void LogOut(RepWorker& worker, const Request& request);
void Pong(RepWorker& worker, const Request& request);

} // namespace halvane
