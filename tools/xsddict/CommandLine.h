#pragma once

// The command line: each command's arguments, options and help, parsed into what its driver
// is given; usage errors as one line and exit status 2.
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace xsddict {

// Exit statuses.
constexpr int kFailed = 1;  // the dictionary did not load, a write failed, a change was refused
constexpr int kUsage = 2;
constexpr int kFindings = 3;
constexpr int kRefused = 4;

// A command line that cannot be run: what is wrong, said in one line.
struct UsageError {
    std::string problem;
};

// What a command was given: its arguments, and its options in the order given (a flag's value
// is empty).
struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::vector<std::pair<std::string, std::string>> options;

    bool has(const std::string& name) const;
    std::string value(const std::string& name) const;  // the first given, else empty
};

// The arguments a command takes, for its usage line and the check of their number.
struct Takes {
    std::size_t least = 0;
    bool more = false;  // `least` or more
    const char*
        what;  // "a dictionary file": the usage error says "summary takes a dictionary file"
    const char* usage;  // "FILE.xsd": the help's usage line
};

class CommandLine {
  public:
    using Run = std::function<int(const Arguments&)>;

    // `help` is the text `--help` prints, of every command.
    explicit CommandLine(const char* help, std::function<void()> version);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    using Options = std::function<void(CLI::App&)>;

    // A command: what it does (a sentence or two), what it takes, examples of its use, what
    // runs it, and what adds its options. Options are added when the command is used (or
    // another's is given it): a run pays for its own command's alone.
    void add(const char* name, const char* does, Takes takes, const char* examples, Run run,
             Options options);

    // Parses the command line and runs the command named; a usage error is one line on
    // standard error and exit status 2. "--man" and "--bash-completion" print the manual page
    // and the completion script, made from the commands as they are defined (the build
    // installs both).
    int run(int argc, char** argv);

    std::string manPage();
    std::string bashCompletion();

  private:
    struct Command;
    CLI::App& defined(Command& command);
    void defineAll();
    Arguments parse(Command& command, std::vector<std::string> tokens);
    std::string help(Command& command);
    std::string description() const;

    std::unique_ptr<CLI::App> app_;
    std::vector<Command> commands_;
    const char* help_;
    std::function<void()> version_;
};

// An option taking a value (given again, each value is kept, in order), and a flag.
void addValueOption(CLI::App& command, const char* name, const char* typeName,
                    const std::string& description);
void addFlag(CLI::App& command, const char* name, const std::string& description);

// Options several commands share, with their help.
void addVerboseOption(CLI::App& command);
void addDictionaryOption(CLI::App& command);
void addJobsOption(CLI::App& command);
void addFailOnOption(CLI::App& command, const char* what);

// The closest of `known` to `given`, where one is close enough to be a slip; else empty.
std::string nearest(const std::string& given, const std::vector<std::string>& known);

}  // namespace xsddict
