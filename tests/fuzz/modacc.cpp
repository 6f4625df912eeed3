// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"
#include "grex/module_access.h"
#include "grex/settings.h"
#include "tests/fuzz/fuzz.h"

// A module, then a module-access file. All questions about a level have one answer, and a right is
// written in the file.
INPUT(text)
{
    const std::string module = takeLine(text);
    grex::Settings::get()->setModulesFilename(fileOf("modacc", text));
    const grex::ModuleAccess access;
    std::map<std::string, unsigned> table{{module, 7}, {"http", 7}};
    for (unsigned gid = 0; gid <= 5; ++gid) {
        const unsigned level = access.moduleAccess(gid, module);
        HOLDS(level <= 3 && (level == 0 || (gid >= 1 && gid <= 4 && access.exists(module))));
        HOLDS(level == 0 || text.find(sx::toString(gid) + "@") != std::string::npos);
        access.getModuleAccessTable(gid, table);
        HOLDS(module.empty() || table[module] == level);
        for (unsigned need = 0; need <= 4; ++need)
            HOLDS(access.checkModuleAccess(gid, module, need) == (need != 0 && (level & need) == need));
        HOLDS(access.parseModuleAccess(gid, text) <= 3);
    }
}
