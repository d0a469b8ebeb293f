#include "sim/service/options.h"

#include "sim/service/arguments.h"

namespace ravd::sim {
namespace {

// "[ADDRESS:]PORT"
bool read_web(const std::string& value, web_options& out) {
    const std::size_t colon = value.rfind(':');
    out.enabled = true;
    if (colon != std::string::npos) out.address = value.substr(0, colon);
    return !out.address.empty() && parse_number(value.substr(colon + 1), 0, 65535, out.port);
}

}  // namespace

options_result parse_options(int argc, char** argv, service_options& out, std::string& error) {
    server_options& listening = out.listening;
    auto_options& automatic = out.automatic;
    const auto protocol = [&](const std::string& name) { return listening.sub_protocols.push_back(name), true; };
    const auto channels = [&](const std::string& list) { return parse_channels(list, automatic.channels); };
    const auto tell = [&](const std::string& command) { return !(out.tell = command).empty(); };
    const char* const seconds = "a number from 1 to 86400";
    const char* const agents = "a number from 1 to 100000";
    const auto web = [&](const std::string& value) { return read_web(value, out.web); };
    std::string config;
    const std::vector<command_option> known = {
        number_option("--port", 'p', "a number from 0 to 65535", 0, 65535, listening.port),
        text_option("--bind", 'b', listening.bind_address),
        {"--protocol", 0, option_value::one, "a name", protocol},
        number_option("--max-agents", 0, agents, 1, 100000, listening.max_links),
        text_option("--tls-cert", 0, listening.tls.cert_file),
        text_option("--tls-key", 0, listening.tls.key_file),
        text_option("--tls-client-ca", 0, listening.tls.client_ca_file),
        text_option("--control", 'c', out.control),
        {"--tell", 0, option_value::rest, "a command", tell},
        flag_option("--no-input", 0, out.no_input),
        text_option("--log", 'l', out.log_file),
        flag_option("--quiet", 'q', out.quiet),
        flag_option("--strict", 's', out.strict),
        {"--web", 'w', option_value::one, "a port from 0 to 65535, perhaps behind ADDRESS:", web},
        text_option("--web-files", 0, out.web.files),
        text_option("--replay", 0, out.web.replay),
        text_option("--domain", 0, out.domain),
        text_option("--config", 0, config),
        flag_option("--auto", 'a', automatic.enabled),
        number_option("--auto-rounds", 0, "a number from 1 to 1000000", 1, 1000000, automatic.rounds),
        {"--auto-channels", 0, option_value::one, "channel numbers, as in 1,6,11", channels},
        number_option("--auto-scan-timeout", 0, seconds, 1, 86400, automatic.scan_timeout),
        number_option("--auto-apply-timeout", 0, seconds, 1, 86400, automatic.apply_timeout),
        number_option("--auto-interval", 0, "a number from 0 to 86400", 0, 86400, automatic.interval),
        number_option("--auto-agents", 0, agents, 1, 100000, automatic.agents),
        flag_option("--json", 0, automatic.json),
        flag_option("--exit-when-verified", 0, automatic.exit_when_verified),
    };
    std::vector<std::string> words;
    const options_result result = read_options(argc, argv, known, words, error);
    if (result != options_result::run) return result;
    if (!words.empty()) {
        error = "unexpected argument " + words[0];
        return options_result::wrong;
    }
    if (!config.empty() && !read_inline_or_file(config, out.config, error)) return options_result::wrong;
    if (!out.tell.empty() && out.control.empty()) {
        error = "--tell needs --control";
        return options_result::wrong;
    }
    if (!out.web.replay.empty() && !out.web.enabled) {
        error = "--replay needs --web";
        return options_result::wrong;
    }
    const tls_options& tls = listening.tls;
    if (tls.cert_file.empty() != tls.key_file.empty() || (tls.cert_file.empty() && !tls.client_ca_file.empty())) {
        error = "TLS needs --tls-cert and --tls-key";
        return options_result::wrong;
    }
    if (automatic.exit_when_verified || automatic.json) automatic.enabled = true;
    if (automatic.json) out.quiet = true;
    return options_result::run;
}

const char* usage_text() {
    return "Usage: ravd-sim-service [OPTION]...\n"
           "A lab version of the radio service: a websocket server that agents connect to.\n"
           "\n"
           "  -p, --port N              listen on this port; 0, the default, takes any free one\n"
           "  -b, --bind ADDRESS        listen on this IPv4 address (127.0.0.1)\n"
           "  -c, --control PATH        also take commands from this Unix socket\n"
           "      --tell COMMAND...     give one command to the service that listens on --control PATH, print its\n"
           "                            answer and end: status 0 for ok, 1 for an error, 2 when none listens there\n"
           "      --no-input            leave standard input alone\n"
           "  -l, --log FILE            append every message, both ways, as JSON lines (\"-\": standard output)\n"
           "  -q, --quiet               print no messages\n"
           "  -s, --strict              exit status 1 when an agent violated the protocol\n"
           "      --protocol NAME       accept this sub-protocol too (websock-rrm, websock-roaming)\n"
           "      --max-agents N        serve at most so many at once (1000)\n"
           "      --tls-cert FILE       serve over TLS with this certificate (PEM), and\n"
           "      --tls-key FILE        its key\n"
           "      --tls-client-ca FILE  serve only agents with a certificate signed by one of these\n"
           "  -w, --web [ADDRESS:]PORT  show everything in a browser, on this machine unless an address is given\n"
           "      --web-files DIR       the page's files (those that were installed)\n"
           "      --replay LOG          show what --log wrote instead of serving agents; needs --web\n"
           "      --domain NAME         put this domain into every subscription answer\n"
           "      --config FILE|JSON    put this configuration object into every subscription answer\n"
           "\n"
           "  -a, --auto                per agent: scan, choose, apply, verify\n"
           "      --auto-rounds N       do so N times (1)\n"
           "      --auto-channels LIST  scan these channels, as in 1,6,11,36 (every channel)\n"
           "      --auto-interval N     seconds between two rounds (0)\n"
           "      --auto-scan-timeout N   seconds to wait for the report of a scan (180)\n"
           "      --auto-apply-timeout N  seconds to wait until the radios show what was ordered (60)\n"
           "      --json                print a JSON line for every radio of every round, and nothing else; implies\n"
           "                            --auto\n"
           "      --exit-when-verified  end when --auto-agents N (1) agents are done: status 0 when every radio\n"
           "                            shows what was ordered, 1 otherwise; implies --auto\n"
           "\n"
           "  -h, --help                this text; \"help\" as a command lists the commands\n"
           "      --version             the version\n"
           "\n"
           "The first line printed is \"listening on ADDRESS:PORT\".\n";
}

}  // namespace ravd::sim
