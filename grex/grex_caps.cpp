// SPDX-License-Identifier: Apache-2.0
#include "grex/grex_caps.h"

#include "common/stl/sys_log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/capability.h>
#include <type_traits>
#include <unistd.h>

namespace {

struct CapFree {
    void operator()(std::remove_pointer_t<cap_t>* caps) const noexcept { cap_free(caps); }
};
using Caps = std::unique_ptr<std::remove_pointer_t<cap_t>, CapFree>;

Caps processCaps(const char* what)
{
    Caps caps(cap_get_proc());
    if (!caps)
        handleError(what, errno);
    return caps;
}

void apply(const Caps& caps)
{
    if (cap_set_proc(caps.get()) != 0)
        handleError("cap_set_proc()", errno);
}

} // namespace

GrexCaps::GrexCaps() = default;

GrexCaps::~GrexCaps()
{
    clearCaps();
}

void GrexCaps::setCaps()
{
    const Caps caps = processCaps("cap_get_proc()");
    const cap_value_t values[] = {CAP_SETGID, CAP_SETUID};
    if (cap_set_flag(caps.get(), CAP_EFFECTIVE, 2, values, CAP_SET) != 0)
        handleError("cap_set_flag()", errno);
    apply(caps);
}

void GrexCaps::clearCaps()
{
    const Caps caps = processCaps("cap_get_proct()"); // spelled so in the logs of every element
    if (cap_clear(caps.get()) != 0)
        handleError("cap_clear()", errno);
    apply(caps);
}

void GrexCaps::setProcessUids(unsigned uid, unsigned gid)
{
    const uid_t before = getuid();
    if (before != 0) // root needs none
        setCaps();
    // The group first: without the user's identity the process could no longer change it.
    if (getgid() != gid && setregid(gid, gid) != 0)
        handleError("SetProcUids()", errno);
    if (before != uid && setreuid(uid, uid) != 0)
        handleError("SetProcUids()", errno);
    clearCaps();
}

void handleError(const char* what, int errnum)
{
    syslogErr("%s: %s", what, std::strerror(errnum));
    std::exit(1);
}
