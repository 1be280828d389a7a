#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <set>

namespace xsddict {

struct CommandLine::Command {
    std::string name;
    const char* does;
    Takes takes;
    const char* examples;
    Run run;
    Options options;
    CLI::App* app = nullptr;  // once defined
};

bool Arguments::has(const std::string& name) const {
    return std::any_of(options.begin(), options.end(),
                       [&](const auto& option) { return option.first == name; });
}

std::string Arguments::value(const std::string& name) const {
    for (const auto& option : options) {
        if (option.first == name) {
            return option.second;
        }
    }
    return {};
}

namespace {

bool isOption(const std::string& token) {
    return token.size() >= 2 && token[0] == '-';
}

// An option's names as given on the command line ("-j", "--json").
std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& s : option.get_snames()) {
        names.push_back("-" + s);
    }
    for (const std::string& l : option.get_lnames()) {
        names.push_back("--" + l);
    }
    return names;
}

bool takesValue(const CLI::Option& option) {
    return option.get_expected_min() > 0;
}

std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// Wraps a description to the help's width, lines after the first indented to `indent`.
std::string wrapped(const std::string& text, std::size_t first, std::size_t indent) {
    constexpr std::size_t kWidth = 92;
    std::string out;
    std::size_t column = first;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        if (column > indent && column + 1 + word.size() > kWidth) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (column > indent || (column == indent && !out.empty() && out.back() != ' ')) {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
        at = end + 1;
    }
    return out;
}

}  // namespace

std::string nearest(const std::string& given, const std::vector<std::string>& known) {
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(2, given.size() / 3) + 1;
    for (const std::string& name : known) {
        const std::size_t distance = editDistance(given, name);
        if (distance < bestDistance) {
            best = name;
            bestDistance = distance;
        }
    }
    return best;
}

CommandLine::CommandLine(const char* help, std::function<void()> version)
    : app_(std::make_unique<CLI::App>("xsddict", "xsddict")),
      help_(help),
      version_(std::move(version)) {
    app_->set_help_flag();
    app_->allow_extras();
    app_->require_subcommand(0, 1);  // a command's arguments may be named like another command
}

CommandLine::~CommandLine() = default;

void CommandLine::add(const char* name, const char* does, Takes takes, const char* examples,
                      Run run, Options options) {
    commands_.push_back({name, does, takes, examples, std::move(run), std::move(options)});
}

CLI::App& CommandLine::defined(Command& command) {
    if (command.app == nullptr) {
        command.app = app_->add_subcommand(command.name, command.does);
        command.app->set_help_flag();
        command.app->allow_extras();  // unknown options are said in our words
        command.options(*command.app);
    }
    return *command.app;
}

void CommandLine::defineAll() {
    for (Command& command : commands_) {
        defined(command);
    }
}

std::string CommandLine::help(Command& command) {
    defined(command);
    std::string out = "usage: xsddict " + command.name + " [OPTIONS] " + command.takes.usage +
                      "\n\n" + wrapped(command.does, 0, 0) + "\n\noptions:\n";
    constexpr std::size_t kColumn = 27;
    auto line = [&](std::string left, const std::string& description) {
        left = "  " + left;
        if (left.size() + 1 > kColumn) {
            out += left + "\n" + std::string(kColumn, ' ');
        } else {
            out += left + std::string(kColumn - left.size(), ' ');
        }
        out += wrapped(description, kColumn, kColumn) + "\n";
    };
    for (const CLI::Option* option : command.app->get_options()) {
        if (option->get_group().empty()) {
            continue;  // kept out of the help
        }
        std::string names;
        for (const std::string& name : namesOf(*option)) {
            names += (names.empty() ? "" : ", ") + name;
        }
        if (takesValue(*option)) {
            names += " " + option->get_type_name();
        }
        line(names, option->get_description());
    }
    line("--", "ends the options: what follows is arguments");
    line("-h, --help", "this text");
    if (command.examples != nullptr && *command.examples != '\0') {
        out += std::string("\nexamples:\n") + command.examples;
    }
    return out;
}

namespace {

// Text as groff reads it: backslashes and hyphens escaped, no line starting as a request.
std::string roff(const std::string& text) {
    std::string out;
    bool lineStart = true;
    for (const char c : text) {
        if (lineStart && (c == '.' || c == '\'')) {
            out += "\\&";
        }
        out += c == '\\' ? std::string("\\e") : c == '-' ? std::string("\\-") : std::string(1, c);
        lineStart = c == '\n';
    }
    return out;
}

// The values an option's value is one of, where they are few and fixed.
const std::map<std::string, std::string> kChoices = {
    {"--partition", "auto header footer body"},
    {"--fail-on", "error warning info"},
};

}  // namespace

// The global help's paragraph after its usage lines: what the program is.
std::string CommandLine::description() const {
    const std::string help = help_ == nullptr ? "" : help_;
    const std::size_t start = help.find("\n\n");
    if (start == std::string::npos) {
        return {};
    }
    const std::size_t end = help.find("\n\n", start + 2);
    std::string text = help.substr(start + 2, end == std::string::npos ? end : end - start - 2);
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string CommandLine::manPage() {
    defineAll();
    std::string out =
        ".TH XSDDICT 1 \"\" \"xsddict\" \"User Commands\"\n.SH NAME\nxsddict \\- SMPTE registered "
        "metadata dictionaries, and MXF files read, checked and edited through them\n"
        ".SH SYNOPSIS\n.B xsddict\n.I COMMAND\n[\\fIOPTIONS\\fR] \\fIARGUMENTS\\fR\n.br\n"
        ".B xsddict help\n.I COMMAND\n.SH DESCRIPTION\n" +
        roff(description()) +
        "\n.SH OPTIONS\nOf every command, besides its own below:\n"
        ".TP\n.B \\-h, \\-\\-help\nthe command's usage, options and examples\n"
        ".TP\n.B \\-\\-\nends the options: what follows is arguments\n"
        ".PP\nOf the program:\n"
        ".TP\n.B \\-\\-version\nthe version, and which register snapshot is built in\n"
        ".TP\n.B \\-\\-man\nthis page\n"
        ".TP\n.B \\-\\-bash\\-completion\nthe bash completion script\n"
        ".SH COMMANDS\n";
    for (Command& command : commands_) {
        out += ".SS \"" + roff(command.name + " [OPTIONS] " + command.takes.usage) + "\"\n" +
               roff(command.does) + "\n";
        for (const CLI::Option* option : command.app->get_options()) {
            if (option->get_group().empty()) {
                continue;
            }
            std::string names;
            for (const std::string& name : namesOf(*option)) {
                names += (names.empty() ? "" : ", ") + name;
            }
            out += ".TP\n.B " + roff(names) +
                   (takesValue(*option) ? " \\fI" + roff(option->get_type_name()) + "\\fR" : "") +
                   "\n" + roff(option->get_description()) + "\n";
        }
        if (command.examples != nullptr && *command.examples != '\0') {
            out += ".PP\nExamples:\n.PP\n.nf\n.RS 4\n" + roff(command.examples) + ".RE\n.fi\n";
        }
    }
    out +=
        ".SH EXIT STATUS\n0 done; 1 a dictionary that did not load, a write that failed or a "
        "change refused; 2 a usage error; 3 findings (at least as grave as \\-\\-fail\\-on); 4 "
        "a file refused (several files: the highest).\n.SH SEE ALSO\n"
        "\\fBmediainfo\\fR(1), \\fBffprobe\\fR(1); the README that comes with xsddict.\n";
    return out;
}

std::string CommandLine::bashCompletion() {
    defineAll();
    std::string names;
    std::string perCommand;
    std::string fileOptions;
    std::set<std::string> valued;  // by a file's name
    std::set<std::string> typed;   // by anything else: nothing to offer
    for (Command& command : commands_) {
        names += (names.empty() ? "" : " ") + command.name;
        std::string options = "--help";
        for (const CLI::Option* option : command.app->get_options()) {
            for (const std::string& name : namesOf(*option)) {
                options += " " + name;
                const std::string type = option->get_type_name();
                if (takesValue(*option) &&
                    (type == "FILE" || type == "OUT" || type == "DIR" || type == "DICTIONARY")) {
                    valued.insert(name);
                } else if (takesValue(*option) && kChoices.count(name) == 0) {
                    typed.insert(name);
                }
            }
        }
        perCommand += "    " + command.name + ") options=\"" + options + "\" ;;\n";
    }
    std::string choices;
    for (const auto& [option, values] : kChoices) {
        choices += "    " + option + ") COMPREPLY=($(compgen -W \"" + values +
                   "\" -- \"$cur\")); return ;;\n";
        valued.erase(option);
    }
    for (const std::string& option : valued) {
        typed.erase(option);  // -o names a file wherever it is given
    }
    std::string files;
    for (const std::string& option : valued) {
        files += (files.empty() ? "" : "|") + option;
    }
    std::string others;
    for (const std::string& option : typed) {
        others += (others.empty() ? "" : "|") + option;
    }
    return "# bash completion for xsddict, made from its command definitions (xsddict "
           "--bash-completion)\n"
           "_xsddict() {\n"
           "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
           "  local command= options= i\n"
           "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "    case ${COMP_WORDS[i]} in -*) ;; *) command=${COMP_WORDS[i]}; break ;; esac\n"
           "  done\n"
           "  if [[ -z $command || $command == help ]]; then\n"
           "    COMPREPLY=($(compgen -W \"" +
           names +
           " help\" -- \"$cur\")); return\n"
           "  fi\n"
           "  case $prev in\n" +
           choices + "    " + files +
           ") COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n"
           "    " +
           others +
           ") return ;;\n"
           "  esac\n"
           "  case $command in\n" +
           perCommand +
           "  esac\n"
           "  if [[ $cur == -* ]]; then\n"
           "    COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
           "  else\n"
           "    COMPREPLY=($(compgen -f -- \"$cur\"))\n"
           "  fi\n"
           "}\n"
           "complete -o filenames -o bashdefault -F _xsddict xsddict\n";
}

Arguments CommandLine::parse(Command& command, std::vector<std::string> tokens) {
    defined(command);
    Arguments arguments;
    arguments.command = command.name;
    // What follows "--" is arguments, whatever it looks like.
    std::vector<std::string> after;
    const auto end = std::find(tokens.begin(), tokens.end(), "--");
    if (end != tokens.end()) {
        after.assign(end + 1, tokens.end());
        tokens.erase(end, tokens.end());
    }
    tokens.insert(tokens.begin(), command.name);
    std::reverse(tokens.begin(), tokens.end());  // as CLI11 takes them
    try {
        app_->parse(tokens);
    } catch (const CLI::ArgumentMismatch& e) {
        const std::string what = e.what();
        throw UsageError{what.substr(0, what.find(':')) + " needs a value"};
    } catch (const CLI::ParseError& e) {
        throw UsageError{e.what()};
    }
    for (const std::string& token : command.app->remaining()) {
        if (!isOption(token)) {
            arguments.positional.push_back(token);
            continue;
        }
        defineAll();
        for (const Command& other : commands_) {
            for (const CLI::Option* option : other.app->get_options()) {
                const std::vector<std::string> names = namesOf(*option);
                if (std::find(names.begin(), names.end(), token) != names.end()) {
                    throw UsageError{token + " does not apply to " + command.name};
                }
            }
        }
        std::vector<std::string> known;
        for (const CLI::Option* option : command.app->get_options()) {
            if (!option->get_group().empty()) {
                const std::vector<std::string> names = namesOf(*option);
                known.insert(known.end(), names.begin(), names.end());
            }
        }
        const std::string close = nearest(token, known);
        throw UsageError{"unknown option \"" + token + "\"" +
                         (close.empty() ? "" : " (did you mean " + close + "?)")};
    }
    arguments.positional.insert(arguments.positional.end(), after.begin(), after.end());
    std::map<const CLI::Option*, std::size_t> seen;
    for (const CLI::Option* option : command.app->parse_order()) {
        const std::size_t occurrence = seen[option]++;
        const std::string value = takesValue(*option) && occurrence < option->results().size()
                                      ? option->results()[occurrence]
                                      : std::string();
        arguments.options.emplace_back(namesOf(*option).front(), value);
    }
    const Takes& takes = command.takes;
    if (arguments.positional.size() < takes.least ||
        (!takes.more && arguments.positional.size() != takes.least)) {
        throw UsageError{command.name + " takes " + takes.what};
    }
    return arguments;
}

int CommandLine::run(int argc, char** argv) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    // Options any command takes, and which of them take a value: asked for only where an option
    // stands before the command, or is unknown.
    std::map<std::string, bool> options;
    const auto allOptions = [&]() -> const std::map<std::string, bool>& {
        if (options.empty()) {
            defineAll();
            for (const Command& command : commands_) {
                for (const CLI::Option* option : command.app->get_options()) {
                    for (const std::string& name : namesOf(*option)) {
                        options[name] = takesValue(*option);
                    }
                }
            }
        }
        return options;
    };
    // The command is the first argument that is no option or an option's value; options may
    // stand before it. Help and the version are asked for anywhere before "--".
    std::optional<std::size_t> word;
    bool help = false;
    std::string lacksValue;  // an option before the command, last and without its value
    for (std::size_t i = 0; i < given.size(); ++i) {
        const std::string& token = given[i];
        if (token == "--") {
            if (!word && i + 1 < given.size()) {
                word = i + 1;
            }
            break;
        }
        if (token == "--help" || token == "-h") {
            help = true;
        } else if (token == "--version" && !help) {
            version_();
            return 0;
        } else if ((token == "--man" || token == "--bash-completion") && !word) {
            std::cout << (token == "--man" ? manPage() : bashCompletion());
            return 0;
        } else if (isOption(token)) {
            if (!word) {
                const auto known = allOptions().find(token);
                if (known != options.end() && known->second) {
                    lacksValue = i + 1 == given.size() ? token : lacksValue;
                    ++i;
                }
            }
        } else if (!word) {
            word = i;
        }
    }
    Command* command = nullptr;
    std::string name;
    if (word) {
        name = given[*word];
        for (Command& each : commands_) {
            command = each.name == name ? &each : command;
        }
        // "xsddict help COMMAND" is "xsddict COMMAND --help".
        if (name == "help" && *word + 1 < given.size()) {
            name = given[*word + 1];  // the command asked about, known or not
            for (Command& each : commands_) {
                command = each.name == name ? &each : command;
            }
            help = command != nullptr || help;
        }
        help = help || (name == "help" && command == nullptr && *word + 1 == given.size());
    }
    if (help) {
        std::cout << (command != nullptr ? this->help(*command) : help_);
        return 0;
    }
    try {
        for (const std::string& token : given) {
            if (token == "--") {
                break;
            }
            if (isOption(token) && command == nullptr && allOptions().count(token) == 0) {
                std::vector<std::string> known;
                for (const auto& [option, value] : options) {
                    known.push_back(option);
                }
                const std::string close = nearest(token, known);
                throw UsageError{"unknown option \"" + token + "\"" +
                                 (close.empty() ? "" : " (did you mean " + close + "?)")};
            }
        }
        if (!lacksValue.empty()) {
            throw UsageError{lacksValue + " needs a value"};
        }
        if (!word) {
            throw UsageError{"no command given"};
        }
        if (command == nullptr) {
            std::vector<std::string> names;
            for (const Command& each : commands_) {
                names.push_back(each.name);
            }
            const std::string close = nearest(name, names);
            throw UsageError{"unknown command \"" + name + "\"" +
                             (close.empty() ? "" : " (did you mean " + close + "?)")};
        }
        std::vector<std::string> rest = given;
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(*word));
        return command->run(parse(*command, std::move(rest)));
    } catch (const UsageError& e) {
        std::cerr << "xsddict: " << e.problem << "; see 'xsddict "
                  << (command != nullptr ? command->name + " " : std::string()) << "--help'\n";
        return kUsage;
    }
}

void addValueOption(CLI::App& command, const char* name, const char* typeName,
                    const std::string& description) {
    command.add_option(name, description)
        ->type_name(typeName)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void addFlag(CLI::App& command, const char* name, const std::string& description) {
    command.add_flag(name, description);
}

void addVerboseOption(CLI::App& command) {
    addFlag(command, "--verbose", "on failure, also say where in the library it was raised");
}

void addDictionaryOption(CLI::App& command) {
    addValueOption(command, "--dictionary", "DICTIONARY",
                   "the dictionary to read with (default: the built-in one); given again, each "
                   "adds to those before it (clashes are reported), and +DICTIONARY keeps the "
                   "built-in one underneath");
}

void addJobsOption(CLI::App& command) {
    addValueOption(command, "-j", "N", "read on N threads (default: one per core)");
}

void addFailOnOption(CLI::App& command, const char* what) {
    addValueOption(command, "--fail-on", "SEVERITY",
                   std::string("the mildest severity of finding that makes ") + what +
                       " exit 3: error, warning (the default) or info");
}

}  // namespace xsddict
