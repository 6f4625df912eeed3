// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_COMMANDS_H
#define GREXCTL_COMMANDS_H

#include "tools/grexctl/answer.h"
#include "tools/grexctl/options.h"

namespace grexctl {

// Each runs one command on the element of the Settings; all may throw Refused and UsageError.
Answer login(const Options& options);
Answer session(const Options& options);

Answer access(const Options& options);
Answer modules(const Options& options);

Answer groups(const Options& options);
Answer usersList(const Options& options);
Answer usersAdd(const Options& options);
Answer usersPasswd(const Options& options);
Answer usersRemove(const Options& options);
Answer cacheList(const Options& options);
Answer cacheRemove(const Options& options);
Answer apply(const Options& options);

// These write nothing, not even a missing cache file.
Answer check(const Options& options);
Answer explain(const Options& options);
Answer drill(const Options& options);
Answer fingerprint(const Options& options);

} // namespace grexctl

#endif
