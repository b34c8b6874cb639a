#pragma once

#include "foundation/logger/ILogger.h"

// Owns one logger, or none. Not for changing while other threads use it.
class HALVANE_EXPORT CStaticLogger {
  public:
    CStaticLogger();                    // with a new closed logger
    explicit CStaticLogger(int create); // with one when not 0
    ~CStaticLogger();
    CStaticLogger(const CStaticLogger&) = delete;
    CStaticLogger& operator=(const CStaticLogger&) = delete;

    // Deletes the logger held so far and holds this one, which may be null.
    void Reset(ILogger* logger);

    int IsValid() const; // not 0 when a logger is held
    ILogger* Get() const;
    operator ILogger*() const;
    ILogger* operator->() const;
    ILogger& operator*() const;

  private:
    ILogger* logger_;
};
