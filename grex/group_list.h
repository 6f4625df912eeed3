/* SPDX-License-Identifier: Apache-2.0 */
#ifndef GREX_GROUP_LIST_H
#define GREX_GROUP_LIST_H

#include "common/stl/export.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The groups of the element for callers that cannot use the classes: lines "gid:0:name:Fixed
 * Group", joined by "\n", with no line end behind the last; an empty text where the module-access
 * file gives SuperUser no listing right on the module "http", which becomes the context of the
 * process.
 *
 * On success *list points to a NUL-terminated text of the library that is good until the next call
 * and to be neither freed nor kept. False, *list as it was, when list is null or memory is out. Not
 * for several threads.
 */
GREX_API bool getGroupList(const char** list);

#ifdef __cplusplus
}
#endif

#endif
