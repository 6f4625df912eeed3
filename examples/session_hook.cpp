// SPDX-License-Identifier: Apache-2.0
// What a web server runs before it hands out a page: validates the session text that the browser
// brought, on standard input, and answers with the headers of a CGI response (RFC 3875).
//
//     session_hook MODULE [CONFIG-FOLDER] < session.xml
#include "start.h"

#include <grex/context.h>
#include <grex/session.h>

#include <iostream>
#include <iterator>
#include <string>

namespace {

constexpr std::size_t maxSession = 64U << 10; // bytes; a browser's header holds less

std::string readSession()
{
    std::string text;
    char piece[4096];
    while (text.size() <= maxSession && std::cin.read(piece, sizeof(piece)).gcount() > 0)
        text.append(piece, static_cast<std::size_t>(std::cin.gcount()));
    return text.size() <= maxSession ? text : std::string();
}

} // namespace

int main(int argc, char** argv)
{
    examples::seedRandom();
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: session_hook MODULE [CONFIG-FOLDER]\n";
        return 2;
    }
    if (argc == 3)
        examples::useElement(argv[2]);

    grex::Session session;
    if (!grex::Context::get().setContext(argv[1]) || !session.validateSession(readSession())) {
        std::cout << "Status: 403 Forbidden\r\n\r\n";
        return 1;
    }
    // The group, not the name: a name that the service reports may hold what a header may not.
    std::cout << "Status: 200 OK\r\nX-Group: " << session.groupName()
              << "\r\nX-Level: " << session.moduleAccess() << "\r\n\r\n";
    return 0;
}
