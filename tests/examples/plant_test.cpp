#include "examples/Plant.h"
#include "support/TlsFiles.h"
#include "support/replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Poco/TemporaryFile.h>

#include <csignal>
#include <fstream>
#include <ostream>
#include <regex>

namespace kx::information_model::opc::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

std::string create_read(const std::string& item_name) {
    return "<Read><ItemList><Items ItemName=\"" + item_name + "\"/></ItemList></Read>";
}

std::string create_read_response(const std::string& items) {
    return "<ReadResponse><RItemList>" + items + "</RItemList>" + create_result("ReadResult") +
           "</ReadResponse>";
}

std::string create_write(const std::string& item_name, const std::string& type, const std::string& content) {
    return "<Write ReturnValuesOnReply=\"true\"><ItemList><Items ItemName=\"" + item_name +
           "\"><Value xsi:type=\"" + type + "\">" + content + "</Value></Items></ItemList></Write>";
}

TEST(Plant, SaysWhatToTry) {
    const Plant plant;
    EXPECT_EQ(plant.get_example(), "to try: xmlda browse " + plant.get_url() + " --recursive --values");
}

TEST(Plant, AnswersGetStatus) {
    const Plant plant;
    const Reply reply = plant.call("<GetStatus/>");
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(reply.body, HasSubstr("<VendorInfo>Brevandor OPC XML DA Server</VendorInfo>"));
}

TEST(Plant, ListensOnLoopbackUnlessToldOtherwise) {
    EXPECT_THAT(Plant().get_url(), MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+"));
    EXPECT_THAT(Plant({"--address=0.0.0.0"}).get_url(), MatchesRegex("http://0\\.0\\.0\\.0:[0-9]+"));
}

TEST(Plant, ListensWithTlsWhenGivenBothFiles) {
    const TlsFiles files;
    Plant plant({"--certificate", files.get_certificate(), "--private-key=" + files.get_private_key()});
    EXPECT_THAT(plant.get_url(), MatchesRegex("https://127\\.0\\.0\\.1:[0-9]+"));
    HttpClient silent(plant.get_port());  // never shakes hands
    plant.get_process().send_signal(SIGTERM);
    const Outcome outcome = plant.get_process().wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST(Plant, ServesItsVariables) {
    const Plant plant;
    expect_success(
        plant.call(create_read("maintenance/interval")),
        create_read_response("<Items ItemName=\"/maintenance/interval\"><Value xsi:type=\"xsd:duration\">"
                             "P90D</Value></Items>"));
    expect_success(plant.call(create_read("feed_water/branch_positions")),
                   create_read_response(
                       "<Items ItemName=\"/feed_water/branch_positions\"><Value xsi:type=\"ArrayOfByte\">"
                       "<byte>48</byte><byte>52</byte><byte>-56</byte></Value></Items>"));
}

TEST(Plant, AddsBulkVariables) {
    const Plant plant({"--bulk", "1001"});
    expect_success(plant.call(create_read("bulk/1/v1000")),
                   create_read_response("<Items ItemName=\"/bulk/1/v1000\"><Value xsi:type=\"xsd:double\">"
                                        "1000.000000</Value></Items>"));
    expect_success(plant.call(create_read("bulk/1/v1001")),
                   "<ReadResponse><RItemList/>" + create_result("ReadResult") + "</ReadResponse>");
}

TEST(Plant, MovesOnItsOwn) {
    const Plant plant;
    const std::string first = mask_times(plant.call(create_read("turbine/counters/revolutions")).body);
    std::string latest = first;
    while (latest == first) {  // the test's own time limit ends this
        latest = mask_times(plant.call(create_read("turbine/counters/revolutions")).body);
    }
    EXPECT_THAT(latest, HasSubstr("<Value xsi:type=\"xsd:unsignedLong\">90071992547"));
}

TEST(Plant, TellsOfClientsWritesOnly) {
    Plant plant;
    plant.call(create_write("boiler/mode", "xsd:int", "0"));
    plant.call(create_write("maintenance/note", "xsd:string", "first\nsecond"));
    EXPECT_EQ(plant.get_process().read_line(), "a client wrote /boiler/mode: off");
    EXPECT_EQ(plant.get_process().read_line(), "a client wrote /maintenance/note: \"first?second\"");
}

TEST(Plant, BringsSetPointsIntoTheirRange) {
    Plant plant;
    EXPECT_THAT(plant.call(create_write("boiler/temperature_setpoint", "xsd:double", "5000")).body,
                HasSubstr("<Value xsi:type=\"xsd:double\">350.000000</Value>"));
    EXPECT_EQ(plant.get_process().read_line(), "a client wrote /boiler/temperature_setpoint: 350");
    EXPECT_THAT(plant.call(create_write("feed_water/valve_setpoint", "xsd:unsignedByte", "101")).body,
                HasSubstr(">100</Value>"));
    EXPECT_THAT(plant.call(create_write("feed_water/trim", "xsd:byte", "-21")).body,
                HasSubstr(">-20</Value>"));
}

TEST(Plant, SilencesItsHorn) {
    const Plant plant;
    const auto expect_written = [&plant](const std::string& content, const std::string& expected) {
        EXPECT_THAT(plant.call(create_write("alarms/horn", "xsd:boolean", content)).body,
                    HasSubstr("<Value xsi:type=\"xsd:boolean\">" + expected + "</Value>"));
    };
    expect_written("1", "1");
    expect_written("0", "0");
    expect_written("true", "0");
}

TEST(Plant, SoundsItsHornWithAnAlarm) {
    const Plant plant;
    plant.call(create_write("boiler/mode", "xsd:int", "0"));  // the drum boils on, without feed water
    const std::string on = "<Value xsi:type=\"xsd:boolean\">1</Value>";
    while (plant.call(create_read("alarms/horn")).body.find(on) == std::string::npos) {
    }
    EXPECT_THAT(plant.call(create_read("alarms/text")).body, HasSubstr("drum level"));
}

TEST(Plant, FollowsTheMode) {
    const Plant plant;
    plant.call(create_write("boiler/mode", "xsd:int", "0"));
    const std::string off = "<Value xsi:type=\"xsd:boolean\">0</Value>";
    while (plant.call(create_read("boiler/burner_on")).body.find(off) == std::string::npos) {
    }
    EXPECT_THAT(plant.call(create_read("boiler/mode")).body,
                HasSubstr("<Value xsi:type=\"xsd:int\">0</Value>"));
}

/// Every type that can be served, as the text of "xsi:type" and where it stands in the plant.
struct ServedType {
    std::string type;
    std::string item_name;

    friend std::ostream& operator<<(std::ostream& stream, const ServedType& served) {
        return stream << served.item_name;
    }
};

class PlantTypes : public ::testing::TestWithParam<ServedType> {};

TEST_P(PlantTypes, AreServed) {
    const Plant plant;
    EXPECT_THAT(plant.call(create_read(GetParam().item_name)).body,
                HasSubstr("<Value xsi:type=\"" + GetParam().type + "\">"));
}

INSTANTIATE_TEST_SUITE_P(
    Plant, PlantTypes,
    ::testing::Values(
        ServedType{"xsd:boolean", "boiler/burner_on"}, ServedType{"xsd:string", "alarms/text"},
        ServedType{"xsd:double", "boiler/temperature"}, ServedType{"xsd:float", "boiler/pressure"},
        ServedType{"xsd:long", "turbine/counters/net_energy"},
        ServedType{"xsd:int", "turbine/axial_position"}, ServedType{"xsd:short", "turbine/vibration"},
        ServedType{"xsd:byte", "feed_water/trim"},
        ServedType{"xsd:unsignedLong", "turbine/counters/revolutions"},
        ServedType{"xsd:unsignedInt", "turbine/counters/starts"},
        ServedType{"xsd:unsignedShort", "feed_water/pump_speed"},
        ServedType{"xsd:unsignedByte", "feed_water/valve_position"},
        ServedType{"xsd:dateTime", "alarms/raised_at"}, ServedType{"xsd:duration", "maintenance/interval"},
        ServedType{"xsd:string", "alarms/source"}, ServedType{"xsd:string", "alarms/document"},
        ServedType{"xsd:int", "turbine/state"}, ServedType{"ArrayOfBoolean", "boiler/flame_detectors"},
        ServedType{"ArrayOfString", "alarms/latest_texts"},
        ServedType{"ArrayOfDouble", "boiler/zone_temperatures"},
        ServedType{"ArrayOfFloat", "boiler/steam_pressures"},
        ServedType{"ArrayOfLong", "turbine/counters/phase_energies"},
        ServedType{"ArrayOfInt", "turbine/bearing_positions"},
        ServedType{"ArrayOfShort", "turbine/bearing_vibrations"},
        ServedType{"ArrayOfByte", "feed_water/trim_steps"},
        ServedType{"ArrayOfUnsignedLong", "turbine/counters/pulses"},
        ServedType{"ArrayOfUnsignedInt", "turbine/counters/alarms_by_class"},
        ServedType{"ArrayOfUnsignedShort", "feed_water/pump_speeds"},
        ServedType{"ArrayOfByte", "feed_water/branch_positions"},
        ServedType{"ArrayOfDateTime", "alarms/latest_times"},
        ServedType{"ArrayOfDuration", "maintenance/reminders"}, ServedType{"ArrayOfString", "alarms/watched"},
        ServedType{"ArrayOfString", "alarms/documents"}, ServedType{"ArrayOfInt", "turbine/last_states"}),
    [](const auto& test) { return std::regex_replace(test.param.item_name, std::regex("[^a-z]"), ""); });

class PlantSignals : public ::testing::TestWithParam<int> {};

TEST_P(PlantSignals, EndItWithStatusZero) {
    Plant plant;
    plant.get_process().send_signal(GetParam());
    const Outcome outcome = plant.get_process().wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "stopped\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST_P(PlantSignals, EndItWhileAClientHoldsAPoll) {
    Plant plant;
    HttpClient holding(plant.get_port());
    holding.send(
        create_post(create_request(R"(<SubscriptionPolledRefresh HoldTime="2200-01-01T00:00:00Z"/>)")));
    plant.call("<GetStatus/>");  // accepted after the poll
    plant.get_process().send_signal(GetParam());
    EXPECT_EQ(plant.get_process().wait().status, 0);
}

INSTANTIATE_TEST_SUITE_P(Plant, PlantSignals, ::testing::Values(SIGINT, SIGTERM),
                         [](const auto& test) { return test.param == SIGINT ? "Interrupt" : "Terminate"; });

/// A command line that is refused, and the line that says so.
struct WrongArguments {
    std::string name;
    std::vector<std::string> arguments;
    std::string message;

    friend std::ostream& operator<<(std::ostream& stream, const WrongArguments& wrong) {
        return stream << wrong.name;
    }
};

class PlantArguments : public ::testing::TestWithParam<WrongArguments> {};

TEST_P(PlantArguments, AreRefusedWithOneLine) {
    const Outcome outcome = ChildProcess(create_plant_command(GetParam().arguments)).wait();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "kx-plant: " + GetParam().message + "\n");
}

const std::string NUMBER_RANGE = "--port takes a whole number from 0 to 65535, not ";

INSTANTIATE_TEST_SUITE_P(
    Plant, PlantArguments,
    ::testing::Values(
        WrongArguments{"Unknown", {"--prot", "1"}, "unknown argument '--prot', --help lists the known ones"},
        WrongArguments{"Stray", {"8080"}, "unknown argument '8080', --help lists the known ones"},
        WrongArguments{"Empty", {""}, "unknown argument '', --help lists the known ones"},
        WrongArguments{"ValueMissing", {"--port"}, "--port needs a value"},
        WrongArguments{"NoNumber", {"--port", "http"}, NUMBER_RANGE + "'http'"},
        WrongArguments{"NumberEmpty", {"--port="}, "--port needs a value"},
        WrongArguments{"NumberWithRest", {"--port", "80 "}, NUMBER_RANGE + "'80 '"},
        WrongArguments{"PortNegative", {"--port", "-1"}, NUMBER_RANGE + "'-1'"},
        WrongArguments{"PortTooLarge", {"--port", "65536"}, NUMBER_RANGE + "'65536'"},
        WrongArguments{
            "NumberHuge", {"--port", "99999999999999999999"}, NUMBER_RANGE + "'99999999999999999999'"},
        WrongArguments{"BulkTooLarge",
                       {"--bulk", "10000001"},
                       "--bulk takes a whole number from 0 to 10000000, not '10000001'"},
        WrongArguments{
            "NoThreads", {"--threads", "0"}, "--threads takes a whole number from 2 to 1000, not '0'"},
        WrongArguments{"FileMissing",
                       {"--certificate", "/nonexistent/plant.pem"},
                       "--certificate: cannot read the file '/nonexistent/plant.pem'"},
        WrongArguments{"FileIsFolder", {"--private-key", "/"}, "--private-key: cannot read the file '/'"},
        WrongArguments{"KeyMissing",
                       {"--certificate", KX_README},
                       "--certificate and --private-key are given together or not at all"}),
    [](const auto& test) { return test.param.name; });

TEST(PlantFailures, PortInUseGivesOneLine) {
    const Plant first;
    const std::string port = std::to_string(first.get_port());
    const Outcome second = ChildProcess(create_plant_command({"--port", port})).wait();
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, "kx-plant: port " + port + " is in use\n");
}

TEST(PlantFailures, UnusableCertificateGivesOneLine) {
    const Outcome outcome =
        ChildProcess(create_plant_command({"--certificate", KX_README, "--private-key", KX_README})).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, std::string("kx-plant: '") + KX_README +
                                  "' is not a private key that can be read (PEM, without a pass phrase)\n");
}

TEST(PlantFailures, AddressOfAnotherHostGivesOneLine) {
    const Outcome outcome = ChildProcess(create_plant_command({"--address", "192.0.2.1"})).wait();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "kx-plant: 192.0.2.1 is not an address of this machine\n");
}

/// A file that goes with the test.
class FaultFile {
public:
    explicit FaultFile(const std::string& lines) { std::ofstream(file_.path()) << lines; }

    std::string get_path() const { return file_.path(); }

private:
    Poco::TemporaryFile file_;
};

std::string print_faults(const std::string& faults) {
    const Outcome outcome = ChildProcess(create_plant_command({"--faults", faults, "--print-faults"})).wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    return outcome.output;
}

/// Reads what the plant prints up to this line.
void wait_for_line(Plant& plant, const std::string& line) {
    while (plant.get_process().read_line().value() != line) {
    }
}

TEST(PlantFaults, AreTheSameInEachRun) {
    const std::string faults = print_faults("7");

    EXPECT_EQ(print_faults("7"), faults);
    EXPECT_NE(print_faults("8"), faults);
    EXPECT_EQ(print_faults(FaultFile(faults).get_path()), faults);
    for (const char* kind : {" sensor /", " jump /", " freeze\n", " drop\n", "\nrepeat 600\n"}) {
        EXPECT_THAT(faults, HasSubstr(kind));
    }
    EXPECT_TRUE(faults.starts_with("8 8 sensor /boiler/level\n23 9 drop\n44 9 freeze\n"))
        << faults;  // on every machine
}

TEST(PlantFaults, LetSensorsFailAndValuesJump) {
    const FaultFile file(
        "# two sensors\n"
        "0.25 600 sensor /boiler/temperature\n\n"
        "0.25 600 jump /instruments/thermometer_1/reading +100.5\n"
        "0.5 0.5 sensor /maintenance/note\n"
        "repeat 1000\n");
    Plant plant({"--faults", file.get_path()});
    wait_for_line(plant, "fault begins: sensor /boiler/temperature");
    wait_for_line(plant, "fault begins: sensor /maintenance/note");
    const std::string properties =
        "<GetProperties ReturnAllProperties=\"true\" ReturnPropertyValues=\"true\">"
        "<ItemIDs ItemName=\"/boiler/temperature\"/></GetProperties>";
    EXPECT_THAT(plant.call(properties).body, HasSubstr("badSensorFailure"));
    const std::string before = mask_times(plant.call(create_read("/boiler/temperature")).body);
    wait_for_line(plant, "fault ends: sensor /maintenance/note");

    EXPECT_EQ(mask_times(plant.call(create_read("/boiler/temperature")).body), before);
    EXPECT_THAT(plant.call(create_read("/instruments/thermometer_1/reading")).body,
                HasSubstr(">204.710000<"));
}

TEST(PlantFaults, PassAndComeAgain) {
    const FaultFile file("0.5 0.5 jump /instruments/thermometer_1/reading 100\nrepeat 1.5\n");
    Plant plant({"--faults", file.get_path()});
    const std::string item = "/instruments/thermometer_1/reading";
    for (int i = 0; i < 2; ++i) {
        wait_for_line(plant, "fault begins: jump " + item + " 100");
        wait_for_line(plant, "fault ends: jump " + item + " 100");
    }
    while (plant.call(create_read(item)).body.find(">104.210000<") == std::string::npos) {
    }
    while (plant.call(create_read(item)).body.find(">204.210000<") == std::string::npos) {
    }
}

TEST(PlantFaults, LetTimeStandStill) {
    const FaultFile file("0.5 600 freeze\n1 0.5 sensor /boiler/temperature\n");
    Plant plant({"--faults", file.get_path()});
    const std::string read =
        "<Read><Options ReturnItemTime=\"true\"/><ItemList>"
        "<Items ItemName=\"/turbine/counters/revolutions\"/></ItemList></Read>";
    const auto get_item = [&] {
        const std::string body = plant.call(read).body;
        return body.substr(0, body.find("<ReadResult"));
    };
    wait_for_line(plant, "fault begins: sensor /boiler/temperature");
    const std::string before = get_item();
    wait_for_line(plant, "fault ends: sensor /boiler/temperature");

    EXPECT_THAT(before, HasSubstr("Timestamp="));
    EXPECT_EQ(get_item(), before);
}

TEST(PlantFaults, DropConnectionsAndTakeThemAgain) {
    const FaultFile file("1 1 drop\nrepeat 4\n");
    Plant plant({"--faults", file.get_path()});
    const auto answers = [&plant] {
        try {
            return plant.call("<GetStatus/>").status == 200;
        } catch (const std::exception&) {
            return false;
        }
    };
    while (!answers()) {
    }
    while (answers()) {  // the test's own time limit ends these
    }
    wait_for_line(plant, "fault ends: drop");
    while (!answers()) {
    }
    plant.get_process().send_signal(SIGTERM);
    EXPECT_EQ(plant.get_process().wait().status, 0);
}

TEST(PlantFaults, ThatAreNoneAreRefusedWithOneLine) {
    const auto refuse = [](const std::string& lines) {
        const FaultFile file(lines);
        const Outcome outcome = ChildProcess(create_plant_command({"--faults", file.get_path()})).wait();
        EXPECT_EQ(outcome.status, 2);
        const std::string& errors = outcome.errors;
        return std::regex_replace(errors, std::regex("^kx-plant: |/[^ :']*tmp[^ :']*"), "");
    };
    EXPECT_EQ(refuse("\n1 2 flood\n"), ":2: 'flood' is not one of sensor, jump, freeze and drop\n");
    EXPECT_EQ(refuse("1 2"), ":1: a fault is BEGIN LENGTH, then sensor, jump, freeze or drop\n");
    EXPECT_EQ(refuse("1 -2 drop"), ":1: '-2' is not a time in seconds, up to a week\n");
    EXPECT_EQ(refuse("1 2 jump /a x"), ":1: 'x' is not a number\n");
    EXPECT_EQ(refuse("1 2 jump /a"), ":1: \"jump\" needs an item and a number\n");
    EXPECT_EQ(refuse("1 2 drop it"), ":1: \"drop\" takes nothing else\n");
    EXPECT_EQ(refuse("repeat"), ":1: \"repeat\" takes one number of seconds\n");
    EXPECT_EQ(refuse("# none"), " contains no faults\n");
    EXPECT_EQ(refuse("0 0 drop"), ": all faults have the length 0\n");
    EXPECT_EQ(refuse("1 9 drop\nrepeat 5"), ": 'drop' ends after the time in \"repeat\"\n");
    EXPECT_EQ(refuse("1 9 sensor /a\n5 9 sensor /a"), ": two faults of '/a' overlap\n");
    EXPECT_EQ(refuse("1 9 sensor /a"), "the plant has no variable '/a' that could fail\n");
    EXPECT_EQ(refuse("1 9 jump /boiler/mode 1"), "'/boiler/mode' cannot jump: it is not a number\n");
}

TEST(PlantHelp, NamesEveryOption) {
    for (const char* help : {"-h", "--help"}) {
        const Outcome outcome = ChildProcess(create_plant_command({help})).wait();
        EXPECT_EQ(outcome.status, 0);
        for (const char* option : {"--address", "--port", "--certificate", "--private-key", "--bulk",
                                   "--threads", "--faults", "--print-faults", "--help", "--version"}) {
            EXPECT_THAT(outcome.output, HasSubstr(option));
        }
    }
}

TEST(PlantVersion, IsTold) {
    const Outcome outcome = ChildProcess(create_plant_command({"--version"})).wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, MatchesRegex("kx-plant [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(PlantOptions, TakeTheLastOfTwo) {
    EXPECT_THAT(Plant({"--address", "192.0.2.1", "--address=127.0.0.1"}).get_url(),
                HasSubstr("http://127.0.0.1:"));
}

}  // namespace
}  // namespace kx::information_model::opc::testing
