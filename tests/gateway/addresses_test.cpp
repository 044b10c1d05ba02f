#include "gateway/http/ServerAddress.h"
#include "gateway/http/safety.h"
#include "gateway/items/item_path.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

TEST(ServerUrl, HasHostPortAndTarget) {
    const ServerAddress address = parse_server_url("http://plc7:8080/opc?x=1#top");
    EXPECT_EQ(address.host, "plc7");
    EXPECT_EQ(address.port, 8080);
    EXPECT_EQ(address.target, "/opc?x=1");
    EXPECT_EQ(address.to_host_header(), "plc7:8080");
}

TEST(ServerUrl, MayLeaveOutSchemePortAndPath) {
    const ServerAddress address = parse_server_url("plc7");
    EXPECT_EQ(address.port, 80);
    EXPECT_EQ(address.target, "/");
    EXPECT_EQ(address.to_host_header(), "plc7");
}

TEST(ServerUrl, HasAnotherPortWithTls) {
    const ServerAddress address = parse_server_url("https://plc7/opc");
    EXPECT_TRUE(address.has_tls);
    EXPECT_EQ(address.port, 443);
    EXPECT_EQ(address.to_host_header(), "plc7");
    EXPECT_EQ(parse_server_url("https://plc7:80").to_host_header(), "plc7:80");
    EXPECT_FALSE(parse_server_url("http://plc7:443").has_tls);
}

TEST(ServerUrl, KnowsAddressesOfIpv6) {
    const ServerAddress address = parse_server_url("http://[::1]:8080");
    EXPECT_EQ(address.host, "::1");
    EXPECT_EQ(address.to_host_header(), "[::1]:8080");
}

TEST(ServerUrl, IsQuotedWhenItIsWrong) {
    for (const std::string url :
         {"htps://a", "", "http://", "http://a:0", "http://a:70000", "http://a:", "http://a:8x", "http://u@a",
          "http://[::1", "http://[::1]8", "http://a b", "http://a?x", "ftp://a"}) {
        try {
            parse_server_url(url);
            ADD_FAILURE() << url;
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find("'" + url + "'"), std::string::npos) << error.what();
        }
    }
}

TEST(Host, IsAnAddressLocalhostOrAGivenName) {
    for (const char* const host : {"", "127.0.0.1", "127.0.0.1:8090", "[::1]:8090", "192.168.1.7:80",
                                   "LocalHost:8090", "gateway.example", "Gateway.Example:8090"}) {
        EXPECT_TRUE(is_known_host(host, {"gateway.EXAMPLE"})) << host;
    }
    for (const char* const host :
         {"evil.example", "127.0.0.1.evil.example", "localhost.evil.example", "[::1", "1.2.3"}) {
        EXPECT_FALSE(is_known_host(host, {"gateway.example"})) << host;
    }
}

TEST(Origin, MustBeTheHostThatWasAsked) {
    EXPECT_TRUE(is_own_origin("", "a:1"));
    EXPECT_TRUE(is_own_origin("http://A:1", "a:1"));
    EXPECT_TRUE(is_own_origin("https://a", "a"));
    for (const char* const origin :
         {"null", "http://b:1", "http://a:2", "http://a", "http://a:1.evil", "a:1"}) {
        EXPECT_FALSE(is_own_origin(origin, "a:1")) << origin;
    }
}

TEST(ContentType, OfFormsIsKnown) {
    EXPECT_TRUE(is_form_type("Text/Plain; charset=utf-8"));
    EXPECT_TRUE(is_form_type("application/x-www-form-urlencoded"));
    EXPECT_TRUE(is_form_type(" multipart/form-data ;boundary=x"));
    EXPECT_FALSE(is_form_type("text/xml"));
    EXPECT_FALSE(is_form_type(""));
    EXPECT_TRUE(is_json_type("application/JSON;charset=utf-8"));
    EXPECT_FALSE(is_json_type("application/jsonp"));
}

TEST(ItemPath, JoinsPathAndName) {
    EXPECT_EQ(to_item_path("", "/boiler/mode"), "/boiler/mode");
    EXPECT_EQ(to_item_path("", "boiler/mode"), "/boiler/mode");
    EXPECT_EQ(to_item_path("/boiler", "mode"), "/boiler/mode");
    EXPECT_EQ(to_item_path("boiler", "/mode"), "/boiler/mode");
    EXPECT_EQ(to_item_path("", "./boiler"), "/boiler");
    EXPECT_EQ(to_item_path("", ""), "/");
    EXPECT_EQ(to_item_path("", "."), "/");
    EXPECT_EQ(to_item_path("/", "/"), "/");
    EXPECT_EQ(to_item_path("", "/Kessel/Größe"), "/Kessel/Größe");
}

TEST(ItemPath, IsNothingWhereTheServerWouldRefuse) {
    for (const std::string name :
         {"//", "a//b", "a/", "..", "a/../b", "a/.", "a\nb", "a\tb", "a\x7F", "a\xFF", "a\xC3"}) {
        EXPECT_FALSE(to_item_path("", name)) << name;
        EXPECT_FALSE(to_item_path(name, "x")) << name;
    }
    EXPECT_FALSE(to_item_path("", std::string("a\0b", 3)));
    EXPECT_FALSE(to_item_path("", std::string(5000, 'a')));
}

}  // namespace
}  // namespace gateway
