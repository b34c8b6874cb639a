#pragma once

namespace halvane {

class RepWorker;
struct Request;

// The handler of STATUS: how the gateway is.
void ReportStatus(RepWorker& worker, const Request& request);

} // namespace halvane
