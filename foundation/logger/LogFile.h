#pragma once

#include "foundation/logger/LogLines.h"
#include "foundation/logger/SystemFile.h"
#include "foundation/support/Clock.h"

#include <cstdint>

namespace halvane {

// The file behind the logger: <base>-YYYYMMDD-N.<extension>, a new one on every local day (N from
// 0) and one more when it has grown past 100 MiB. Name and size are looked at when the file is
// opened. Results are the codes of ILogger_GetErrorDesc, 0 for success. One thread at a time.
class LogFile {
  public:
    // The file that belongs to the executable: logs\<its name>.log in its folder.
    static Text DefaultPath();

    // Writes to dated files of this name from now on; nothing is opened yet.
    void SetBase(const Text& fileName);
    void Forget(); // the name, the date and the number
    const Text& Base() const { return base_; }

    // Files of days that lie further back are removed when the day's first batch is written; 0 for
    // never. One that cannot be removed stays until the next day.
    void KeepDays(int days);

    // Opens today's file at its end; creates it, and its folder with all parents, when missing.
    std::int32_t Open();

    // Writes lines, all or as far as it goes.
    std::int32_t Append(const LogLines& lines);

    void Close() { file_.Close(); }

    // How many lines have been written whole, ever. Of those that were added since some Open, these
    // are the first.
    std::uint64_t Written() const { return written_; }

  private:
    std::uint32_t OpenNamed();
    void NameAfter(const LocalTime& day, int index);
    std::uint32_t EndTornLine();
    void RemoveOld() const;

    Text base_;
    Text directory_;
    Text name_;       // of the current file
    LocalTime day_{}; // its day
    int index_ = 0;   // its number on that day
    int keepDays_ = 0;
    bool tidied_ = false; // on that day
    SystemFile file_;
    std::uint64_t written_ = 0;
    bool torn_ = false; // the file ends inside a line
};

} // namespace halvane
