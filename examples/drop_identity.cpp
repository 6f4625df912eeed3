// SPDX-License-Identifier: Apache-2.0
// A daemon's start: does what needs its rights, gives up its identity for good, and goes on as
// somebody else.
//
//     drop_identity UID GID
#include <common/stl/sx.h>
#include <grex/grex_caps.h>

#include <cerrno>
#include <fstream>
#include <grp.h>
#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char** argv)
{
    unsigned uid = 0;
    unsigned gid = 0;
    if (argc != 3 || !sx::fromString(argv[1], uid) || !sx::fromString(argv[2], gid)) {
        std::cerr << "usage: drop_identity UID GID\n";
        return 2;
    }
    // What only root may do (a port below 1024, a device) comes here.
    const gid_t group = gid;
    if (geteuid() == 0 && setgroups(1, &group) != 0)
        handleError("setgroups()", errno);
    GrexCaps().setProcessUids(uid, gid); // a failure ends the process
    std::cout << "running as user " << getuid() << " of group " << getgid()
              << ", with the capabilities\n";
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        for (const char* set : {"CapInh", "CapPrm", "CapEff"})
            if (line.rfind(set, 0) == 0)
                std::cout << line << '\n';
    return 0;
}
