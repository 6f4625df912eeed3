// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sys_log.h"
#include "common/stl/utils.h"
#include "grex/settings.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/options.h"

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <libintl.h>
#include <new>
#include <sys/random.h>
#include <sys/stat.h>

namespace {

using namespace grexctl;

// The library makes salts of random(3). A seed alone would leave 2^32 of them: all of the state but
// its first word, which names the generator, is replaced by the system's randomness.
void seedRandom()
{
    static std::int32_t state[64];
    constexpr std::size_t size = sizeof(state) - sizeof(state[0]);
    initstate(1, reinterpret_cast<char*>(state), sizeof(state));
    if (getrandom(state + 1, size, 0) != static_cast<ssize_t>(size))
        throw std::runtime_error("the system gives no random numbers: " +
                                 std::string(std::strerror(errno)));
}

// Of the library's messages, relative to the program: an installed tree can be moved.
void findTranslations()
{
    std::setlocale(LC_ALL, "");
    textdomain("grex");
    std::error_code unknown;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", unknown);
    if (!unknown)
        bindtextdomain("grex", (program.parent_path() / GREXCTL_LOCALE_FOLDER).c_str());
}

void setUpLog(bool isVerbose)
{
    const SysLog& log = *SysLog::get();
    log.setOptions(0, LOG_USER, false);
    log.setForceUseStderr(isVerbose);
}

void requireFolder(const char* option, const std::string& path)
{
    struct stat status = {};
    const int error = stat(path.c_str(), &status) != 0 ? errno : ENOTDIR;
    if (!S_ISDIR(status.st_mode))
        throw UsageError(std::string(option) + ": " + inQuotes(path) + ": " + std::strerror(error) +
                         "; give the folder that borea.conf is in");
}

// The variable folder that the fixed file names is asked for by a path in it: load() empties no
// path that was given out before.
void setUpElement(const Options& options)
{
    grex::Settings& settings = *grex::Settings::get();
    if (!options.configDir.empty()) {
        requireFolder("--config-dir", options.configDir);
        settings.setConfigDir(options.configDir);
        std::string folder = utils::folderOf(settings.groupsFile());
        folder.pop_back();
        settings.setVarConfigDir(folder);
    }
    if (!options.varDir.empty()) {
        requireFolder("--var-dir", options.varDir);
        settings.setVarConfigDir(options.varDir);
    }
    settings.update();
}

Answer refusal(const char* json, const std::string& message)
{
    Answer answer;
    answer.json = Json::parse(json);
    answer.messages = {message};
    answer.status = statusRefused;
    return answer;
}

Answer run(const CommandLine& line)
{
    if (!line.command.run) {
        Answer answer;
        answer.text = line.text;
        return answer;
    }
    setUpLog(line.options.isVerbose);
    setUpElement(line.options);
    try {
        return line.command.run(line.options);
    } catch (const Refused& refused) {
        return refusal(line.command.refusal, refused.what());
    }
}

int print(const Output& output, const Answer& answer, bool isJson)
{
    for (const std::string& message : answer.messages)
        report(message);
    if (output.write(isJson ? toText(answer.json) + '\n' : answer.text))
        return answer.status;
    report("standard output: " + std::string(std::strerror(errno)));
    return answer.status == statusDone ? statusRefused : answer.status;
}

int runAndPrint(int argc, char** argv)
{
    seedRandom();
    findTranslations();
    // A handler, not SIG_IGN, which the synchronisation tool would inherit.
    std::signal(SIGPIPE, [](int) {});
    const Output output;
    allowColours(output.isTerminal());
    const CommandLine line = parse(argc, argv);
    return print(output, run(line), line.options.isJson && line.command.run);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return runAndPrint(argc, argv);
    } catch (const UsageError& error) {
        report(error.what());
        return statusUsage;
    } catch (const std::bad_alloc&) {
        report("out of memory");
    } catch (const std::exception& error) {
        report(error.what());
    } catch (...) {
        report("unknown failure");
    }
    return statusRefused;
}
