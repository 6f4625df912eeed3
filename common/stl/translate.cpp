// SPDX-License-Identifier: Apache-2.0
#include "common/stl/translate.h"

#include <cstdio>
#include <cstring>
#include <libintl.h>

const char* translate(const char* prefix, const char* message)
{
    char key[256];
    const int length = std::snprintf(key, sizeof(key), "%s%s", prefix, message);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof(key))
        return message;
    const char* const text = gettext(key);
    return std::strcmp(text, key) == 0 ? message : text;
}
