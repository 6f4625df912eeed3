// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sys_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <unistd.h>

SysLog* SysLog::instance_ = nullptr;

SysLog* SysLog::get()
{
    static const int registered = std::atexit(release);
    static_cast<void>(registered);
    if (!instance_)
        instance_ = new SysLog;
    return instance_;
}

void SysLog::release()
{
    if (!instance_)
        return;
    closelog();
    delete instance_;
    instance_ = nullptr;
}

SysLog::~SysLog() = default;

void SysLog::setIdent(const std::string& ident) const
{
    if (ident == ident_)
        return;
    closelog(); // the system library holds a pointer to the old text
    ident_ = ident;
    reopen();
}

void SysLog::setOptions(int options, int facility, bool stderrIfTty) const
{
    options_ = options;
    facility_ = facility & LOG_FACMASK;
    stderrIfTty_ = stderrIfTty;
    reopen();
    debug("debug level changed to %i", debugLevel_);
}

void SysLog::setForceUseStderr(bool force) const
{
    if (force == forceStderr_)
        return;
    forceStderr_ = force;
    reopen();
}

void SysLog::setDebugLevel(int level) const
{
    if (level == debugLevel_)
        return;
    debugLevel_ = std::min(std::max(level, 0), 3);
    reopen();
    debug("debug level changed to %i", debugLevel_);
}

void SysLog::debug(const char* format, ...) const
{
    if (debugLevel_ <= 0)
        return;
    std::va_list args;
    va_start(args, format);
    vsyslog(LOG_DEBUG, format, args);
    va_end(args);
}

const std::string& SysLog::ident() const
{
    return ident_;
}

int SysLog::options() const
{
    return options_;
}

int SysLog::facility() const
{
    return facility_;
}

int SysLog::debugLevel() const
{
    return debugLevel_;
}

void SysLog::reopen() const
{
    closelog();
    setlogmask(debugLevel_ != 0 ? LOG_UPTO(LOG_DEBUG) : LOG_UPTO(LOG_INFO));
    if (options_ == 0)
        options_ = LOG_ODELAY;
    const bool echo = forceStderr_ || (stderrIfTty_ && isatty(STDERR_FILENO) == 1);
    options_ = echo ? options_ | LOG_PERROR : options_ & ~LOG_PERROR;
    options_ |= LOG_PID;
    openlog(ident_.empty() ? nullptr : ident_.c_str(), options_, facility_);
}

void syslogLog(int priority, const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    vsyslog(priority, format, args);
    va_end(args);
}

void syslogErr(const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    vsyslog(LOG_ERR, format, args);
    va_end(args);
}

void syslogWarn(const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    vsyslog(LOG_WARNING, format, args);
    va_end(args);
}

void syslogInfo(const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    vsyslog(LOG_INFO, format, args);
    va_end(args);
}

void syslogDebug2(const char* format, ...)
{
    if (SysLog::get()->debugLevel() <= 1)
        return;
    std::va_list args;
    va_start(args, format);
    vsyslog(LOG_DEBUG, format, args);
    va_end(args);
}
