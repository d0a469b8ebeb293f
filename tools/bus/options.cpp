#include "tools/bus/options.h"

#include <cstdlib>
#include <vector>

namespace ravd::bus_tool {
namespace {

constexpr long largest_module = 999999999;

// A decimal number of at most `limit`, nothing else; -1 when it is none.
long parse_number(const std::string& text, long limit) {
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos) return -1;
    const long long value = std::atoll(text.c_str());
    return value <= limit ? static_cast<long>(value) : -1;
}

std::string default_directory() {
    const char* simulation = std::getenv("RAVD_SIM_DIR");
    return (simulation ? std::string(simulation) : std::string()) + "/run/ravd-bus";
}

// Takes the value of an option that has one. False when it is missing or out of range.
bool take_value(const std::string& option, const std::string& value, options& out) {
    if (option == "--dir") {
        out.directory = value;
        return !value.empty();
    }
    if (option == "--as") return (out.module = parse_module(value)) >= 0;
    if (option == "--idle") return (out.idle_ms = static_cast<int>(parse_number(value, 1000000))) >= 0;
    return (out.timeout = static_cast<int>(parse_number(value, 1000000))) >= 0;
}

bool wrong(std::string& error, const std::string& text) {
    error = text;
    return false;
}

bool parse_words(const std::vector<std::string>& words, options& out, std::string& error) {
    if (words.empty()) return wrong(error, "a command is missing");
    if (words[0] == "attach") {
        out.what = command::attach;
        if (words.size() != 2 || (out.module = parse_module(words[1])) < 0)
            return wrong(error, "attach wants a module number");
    } else if (words[0] == "send") {
        out.what = command::send;
        if (words.size() != 3 || (out.destination = parse_module(words[1])) < 0)
            return wrong(error, "send wants a module number and a text");
        out.text = words[2];
    } else if (words[0] == "get") {
        out.what = command::get;
        if (words.size() != 2 || words[1].empty()) return wrong(error, "get wants a path");
        out.text = words[1];
    } else {
        return wrong(error, "unknown command \"" + words[0] + "\"");
    }
    return true;
}

}  // namespace

int parse_module(const std::string& text) { return static_cast<int>(parse_number(text, largest_module)); }

options_result parse_options(int argc, char** argv, options& out, std::string& error) {
    out.directory = default_directory();
    std::vector<std::string> words;
    bool options_over = false;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (options_over || word.size() < 2 || word[0] != '-') {
            words.push_back(word);
        } else if (word == "--") {
            options_over = true;
        } else if (word == "--help" || word == "-h") {
            return options_result::help;
        } else if (word == "--tags") {
            out.tags = true;
        } else if (word == "--stay") {
            out.stay = true;
        } else if (word == "--dir" || word == "--as" || word == "--idle" || word == "--timeout") {
            if (i + 1 == argc || !take_value(word, argv[++i], out)) {
                error = word + " wants a value" + (word == "--dir" ? "" : " that is a number");
                return options_result::wrong;
            }
        } else {
            error = "unknown option \"" + word + "\"";
            return options_result::wrong;
        }
    }
    return parse_words(words, out, error) ? options_result::run : options_result::wrong;
}

const char* usage_text() {
    return "Usage: ravd-bus [OPTIONS] attach MODULE\n"
           "       ravd-bus [OPTIONS] send DEST TEXT\n"
           "       ravd-bus [OPTIONS] get PATH\n"
           "\n"
           "attach  registers as a module. Each line of standard input, \"DEST TEXT\", is sent to that module; each\n"
           "        message received is one line \"SRC TEXT\" on standard output (line ends in it as \\n and \\r).\n"
           "        Ends with the input, once nothing moves, and on SIGTERM or SIGINT.\n"
           "send    sends one message; the text - stands for standard input.\n"
           "get     asks the configuration service (module 1) for a value and prints it.\n"
           "\n"
           "  --dir DIR        directory of the bus (default $RAVD_SIM_DIR/run/ravd-bus, or /run/ravd-bus)\n"
           "  --tags           attach: lines \"SRC#N TEXT\", N naming the connection; \"DEST#N TEXT\" answers over it\n"
           "  --stay           attach: do not end with the input\n"
           "  --idle MS        attach: how long nothing must move after the end of the input (default 300)\n"
           "  --as MODULE      send, get: register under this number (default: a free one from 1000)\n"
           "  --timeout TENTHS send, get: how long to wait, in tenths of a second (default 20)\n"
           "  --help           this text\n"
           "\n"
           "Status: 0 success, 1 failure (number taken, nobody serves the destination, no value), 2 wrong usage.\n";
}

}  // namespace ravd::bus_tool
