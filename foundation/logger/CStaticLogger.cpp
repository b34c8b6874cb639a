#include "foundation/logger/CStaticLogger.h"

CStaticLogger::CStaticLogger() : CStaticLogger(1) {}
CStaticLogger::CStaticLogger(int create) : logger_(create != 0 ? ILogger_Create() : nullptr) {}
CStaticLogger::~CStaticLogger() { Reset(nullptr); }

void CStaticLogger::Reset(ILogger* logger) {
    if (logger == logger_) return;
    ILogger_Destroy(logger_);
    logger_ = logger;
}

int CStaticLogger::IsValid() const { return logger_ != nullptr; }
ILogger* CStaticLogger::Get() const { return logger_; }
CStaticLogger::operator ILogger*() const { return logger_; }
ILogger* CStaticLogger::operator->() const { return logger_; }
ILogger& CStaticLogger::operator*() const { return *logger_; }
