// SPDX-License-Identifier: Apache-2.0
#include "pam/options.h"

#include "grex/ini_file.h"
#include "grex/settings.h"

#include <security/pam_ext.h>
#include <syslog.h>

namespace {

// Whether `text` is `name` (which ends in "=") and a value.
bool takeValue(const std::string& text, const std::string& name, std::string& value)
{
    if (text.size() <= name.size() || text.compare(0, name.size(), name) != 0)
        return false;
    value = text.substr(name.size());
    return true;
}

bool takeFlag(const std::string& text, const char* name, bool& flag)
{
    if (text != name)
        return false;
    flag = true;
    return true;
}

bool takeOption(const std::string& text, Options& options)
{
    bool isObeyedByPam = false; // use_authtok is an affair of pam_get_authtok(3)
    return takeValue(text, "context=", options.context) ||
           takeValue(text, "config_dir=", options.configDir) ||
           takeValue(text, "var_dir=", options.varDir) ||
           takeFlag(text, "use_first_pass", options.useFirstPass) ||
           takeFlag(text, "try_first_pass", options.tryFirstPass) ||
           takeFlag(text, "debug", options.debug) || takeFlag(text, "use_authtok", isObeyedByPam);
}

} // namespace

Options parseOptions(const pam_handle_t* handle, int count, const char** texts)
{
    Options options;
    for (int i = 0; i < count; ++i)
        if (!takeOption(texts[i], options))
            pam_syslog(handle, LOG_ERR, "unknown option: '%s'", texts[i]);
    return options;
}

void applyFolders(const Options& options)
{
    grex::Settings& settings = *grex::Settings::get();
    if (!options.configDir.empty()) {
        settings.setConfigDir(options.configDir);
        // The settings have read the folder's name, but keep the paths that they have made of an
        // earlier one.
        const IniFile conf(settings.configFile());
        settings.setVarConfigDir(conf.value("common", "VarConfigDir", GREX_VAR_CONFIG_DIR));
    }
    if (!options.varDir.empty())
        settings.setVarConfigDir(options.varDir);
}
