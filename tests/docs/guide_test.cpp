// The programs of the guide for hosts: what docs/model.md shows stands here, line by line, and does what the
// page says.

#include <information_model/InformationModel.h>
#include <information_model/guards.h>
#include <opc/Server.h>

#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

enum class Mode { OFF, MANUAL, AUTOMATIC };

template <>
struct kx::information_model::symbol_list::SymbolList<Mode> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "plant.Mode";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {
            {0, "off", ""}, {1, "manual", "Set by hand."}, {2, "automatic", "Controlled."}};
        return SYMBOLS;
    }
};

namespace kx::information_model {
namespace {

TypedVariable<double> get_double(InformationModel& model, const char* path) {
    return model.get_root().find<double>(path).value();
}

Domain& get_boiler(InformationModel& model) {
    return dynamic_cast<Domain&>(model.get_root().get_item(Path("/boiler"), false));
}

std::shared_ptr<InformationModel> create_boiler() {
    auto model = std::make_shared<InformationModel>("plant");
    Domain& boiler = model->get_root().add_domain("boiler", {.description = "Steam boiler 1",
                                                             .identity = Identity("B-001"),
                                                             .pattern_type = pattern_type::DEVICE});
    auto temperature = boiler.add<double>("temperature", 21.5,
                                          {.description = "Drum temperature",
                                           .writable = true,
                                           .engineering_unit = "degC",
                                           .range = {.lower = Value(0.0), .upper = Value(400.0)},
                                           .delta = Value(0.5),
                                           .fractional_digits = 1});
    EXPECT_EQ(temperature.get_variable().get_path().as_string(), "/boiler/temperature");
    boiler.add<double>("pressure", 1.0);
    return model;
}

double read_temperature() {
    return 180.0;
}

double read_pressure() {
    return 9.5;
}

TEST(HostGuide, WantsBoundsOfTheVariablesType) {
    const auto model = create_boiler();
    const VariableOptions options = {.range = {.lower = Value(0)}};
    EXPECT_THROW(get_boiler(*model).add<double>("level", 0.5, options), BadValueTypeException);
    EXPECT_EQ(model->get_root().find_item("/boiler/level"), nullptr);
}

TEST(HostGuide, FindsAnItemByItsPath) {
    const auto model = create_boiler();

    if (auto found = model->get_root().find<double>("/boiler/temperature")) {
        *found = 22.0;
    }

    EXPECT_EQ(get_double(*model, "boiler/temperature").get(), 22.0);
    EXPECT_FALSE(model->get_root().find<int>("/boiler/temperature"));
    EXPECT_EQ(model->get_root().find_item("/nothing"), nullptr);
    EXPECT_THROW(model->get_root().find_item("boiler//temperature"), InvalidPathException);
    EXPECT_THROW(model->get_root().get_item(Path("/nothing"), false), PathNotFoundException);
}

TEST(HostGuide, HasVariablesOfAnEnumeration) {
    const auto model = create_boiler();
    Domain& boiler = get_boiler(*model);

    auto mode = boiler.add<Mode>("mode", Mode::MANUAL);
    mode = Mode::AUTOMATIC;

    EXPECT_EQ(mode.get(), Mode::AUTOMATIC);
    EXPECT_NE(mode.get_variable().get_value(), Value(SymbolInfo(Mode::MANUAL)));
}

TEST(HostGuide, WritesValueAndQuality) {
    const auto model = create_boiler();
    const auto temperature = get_double(*model, "/boiler/temperature");
    const TimePoint sampled_at = std::chrono::system_clock::now() - std::chrono::seconds(5);

    temperature = 22;
    const double celsius = temperature.get();
    temperature.update({.value = 22.5, .quality = symbol_list::QUALITY::GOOD, .timestamp = sampled_at});

    EXPECT_EQ(celsius, 22.0);
    EXPECT_EQ(temperature.get(), 22.5);
    EXPECT_EQ(temperature.get_variable().get_timestamp(), sampled_at);
    temperature.get_variable().set_quality(symbol_list::QUALITY::BAD_SENSOR_FAILURE);
    EXPECT_EQ(temperature.get_variable().get_quality(), SymbolInfo(symbol_list::QUALITY::BAD_SENSOR_FAILURE));
    EXPECT_THROW(temperature.get_variable() = Value(22), BadValueTypeException);
}

TEST(HostGuide, GuardsWhatClientsWrite) {
    const auto model = create_boiler();
    Domain& boiler = get_boiler(*model);

    auto setpoint = boiler.add<double>(
        "setpoint", 180.0,
        {.writable = true, .range = {.lower = Value(0.0), .upper = Value(350.0)}, .accept = clamp_to_range});

    Value written(5000.0);
    EXPECT_TRUE(setpoint.get_variable().apply_guard(written));
    EXPECT_EQ(written, Value(350.0));

    setpoint.get_variable().set_guard(
        [](const Variable&, Value& value) { return std::get<double>(value) >= 20.0; });

    written = Value(19.0);
    EXPECT_FALSE(setpoint.get_variable().apply_guard(written));
}

TEST(HostGuide, ReadsUnderTheSharedLock) {
    const auto model = create_boiler();
    const auto temperature = get_double(*model, "/boiler/temperature");

    double now = 0.0;
    {
        std::shared_lock lock(std::as_const(*model).get_information_tree());  // to read
        now = temperature.get();
    }

    EXPECT_EQ(now, 21.5);
}

TEST(HostGuide, UpdatesSeveralVariablesTogether) {
    const auto model = create_boiler();
    const auto temperature = get_double(*model, "/boiler/temperature");
    const auto pressure = get_double(*model, "/boiler/pressure");

    const double measured_temperature = read_temperature();  // slow: before the lock
    const double measured_pressure = read_pressure();
    {
        std::unique_lock lock(model->get_information_tree());
        temperature = measured_temperature;
        pressure = measured_pressure;
    }

    EXPECT_EQ(temperature.get(), 180.0);
    EXPECT_EQ(pressure.get(), 9.5);
}

TEST(HostGuide, ObservesChanges) {
    const auto model = create_boiler();
    Domain& boiler = get_boiler(*model);
    const auto temperature = get_double(*model, "/boiler/temperature");
    ::testing::internal::CaptureStdout();

    Registration watching = boiler.on_change(
        [](const Path& path, const Value& value) { std::cout << path << " is now " << value << '\n'; });

    temperature = 22.5;
    temperature = 22.5;
    temperature.get_variable().set_value(Value(22.0), CALLBACK_RESTRAIN::NO_CALLBACKS, true);
    watching.end();
    temperature = 23.5;
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "/boiler/temperature is now 22.5\n");
}

TEST(HostGuide, RemovesAnItemAndAllBelow) {
    const auto model = create_boiler();
    {
        std::unique_lock lock(model->get_information_tree());
        model->get_root().remove("boiler");
    }
    EXPECT_TRUE(model->get_root().is_empty());
}

TEST(HostGuide, ServesAndStops) {
    const auto model = create_boiler();
    const std::string address = "127.0.0.1";
    const unsigned short port = 0;

    {
        opc::Server server(address, port, model);
        server.start();
        std::cout << "listening on " << server.get_address() << ", port " << server.get_port() << '\n';

        EXPECT_NE(server.get_port(), 0);
        EXPECT_FALSE(server.is_tls_enabled());
        server.stop();
        EXPECT_THROW(server.start(), std::logic_error);
    }
}

// The table of values.
TEST(HostGuide, TakesTheTypeFromTheContent) {
    const std::vector<std::pair<Value, VALUE_TYPE>> values = {
        {Value(21.5), VALUE_TYPE::DOUBLE},
        {Value(21.5F), VALUE_TYPE::FLOAT},
        {Value(21), VALUE_TYPE::INT},
        {Value(21L), VALUE_TYPE::LONG},
        {Value(21UL), VALUE_TYPE::UNSIGNED_LONG},
        {Value(static_cast<unsigned char>(200)), VALUE_TYPE::UNSIGNED_BYTE},
        {Value("text"), VALUE_TYPE::STRING},
        {Value(std::string("text")), VALUE_TYPE::STRING},
        {Value(true), VALUE_TYPE::BOOLEAN},
        {Value(Duration(std::chrono::minutes(5))), VALUE_TYPE::DURATION},
        {Value(TimePoint(std::chrono::system_clock::now())), VALUE_TYPE::DATE_TIME},
        {Value(Path("/boiler")), VALUE_TYPE::PATH},
        {Value(AbsolutePath("host", "plant", "/boiler")), VALUE_TYPE::ABSOLUTE_PATH},
        {Value(SymbolInfo(Mode::OFF)), VALUE_TYPE::SYMBOL}};
    for (const auto& [value, type] : values) {
        EXPECT_EQ(value.get_type_info(), ValueTypeInfo(type, false));
    }
    EXPECT_EQ(Value(std::vector<double>{1.0, 2.0}).get_type_info(), ValueTypeInfo(VALUE_TYPE::DOUBLE, true));
    EXPECT_EQ(Value(std::vector<Value>{Value(1), Value(2)}).get_type_info(),
              ValueTypeInfo(VALUE_TYPE::INT, true));
}

}  // namespace
}  // namespace kx::information_model
