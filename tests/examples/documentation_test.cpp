#include "examples/Plant.h"
#include "support/replies.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <sstream>

namespace kx::information_model::opc::testing {
namespace {

std::string read_file(const std::string& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Something on a page that a test acts on, in the page's order: a fenced block with its language, or the
/// comment "<!-- restart -->", from where the page shows a fresh plant.
struct Step {
    std::string kind;
    std::string text;
};

std::vector<Step> read_steps(const std::string& path) {
    std::vector<Step> steps;
    std::istringstream lines(read_file(path));
    bool is_inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```")) {
            is_inside = !is_inside;
            if (is_inside) {
                steps.push_back({line.substr(3), ""});
            }
        } else if (is_inside) {
            steps.back().text += line + '\n';
        } else if (line == "<!-- restart -->") {
            steps.push_back({"restart", ""});
        }
    }
    return steps;
}

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

/// XML without what pages add to make it readable, and without times.
std::string normalize(const std::string& xml) {
    const std::string one_line = std::regex_replace(xml, std::regex("\\s+"), " ");
    const std::string joined = std::regex_replace(one_line, std::regex("> <"), "><");
    return mask_all_times(std::regex_replace(joined, std::regex("^ | $"), ""));
}

std::string find_handle(const std::string& xml) {
    std::smatch match;
    return std::regex_search(xml, match, std::regex("ServerSubHandle=\"([^\"]*)\"")) ? match[1].str() : "";
}

/// Compares what a page shows with what the plant answers. The plant chooses other handles of subscriptions
/// than it did for the page.
class Conversation {
public:
    /// A text of the page, with the handles that the plant has chosen.
    std::string translate(std::string text) const {
        for (const auto& [documented, actual] : handles_) {
            text = replace_all(text, '"' + documented + '"', '"' + actual + '"');
            text = replace_all(text, '>' + documented + '<', '>' + actual + '<');
        }
        return text;
    }

    /// @param documented  with or without its envelope
    void expect(const std::string& reply, const std::string& documented, const std::string& request) {
        if (const std::string handle = find_handle(documented); !handle.empty()) {
            handles_[handle] = find_handle(reply);
        }
        const std::string expected = translate(documented);
        EXPECT_EQ(normalize(reply),
                  normalize(expected.starts_with("<?xml") ? expected : create_reply(expected)))
            << request;
        ++count_;
    }

    int get_count() const { return count_; }

private:
    std::map<std::string, std::string> handles_;  // from the page's to the plant's
    int count_ = 0;
};

/// What a shell command prints; nothing if curl is not installed.
std::optional<std::string> run_shell(const std::string& command) {
    const Outcome outcome = ChildProcess({"/bin/sh", "-c", command}).wait();
    EXPECT_TRUE(outcome.status == 0 || outcome.status == 127) << outcome.errors;
    return outcome.status == 127 ? std::nullopt : std::optional(outcome.output);
}

TEST(Readme, ShowsTheMinimalHost) {
    std::vector<std::string> programs;
    for (const Step& step : read_steps(KX_README)) {
        if (step.kind == "cpp") {
            programs.push_back(step.text);
        }
    }
    ASSERT_EQ(programs.size(), 1U);
    EXPECT_EQ(programs.front(), read_file(KX_MINIMAL_HOST));
}

TEST(Readme, ShowsTheAnswersToItsRequests) {
    const Plant plant;
    Conversation conversation;
    std::string functions;
    std::string command;
    for (const Step& step : read_steps(KX_README)) {
        if (step.kind == "sh" && step.text.starts_with("opc() {")) {
            functions = step.text;
        } else if (step.kind == "sh") {
            command = functions + conversation.translate(step.text);
        } else if (step.kind == "xml") {
            const auto reply = run_shell(replace_all(command, "http://127.0.0.1:8080", plant.get_url()));
            if (!reply.has_value()) {
                GTEST_SKIP() << "curl is not installed";
            }
            conversation.expect(*reply, step.text, command);
        }
    }
    EXPECT_GE(conversation.get_count(), 1);
}

// The page shows requests and answers in turn, each without the envelope.
TEST(ServicesPage, ShowsTheAnswersToItsRequests) {
    std::optional<Plant> plant(std::in_place);
    Conversation conversation;
    std::string request;
    for (const Step& step : read_steps(KX_SERVICES_PAGE)) {
        if (step.kind == "restart") {
            plant.emplace();
        } else if (step.kind == "xml" && request.empty()) {
            request = conversation.translate(step.text);
        } else if (step.kind == "xml") {
            conversation.expect(plant->call(request).body, step.text, request);
            request.clear();
        }
    }
    EXPECT_EQ(request, "");
    EXPECT_GE(conversation.get_count(), 3);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
