// SPDX-License-Identifier: Apache-2.0
#include "grex/grex_auth.h"

#include "common/stl/crypt++.h"
#include "common/stl/no_throw.h"
#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "common/stl/translate.h"
#include "grex/constants.h"
#include "grex/grex_db.h"
#include "grex/http/http_service.h"

#include <algorithm>
#include <vector>

namespace grex::__private__ {

std::string GrexAuth::authURL_;
unsigned GrexAuth::connectTimeout_ = 15;

namespace {

constexpr char prefix[] = "grex::__private__::GrexAuth|";
constexpr int priority = LOG_AUTHPRIV | LOG_ERR;
constexpr unsigned success = 0; // states of the service and of netAuthenticate()
constexpr unsigned refused = 1;
constexpr unsigned failure = 4;

// A setting of the SHA-512 method without a hash behind it: what crypt makes of it is always
// longer.
constexpr char unmatchable[] = "$6$ooooooooooooooo.";

const char* wrongLogin()
{
    return translate(prefix, "wrong login or password");
}

void logNetFailure(const char* reason)
{
    syslogLog(priority, translate(prefix, "net auth failed: %s"), reason);
}

bool holdsNul(const std::string& text)
{
    return text.find('\0') != std::string::npos;
}

struct Record {
    bool isValid = false;
    unsigned gid = 0;
    std::string hash = unmatchable;
};

Record parseRecord(const std::string& line)
{
    std::vector<std::string> fields;
    sx::split(line, fields, colon);
    Record record;
    record.isValid = fields.size() == 3 && sx::fromString(fields[1], record.gid, 10);
    if (record.isValid)
        record.hash = fields[2];
    return record;
}

// The service's status, with its consequences for the cache and the log.
unsigned askService(const std::string& login, const std::string& password, unsigned& gid)
{
    gid = 0;
    return sx::noThrow(failure, [&] {
        if (holdsNul(login) || holdsNul(password)) { // as C strings they would be cut there
            logNetFailure(wrongLogin());
            return failure;
        }
        http::HttpService service(GrexAuth::authURL_, GrexAuth::connectTimeout_);
        http::Session session;
        const GrexDB db;
        const unsigned status = service.openSession(login, password, session);
        if (status == success) {
            db.changeUser(GrexDB::ChangeOp::AddOrUpdate, GrexDB::cachefile_, login,
                          session.UserGroup, password);
            sx::fromString(session.UserGroup, gid, 10);
            return success;
        }
        if (status == refused)
            db.changeUser(GrexDB::ChangeOp::Remove, GrexDB::cachefile_, login, "", "");
        logNetFailure(service.error().c_str());
        return status;
    });
}

} // namespace

GrexAuth::GrexAuth() = default;

GrexAuth::GrexAuth(const std::string& url)
{
    setAuthService(url);
}

void GrexAuth::setAuthService(const std::string& url)
{
    sx::noThrow(false, [&] {
        authURL_ = sx::strip(url);
        syslogDebug2(translate(prefix, authURL_.empty() ? "net auth off" : "net auth on"));
        return true;
    });
}

void GrexAuth::setServiceConnectTimeout(int seconds)
{
    connectTimeout_ = static_cast<unsigned>(std::max(seconds, 0));
}

bool GrexAuth::authenticate(const std::string& login, const std::string& password,
                            unsigned& gid) const
{
    if (!authURL_.empty()) {
        const unsigned status = askService(login, password, gid);
        if (status == success)
            return true;
        // Whom the service has just refused the cache admits in no case, not even where his record
        // could not be removed.
        if (status != refused && locAuthenticate(true, login, password, gid))
            return true;
    }
    return locAuthenticate(false, login, password, gid);
}

bool GrexAuth::locAuthenticate(bool useCache, const std::string& login, const std::string& password,
                               unsigned& gid) const
{
    gid = 0;
    return sx::noThrow(false, [&] {
        const GrexDB db;
        const std::string line = useCache ? db.findCacheUserLine(login) : db.findUserLine(login);
        const Record record = parseRecord(line);
        // Hashed in every case: the time of an answer does not tell who exists.
        if (crpt::compare(password, record.hash)) {
            gid = record.gid;
            return true;
        }
        if (!line.empty() && !isUnitTests)
            syslogLog(priority, translate(prefix, "auth failed: %s"),
                      record.isValid ? wrongLogin() : translate(prefix, "wrong users file format"));
        return false;
    });
}

unsigned GrexAuth::netAuthenticate(const std::string& login, const std::string& password,
                                   unsigned& gid) const
{
    return askService(login, password, gid) == success ? success : failure;
}

bool GrexAuth::validateSession(const std::string& sessionId, std::string& user, unsigned& gid) const
{
    return sx::noThrow(false, [&] {
        if (authURL_.empty()) {
            syslogLog(priority, translate(prefix, "net auth is not configured"));
            return false;
        }
        http::HttpService service(authURL_, connectTimeout_);
        http::UserInfo info;
        if (service.readUserInfo(sessionId, info) != success) {
            syslogLog(priority, translate(prefix, "net session failed: %s"),
                      service.error().c_str());
            return false;
        }
        const GrexDB db;
        db.changeUser(GrexDB::ChangeOp::AddOrUpdate, GrexDB::cachefile_, info.Login,
                      sx::toString(info.Group), info.Tag);
        user = info.Login;
        gid = info.Group;
        return true;
    });
}

} // namespace grex::__private__
