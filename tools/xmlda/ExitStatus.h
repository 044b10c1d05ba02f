#pragma once

namespace xmlda {

/// What the program's exit status tells a script. The numbers are documented in the manual page: they never
/// change their meaning.
enum class ExitStatus : int {
    SUCCESS = 0,
    FAILURE = 1,        ///< anything that has no number of its own, for example output that cannot be written
    USAGE = 2,          ///< the command line is wrong, or a value does not suit its type
    UNKNOWN_HOST = 3,   ///< the host's name has no address
    NO_CONNECTION = 4,  ///< refused, unreachable, or broken before the reply was complete
    TLS_FAILURE = 5,    ///< no agreement on TLS, or a certificate that is not trusted
    TIMED_OUT = 6,      ///< no complete reply within the time-out
    FAULT = 7,          ///< the server answered with a SOAP fault
    BAD_REQUEST = 8,    ///< status 400 without a fault
    HTTP_ERROR = 9,     ///< any other status that is no success, without a fault
    UNEXPECTED_CONTENT = 10,  ///< the reply is not what the protocol prescribes, or too large
    MISSING_ITEM = 11,        ///< something that was asked for does not appear in the reply
    ITEM_ERROR = 12,          ///< the server gave an error code for an item
    NOT_WRITTEN = 13,         ///< the server did not acknowledge a write
    BAD_QUALITY = 14,         ///< of get: the value's quality is bad
    NOT_RUNNING = 15,         ///< of status: the server says that it is not running
};

}  // namespace xmlda
