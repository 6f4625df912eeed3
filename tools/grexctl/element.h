// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_ELEMENT_H
#define GREXCTL_ELEMENT_H

#include <cstddef>
#include <string>
#include <vector>

namespace grexctl {

/// A file as it is on the disk: the library keeps neither line numbers nor the reason of a failure.
struct File {
    std::string path;
    std::string text;
    int error = 0; ///< an errno value; 0: read

    bool isRead() const { return error == 0; }
    bool isMissing() const;
    /// "PATH: REASON", for people.
    std::string failure() const;
};

File readFile(const std::string& path);
/// The same for a file that a command cannot do without: throws Refused.
File requireFile(const std::string& path);

/// The same for one that may be missing and then holds nothing.
File requireReadable(const std::string& path);

struct Line {
    std::size_t number; ///< as an editor counts
    std::string text;   ///< without its line end and white space at its ends
};

/// The lines that say something to the library: neither empty nor comments.
std::vector<Line> linesOf(const File& file);

/// A line of the users file or of the cache.
struct Record {
    std::size_t line = 0;
    bool isRecord = false; ///< has exactly two ":"
    bool hasNumber = false;
    std::string login;
    unsigned gid = 0; ///< the group; 0 for a group that is none
    std::string hash;
};

std::vector<Record> recordsOf(const File& file);
/// The record that counts for a login, or null.
const Record* findRecord(const std::vector<Record>& records, const std::string& login);
std::size_t countRecords(const std::vector<Record>& records, const std::string& login);
/// Why nobody gets in by the record; empty when somebody can.
std::string faultOf(const Record& record);

/// "SHA-512" and the like; empty for a text that is no hash.
std::string hashKind(const std::string& hash);

/// A line of the module-access file.
struct Module {
    std::size_t line = 0;
    std::string name;
    std::string fields;

    unsigned level(unsigned gid) const;
};

std::vector<Module> modulesOf(const File& file);
/// The line that counts for a module, or null.
const Module* findModule(const std::vector<Module>& modules, const std::string& name);
/// The group's level on the module by that line; 0 when there is none.
unsigned levelOf(const std::vector<Module>& modules, const std::string& name, unsigned gid);

/// The modules' names in file order, each once.
std::vector<std::string> namesOf(const std::vector<Module>& modules);

/// 1 to 4 for a number, a name, or "su"; 0 for any other text.
unsigned gidOf(const std::string& group);
/// "2 Admin"; "0 (no group)".
std::string groupText(unsigned gid);

/// "PATH, line N".
std::string place(const std::string& path, std::size_t line);

/// Makes `module` the context of the process. Throws UsageError for a module that modacc does not
/// list, Refused where modacc cannot be read.
void useContext(const std::string& module);
/// The same without the library's database, which may make a cache file.
void requireModule(const File& modacc, const std::string& module);

/// Whether a process holds the lock under which it changes the file at `path`.
bool isLocked(const std::string& path);

} // namespace grexctl

#endif
