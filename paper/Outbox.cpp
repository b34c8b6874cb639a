#include "paper/Outbox.h"

#include "foundation/support/Format.h"
#include "foundation/support/JsonWriter.h"
#include "foundation/support/Mutex.h"
#include "paper/base/Calendar.h"

#include <fstream>

namespace halvane::paper {

bool Outbox::Add(TextView lineId, TextView message) {
    const Stamp now = Now();
    JsonWriter json; // escapes line breaks, so a message stays one line
    json.Member(L"Time", Format(L"%08d %09d", now.date, now.time));
    json.Member(L"LineID", lineId);
    json.Member(L"Message", message);
    const std::string line = json.Finish() + "\n";
    const MutexLock guard(lock_);
    std::ofstream file(path_, std::ios::binary | std::ios::app);
    file.write(line.data(), static_cast<std::streamsize>(line.size()));
    file.close();
    return file.good();
}

} // namespace halvane::paper
