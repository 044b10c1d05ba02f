// What of the load driver runs no thread of its own, so that it can start processes.

#include "load/Arguments.h"
#include "load/Connection.h"
#include "load/HostProcess.h"
#include "load/lines.h"
#include "load/requests.h"
#include "load/servers.h"
#include "load/turns.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kx::benchmarks {

namespace {

using ::testing::ElementsAre;

TEST(LoadLines, FiguresAreOneObject) {
    std::ostringstream text;
    print_figures(text, "Host's \"wait\"", "no clients", {{"waits", 100}, {"median ms", {}}});
    EXPECT_EQ(text.str(),
              R"({"section":"Host's \"wait\"","row":"no clients","figures":{"waits":100,"median ms":null}})"
              "\n");
}

TEST(LoadLines, MeasurementsHaveTheFiguresOfEachServer) {
    const Measurement measurement{
        .request_size = 420,
        .reply_size = 692,
        .servers = {{"ours", {{30.5, 31}, {100, 200}, 1, 2, 3}}, {"floor", {{20}, {300}, 4, 5, 6}}}};
    std::ostringstream text;
    print_measurement(text, "Services", "Read 1", 1, measurement);
    EXPECT_EQ(text.str(),
              R"({"section":"Services","row":"Read 1","units":1,"request B":420,"reply B":692,"servers":{)"
              R"("ours":{"CPU us":[30.5,31],"requests/s":[100,200],"p50 us":1,"p99 us":2,"p99.9 us":3},)"
              R"("floor":{"CPU us":[20],"requests/s":[300],"p50 us":4,"p99 us":5,"p99.9 us":6}}})"
              "\n");
}

TEST(Median, IsTheMiddle) {
    EXPECT_EQ(get_median({5, 1, 9}), 5);
    EXPECT_EQ(get_median({5, 1, 9, 6}), 5.5);
}

TEST(Percentile, IsAValueThatSoManyDoNotExceed) {
    std::vector<double> values{7, 3, 1, 9, 5, 2, 8, 10, 4, 6};
    EXPECT_EQ(get_percentile(values, 0.5), 5);
    EXPECT_EQ(get_percentile(values, 0.9), 9);
    EXPECT_EQ(get_percentile(values, 0.99), 10);
    EXPECT_EQ(get_percentile(values, 0.01), 1);
}

/// That figures of TLS with resumption are what they say.
TEST(LoadServersWithTls, ResumeSessions) {
    const information_model::opc::testing::TlsFiles certificate;
    for (const Serve& serve : {serve_tree(1, &certificate), serve_constant_replies(&certificate)}) {
        const HostProcess host(serve);
        Connection connection(host.get_port(), PROTECTION::TLS);
        EXPECT_FALSE(connection.is_resumed());
        const std::string request = create_constant_request(create_status_request(), 1000);
        connection.exchange(request);
        connection.close();
        connection.exchange(request);
        EXPECT_TRUE(connection.is_resumed());
    }
}

TEST(LoadArguments, AreTaken) {
    const Arguments arguments =
        parse_arguments({"--quick", "--filter", "Read", "--row", "a: b", "--row", "c: d"});
    EXPECT_TRUE(arguments.suite.quick);
    EXPECT_EQ(arguments.suite.filter, "Read");
    EXPECT_THAT(arguments.suite.rows, ElementsAre("a: b", "c: d"));
    EXPECT_FALSE(arguments.serve);
}

TEST(LoadArguments, RefuseTheUnknownAndTheIncomplete) {
    EXPECT_THROW(parse_arguments({"--fast"}), std::invalid_argument);
    EXPECT_THROW(parse_arguments({"--filter"}), std::invalid_argument);
}

}  // namespace

}  // namespace kx::benchmarks
