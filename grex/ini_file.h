// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_INI_FILE_H
#define GREX_INI_FILE_H

#include "common/stl/export.h"

#include <ctime>
#include <map>
#include <string>

/// The values of one or two INI files, by section and key, both compared without case. Lines are
/// "[section]", "key=value" (a value in double quotes loses them), or comments that begin with ";"
/// or "#"; any other line says nothing. Of equal keys the last one counts. Keys before any section
/// are those of the section "".
class GREX_API IniFile {
public:
    /// Less as strcasecmp(3) has it.
    struct GREX_API CIStringLess {
        bool operator()(const std::string& a, const std::string& b) const;
    };

    /// Reads `primary`, then `secondary` on top of it. A file that cannot be read leaves its values
    /// absent.
    explicit IniFile(const std::string& primary, const std::string& secondary = {});
    virtual ~IniFile();

    /// Merges one file into what is held. False when it cannot be opened or read to its end:
    /// nothing of it counts.
    bool load(const std::string& path);

    /// The value, which may be empty, or `defaultValue` when there is no such key. Throws
    /// std::bad_alloc alone.
    std::string value(const std::string& section, const std::string& key,
                      const std::string& defaultValue) const;

private:
    using Section = std::map<std::string, std::string, CIStringLess>;
    using Sections = std::map<std::string, Section, CIStringLess>;

    void reload();
    static void parseLine(std::string line, std::string& section, Sections& sections);

    std::time_t primaryTime_ = 0; // seconds since 1970, of the file last loaded; 0: none
    std::time_t secondaryTime_ = 0;
    Sections sections_;
    std::string primary_;
    std::string secondary_; // empty: there is none
};

#endif
