// SPDX-License-Identifier: Apache-2.0
#include "grex/file_cache.h"

#include "common/stl/no_throw.h"
#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "common/stl/translate.h"
#include "common/stl/utils.h"
#include "grex/constants.h"

#include <algorithm>

FileCache::FileCache() = default;

FileCache::~FileCache() = default;

FileCache::FileCache(const std::string& path)
{
    setFilename(path);
}

bool FileCache::setFilename(const std::string& path)
{
    return sx::noThrow(false, [&] {
        if (path == filename)
            return false;
        filename = path;
        lines.clear();
        modifTime = 0;
        return update();
    });
}

bool FileCache::update() const
{
    return sx::noThrow(false, [this] {
        long long time = grex::isUnitTests ? 0 : modifTime;
        const int result = utils::readNewerFile(filename, time, lines);
        if (result == -1) {
            if (!grex::isUnitTests)
                syslogErr(translate("FileCache|", "can't read file: '%s': '%s'"), filename.c_str(),
                          utils::errString().c_str());
            return false;
        }
        if (result == 1) {
            stripContent();
            modifTime = time;
        }
        return true;
    });
}

void FileCache::stripContent() const
{
    const auto saysNothing = [](std::string& line) {
        sx::strip(line);
        return line.empty() || line.front() == grex::comment;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), saysNothing), lines.end());
}
