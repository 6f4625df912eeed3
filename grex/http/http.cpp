// SPDX-License-Identifier: Apache-2.0
#include "grex/http/http.h"

#include "common/stl/no_throw.h"

#include <algorithm>
#include <cstdio>
#include <curl/curl.h>
#include <memory>
#include <sys/auxv.h>

char Http::errorBuffer_[256];
static_assert(sizeof(Http::errorBuffer_) >= CURL_ERROR_SIZE, "libcurl writes that much");

namespace {

constexpr std::size_t maxBody = 16U << 20; // bytes
constexpr unsigned maxSeconds = 2000000; // libcurl counts milliseconds, in 32 bits on some machines
constexpr unsigned transferSeconds = 30; // for a request, beyond the connection
constexpr unsigned defaultConnectSeconds = 300; // libcurl's, for a timeout of 0
constexpr long maxRedirects = 10;

// One request. The first option that libcurl refuses decides its code; later ones are not set any
// more.
class Transfer {
public:
    explicit operator bool() const { return handle_ != nullptr; }
    CURLcode code() const { return code_; }

    template <class Value> void set(CURLoption option, Value value)
    {
        if (code_ != CURLE_OK)
            return;
        code_ = curl_easy_setopt(handle_.get(), option, value);
        if (code_ != CURLE_OK)
            std::snprintf(Http::errorBuffer_, sizeof(Http::errorBuffer_), "%s",
                          curl_easy_strerror(code_));
    }

    // Options that every request has.
    void prepare(const std::string& url, unsigned timeout)
    {
        const unsigned connect = std::min(timeout, maxSeconds);
        const unsigned total = (connect != 0 ? connect : defaultConnectSeconds) + transferSeconds;
        Http::errorBuffer_[0] = '\0';
        if (connect != 0) {
            set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(connect));
            set(CURLOPT_NOSIGNAL, 1L);
        }
        set(CURLOPT_TIMEOUT, static_cast<long>(std::min(total, maxSeconds)));
        set(CURLOPT_ERRORBUFFER, Http::errorBuffer_);
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_HEADER, 0L);
        followRedirects();
        restrictBorrowedRights();
        set(CURLOPT_WRITEFUNCTION, &Http::writer);
        set(CURLOPT_WRITEDATA, &body_);
    }

    std::string perform()
    {
        if (code_ == CURLE_OK)
            code_ = curl_easy_perform(handle_.get());
        return code_ == CURLE_OK ? std::move(body_) : std::string();
    }

private:
    struct Cleanup {
        void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    };

    void followRedirects()
    {
        set(CURLOPT_FOLLOWLOCATION, 1L);
        set(CURLOPT_MAXREDIRS, maxRedirects);
        set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
        set(CURLOPT_HEADERDATA, this);
    }

    // Once an answer has come by https, a redirect in it must not lead the password into the open.
    // Called with each header line, before libcurl looks at where a redirect leads.
    static std::size_t onHeader(char*, std::size_t size, std::size_t count, Transfer* self)
    {
        char* scheme = nullptr;
        curl_easy_getinfo(self->handle_.get(), CURLINFO_SCHEME, &scheme);
        if (scheme && curl_strequal(scheme, "https") != 0)
            self->set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
        return self->code_ == CURLE_OK ? size * count : 0;
    }

    // The folder and the environment are the caller's. In a process with more rights than he has, a
    // jar could be a link to a file that he may not write, and a proxy a listener for passwords.
    void restrictBorrowedRights()
    {
        if (getauxval(AT_SECURE) != 0)
            set(CURLOPT_PROXY, "");
        else
            set(CURLOPT_COOKIEJAR, "cookies.txt");
    }

    std::string body_; // before the handle, which writes into it
    std::unique_ptr<CURL, Cleanup> handle_{curl_easy_init()};
    CURLcode code_ = CURLE_OK;
};

} // namespace

Http::Headers::Headers() = default;

Http::Headers::~Headers()
{
    curl_slist_free_all(list_);
}

Http::Headers& Http::Headers::append(const char* line)
{
    // The new head, or null when memory is out, and the old list is still ours.
    if (curl_slist* const head = curl_slist_append(list_, line))
        list_ = head;
    return *this;
}

Http::Headers& Http::Headers::append(const std::string& line)
{
    return append(line.c_str());
}

Http::Headers& Http::Headers::operator<<(const char* line)
{
    return append(line);
}

Http::Headers& Http::Headers::operator<<(const std::string& line)
{
    return append(line);
}

curl_slist* Http::Headers::ptr() const
{
    return list_;
}

Http::Http(unsigned timeout) : timeout_(timeout) {}

std::string Http::get(const std::string& url)
{
    Transfer transfer;
    if (!transfer)
        return {};
    transfer.prepare(url, timeout_);
    transfer.set(CURLOPT_SSL_VERIFYPEER, 0L);
    transfer.set(CURLOPT_SSL_VERIFYHOST, 0L);
    std::string body = transfer.perform();
    code_ = transfer.code();
    return body;
}

std::string Http::post(const std::string& url, const std::string& body, const Headers& headers)
{
    Transfer transfer;
    if (!transfer)
        return {};
    transfer.prepare(url, timeout_);
    transfer.set(CURLOPT_POSTFIELDS, body.c_str()); // libcurl keeps no copy of it
    transfer.set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    if (headers.ptr())
        transfer.set(CURLOPT_HTTPHEADER, headers.ptr());
    std::string answer = transfer.perform();
    code_ = transfer.code();
    return answer;
}

std::string Http::post(const std::string& url, const std::string& body)
{
    return post(url, body, Headers());
}

int Http::code() const
{
    return code_;
}

std::size_t Http::writer(char* data, std::size_t size, std::size_t count, std::string* out)
{
    if (!out || out->size() > maxBody || (size != 0 && count > (maxBody - out->size()) / size))
        return 0;
    return sx::noThrow(std::size_t{0}, [&] {
        out->append(data, size * count);
        return size * count;
    });
}
