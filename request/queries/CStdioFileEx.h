#pragma once

#include "foundation/support/Text.h"

#include <fstream>

namespace halvane {

// A text file whose encoding its first bytes tell: UTF-16LE behind a byte-order mark, otherwise
// UTF-8, and where it is not that, one character per byte. Used by one thread at a time.
class CStdioFileEx {
  public:
    // False when the file cannot be opened for reading.
    [[nodiscard]] bool Open(const Text& path);

    // All lines joined with nothing between: a line break and one carriage return before it are
    // left out.
    Text ReadJoinedLines();

  private:
    std::ifstream file_;
};

} // namespace halvane
