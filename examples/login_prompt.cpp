// SPDX-License-Identifier: Apache-2.0
// Asks for a login and a password on the terminal and tells what the user may do with a module.
//
//     login_prompt MODULE [CONFIG-FOLDER]
#include "start.h"

#include <grex/context.h>
#include <grex/session.h>
#include <grex/settings.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace {

// The terminal shows nothing that is typed while this lives.
class HiddenInput {
public:
    HiddenInput() : isTerminal_(tcgetattr(STDIN_FILENO, &before_) == 0)
    {
        struct termios hidden = before_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        if (isTerminal_)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenInput()
    {
        if (isTerminal_)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

private:
    struct termios before_ = {};
    bool isTerminal_;
};

std::string ask(const char* question)
{
    std::cerr << question;
    std::string answer;
    std::getline(std::cin, answer);
    return answer;
}

std::string askHidden(const char* question)
{
    const HiddenInput hidden;
    return ask(question);
}

} // namespace

int main(int argc, char** argv)
{
    examples::seedRandom(); // first: a login may make a salt
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: login_prompt MODULE [CONFIG-FOLDER]\n";
        return 2;
    }
    if (argc == 3)
        examples::useElement(argv[2]);
    if (!grex::Context::get().setContext(argv[1])) {
        std::cerr << "no module '" << argv[1] << "' in " << grex::Settings::get()->modulesFile()
                  << '\n';
        return 2;
    }

    const std::string login = ask("Login: ");
    std::string password = askHidden("Password: ");
    grex::Session session;
    unsigned gid = 0;
    const bool granted = session.authenticate(login, password, gid);
    explicit_bzero(password.data(), password.size());
    std::cerr << '\n';
    if (!granted) {
        std::cout << "denied\n"; // the log tells why, the user is not told
        return 1;
    }
    std::cout << "welcome, " << session.userName() << " of group " << session.groupName() << '\n';
    std::cout << (session.checkAccess(2) ? "you may change " : "you may look at ") << argv[1]
              << '\n';
    return 0;
}
