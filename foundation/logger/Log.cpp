#include "foundation/logger/Log.h"

#include "foundation/logger/CLoggerImpl.h"
#include "foundation/logger/CStaticLogger.h"

namespace halvane {
namespace {

constexpr std::uint32_t kDrainMs = 5000;

struct ProcessLog {
    CStaticLogger holder{1};
    ~ProcessLog() { DrainLog(); } // deleting the logger alone would drop what is queued
};

ProcessLog& TheProcessLog() {
    static ProcessLog log;
    return log;
}

[[maybe_unused]] const ProcessLog& createdAtStartUp = TheProcessLog();

} // namespace

ILogger& Log() { return *TheProcessLog().holder; }

CStaticLogger& TheStaticLogger() { return TheProcessLog().holder; }

void DrainLog() {
    auto* logger = dynamic_cast<CLoggerImpl*>(TheProcessLog().holder.Get());
    if (logger != nullptr) logger->Drain(kDrainMs);
}

void ShutDownLog() {
    DrainLog();
    Log().Close();
}

} // namespace halvane
