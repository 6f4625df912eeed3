// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_SETTINGS_H
#define GREX_SETTINGS_H

#include "common/stl/export.h"

#include <string>

namespace grex {

/// The configuration of the process: three folders, the paths of the files in them, and what the
/// two files "borea.conf" say. The fixed one, in the configuration folder, is read by load(); the
/// variable one, in the variable folder, whenever its modification time (whole seconds) has changed
/// at authURL(), sysLanguage() or update(). A missing file, key or number gives its default;
/// nothing fails, nothing is logged. Not for several threads. References stay good until the value
/// behind them changes or destroy(). What is thrown is std::bad_alloc alone.
class GREX_API Settings {
public:
    /// The instance, made on the first call and destroyed at process exit; never null, not the
    /// caller's.
    static Settings* get();
    /// A new instance after this one reads the variable file only if that has changed meanwhile:
    /// the time of the last reading is the process's.
    static void destroy();

    Settings();
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

    /// Reads the fixed file, then update(). A variable folder that it changes changes no path given
    /// out before: only setVarConfigDir() empties them.
    void load();
    void update();

    const std::string& configFile();
    const std::string& varConfigFile();
    const std::string& usersFile();
    const std::string& groupsFile();
    const std::string& modulesFile();
    const std::string& cacheFile();
    const std::string& dataDir();

    /// The address of the remote login service; empty when there is none.
    const std::string& authURL();
    /// 0 to 3: 3 before the variable file was read, 2 where it gives no number, 3 for any number
    /// above 2.
    const unsigned int& sysLanguage();
    /// Seconds; as of the last reading, which this call does not renew.
    int connectTimeout();

    /// The folder of the fixed file, which is read at once. The variable folder becomes the one
    /// that it names.
    void setConfigDir(const std::string& folder);
    /// The folder of the variable file, the users, the groups and the modules; a cache path that
    /// was given out already stays.
    void setVarConfigDir(const std::string& folder);
    void setDataDir(const std::string& folder);
    /// Whole paths, good until setVarConfigDir().
    void setUsersFilename(const std::string& path);
    void setGroupsFilename(const std::string& path);
    void setModulesFilename(const std::string& path);

    static Settings* settings_;

private:
    std::string configDir_;
    std::string varConfigDir_;
    std::string dataDir_;
    std::string configFile_; // this and the next five: empty until asked for
    std::string varConfigFile_;
    std::string usersFile_;
    std::string groupsFile_;
    std::string modulesFile_;
    std::string cacheFile_;
    std::string authURL_;
    int connectTimeout_ = 15; // seconds
    unsigned int sysLanguage_ = 3;
};

} // namespace grex

#endif
