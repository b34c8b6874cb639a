#pragma once

#include "app/CHalvaneDlg.h"
#include "app/HostLoop.h"

#include <future>

namespace halvane {

// The application object: opens the log, runs the main dialog, and ends the process.
class CHalvaneApp {
  public:
    explicit CHalvaneApp(HostLoop& loop);

    // Returns the exit code when the process is to end. What was logged by then is in the file;
    // some threads still run, and may still use this object.
    int Run(const std::vector<Text>& arguments);

  private:
    bool LetGoOfPlatform();

    HostLoop& loop_;
    CHalvaneDlg dialog_;
    std::promise<void> platformGone_;
};

} // namespace halvane
