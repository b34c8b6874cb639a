#pragma once

#include "app/CHalvaneDlg.h"
#include "app/HostLoop.h"

namespace halvane {

// The application object: opens the log, runs the main dialog, and ends the process.
class CHalvaneApp {
  public:
    explicit CHalvaneApp(HostLoop& loop);

    // Returns the exit code when the process is to end. What was logged by then is in the file; the
    // threads still run.
    int Run(const std::vector<Text>& arguments);

  private:
    HostLoop& loop_;
    CHalvaneDlg dialog_;
};

} // namespace halvane
