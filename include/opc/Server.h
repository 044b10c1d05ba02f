#pragma once

#include <chrono>
#include <exception>
#include <memory>
#include <string>

/// Marks what libkxinformationmodelopc exports; everything else in it is hidden.
#define KX_INFORMATION_MODEL_OPC_EXPORT __attribute__((visibility("default")))

namespace kx::information_model {

class InformationModel;

namespace opc {

/// An OPC XML-DA 1.0 server in front of an information model: SOAP 1.1 over HTTP, or over HTTPS when a
/// certificate and a private key are given.
///
/// Life cycle: the constructor binds and listens, `start()` begins to accept, `stop()` ends that, the
/// destructor closes all connections and waits for requests under way. The host creates and owns it and
/// calls it from one thread at a time; it has no lock of its own. Different servers may be made and
/// destroyed on different threads. Requests run on worker threads, 16 for the whole process unless the host
/// has called `add_worker_threads` before, where each takes the tree's lock, and the observers of what
/// clients write run there too.
///
/// Each server has its own subscriptions. The TLS set-up is process-wide: a second TLS server's certificate
/// replaces that of the first for secure sockets made later. A host that uses POCO's TLS itself calls
/// `Poco::Net::initializeSSL()` before it makes servers, and `Poco::Net::uninitializeSSL()` in the end.
class KX_INFORMATION_MODEL_OPC_EXPORT Server {
public:
    /// Serves HTTPS when both files are named, and plain HTTP otherwise, also when only one is.
    ///
    /// @param address           host name, or numeric IPv4 or IPv6 address, to listen on
    /// @param port              TCP port, 0 lets the operating system choose
    /// @param certificate_file  path of a certificate file in PEM form, or empty
    /// @param private_key_file  path of its private key in PEM form, without a pass phrase, or empty
    /// @param model             the tree to publish, not null; the server shares it
    /// @throws std::invalid_argument  if the model is null
    /// @throws Poco::Exception        (or a class derived from it, and so a std::exception) if the address
    ///                                cannot be resolved, the port is in use, or certificate and key cannot
    ///                                be read or do not belong together; no server then exists. Print it
    ///                                with `describe`
    Server(const std::string& address, const unsigned short& port, const std::string& certificate_file,
           const std::string& private_key_file, const std::shared_ptr<InformationModel>& model);

    /// Plain HTTP.
    Server(const std::string& address, const unsigned short& port,
           const std::shared_ptr<InformationModel>& model);

    /// Plain HTTP on a port that the operating system chooses.
    Server(const std::string& address, const std::shared_ptr<InformationModel>& model);

    /// As the first one, on a port that the operating system chooses.
    Server(const std::string& address, const std::string& certificate_file,
           const std::string& private_key_file, const std::shared_ptr<InformationModel>& model);

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Closes all connections and waits until the requests under way have ended, for as long as they take: a
    /// client that holds a poll delays it by its hold time, unless `stop(deadline)` was called before.
    /// Terminates the process should that fail.
    virtual ~Server();

    /// Begins to accept connections and returns at once. A second call does nothing.
    /// @return the port, as `get_port()` returns it
    /// @throws std::logic_error  after `stop()`: make a new server instead
    unsigned short start();

    /// Stops accepting connections. Requests under way go on, and connections that are open are served until
    /// they end. Before `start()`, and when called again, it does nothing.
    void stop();

    /// Ends the service in time: stops accepting connections, ends held polls and idle connections, and waits
    /// for the other requests under way. Breaks off what is left at the deadline, so that the destructor does
    /// not wait for clients any more; it still waits for requests that wait for the tree's lock, and for
    /// observers. Blocks up to the deadline, and some 250 ms more for the thread that accepts
    /// connections. Before `start()` it does nothing; it may follow `stop()`.
    ///
    /// Requires: the tree's lock not held; not called from an observer.
    /// @param deadline  from now
    /// @return whether no request was left at the deadline
    bool stop(std::chrono::milliseconds deadline);

    /// The port that the socket is bound to, known since construction.
    unsigned short get_port() const;

    /// The numeric address that the socket is bound to, known since construction.
    std::string get_address() const;

    /// Whether both TLS files were given.
    bool is_tls_enabled() const;

private:
    class __attribute__((visibility("hidden"))) Implementation;
    enum class State { BOUND, SERVING, STOPPED };

    std::unique_ptr<Implementation> implementation_;
    bool tls_enabled_;
    State state_ = State::BOUND;
};

/// Adds worker threads for the servers that the process makes from now on, which share them. There are 16
/// at first; each open connection occupies one.
/// @param count  fewer if it is negative
/// @throws std::invalid_argument  if less than two would be left
KX_INFORMATION_MODEL_OPC_EXPORT void add_worker_threads(int count);

/// One line for people, without a line break, that says what went wrong: for what the constructor of `Server`
/// throws, such as "port 8080 is in use", and for any other exception its own text.
KX_INFORMATION_MODEL_OPC_EXPORT std::string describe(const std::exception& exception);

}  // namespace opc
}  // namespace kx::information_model
