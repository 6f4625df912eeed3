// SPDX-License-Identifier: Apache-2.0
#include "grex/grex_auth.h"

#include "tests/loopback.h"
#include "tests/support.h"

using GrexAuthTest = Element;

TEST_F(GrexAuthTest, DecidesByTheUsersFile)
{
    const std::string h = ":" + hashOf("pw") + "\n", wrong = "83 auth failed: wrong login or password\n",
                      format = "83 auth failed: wrong users file format\n";
    write("users", "ann:2" + h + "big:77" + h + "text:x" + h + "neg:-1" + h + "four:1:" + h + "two" + h +
                       "none:1:\nstar:1:*\nodd:1:pw\nann:1:" + hashOf("other") + "\nlast:4" + h);
    const GrexAuth auth;
    unsigned gid = 9;
    forEach({"ann~pw~1|2|", "ann~other~0|0|" + wrong, "ann~pw\0~0|0|"_s + wrong, "ann\0~pw~0|0|"_s, "ann:2~pw~0|0|",
             "big~pw~1|77|", "text~pw~0|0|" + format, "neg~pw~0|0|" + format, "four~pw~0|0|", "two~pw~0|0|",
             "none~~0|0|" + wrong, "star~*~0|0|" + wrong, "odd~pw~0|0|" + wrong, "nobody~pw~0|0|", "last~pw~1|4|"},
            [&](const Strings& c) {
                const bool isAdmitted = auth.authenticate(c[0], c[1], gid);
                EXPECT_EQ(ALL(isAdmitted, gid) + logged(), c[2]);
            });
    outside.hashes.clear(); // hashed all the same:
    IS("0|0|$6$$6$|", auth.authenticate("nobody", "pw", gid), auth.locAuthenticate(true, "x", "pw", gid),
       outside.hashes);
    outside.catalogue = {{"grex::__private__::GrexAuth|auth failed: %s", "Fehler: %s"},
                         {"grex::__private__::GrexAuth|wrong login or password", "falsch"}};
    IS("0|83 Fehler: falsch\n|", auth.locAuthenticate(false, "ann", "x", gid), logged());
    SysLog::get()->setDebugLevel(2), logged();
    GrexAuth("\t http://h \n");
    IS("http://h|7 net auth on\n|", GrexAuth::authURL_, logged());
    GrexAuth::setAuthService(" \t"), GrexAuth::setServiceConnectTimeout(-5);
    IS("|7 net auth off\n|0|", GrexAuth::authURL_, logged(), GrexAuth::connectTimeout_);
}

TEST_F(GrexAuthTest, AsksTheServiceThenTheCacheThenTheUsers)
{
    Loopback server;
    const GrexAuth auth("http://127.0.0.1:" + server.port);
    unsigned gid = 9;
    const std::string failed = "83 net auth failed: ", no = failed + "server authentication fail: no";
    const std::string up = answerTo("OpenSession", "ResultCode=0", sessionXml("d", "3")),
                      down = answerTo("OpenSession", "ResultCode=1 ResultDescription=no");
    // "net" is in the cache, "joe" in the users file, "ann" in both, "new" nowhere. Login,
    // password; then whether admitted, the group, whether cached afterwards; how often the tool was
    // started
    const auto expect = [&](const std::string& answer, const std::string& log, const Strings& rows) {
        forEach(rows, [&](const Strings& c) {
            write("cache.db", "net:4:" + hashOf("pw-net") + "\nann:3:" + hashOf("cached") + "\nbad:1\n");
            outside = {};
            outside.isImpatient = server.delay != 0;
            server.body = answer;
            const bool isAdmitted = auth.authenticate(c[0], c[1], gid);
            IS(c[2], isAdmitted, gid, !GrexDB().findCacheUserLine(c[0]).empty());
            IS(ALL(log, c.size() > 3 ? GREX_SYNC_TOOL "\n" : ""), outside.log.substr(0, log.size()), outside.commands);
        });
    };
    expect(up, "", {"new~any~1|3|1|~1", "net~any~1|3|1|~1", "a:b~any~1|3|0|"});
    EXPECT_EQ(outside.log, "");
    expect(down, no, {"net~pw-net~0|0|0|~1", "ann~pw-ann~1|2|0|~1", "joe~pw-joe~1|1|0|", "new~any~0|0|0|"});
    expect("<garbage", failed + "unable to parse xml content", {"net~pw-net~1|4|1|", "ann~pw-ann~1|2|1|"});
    server.delay = 200;
    expect(up, failed + "Operation timed out", {"net~pw-net~1|4|1|", "new~any~0|0|0|"});
    server.close();
    server.delay = 0;
    expect("", failed + "Failed to connect",
           {"net~pw-net~1|4|1|", "net~x~0|0|1|", "ann~cached~1|3|1|", "joe~pw-joe~1|1|0|"});
}

TEST_F(GrexAuthTest, KeepsWhatTheServiceReports)
{
    Loopback server;
    const GrexAuth auth("http://127.0.0.1:" + server.port);
    std::string user = "old";
    unsigned gid = 9;
    const std::string session = sessionXml("d", "2"), wrong = "83 net auth failed: wrong login or password\n";
    IS(ALL(4, 4, wrong + wrong, 0), auth.netAuthenticate("a\0b"_s, "pw", gid), auth.netAuthenticate("a", "p\0w"_s, gid),
       logged(), server.requests.size());
    forEach({"7~0|7|0|", "x~0|0|0|", "2~0|2|1|"}, [&](const Strings& c) {
        server.body = answerTo("OpenSession", "ResultCode=0", sessionXml("d", c[0]));
        IS(c[1], auth.netAuthenticate("new", "pw", gid), std::to_string(gid),
           auth.locAuthenticate(true, "new", "pw", gid));
    });
    logged();
    IS("0|83 net session failed: xml error: session nodes is not found\n|", auth.validateSession("<x/>", user, gid),
       logged());
    server.body = answerTo("GetUserInfo", "ResultCode=1 ResultDescription=no");
    IS("0|83 net session failed: server authentication fail: no\n|", auth.validateSession(session, user, gid),
       logged());
    server.body = userAnswer("ID=7 Group=2 Login=net Tag=tag");
    EXPECT_TRUE(auth.validateSession(session, user, gid) && user == "net" && gid == 2);
    EXPECT_TRUE(auth.locAuthenticate(true, "net", "tag", gid));
    GrexAuth::setAuthService("");
    IS("0|83 net auth is not configured\n|", auth.validateSession(session, user, gid), logged());
}

static std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

TEST_F(GrexAuthTest, UnderstandsTheServicesOfOthers)
{
    Loopback server;
    const std::string url = "http://127.0.0.1:" + server.port, group = "<UserGroup>3<", head = "<?xml version='1.0'",
                      good = answerTo("OpenSession", "ResultDescription=d ResultCode=0", sessionXml("d", "3"));
    const auto put = [&](const char* text) { return replaced(good, group, text); };
    unsigned gid = 0;
    const std::function<void(httplib::Response&)> plain = [](auto&) {};
    const auto expect = [&](bool isUnderstood, const std::string& body, const std::string& path = "",
                            const std::function<void(httplib::Response&)>& shape = nullptr) {
        write("cache.db", "");
        server.body = body;
        server.shape = shape ? shape : plain;
        IS(ALL(isUnderstood), GrexAuth(url + path).authenticate("new", "pw", gid)) << body;
    };
    for (const char* text :
         {"<UserGroup><![CDATA[3]]><", "<!-- 2 -->\n <UserGroup>3<!-- 4 --><", "<UserGroup a='b'>&#51;<"})
        expect(true, put(text));
    expect(true, head + " encoding='ISO-8859-5'?>\n" + replaced(good, "Ann", "\xb0"));
    const std::string bare = good.substr(good.find("<Open"), good.find("</e:") - good.find("<Open"));
    expect(true, replaced(replaced(replaced(bare, "<", "<p:"), "<p:/", "</p:"), " xmlns=", " xmlns:p="));
    server.redirect();
    expect(true, good, "/x?/there"); // 307 keeps the POST
    EXPECT_EQ(server.requests.back().method, "POST");
    expect(true, good, "", [](auto& response) { response.status = 500; });
    expect(true, "", "", [&](auto& response) {
        response.set_chunked_content_provider("text/xml", [&](std::size_t, httplib::DataSink& sink) {
            return sink.write(good.data(), good.size()) && (sink.done(), true);
        });
    });
    outside.isImpatient = true; // one byte at a time is no progress
    expect(false, "", "", [](auto& response) {
        response.set_content_provider(1000, "text/xml", [](std::size_t, std::size_t, httplib::DataSink& sink) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            return sink.write("<", 1);
        });
    });
    EXPECT_EQ(logged().substr(0, 39), "83 net auth failed: Operation timed out");
}

TEST_F(GrexAuthTest, FallsBackToTheCacheWhereACertificateIsNoGood)
{
    // Two authorities; certificates by the first, one of which expires before it is made.
    write("make", R"(
        cd "${0%/*}"
        key() { openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "$@"; }
        for ca in ca other; do key -x509 -keyout $ca.key -out $ca -subj /CN=$ca; done
        for certificate in good:127.0.0.1:1 expired:127.0.0.1:-1 foreign:127.0.0.2:1; do
            IFS=: read -r name address days <<< $certificate
            key -keyout $name.key -out request -subj /CN=service
            openssl x509 -req -in request -CA ca -CAkey ca.key -days $days -out $name \
                -extfile <(echo subjectAltName=IP:$address)
        done)");
    ASSERT_EQ(pclose(popen(("bash -e " + dir + "make 2>/dev/null").c_str(), "r")), 0);
    Loopback plain;
    plain.body = answerTo("OpenSession", "ResultCode=0", sessionXml("d", "3"));
    forEach({"good~ca~~1|3|~", "good~other~~1|4|~unable to get local issuer certificate",
             "expired~ca~~1|4|~certificate has expired",
             "foreign~ca~~1|4|~no alternative certificate subject name matches",
             "good~ca~x?http://127.0.0.1:" + plain.port + "~1|4|~disabled"},
            [&](const Strings& c) {
                write("cache.db", "net:4:" + hashOf("pw-net") + "\n");
                Loopback<httplib::SSLServer> server((dir + c[0]).c_str(), (dir + c[0] + ".key").c_str());
                server.body = plain.body;
                server.redirect();
                outside.authority = dir + c[1];
                const GrexAuth auth("https://127.0.0.1:" + server.port + "/" + c[2]);
                unsigned gid = 0;
                const bool isAdmitted = auth.authenticate("net", "pw-net", gid);
                EXPECT_EQ(ALL(isAdmitted, gid), c[3]);
                const std::string log = logged();
                EXPECT_TRUE(c[4].empty() ? log.empty() : log.find(c[4]) != std::string::npos) << log;
                server.close();
            });
    EXPECT_TRUE(plain.requests.empty()); // never from https into the open
}
