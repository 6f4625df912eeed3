// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_GREX_CAPS_H
#define GREX_GREX_CAPS_H

#include "common/stl/export.h"

/// Gives up the identity of a process for another one, with the help of capabilities(7), and every
/// capability with it. Every failure is logged and ends the process, see handleError(). The
/// supplementary groups stay as they are: a process of root calls setgroups(2) before.
class GREX_API GrexCaps {
public:
    GrexCaps();
    GrexCaps(const GrexCaps&) = delete;
    GrexCaps& operator=(const GrexCaps&) = delete;
    /// clearCaps(), whatever was done before.
    virtual ~GrexCaps();

    /// Makes CAP_SETGID and CAP_SETUID effective, which the process must have in its permitted set.
    void setCaps();
    /// Empties the effective, the permitted and the inheritable set.
    void clearCaps();
    /// Makes `gid` and `uid` the real, effective and saved ids of the process and clears its
    /// capabilities, also where it had those ids already.
    void setProcessUids(unsigned uid, unsigned gid);
};

/// Logs "WHAT: REASON", the reason being that of the errno value `errnum`, and ends the process
/// with exit(1).
[[noreturn]] GREX_API void handleError(const char* what, int errnum);

#endif
