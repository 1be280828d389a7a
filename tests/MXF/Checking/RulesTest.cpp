// Each rule's severity is the one the README's table gives it.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "Velmar/MXF/Checking/Rules.h"

namespace MXF = Velmar::MXF;

TEST(Rules, SeveritiesAreTheReadmes) {
    std::ifstream readme(VELMAR_SOURCE_DIR "/README.md");
    ASSERT_TRUE(readme) << "README.md not found";
    // "| `rule`, `rule` | severity | what it says |"
    const std::regex row(R"(^\| ((?:`[a-z-]+`(?:, )?)+) \| (error|warning|info) \|)");
    const std::regex name("`([a-z-]+)`");
    std::string line;
    int rules = 0;
    while (std::getline(readme, line)) {
        std::smatch m;
        if (!std::regex_search(line, m, row)) {
            continue;
        }
        const std::string severity = m[2];
        const std::string names = m[1];
        for (std::sregex_iterator it(names.begin(), names.end(), name), end; it != end; ++it) {
            EXPECT_EQ(MXF::Model::severityName(MXF::Checking::ruleSeverity((*it)[1])), severity)
                << (*it)[1];
            ++rules;
        }
    }
    EXPECT_EQ(rules, 29);
}

TEST(Rules, AnUnknownRuleIsAnError) {
    EXPECT_EQ(MXF::Checking::ruleSeverity("no-such-rule"), MXF::Model::Severity::Error);
    EXPECT_EQ(MXF::Checking::ruleSeverity(""), MXF::Model::Severity::Error);
    EXPECT_EQ(MXF::Checking::ruleSeverity("unknown-set "), MXF::Model::Severity::Error);
}
