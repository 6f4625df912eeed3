// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"
#include "grex/ini_file.h"
#include "tests/fuzz/fuzz.h"

// Section, key, then a file. Names count up to a NUL and without regard to case; a value is in one
// line of the file, and reading the file once more changes nothing.
INPUT(text)
{
    const std::string section = takeLine(text);
    const std::string key = takeLine(text);
    const std::string path = fileOf("borea.conf", text);
    IniFile conf(path);
    const std::string value = conf.value(section, key, "(absent)");
    HOLDS(value == conf.value(sx::upper(section), sx::lower(key), "(absent)"));
    HOLDS(value.find('\n') == std::string::npos);
    HOLDS(value == "(absent)" || text.find(value) != std::string::npos);
    HOLDS(conf.load(path) && conf.value(section, key, "(absent)") == value);
    HOLDS(conf.load(fileOf("more.conf", "[" + section + "]\nother=1\n")));
    HOLDS(sx::lower(key.c_str()) == "other" || conf.value(section, key, "(absent)") == value);
}
