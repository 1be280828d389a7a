// The command line's parse: options kept in the order given, arguments counted, slips named.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "CommandLine.h"

namespace {

struct Ran {
    xsddict::Arguments arguments;
    int status = -1;
    std::string error;
};

// Runs `words` against a command line of one command, "edit", which takes a file and more.
Ran run(std::vector<std::string> words) {
    Ran ran;
    xsddict::CommandLine commandLine("global help\n", [] {});
    commandLine.add(
        "edit", "Edits.", {1, true, "a file and changes", "FILE"}, "",
        [&](const xsddict::Arguments& arguments) {
            ran.arguments = arguments;
            return 0;
        },
        [](CLI::App& command) {
            xsddict::addValueOption(command, "--remove", "PATH", "remove");
            xsddict::addValueOption(command, "-o", "OUT", "output");
            xsddict::addFlag(command, "--walk", "walk");
        });
    commandLine.add(
        "other", "Other.", {0, true, "anything", ""}, "",
        [](const xsddict::Arguments&) { return 0; }, [](CLI::App&) {});
    words.insert(words.begin(), "xsddict");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    std::ostringstream err;
    std::streambuf* old = std::cerr.rdbuf(err.rdbuf());
    ran.status = commandLine.run(static_cast<int>(argv.size()), argv.data());
    std::cerr.rdbuf(old);
    ran.error = err.str();
    return ran;
}

TEST(CommandLine, OptionsKeepTheOrderGivenAndEveryValue) {
    const Ran ran = run({"edit", "f.mxf", "--remove", "A", "--walk", "A=1", "--remove", "B", "-o",
                         "g.mxf", "--", "-h"});
    ASSERT_EQ(ran.status, 0) << ran.error;
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"--remove", "A"}, {"--walk", ""}, {"--remove", "B"}, {"-o", "g.mxf"}};
    EXPECT_EQ(ran.arguments.options, expected);
    EXPECT_EQ(ran.arguments.positional, (std::vector<std::string>{"f.mxf", "A=1", "-h"}));
    EXPECT_EQ(ran.arguments.value("--remove"), "A");
    EXPECT_FALSE(ran.arguments.has("--dictionary"));
}

TEST(CommandLine, ArgumentsAreCountedAndOptionsCheckedPerCommand) {
    struct Case {
        std::vector<std::string> words;
        int status;
        std::string error;
    };
    const Case cases[] = {
        {{"--walk", "edit", "f.mxf"}, 0, ""},  // options may stand before the command
        {{"edit", "-"}, 0, ""},                // "-" is an argument (standard input)
        {{"edit"}, 2, "xsddict: edit takes a file and changes; see 'xsddict edit --help'\n"},
        {{"edit", "f.mxf", "-o"}, 2, "xsddict: -o needs a value; see 'xsddict edit --help'\n"},
        {{"edit", "f.mxf", "--walks"},
         2,
         "xsddict: unknown option \"--walks\" (did you mean --walk?); see 'xsddict edit --help'\n"},
        {{}, 2, "xsddict: no command given; see 'xsddict --help'\n"},
        {{"edt"},
         2,
         "xsddict: unknown command \"edt\" (did you mean edit?); see 'xsddict --help'\n"},
        {{"other", "--walk"},
         2,
         "xsddict: --walk does not apply to other; see 'xsddict other --help'\n"},
    };
    for (const Case& c : cases) {
        const Ran ran = run(c.words);
        EXPECT_EQ(ran.status, c.status) << c.words.size();
        EXPECT_EQ(ran.error, c.error);
    }
}

TEST(CommandLine, TheNearestNameIsASlipOfAtMostAThirdOfItsLetters) {
    const std::vector<std::string> known = {"--json", "--walk", "--dictionary", "--partition"};
    EXPECT_EQ(xsddict::nearest("--jsno", known), "--json");  // 2 edits: the least allowed
    EXPECT_EQ(xsddict::nearest("--jxxn", known), "--json");  // 2 edits
    EXPECT_EQ(xsddict::nearest("--xxxn", known), "");        // 3 edits of 6 letters: too far
    EXPECT_EQ(xsddict::nearest("--dictinoary", known), "--dictionary");  // 2 of 12
    EXPECT_EQ(xsddict::nearest("--dxxxxonary", known), "--dictionary");  // 4 of 12: a third
    EXPECT_EQ(xsddict::nearest("--dxxxxxnary", known), "");              // 5 of 12: past it
    EXPECT_EQ(xsddict::nearest("--frobnicate", known), "");
}

}  // namespace
