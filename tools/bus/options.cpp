#include "tools/bus/options.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace ravd {
namespace {

constexpr int largest_module = 999999999;
constexpr int longest_wait = 1000000;

std::string default_directory() {
    const char* simulation = std::getenv("RAVD_SIM_DIR");
    return (simulation ? std::string(simulation) : std::string()) + "/run/ravd-bus";
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
    } else if (words[0] == "send" || words[0] == "call") {
        out.what = words[0] == "send" ? command::send : command::call;
        if (words.size() != 3 || (out.destination = parse_module(words[1])) < 0)
            return wrong(error, words[0] + " wants a module number and a text");
        out.text = words[2];
    } else if (words[0] == "get") {
        out.what = command::get;
        if (words.size() != 2 || words[1].empty()) return wrong(error, "get wants a path");
        out.destination = configuration_module;
        out.text = words[1];
    } else if (words[0] == "list") {
        out.what = command::list;
        if (words.size() != 1) return wrong(error, "list wants nothing more");
    } else if (words[0] == "monitor") {
        out.what = command::monitor;
        for (std::size_t i = 1; i < words.size(); ++i)
            out.watched.push_back(parse_module(words[i]));
        if (out.watched.empty() || *std::min_element(out.watched.begin(), out.watched.end()) < 0)
            return wrong(error, "monitor wants module numbers");
    } else {
        return wrong(error, "unknown command \"" + words[0] + "\"");
    }
    return true;
}

}  // namespace

int parse_module(const std::string& text) {
    int module = -1;
    (void)parse_number(text, 0, largest_module, module);
    return module;
}

options_result parse_options(int argc, char** argv, options& out, std::string& error) {
    out.directory = default_directory();
    int as = -1;
    const std::vector<command_option> known = {
        text_option("--dir", 0, out.directory),
        flag_option("--tags", 0, out.tags),
        flag_option("--stay", 0, out.stay),
        number_option("--as", 0, "a module number", 0, largest_module, as),
        number_option("--idle", 0, "a number of milliseconds", 0, longest_wait, out.idle_ms),
        number_option("--timeout", 0, "a number of tenths of a second", 0, longest_wait, out.timeout),
    };
    std::vector<std::string> words;
    const options_result result = read_options(argc, argv, known, words, error);
    out.module = as;
    if (result != options_result::run) return result;
    return parse_words(words, out, error) ? options_result::run : options_result::wrong;
}

const char* usage_text() {
    return "Usage: ravd-bus [OPTIONS] attach MODULE\n"
           "       ravd-bus [OPTIONS] send DEST TEXT\n"
           "       ravd-bus [OPTIONS] call DEST TEXT\n"
           "       ravd-bus [OPTIONS] get PATH\n"
           "       ravd-bus [OPTIONS] list\n"
           "       ravd-bus [OPTIONS] monitor MODULE ...\n"
           "\n"
           "attach  registers as a module. Each line of standard input, \"DEST TEXT\", is sent to that module; each\n"
           "        message received is one line \"SRC TEXT\" on standard output (line ends in it as \\n and \\r).\n"
           "        Ends with the input, once nothing moves, and on SIGTERM or SIGINT.\n"
           "send    sends one message; the text - stands for standard input.\n"
           "call    sends a request, a JSON object with a \"command\", waits for its answer and prints that readably.\n"
           "get     asks the configuration service (module 1) for a value and prints it.\n"
           "list    prints who is there: module number, whether it exchanges messages, process, program.\n"
           "monitor prints what these modules receive and send, \"SRC > DEST TEXT\", until SIGTERM or SIGINT.\n"
           "\n"
           "  --dir DIR        directory of the bus (default $RAVD_SIM_DIR/run/ravd-bus, or /run/ravd-bus)\n"
           "  --tags           attach: lines \"SRC#N TEXT\", N naming the connection; \"DEST#N TEXT\" answers over it\n"
           "  --stay           attach: do not end with the input\n"
           "  --idle MS        attach: how long nothing must move after the end of the input (default 300)\n"
           "  --as MODULE      send, call, get: register under this number (default: a free one from 1000)\n"
           "  --timeout TENTHS send, call, get: how long to wait, in tenths of a second (default 20)\n"
           "  --help           this text\n"
           "  --version        the version\n"
           "\n"
           "Status: 0 success, 1 failure (number taken, nobody serves the destination, no value), 2 wrong usage.\n";
}

}  // namespace ravd
