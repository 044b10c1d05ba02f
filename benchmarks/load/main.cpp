// Measures the services over real sockets: processor time of the serving process for each request, against
// an HTTP server of the same make that answers every request with a constant reply of the same size.

#include "load/Connection.h"
#include "load/HostProcess.h"
#include "load/requests.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

namespace {

using namespace kx::benchmarks;
using namespace kx::information_model;

/// What the network costs: reads the request, and answers with as many bytes as the last number of the
/// request's path says.
class ConstantReply : public Poco::Net::HTTPRequestHandler {
public:
    void handleRequest(Poco::Net::HTTPServerRequest& request, Poco::Net::HTTPServerResponse& response) override {
        std::array<char, 16 * 1024> chunk;
        while (request.stream().read(chunk.data(), chunk.size()), request.stream().gcount() > 0) {
        }
        const std::size_t size = std::stoul(request.getURI().substr(1));
        static thread_local std::string body;
        body.resize(size, 'x');
        response.setContentType("text/xml; charset=utf-8");
        response.erase("connection");
        response.sendBuffer(body.data(), size);
    }
};

class ConstantReplyFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(const Poco::Net::HTTPServerRequest& /*request*/) override {
        return new ConstantReply;
    }
};

void serve_constant_replies(const std::function<void(unsigned short)>& listening) {
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0), 64);
    Poco::Net::HTTPServer server(new ConstantReplyFactory, socket, new Poco::Net::HTTPServerParams);
    server.start();
    listening(socket.address().port());
}

void build_tree(Domain& root, std::size_t size) {
    Domain& bulk = root.add_domain("bulk");
    Domain* domain = nullptr;
    for (std::size_t index = 0; index < size; ++index) {
        if (index % 1000 == 0) {
            domain = &bulk.add_domain(std::to_string(index / 1000));
        }
        domain->add_variable("v" + std::to_string(index), Value(0.5 * static_cast<double>(index)), {.writable = true});
    }
    Domain& wide = root.add_domain("wide");
    for (std::size_t index = 0; index < 10000; ++index) {
        wide.add_variable("w" + std::to_string(index), Value(static_cast<double>(index)),
                          {.description = "a variable", .engineering_unit = "degC"});
    }
}

std::function<void(const std::function<void(unsigned short)>&)> create_host(std::size_t tree_size) {
    return [tree_size](const std::function<void(unsigned short)>& listening) {
        auto model = std::make_shared<InformationModel>("plant");
        build_tree(model->get_root(), tree_size);
        opc::Server server("127.0.0.1", model);
        listening(server.start());
    };
}

struct Sample {
    double cpu_us;  // of the server, for one request
    std::size_t reply_size;
};

Sample measure(HostProcess& host, Connection& connection, const std::string& request, std::size_t repetitions) {
    std::size_t reply_size = connection.exchange(request).size();
    const auto start = host.get_cpu_time();
    for (std::size_t index = 0; index < repetitions; ++index) {
        reply_size = connection.exchange(request).size();
    }
    const std::chrono::duration<double, std::micro> used = host.get_cpu_time() - start;
    return {used.count() / static_cast<double>(repetitions), reply_size};
}

double get_median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Case {
    std::string name;
    std::string body;
    std::size_t units;  // what the time is divided by for the last column
};

void run(HostProcess& host, HostProcess& floor, const Case& test, int rounds) {
    Connection connection(host.get_port());
    Connection floor_connection(floor.get_port());
    const std::string request = create_http_request(test.body);
    const std::size_t repetitions = std::max<std::size_t>(1, 30000 / (test.units + 20));
    std::vector<double> ours;
    std::vector<double> theirs;
    std::size_t reply_size = 0;
    for (int round = 0; round <= rounds; ++round) {
        const Sample sample = measure(host, connection, request, repetitions);
        std::string constant = request;
        constant.replace(constant.find(" / "), 3, " /" + std::to_string(sample.reply_size) + " ");
        const Sample floor_sample = measure(floor, floor_connection, constant, repetitions);
        reply_size = sample.reply_size;
        if (round > 0) {  // the first one warms up
            ours.push_back(sample.cpu_us);
            theirs.push_back(floor_sample.cpu_us);
        }
    }
    const double cpu = get_median(ours);
    const double floor_cpu = get_median(theirs);
    std::printf("%-28s %10zu %10zu %12.1f %12.1f %12.1f %9.3f\n", test.name.c_str(), request.size(), reply_size, cpu,
                floor_cpu, cpu - floor_cpu, cpu / static_cast<double>(test.units));
    std::fflush(stdout);
}

std::string subscribe(HostProcess& host, std::size_t items, std::size_t tree_size) {
    Connection connection(host.get_port());
    const std::string reply = connection.exchange(create_http_request(create_subscribe_request(items, tree_size)));
    const std::string name = "ServerSubHandle=\"";
    const auto start = reply.find(name) + name.size();
    return reply.substr(start, reply.find('"', start) - start);
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t tree_size = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    const std::string filter = argc > 3 ? argv[3] : "";
    HostProcess floor(serve_constant_replies);
    HostProcess host(create_host(tree_size));

    std::vector<Case> cases{{"GetStatus", create_status_request(), 1}};
    for (const std::size_t items : {std::size_t{1}, std::size_t{10}, std::size_t{100}, std::size_t{1000},
                                    std::size_t{10000}, std::size_t{100000}}) {
        if (items <= tree_size) {
            cases.push_back({"Read " + std::to_string(items), create_read_request(items, tree_size), items});
        }
    }
    for (const std::size_t items : {std::size_t{1}, std::size_t{1000}, std::size_t{10000}}) {
        cases.push_back({"Write " + std::to_string(items), create_write_request(items, tree_size), items});
    }
    cases.push_back({"Browse 10000 x 10 properties", create_browse_request("/wide"), 100000});
    for (const std::size_t items : {std::size_t{1}, std::size_t{10000}}) {
        const std::string handle = subscribe(host, items, tree_size);
        cases.push_back({"Poll unchanged " + std::to_string(items), create_poll_request(handle), items});
    }
    std::printf("%-28s %10s %10s %12s %12s %12s %9s\n", "service", "request B", "reply B", "CPU us", "floor us",
                "above us", "us/unit");
    for (const Case& test : cases) {
        if (test.name.find(filter) != std::string::npos) {
            run(host, floor, test, rounds);
        }
    }
}
