// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_SYS_LOG_H
#define GREX_COMMON_STL_SYS_LOG_H

#include "common/stl/export.h"

#include <string>
#include <syslog.h>
#include <type_traits>

/// How the process writes to the system log (syslog(3); facilities and severities are those of RFC
/// 5424). One instance for the process; nothing is opened until a setter changes something. Not for
/// several threads.
class GREX_API SysLog {
public:
    /// The instance, made on the first call and released at process exit; never null, not the
    /// caller's.
    static SysLog* get();
    /// Closes the log, which points at the identity, and destroys the instance; a later get()
    /// starts anew.
    static void release();

    SysLog(const SysLog&) = delete;
    SysLog& operator=(const SysLog&) = delete;
    virtual ~SysLog();

    /// The name before each message; empty for the program's own.
    void setIdent(const std::string& ident) const;
    /// `options` are openlog(3)'s; of `facility` the severity bits are dropped. Also writes the
    /// debug message "debug level changed to %i", although the level is as it was.
    void setOptions(int options, int facility, bool stderrIfTty) const;
    /// Echoes to standard error whether or not it is a terminal.
    void setForceUseStderr(bool force) const;
    /// Stores 0 to 3, the nearest to `level`. `level` itself is compared with the stored one: 7
    /// against a stored 3 is a change, and is reopened and written each time.
    void setDebugLevel(int level) const;

    /// Writes at LOG_DEBUG when the debug level is above 0.
    void debug(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    const std::string& ident() const;
    int options() const;
    int facility() const;
    int debugLevel() const;

    static SysLog* instance_;

private:
    SysLog() = default;
    void reopen() const;

    mutable std::string ident_;
    mutable int options_ = 0;
    mutable int facility_ = LOG_USER;
    mutable int debugLevel_ = 0;
    mutable bool stderrIfTty_ = true;
    mutable bool forceStderr_ = false;
};

/// Write a message with printf rules. `priority` is a severity, alone or with a facility for this
/// message.
GREX_API void syslogLog(int priority, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
GREX_API void syslogErr(const char* format, ...) __attribute__((format(printf, 1, 2)));
GREX_API void syslogWarn(const char* format, ...) __attribute__((format(printf, 1, 2)));
GREX_API void syslogInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Writes at LOG_DEBUG when the debug level is above 1.
GREX_API void syslogDebug2(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The characters of a string as the format: whoever calls these vouches for the conversions in it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <class S, class... Args>
std::enable_if_t<std::is_same<S, std::string>::value> syslogErr(const S& format, Args... args)
{
    syslogErr(format.c_str(), args...);
}
template <class S, class... Args>
std::enable_if_t<std::is_same<S, std::string>::value> syslogWarn(const S& format, Args... args)
{
    syslogWarn(format.c_str(), args...);
}
#pragma GCC diagnostic pop

#endif
