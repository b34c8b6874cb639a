#pragma once

namespace halvane {

class RepWorker;
struct Request;

// The handlers of LOGIN, LOGOUT and PONG.
void LogIn(RepWorker& worker, const Request& request);
void LogOut(RepWorker& worker, const Request& request);
void Pong(RepWorker& worker, const Request& request);

} // namespace halvane
