#include "server/message/Error.h"

#include "server/message/envelope.h"
#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

namespace kx::information_model::opc {

// The texts are what clients display; their wording and punctuation do not change.
const Error Error::S_CLAMP{"S_CLAMP", "The value written was accepted but the output was clamped"};
const Error Error::S_DATAQUEUEOVERFLOW{"S_DATAQUEUEOVERFLOW",
                                       "Not every detected change has been returned since the server's "
                                       "buffer reached its limit and had to purge "
                                       "out the oldest data."};
const Error Error::S_UNSUPPORTEDRATE{
    "S_UNSUPPORTEDRATE",
    "The server does not support the requested rate but will use the closest available rate."};
const Error Error::E_ACCESS_DENIED{"E_ACCESS_DENIED",
                                   "The server denies access (read and/or write) to the specified item. This "
                                   "error is typically caused by Web "
                                   "Service security (e.g. globally disabled write capabilities)."};
const Error Error::E_BUSY{
    "E_BUSY", "The server is currently processing another polled refresh for one or more subscriptions."};
const Error Error::E_FAIL{"E_FAIL", "Unspecified Error"};
const Error Error::E_INVALIDCONTINUATIONPOINT{"E_INVALIDCONTINUATIONPOINT",
                                              "The continuation point is not valid."};
const Error Error::E_INVALIDFILTER{"E_INVALIDFILTER", "The filter string is not valid."};
const Error Error::E_INVALIDHOLDTIME{"E_INVALIDHOLDTIME",
                                     "The hold time is too long (determined by server)."};
const Error Error::E_INVALIDITEMNAME{"E_INVALIDITEMNAME",
                                     "The item name does not conform the server's syntax."};
const Error Error::E_INVALIDITEMPATH{"E_INVALIDITEMPATH",
                                     "The item path does not conform the server's syntax."};
const Error Error::E_INVALIDPID{"E_INVALIDPID", "The property id is not valid for the item."};
const Error Error::E_NOSUBSCRIPTION{"E_NOSUBSCRIPTION",
                                    "An invalid subscription handle was passed to the request."};
const Error Error::E_NOTSUPPORTED{"E_NOTSUPPORTED",
                                  "The server does not support writing to the quality and/or timestamp."};
const Error Error::E_OUTOFMEMORY{"E_OUTOFMEMORY", "Ran out of memory."};
const Error Error::E_RANGE{"E_RANGE", "The value was out of range."};
const Error Error::E_BADTYPE{"E_BADTYPE", "The passed data type cannot be accepted for this item."};
const Error Error::E_READONLY{"E_READONLY", "The value is read only and may not be written to."};
const Error Error::E_SERVERSTATE{"E_SERVERSTATE",
                                 "The operation could not complete due to an abnormal server state"};
const Error Error::E_TIMEDOUT{"E_TIMEDOUT", "The operation took to long to complete (determined by server)"};
const Error Error::E_UNKNOWNITEMNAME{"E_UNKNOWNITEMNAME",
                                     "The item name is no longer available in the server address space."};
const Error Error::E_UNKNOWNITEMPATH{"E_UNKNOWNITEMPATH",
                                     "The item path is no longer available in the server address space."};
const Error Error::E_WRITEONLY{
    "E_WRITEONLY",
    "The value is write-only and may not be read from or returned as part of a write response."};
const Error Error::E_SOAP{"soap:Server", "Server was unable to process request."};

Error::Error(std::string code, std::string text) : code_(std::move(code)), text_(std::move(text)) {}

Error::~Error() = default;

const char* Error::what() const noexcept {
    return code_.c_str();
}

Poco::AutoPtr<Poco::XML::Document> generate_fault(const Error& error) {
    auto document = create_reply_document();
    auto fault = create_element(*document, reply_names::FAULT);
    append_text_element(*fault, reply_names::FAULT_CODE, error.get_error_code());
    append_text_element(*fault, reply_names::FAULT_STRING, error.get_error_text());
    create_envelope(*document, fault);
    return document;
}

}  // namespace kx::information_model::opc
