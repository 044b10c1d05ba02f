#pragma once

#include "client/errors.h"
#include "client/replies.h"
#include "client/requests.h"
#include "xmlda/Failure.h"
#include "xmlda/http/HttpTransport.h"

#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace xmlda {

/// Calls the services of one server. Used by one thread.
class Client {
public:
    /// @param trace  where both envelopes of each call are shown; null for nowhere
    /// @throws Failure  TLS_FAILURE: a file of the settings cannot be used
    Client(const Endpoint& endpoint, const HttpSettings& settings, std::ostream* trace)
        : transport_(endpoint, settings), trace_(trace) {}

    /// Posts a request and reads the reply.
    /// @param parse  the reader of client/replies.h that belongs to the request
    /// @throws ServerFault  if the server answered with a fault, whatever the HTTP status
    /// @throws Failure      what `HttpTransport::post` throws; BAD_REQUEST or HTTP_ERROR for an answer that
    /// is
    ///                      neither a success nor a fault; UNEXPECTED_CONTENT for one that is no response
    /// @throws Interrupted  if a signal came
    template <class Reply>
    Reply call(const Request& request, Reply (*parse)(std::string_view bytes),
               Repetition repetition = Repetition::ALLOWED) {
        const HttpReply reply = post(request, repetition);
        try {
            Reply parsed = parse(reply.body);
            check_status(reply);
            if (on_header_) {
                on_header_(parsed.header);
            }
            return parsed;
        } catch (const Fault& fault) {
            throw ServerFault(fault);
        } catch (const UnexpectedMessage& error) {
            check_status(reply);
            throw Failure(ExitStatus::UNEXPECTED_CONTENT, error.what());
        }
    }

    /// From now on called with what each reply says of the server itself.
    void on_header(std::function<void(const ReplyHeader& header)> action) { on_header_ = std::move(action); }

    HttpTransport& get_transport() { return transport_; }

private:
    HttpReply post(const Request& request, Repetition repetition);
    /// @throws Failure  if it is no success
    static void check_status(const HttpReply& reply);
    void show(const std::string& headline, const std::string& text) const;

    HttpTransport transport_;
    std::ostream* trace_;
    std::function<void(const ReplyHeader& header)> on_header_;
};

}  // namespace xmlda
