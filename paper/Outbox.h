#pragma once

#include "foundation/support/Mutex.h"
#include "foundation/support/Text.h"

#include <filesystem>

namespace halvane::paper {

// Where messages to an outside messaging service go on paper: a file of one JSON object a line,
//   {"Time":"20261106 093000123","LineID":"...","Message":"..."}
// in UTF-8, to which lines are only added. A line that cannot be written is lost; nothing is tried
// again. Safe from any thread.
class Outbox {
  public:
    explicit Outbox(std::filesystem::path path) : path_(std::move(path)) {}

    // False when the line is lost.
    bool Add(TextView lineId, TextView message);

  private:
    const std::filesystem::path path_;
    Mutex lock_; // lines do not mix
};

} // namespace halvane::paper
