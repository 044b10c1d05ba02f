#include "support/HostProcess.h"
#include "support/replies.h"
#include "support/wait_for.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/// The examples that read sensors and keep values, as processes of their own.
namespace kx::information_model::opc::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class Folder {
public:
    Folder() : path_(std::filesystem::temp_directory_path() / "kx-hosts-XXXXXX") {
        std::string name = path_.string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path_); }

    std::string get_path(const std::string& name = "") const { return (path_ / name).string(); }

    void write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((path_ / name).parent_path());
        std::ofstream(path_ / name) << text;
    }

private:
    std::filesystem::path path_;
};

/// One of the hosts, whose answers are all successes.
class Host : public HostProcess {
public:
    using HostProcess::HostProcess;

    std::string call(const std::string& request) const {
        const Reply reply = HostProcess::call(request);
        EXPECT_EQ(reply.status, 200) << reply.body;
        return reply.body;
    }

    std::string read(const std::string& item_name) const {
        return call("<Read><Options ReturnItemTime=\"true\"/><ItemList><Items ItemName=\"" + item_name +
                    "\"/></ItemList></Read>");
    }
};

std::string create_write_item(const std::string& item_name, const std::string& type,
                              const std::string& content) {
    return "<Items ItemName=\"" + item_name + "\"><Value xsi:type=\"" + type + "\">" + content +
           "</Value></Items>";
}

std::string create_write(const std::string& items) {
    return "<Write ReturnValuesOnReply=\"true\"><ItemList>" + items + "</ItemList></Write>";
}

TEST(Sensors, ShowsWhatTheKernelShows) {
    const Folder folder;
    folder.write("hwmon/hwmon0/name", "chip\n");
    folder.write("hwmon/hwmon0/temp1_input", "45500\n");
    folder.write("hwmon/hwmon0/temp1_label", "Core 0\n");
    folder.write("hwmon/hwmon0/temp1_max", "90000\n");
    folder.write("hwmon/hwmon0/fan2_input", "1200\n");
    folder.write("hwmon/hwmon1/name", "chip\n");
    folder.write("hwmon/hwmon1/in0_input", "12034\n");
    folder.write("hwmon/hwmon2/name", "nothing\n");
    folder.write("thermal/thermal_zone0/type", "x86/pkg\n");
    folder.write("thermal/thermal_zone0/temp", "81000\n");
    Host host({KX_SENSORS, "0", folder.get_path()});

    EXPECT_THAT(host.read("chip/Core 0"), HasSubstr(">45.500000</Value>"));
    EXPECT_THAT(host.read("chip/fan2"), HasSubstr(">1200.000000</Value>"));
    EXPECT_THAT(host.read("chip 2/in0"), HasSubstr(">12.034000</Value>"));
    EXPECT_THAT(host.read("x86-pkg"), HasSubstr(">81.000000</Value>"));
    EXPECT_THAT(host.read("too_hot"), HasSubstr(">1</Value>"));
    EXPECT_THAT(host.call("<Browse/>"),
                AllOf(Not(HasSubstr("\"nothing\"")), Not(HasSubstr("\"simulated\""))));
    host.expect_end();
}

TEST(Sensors, SaysThatASensorHasFailed) {
    const Folder folder;
    folder.write("thermal/thermal_zone0/type", "zone\n");
    folder.write("thermal/thermal_zone0/temp", "20000\n");
    const Host host({KX_SENSORS, "0", folder.get_path()});
    folder.write("thermal/thermal_zone0/temp", "no number\n");
    EXPECT_TRUE(wait_for([&] {
        const std::string reply = host.call(
            "<GetProperties ReturnPropertyValues=\"true\"><ItemIDs ItemName=\"zone\"/>"
            "<PropertyNames>quality</PropertyNames></GetProperties>");
        return reply.find(">badSensorFailure<") != std::string::npos;
    }));
}

TEST(Sensors, SimulatesWhereThereAreNone) {
    const Folder folder;
    const Host host({KX_SENSORS, "0", folder.get_path()});
    EXPECT_THAT(host.read("simulated/processor"), HasSubstr("xsd:double"));
    EXPECT_THAT(host.call(create_write(create_write_item("limit", "xsd:double", "151"))),
                Not(HasSubstr("<Value")));
    EXPECT_THAT(host.read("limit"), HasSubstr(">80.000000</Value>"));
}

TEST(TenSensors, HaveValuesAndLimitsThatAreGuarded) {
    Host host({KX_TEN_SENSORS});
    EXPECT_THAT(host.read("drum_temperature/value"), HasSubstr(">200.000000</Value>"));
    EXPECT_THAT(host.call(create_write(create_write_item("bearing_vibration/limit", "xsd:double", "5000"))),
                HasSubstr(">250.000000</Value>"));
    host.expect_end();
}

TEST(Hosts, RefuseAPortThatIsNone) {
    const Folder folder;
    folder.write("table.csv", "/a,int,,,,yes\n");
    for (const std::string port : {"65536", "-1", "80x", ""}) {
        const Outcome sensors = ChildProcess({KX_SENSORS, port}).wait();
        EXPECT_EQ(sensors.status, 1);
        EXPECT_EQ(sensors.errors, "cannot serve: '" + port + "' is not a port (0 to 65535)\n");
        const Outcome table =
            ChildProcess({KX_TABLE, folder.get_path("table.csv"), folder.get_path("values.db"), port}).wait();
        EXPECT_EQ(table.status, 1);
        EXPECT_EQ(table.errors, "kx-table: '" + port + "' is not a number in range\n");
    }
}

class Table : public ::testing::Test {
protected:
    std::vector<std::string> get_command() const {
        return {KX_TABLE, folder_.get_path("table.csv"), folder_.get_path("values.db"), "0"};
    }

    void write_table(const std::string& text) const { folder_.write("table.csv", text); }

    /// What the table is refused with.
    Outcome fail(const std::string& table) const {
        write_table(table);
        return ChildProcess(get_command()).wait();
    }

    std::string check_database() const {
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(folder_.get_path("values.db").c_str(), &database), SQLITE_OK);
        std::string result;
        const auto append = [](void* text, int, char** cells, char**) {
            *static_cast<std::string*>(text) += cells[0];
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(database, "PRAGMA integrity_check", append, &result, nullptr), SQLITE_OK);
        sqlite3_close(database);
        return result;
    }

    Folder folder_;
};

TEST_F(Table, KeepsValuesAndTimestamps) {
    write_table(
        "/boiler/setpoint,double,degC,0,350,yes\n/boiler/burner,bool,,,,yes\n"
        "/boiler/starts,int,,0,,yes\n/remark,string,,,,yes\n/fixed,double,,,,no\n");
    const std::vector<std::string> item_names = {"boiler/setpoint", "boiler/burner", "boiler/starts",
                                                 "remark", "fixed"};
    std::vector<std::string> replies;
    {
        Host host(get_command());
        host.call(create_write(create_write_item("boiler/setpoint", "xsd:double", "0.1") +
                               create_write_item("boiler/burner", "xsd:boolean", "true") +
                               create_write_item("boiler/starts", "xsd:int", "-1") +
                               create_write_item("remark", "xsd:string", "don't \"stop\", 100 %")));
        EXPECT_THAT(host.read("boiler/starts"), HasSubstr(">0</Value>"));  // the range refused it
        for (const std::string& item_name : item_names) {
            replies.push_back(mask_times(host.read(item_name)));
        }
        host.get_process().send_signal(SIGKILL);
        EXPECT_EQ(host.get_process().wait().status, 128 + SIGKILL);
    }
    EXPECT_THAT(replies[0], AllOf(HasSubstr(">0.100000</Value>"), HasSubstr(" Timestamp=\"")));
    Host host(get_command());
    for (std::size_t i = 0; i < item_names.size(); ++i) {
        EXPECT_EQ(mask_times(host.read(item_names[i])), replies[i]);
    }
    host.expect_end();
}

/// The numbers that the four items of one batch hold.
std::set<int> read_numbers(const Host& host) {
    const std::string reply = host.call(
        "<Read><ItemList><Items ItemName=\"a\"/><Items ItemName=\"b/c\"/><Items ItemName=\"b/d\"/>"
        "<Items ItemName=\"b/e/f\"/></ItemList></Read>");
    const std::regex value("xsd:int\">(-?[0-9]+)</Value>");
    std::set<int> numbers;
    int count = 0;
    for (std::sregex_iterator match(reply.begin(), reply.end(), value), end; match != end; ++match, ++count) {
        numbers.insert(std::stoi((*match)[1]));
    }
    EXPECT_EQ(count, 4) << reply;
    return numbers;
}

/// Writes one number after the other into all four items, kills the host in the midst of that, and returns
/// the last number whose write was answered.
int write_and_kill(Host& host, int number, std::chrono::microseconds pause) {
    const auto write = [&](HttpClient& client) {
        std::string items;
        for (const char* item_name : {"a", "b/c", "b/d", "b/e/f"}) {
            items += create_write_item(item_name, "xsd:int", std::to_string(number + 1));
        }
        EXPECT_EQ(client.post(create_request(create_write(items))).status, 200);
        ++number;
    };
    HttpClient client(host.get_port());
    write(client);
    std::jthread killer([&] {
        std::this_thread::sleep_for(pause);  // for a moment of chance
        host.get_process().send_signal(SIGKILL);
    });
    try {
        while (true) {
            write(client);
        }
    } catch (const std::exception&) {  // the connection has ended
    }
    killer.join();
    EXPECT_EQ(host.get_process().wait().status, 128 + SIGKILL);
    return number;
}

TEST_F(Table, LosesNoBatchThatWasAnswered) {
    write_table("/a,int,,,,yes\n/b/c,int,,,,yes\n/b/d,int,,,,yes\n/b/e/f,int,,,,yes\n");
    std::mt19937 random(20261121);
    std::uniform_int_distribution<int> microseconds(0, 10'000);
    int answered = 0;
    for (int round = 0; round < KX_KILLS && !HasFailure(); ++round) {
        Host host(get_command());
        const std::set<int> numbers = read_numbers(host);
        ASSERT_EQ(numbers.size(), 1U) << "half a batch was kept in round " << round;
        // The batch that nobody has answered may have been saved all the same.
        EXPECT_TRUE(*numbers.begin() == answered || *numbers.begin() == answered + 1)
            << *numbers.begin() << " instead of " << answered;
        EXPECT_EQ(check_database(), "ok");
        answered = write_and_kill(host, *numbers.begin(), std::chrono::microseconds(microseconds(random)));
    }
    EXPECT_GE(answered, KX_KILLS);
}

TEST_F(Table, SaysWhatIsWrong) {
    EXPECT_EQ(fail("/a,dubble,,,,yes\n").errors, "kx-table: the line of '/a' is wrong\n");
    EXPECT_EQ(fail("/a,int,,,,perhaps\n").errors, "kx-table: the line of '/a' is wrong\n");
    EXPECT_EQ(fail("/a,int,,low,,yes\n").errors, "kx-table: 'low' is not a number in range\n");
    EXPECT_THAT(fail("/a,int,,,,yes\n/a/b,int,,,,yes\n").errors, HasSubstr("\"a\""));
    std::filesystem::remove(folder_.get_path("table.csv"));
    const Outcome outcome = ChildProcess(get_command()).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "kx-table: no table: kx-table TABLE DATABASE [PORT]\n");
}

}  // namespace
}  // namespace kx::information_model::opc::testing
