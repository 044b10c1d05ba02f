#include "xmlda/http/HttpTransport.h"

#include "client/text/text.h"
#include "xmlda/Failure.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace xmlda {
namespace {

constexpr std::size_t MAXIMUM_HEAD_SIZE = std::size_t{64} * 1024;
constexpr std::size_t MEBIBYTE = std::size_t{1024} * 1024;

/// libcurl as a whole, from its first use to the program's end.
void initialise() {
    struct Library {
        Library() {
            if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
                throw std::bad_alloc();
            }
        }
        Library(const Library&) = delete;
        Library& operator=(const Library&) = delete;
        ~Library() { curl_global_cleanup(); }
    };
    static const Library library;
}

struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

struct FreeHandle {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

bool is_this_machine(const std::string& host) {
    return host == "localhost" || host == "::1" || host.starts_with("127.");
}

Failure create_unexpected(const std::string& what) {
    return {ExitStatus::UNEXPECTED_CONTENT, what};
}

/// A TLS alert, which is what a server that speaks TLS says to one that does not.
bool is_tls_alert(std::string_view bytes) {
    return bytes.starts_with("\x15\x03");
}

/// What OpenSSL says, without its numbers and the name of its part.
std::string without_numbers(const std::string& text) {
    const std::size_t colons = text.rfind("::");
    return colons == std::string::npos ? text : text.substr(colons + 2);
}

/// One request and its reply.
class Exchange {
public:
    Exchange(const Endpoint& endpoint, const HttpSettings& settings)
        : endpoint_(endpoint), settings_(settings), handle_(curl_easy_init()) {
        if (handle_ == nullptr) {
            throw std::bad_alloc();
        }
        set(CURLOPT_ERRORBUFFER, error_.data());
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_QUICK_EXIT, 1L);  // do not wait for a name that is still being looked up
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_URL, endpoint.get_url().c_str());
        set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(CURLOPT_ACCEPT_ENCODING, "");  // all that libcurl can unpack
        set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        set(CURLOPT_HTTP09_ALLOWED, 1L);  // so that `take_body` sees what is not HTTP
        if (is_this_machine(endpoint.host)) {
            set(CURLOPT_PROXY, "");
        }
        set_limits();
        set_identity();
    }

    CURL* get() const { return handle_.get(); }

    /// @param body  outlives the exchange
    void prepare(const std::string& action, const std::string& body, Repetition repetition) {
        add_header("Content-Type: text/xml; charset=utf-8");
        add_header("SOAPAction: \"" + action + '"');
        add_header("Accept:");  // what comes by itself and helps nobody
        add_header("Expect:");  // no waiting for "100 Continue", which few servers send
        set(CURLOPT_HTTPHEADER, headers_.get());
        set(CURLOPT_USERAGENT, "xmlda/" XMLDA_VERSION);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        set(CURLOPT_POSTFIELDS, body.c_str());
        // On a connection that was used before, libcurl sends a request again when it breaks.
        set(CURLOPT_FRESH_CONNECT, repetition == Repetition::FORBIDDEN ? 1L : 0L);
    }

    /// The reply, once libcurl is done.
    HttpReply finish(CURLcode code) {
        if (failure_) {
            throw Failure(*failure_);
        }
        if (code != CURLE_OK) {
            throw explain(code);
        }
        reply_.status = static_cast<int>(get_number(CURLINFO_RESPONSE_CODE));
        reply_.content_type = get_text(CURLINFO_CONTENT_TYPE);
        reply_.location = get_text(CURLINFO_REDIRECT_URL);
        return std::move(reply_);
    }

private:
    template <class Value>
    void set(CURLoption option, Value value) {
        if (curl_easy_setopt(handle_.get(), option, value) == CURLE_OUT_OF_MEMORY) {
            throw std::bad_alloc();
        }
    }

    void set_limits() {
        const long time = std::max(1L, static_cast<long>(settings_.time_out.count()));  // 0 is none
        set(CURLOPT_TIMEOUT_MS, time);
        set(CURLOPT_CONNECTTIMEOUT_MS, time);
        set(CURLOPT_HEADERFUNCTION, take_header);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_WRITEFUNCTION, take_body);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(settings_.maximum_reply_size));
    }

    void set_identity() {
        const TlsSettings& tls = settings_.tls;
        set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        set(CURLOPT_SSL_VERIFYPEER, tls.is_insecure ? 0L : 1L);
        set(CURLOPT_SSL_VERIFYHOST, tls.is_insecure ? 0L : 2L);
        if (!tls.authorities_file.empty()) {
            set(CURLOPT_CAINFO, tls.authorities_file.c_str());
            set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
        }
        if (!tls.certificate_file.empty()) {
            set(CURLOPT_SSLCERT, tls.certificate_file.c_str());
            set(CURLOPT_SSLKEY, tls.private_key_file.c_str());
        }
        if (settings_.user.empty()) {
            set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
        } else {
            set(CURLOPT_USERNAME, settings_.user.c_str());
            set(CURLOPT_PASSWORD, settings_.password.c_str());
        }
    }

    void add_header(const std::string& text) {
        curl_slist* const longer = curl_slist_append(headers_.get(), text.c_str());
        if (longer == nullptr) {
            throw std::bad_alloc();
        }
        static_cast<void>(headers_.release());
        headers_.reset(longer);
    }

    /// Called by libcurl, which is C: keeps what is thrown for `finish`, and ends the transfer.
    template <class Action>
    static std::size_t guard(void* user, std::size_t size, Action action) noexcept {
        Exchange& exchange = *static_cast<Exchange*>(user);
        try {
            action(exchange);
            return size;
        } catch (const Failure& failure) {
            exchange.failure_.emplace(failure);
        } catch (...) {
            exchange.failure_.emplace(ExitStatus::FAILURE, "out of memory");
        }
        return size + 1;
    }

    static std::size_t take_header(const char* text, std::size_t /*one*/, std::size_t size, void* user) {
        return guard(user, size, [&](Exchange& exchange) { exchange.add_to_head({text, size}); });
    }

    static std::size_t take_body(const char* bytes, std::size_t /*one*/, std::size_t size, void* user) {
        return guard(user, size, [&](Exchange& exchange) { exchange.add_to_body({bytes, size}); });
    }

    void add_to_head(std::string_view line) {
        head_size_ += line.size();
        if (head_size_ > MAXIMUM_HEAD_SIZE) {
            throw create_unexpected("the answer is not HTTP: its headers are too long");
        }
        if (line.starts_with("HTTP/")) {
            const std::size_t code = line.find(' ');
            const std::size_t reason = code == std::string_view::npos ? code : line.find(' ', code + 1);
            reply_.reason = reason == std::string_view::npos ? "" : trim(line.substr(reason));
        }
    }

    void add_to_body(std::string_view bytes) {
        if (head_size_ == 0) {
            throw create_unexpected(
                is_tls_alert(bytes) ? "the answer is not HTTP: the server seems to speak TLS, try https://"
                                    : "the answer is not HTTP");
        }
        if (bytes.size() > settings_.maximum_reply_size - reply_.body.size()) {
            throw create_too_large();
        }
        reply_.body += bytes;
    }

    Failure create_too_large() const {
        return create_unexpected("the reply is larger than " +
                                 std::to_string(settings_.maximum_reply_size / MEBIBYTE) +
                                 " MiB (--max-reply allows more)");
    }

    long get_number(CURLINFO info) const {
        long number = 0;
        curl_easy_getinfo(handle_.get(), info, &number);
        return number;
    }

    std::string get_text(CURLINFO info) const {
        const char* text = nullptr;
        curl_easy_getinfo(handle_.get(), info, &text);
        return text == nullptr ? "" : text;
    }

    /// Whether what this time is of has come about.
    bool has_reached(CURLINFO info) const {
        curl_off_t time = 0;
        curl_easy_getinfo(handle_.get(), info, &time);
        return time > 0;
    }

    Failure explain(CURLcode code) const {
        const std::string text = error_.front() == '\0' ? curl_easy_strerror(code) : error_.data();
        switch (code) {
            case CURLE_COULDNT_RESOLVE_HOST:
                return {ExitStatus::UNKNOWN_HOST, "unknown host '" + endpoint_.host + "'"};
            case CURLE_COULDNT_RESOLVE_PROXY:
                return {ExitStatus::UNKNOWN_HOST, "unknown host of the proxy: " + text};
            case CURLE_COULDNT_CONNECT:
                return {ExitStatus::NO_CONNECTION, explain_connect(text)};
            case CURLE_OPERATION_TIMEDOUT:
                return {ExitStatus::TIMED_OUT, explain_time_out()};
            case CURLE_GOT_NOTHING:
                return {ExitStatus::NO_CONNECTION, "the server closed the connection without an answer"};
            case CURLE_PARTIAL_FILE:
                return {ExitStatus::NO_CONNECTION, "the connection broke in the middle of the reply"};
            case CURLE_SEND_ERROR:
            case CURLE_RECV_ERROR:
                return {ExitStatus::NO_CONNECTION, "the connection broke: " + without_numbers(text)};
            case CURLE_FILESIZE_EXCEEDED:
                return create_too_large();
            case CURLE_PEER_FAILED_VERIFICATION:
            case CURLE_SSL_CONNECT_ERROR:
            case CURLE_SSL_CERTPROBLEM:
            case CURLE_SSL_CACERT_BADFILE:
                return {ExitStatus::TLS_FAILURE, explain_tls(code, text)};
            case CURLE_OUT_OF_MEMORY:  // also for a header of more than its limit
                return create_unexpected("the answer is not HTTP: a header is too long, or memory ran out");
            default:
                return create_unexpected("the answer is not HTTP: " + text);
        }
    }

    std::string explain_connect(const std::string& text) const {
        const bool is_proxy = text.find(endpoint_.host) == std::string::npos;
        const long error = get_number(CURLINFO_OS_ERRNO);
        std::string reason = std::generic_category().message(static_cast<int>(error));
        reason.front() = to_lower(reason.substr(0, 1)).front();
        return is_proxy || error == 0 ? text
                                      : "cannot connect to " + endpoint_.get_authority() + ": " + reason;
    }

    std::string explain_time_out() const {
        if (has_reached(CURLINFO_PRETRANSFER_TIME_T)) {
            return "no complete reply within the timeout";
        }
        if (!has_reached(CURLINFO_NAMELOOKUP_TIME_T)) {
            return "cannot look up '" + endpoint_.host + "' within the timeout";
        }
        if (get_number(CURLINFO_LOCAL_PORT) > 0 && endpoint_.is_secure) {
            return "no TLS connection with " + endpoint_.get_authority() + " within the timeout";
        }
        return "cannot connect to " + endpoint_.get_authority() + " within the timeout";
    }

    std::string explain_tls(CURLcode code, const std::string& text) const {
        const std::string place = "TLS with " + endpoint_.get_authority();
        if (code == CURLE_SSL_CACERT_BADFILE) {
            return "TLS: a certificate or key file cannot be used: Cannot load CA file/directory at " +
                   settings_.tls.authorities_file;
        }
        if (code == CURLE_SSL_CERTPROBLEM) {
            return "TLS: a certificate or key file cannot be used: " + text;
        }
        if (code == CURLE_SSL_CONNECT_ERROR) {
            return place + " failed: " + without_numbers(text);
        }
        const std::string untrusted = "SSL certificate problem: ";
        if (!text.starts_with(untrusted)) {
            return place + ": the certificate is for another host (--insecure accepts any)";
        }
        return place + ": the certificate is not trusted: " + text.substr(untrusted.size()) +
               " (--ca names an authority to trust, --insecure accepts any)";
    }

    const Endpoint& endpoint_;
    const HttpSettings& settings_;
    std::unique_ptr<CURL, FreeHandle> handle_;
    std::unique_ptr<curl_slist, FreeList> headers_;
    std::array<char, CURL_ERROR_SIZE> error_{};
    HttpReply reply_;
    std::size_t head_size_ = 0;
    std::optional<Failure> failure_;  // of ours, while the reply came
};

}  // namespace

/// The connections that can be used again, and what waits for those in use.
struct HttpTransport::Connections {
    Connections() : handle(curl_multi_init()) {
        if (handle == nullptr) {
            throw std::bad_alloc();
        }
    }
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;
    ~Connections() { curl_multi_cleanup(handle); }

    /// Runs one exchange to its end.
    CURLcode run(CURL* exchange, const Interruption* interruption) const {
        curl_multi_add_handle(handle, exchange);
        curl_waitfd signal = {.fd = interruption == nullptr ? -1 : interruption->get_descriptor(),
                              .events = CURL_WAIT_POLLIN,
                              .revents = 0};
        int running = 1;
        while (curl_multi_perform(handle, &running) == CURLM_OK && running > 0) {
            curl_multi_poll(handle, &signal, interruption == nullptr ? 0 : 1, LONGEST_PAUSE, nullptr);
            if (interruption != nullptr && interruption->has_happened()) {
                curl_multi_remove_handle(handle, exchange);
                throw Interrupted();
            }
        }
        int others = 0;
        const CURLMsg* const message = curl_multi_info_read(handle, &others);
        const CURLcode code = message == nullptr ? CURLE_OUT_OF_MEMORY : message->data.result;
        curl_multi_remove_handle(handle, exchange);
        return code;
    }

    static constexpr int LONGEST_PAUSE =
        1000;  // milliseconds; libcurl makes it shorter where it knows better
    CURLM* const handle;
};

HttpTransport::HttpTransport(Endpoint endpoint, HttpSettings settings)
    : endpoint_(std::move(endpoint)), settings_(std::move(settings)) {
    initialise();
    connections_ = std::make_unique<Connections>();
}

HttpTransport::~HttpTransport() = default;

HttpReply HttpTransport::post(const std::string& action, const std::string& body, Repetition repetition) {
    if (repetition == Repetition::FORBIDDEN) {
        disconnect();  // a server may serve only one of us at a time
    }
    Exchange exchange(endpoint_, settings_);
    exchange.prepare(action, body, repetition);
    return exchange.finish(connections_->run(exchange.get(), interruption_));
}

void HttpTransport::disconnect() {
    connections_ = std::make_unique<Connections>();
}

}  // namespace xmlda
