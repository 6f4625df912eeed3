// SPDX-License-Identifier: Apache-2.0
#ifndef EXAMPLES_START_H
#define EXAMPLES_START_H

#include <common/stl/utils.h>
#include <grex/settings.h>

#include <cstdlib>
#include <sys/random.h>

namespace examples {

/// Seeds random(3), of which the library makes salts, from the system's randomness. First thing in
/// main; ends the program where there is none, as equal salts would show who has the same password.
inline void seedRandom()
{
    static char state[256];
    unsigned seed = 0;
    if (getrandom(state, sizeof(state), 0) != sizeof(state) ||
        getrandom(&seed, sizeof(seed), 0) != sizeof(seed))
        std::abort();
    initstate(seed, state, sizeof(state));
}

/// Takes the configuration from another folder than the library's own, and all other files from the
/// folder that it names. setConfigDir() alone would leave the variable borea.conf where it was, the
/// path of which has been given out by then.
inline void useElement(const char* configFolder)
{
    grex::Settings& settings = *grex::Settings::get();
    settings.setConfigDir(configFolder);
    std::string folder = utils::folderOf(settings.usersFile());
    folder.pop_back(); // the slash
    settings.setVarConfigDir(folder);
}

} // namespace examples

#endif
