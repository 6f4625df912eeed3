/* SPDX-License-Identifier: Apache-2.0 */
/* Prints the groups of the element, numbered, from C. */
#include <grex/group_list.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    const char* groups = NULL;
    if (!getGroupList(&groups)) {
        fputs("the groups cannot be listed\n", stderr);
        return 1;
    }
    while (*groups != '\0') {
        const size_t length = strcspn(groups, "\n");
        printf("%.*s\n", (int)length, groups);
        groups += length;
        groups += *groups == '\n';
    }
    return 0;
}
