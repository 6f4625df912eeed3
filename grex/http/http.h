// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_HTTP_HTTP_H
#define GREX_HTTP_HTTP_H

#include "common/stl/export.h"

#include <cstddef>
#include <string>

struct curl_slist;

/// One HTTP request at a time over libcurl. A request ends at the connect timeout and 30 s more, at
/// a body of more than 16 MiB and at the eleventh redirect; redirects lead to http and https, from
/// https to https alone. Cookies are left in "cookies.txt" in the process's working folder, where
/// that can be written, and the proxy variables of the environment (http_proxy and the like) are
/// obeyed, but for one case: in a process with more rights than its caller (getauxval(AT_SECURE) is
/// not 0) the caller's folder and environment decide nothing, and there is neither a cookie jar nor
/// a proxy. Nothing is thrown; not for several threads.
class GREX_API Http {
public:
    /// A list of header lines ("Name: value").
    class GREX_API Headers {
    public:
        Headers();
        ~Headers();
        Headers(const Headers&) = delete;
        Headers& operator=(const Headers&) = delete;

        /// Add one line. Where memory is out the list stays as it was.
        Headers& append(const char* line);
        Headers& append(const std::string& line);
        Headers& operator<<(const char* line);
        Headers& operator<<(const std::string& line);

        /// The list, still this object's; null when it is empty.
        curl_slist* ptr() const;

    private:
        curl_slist* list_ = nullptr;
    };

    /// `timeout`: seconds for the connection, 0 for libcurl's own 300; at most 2,000,000 count.
    explicit Http(unsigned timeout);

    /// The body of the answer, whatever its HTTP status; empty on failure, code() and errorBuffer_
    /// then tell why. get() does not check certificates, post() does.
    std::string get(const std::string& url);
    std::string post(const std::string& url, const std::string& body, const Headers& headers);
    std::string post(const std::string& url, const std::string& body);

    /// The CURLcode of the last request.
    int code() const;

    /// What libcurl calls with each piece of a body: appends size * count bytes to `out` and
    /// returns their number; returns 0, which ends the transfer, for a null `out`, past 16 MiB, or
    /// where memory is out.
    static std::size_t writer(char* data, std::size_t size, std::size_t count, std::string* out);

    /// Why the last request of any object failed; empty when it did not.
    static char errorBuffer_[256];

private:
    unsigned timeout_; // seconds
    int code_ = 0;
};

#endif
