// SPDX-License-Identifier: Apache-2.0
#include "grex/http/http.h"

#include "tests/loopback.h"
#include "tests/support.h"

#include <curl/curl.h>

using HttpTest = ThrowAwayDir;

static std::string takeOptions()
{
    std::string text;
    for (const int number :
         {CURLOPT_CONNECTTIMEOUT, CURLOPT_NOSIGNAL, CURLOPT_TIMEOUT, CURLOPT_HEADER, CURLOPT_FOLLOWLOCATION,
          CURLOPT_MAXREDIRS, CURLOPT_SSL_VERIFYPEER, CURLOPT_SSL_VERIFYHOST, CURLOPT_COOKIEJAR, CURLOPT_PROXY})
        text += ALL(outside.options.count(number) != 0 ? outside.options[number] : "-");
    outside.options.clear();
    return text;
}

TEST_F(HttpTest, SetsTheOptionsOfARequest)
{
    Loopback server;
    server.body = "hi";
    const std::string url = "http://127.0.0.1:" + server.port + "/p?q";
    Http http(7);
    IS("hi|7|1|37|0|1|10|0|0|cookies.txt|-||", http.get(url), takeOptions());
    IS("hi|7|1|37|0|1|10|-|-|cookies.txt|-||", http.post(url, "x"), takeOptions());
    fs::remove("cookies.txt");
    outside.hasBorrowedRights = true;
    IS("hi|-|-|330|0|1|10|-|-|-|||0|", Http(0).post(url, "x"), takeOptions(), fs::exists("cookies.txt"));
    Http::Headers headers;
    EXPECT_EQ(headers.ptr(), nullptr);
    EXPECT_EQ(&(headers.append("A: 1").append("B: 2"_s) << "C: 3"
                                                        << "Content-Type: x"_s),
              &headers);
    Http(4000000000U).post(url, "bo\0dy"_s, headers);
    EXPECT_EQ(takeOptions().substr(0, 18), "2000000|1|2000000|");
    const httplib::Request& last = server.requests.back();
    IS("POST|/p?q|"_s + "bo\0dy|1|2|3|x|"_s, last.method, last.target, last.body, last.get_header_value("A"),
       last.get_header_value("B"), last.get_header_value("C"), last.get_header_value("Content-Type"));
    outside.refusedOption = CURLOPT_MAXREDIRS;
    IS("|48|An unknown option was passed in to libcurl|4|", http.get(url), http.code(), ""_s + Http::errorBuffer_,
       server.requests.size());
}

TEST_F(HttpTest, KeepsWithinBounds)
{
    Loopback plain;
    plain.body = "there";
    plain.redirect();
    Http http(2);
    const std::string open = "http://127.0.0.1:" + plain.port + "/";
    forEach({open + "xxxxxxxxxx~there|0|1|", open + "xxxxxxxxxxx~|47|0|",
             open + "x?file://" + write("secret", "local") + "~|1|0|", "http://..invalid/~|6|0|"},
            [&](const Strings& c) { IS(c[1], http.get(c[0]), http.code(), Http::errorBuffer_[0] == '\0'); });
    const std::size_t most = 16U << 20;
    plain.body.assign(most, 'x');
    EXPECT_EQ(http.get(open).size(), most);
    plain.body += 'x';
    IS("|23|", http.get(open), http.code());
    std::string out = "+", data = "abcdef";
    IS("6|0|0|0|", Http::writer(data.data(), 2, 3, &out), Http::writer(data.data(), 1, 1, nullptr),
       Http::writer(data.data(), SIZE_MAX, 2, &out), Http::writer(data.data(), most, 1, &out));
    EXPECT_EQ(out, "+abcdef");
}
