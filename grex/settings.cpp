// SPDX-License-Identifier: Apache-2.0
#include "grex/settings.h"

#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "common/stl/utils.h"
#include "grex/constants.h"
#include "grex/ini_file.h"

#include <algorithm>
#include <cstdlib>

namespace grex {

Settings* Settings::settings_ = nullptr;

namespace {

constexpr char confName[] = "borea.conf";
constexpr int defaultConnectTimeout = 15; // seconds
constexpr int defaultLanguage = 2; // of a variable file that names none; before any reading it is 3
constexpr unsigned maxLanguage = 3;

// Of the process, not of the instance: a second instance reads the variable file only if it changed
// meanwhile.
long long varConfigTime = 0;

int number(const IniFile& conf, const char* section, const char* key, int defaultValue)
{
    int value = defaultValue;
    sx::fromString(conf.value(section, key, ""), value);
    return value;
}

const std::string& cached(std::string& path, const std::string& folder, const char* name)
{
    if (path.empty())
        path = folder + "/" + name;
    return path;
}

} // namespace

Settings* Settings::get()
{
    static const int registered = std::atexit(destroy);
    static_cast<void>(registered);
    if (!settings_)
        settings_ = new Settings;
    return settings_;
}

void Settings::destroy()
{
    delete settings_;
    settings_ = nullptr;
}

Settings::Settings() : configDir_(GREX_CONFIG_DIR), varConfigDir_(GREX_VAR_CONFIG_DIR)
{
    load();
}

void Settings::load()
{
    const IniFile conf(configFile());
    dataDir_ = conf.value("common", "Data", GREX_DATA_DIR);
    varConfigDir_ = conf.value("common", "VarConfigDir", GREX_VAR_CONFIG_DIR);
    update();
}

void Settings::update()
{
    const long long time = utils::fileModifTime(varConfigFile(), false);
    if (time == varConfigTime)
        return;
    const IniFile conf(varConfigFile());
    const std::string url = conf.value("cu/params/101", "NMSServerUrl", "");
    if (url != authURL_)
        authURL_ = url;
    connectTimeout_ = number(conf, "cu/params/101", "NMSConnectTimeout", defaultConnectTimeout);
    const int language = number(conf, "cu/params/1", "sysLanguage", defaultLanguage);
    sysLanguage_ =
        std::min(static_cast<unsigned>(language), maxLanguage); // a negative one is a large one
    if (!isUnitTests)
        SysLog::get()->setDebugLevel(number(conf, "cu/params/3", "LogDebug", 0));
    varConfigTime = time;
}

const std::string& Settings::configFile()
{
    return cached(configFile_, configDir_, confName);
}

const std::string& Settings::varConfigFile()
{
    return cached(varConfigFile_, varConfigDir_, confName);
}

const std::string& Settings::usersFile()
{
    return cached(usersFile_, varConfigDir_, "users");
}

const std::string& Settings::groupsFile()
{
    return cached(groupsFile_, varConfigDir_, "groups");
}

const std::string& Settings::modulesFile()
{
    return cached(modulesFile_, varConfigDir_, "modacc");
}

const std::string& Settings::cacheFile()
{
    return cached(cacheFile_, varConfigDir_, "cache.db");
}

const std::string& Settings::dataDir()
{
    if (dataDir_.empty())
        dataDir_ = GREX_DATA_DIR;
    return dataDir_;
}

const std::string& Settings::authURL()
{
    update();
    return authURL_;
}

const unsigned int& Settings::sysLanguage()
{
    update();
    return sysLanguage_;
}

int Settings::connectTimeout()
{
    return connectTimeout_;
}

void Settings::setConfigDir(const std::string& folder)
{
    configDir_ = folder;
    configFile_.clear();
    load();
}

void Settings::setVarConfigDir(const std::string& folder)
{
    varConfigDir_ = folder;
    usersFile_.clear();
    groupsFile_.clear();
    modulesFile_.clear();
    varConfigFile_.clear();
}

void Settings::setDataDir(const std::string& folder)
{
    dataDir_ = folder;
}

void Settings::setUsersFilename(const std::string& path)
{
    usersFile_ = path;
}

void Settings::setGroupsFilename(const std::string& path)
{
    groupsFile_ = path;
}

void Settings::setModulesFilename(const std::string& path)
{
    modulesFile_ = path;
}

} // namespace grex
