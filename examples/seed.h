// SPDX-License-Identifier: Apache-2.0
#ifndef EXAMPLES_SEED_H
#define EXAMPLES_SEED_H

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

} // namespace examples

#endif
