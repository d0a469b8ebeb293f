#include "sim/service/options.h"

#include <getopt.h>

#include <cerrno>
#include <cstdlib>

#include "sim/service/arguments.h"

namespace ravd::lab {

namespace {

enum : int {
    opt_port = 'p',
    opt_bind = 'b',
    opt_quiet = 'q',
    opt_log = 'l',
    opt_control = 'c',
    opt_help = 'h',
    opt_strict = 's',
    opt_auto = 'a',
    opt_protocol = 256,
    opt_no_input,
    opt_domain,
    opt_config,
    opt_max_agents,
    opt_rounds,
    opt_channels,
    opt_scan_timeout,
    opt_apply_timeout,
    opt_interval,
    opt_exit,
    opt_agents,
};

const option table[] = {
    {"port", required_argument, nullptr, opt_port},
    {"bind", required_argument, nullptr, opt_bind},
    {"quiet", no_argument, nullptr, opt_quiet},
    {"log", required_argument, nullptr, opt_log},
    {"control", required_argument, nullptr, opt_control},
    {"help", no_argument, nullptr, opt_help},
    {"strict", no_argument, nullptr, opt_strict},
    {"auto", no_argument, nullptr, opt_auto},
    {"protocol", required_argument, nullptr, opt_protocol},
    {"no-input", no_argument, nullptr, opt_no_input},
    {"domain", required_argument, nullptr, opt_domain},
    {"config", required_argument, nullptr, opt_config},
    {"max-agents", required_argument, nullptr, opt_max_agents},
    {"auto-rounds", required_argument, nullptr, opt_rounds},
    {"auto-channels", required_argument, nullptr, opt_channels},
    {"auto-scan-timeout", required_argument, nullptr, opt_scan_timeout},
    {"auto-apply-timeout", required_argument, nullptr, opt_apply_timeout},
    {"auto-interval", required_argument, nullptr, opt_interval},
    {"auto-agents", required_argument, nullptr, opt_agents},
    {"exit-when-verified", no_argument, nullptr, opt_exit},
    {nullptr, 0, nullptr, 0},
};

}  // namespace

options_result parse_options(int argc, char** argv, options& out, std::string& error) {
    optind = 0;  // starts afresh, also after a call that ended in the middle
    opterr = 0;
    const auto number = [&](const char* name, unsigned low, unsigned high, unsigned& value) {
        int parsed = 0;
        if (parse_int(optarg, parsed) && parsed >= static_cast<int>(low) && parsed <= static_cast<int>(high)) {
            value = static_cast<unsigned>(parsed);
            return true;
        }
        error = std::string(name) + " takes a number from " + std::to_string(low) + " to " + std::to_string(high) +
                ", not \"" + optarg + "\"";
        return false;
    };
    auto_options& automatic = out.automatic;
    unsigned max_agents = 0;
    for (;;) {
        bool good = true;
        const int opt = getopt_long(argc, argv, ":p:b:ql:c:hsa", table, nullptr);
        if (opt == -1) break;
        switch (opt) {
            case opt_port:
                good = number("--port", 0, 65535, out.listening.port);
                break;
            case opt_bind:
                out.listening.bind_address = optarg;
                break;
            case opt_quiet:
                out.quiet = true;
                break;
            case opt_log:
                out.log_file = optarg;
                break;
            case opt_control:
                out.control = optarg;
                break;
            case opt_help:
                return options_result::help;
            case opt_strict:
                out.strict = true;
                break;
            case opt_auto:
                automatic.enabled = true;
                break;
            case opt_protocol:
                out.listening.sub_protocols.push_back(optarg);
                break;
            case opt_no_input:
                out.no_input = true;
                break;
            case opt_domain:
                out.domain = optarg;
                break;
            case opt_config:
                good = read_inline_or_file(optarg, out.config, error);
                break;
            case opt_max_agents:
                good = number("--max-agents", 1, 100000, max_agents);
                out.listening.max_links = max_agents;
                break;
            case opt_rounds:
                good = number("--auto-rounds", 1, 1000000, automatic.rounds);
                break;
            case opt_channels:
                good = parse_channels(optarg, automatic.channels);
                if (!good) error = "--auto-channels takes channel numbers, as in 1,6,11";
                break;
            case opt_scan_timeout:
                good = number("--auto-scan-timeout", 1, 86400, automatic.scan_timeout);
                break;
            case opt_apply_timeout:
                good = number("--auto-apply-timeout", 1, 86400, automatic.apply_timeout);
                break;
            case opt_interval:
                good = number("--auto-interval", 0, 86400, automatic.interval);
                break;
            case opt_agents:
                good = number("--auto-agents", 1, 100000, automatic.agents);
                break;
            case opt_exit:
                automatic.exit_when_verified = true;
                break;
            case ':':
                error = std::string(argv[optind - 1]) + " needs a value";
                return options_result::wrong;
            default:
                error = std::string("unknown option ") + argv[optind - 1];
                return options_result::wrong;
        }
        if (!good) return options_result::wrong;
    }
    if (optind < argc) {
        error = std::string("unexpected argument ") + argv[optind];
        return options_result::wrong;
    }
    if (automatic.exit_when_verified) automatic.enabled = true;
    return options_result::run;
}

const char* usage_text() {
    return "Usage: ravd-sim-service [OPTION]...\n"
           "A lab version of the radio service: a websocket server that agents connect to.\n"
           "\n"
           "  -p, --port N              listen on this port; 0, the default, takes any free one\n"
           "  -b, --bind ADDRESS        listen on this IPv4 address (127.0.0.1)\n"
           "  -c, --control PATH        also take commands from this Unix socket\n"
           "      --no-input            leave standard input alone\n"
           "  -l, --log FILE            append every message, both ways, as JSON lines (\"-\": standard output)\n"
           "  -q, --quiet               print no messages\n"
           "  -s, --strict              exit status 1 when an agent violated the protocol\n"
           "      --protocol NAME       accept this sub-protocol too (websock-rrm, websock-roaming)\n"
           "      --max-agents N        serve at most so many at once (1000)\n"
           "      --domain NAME         put this domain into every subscription answer\n"
           "      --config FILE|JSON    put this configuration object into every subscription answer\n"
           "\n"
           "  -a, --auto                per agent: scan, choose, apply, verify\n"
           "      --auto-rounds N       do so N times (1)\n"
           "      --auto-channels LIST  scan these channels, as in 1,6,11,36 (every channel)\n"
           "      --auto-interval N     seconds between two rounds (0)\n"
           "      --auto-scan-timeout N   seconds to wait for the report of a scan (180)\n"
           "      --auto-apply-timeout N  seconds to wait until the radios show what was ordered (60)\n"
           "      --exit-when-verified  end when --auto-agents N (1) agents are done: status 0 when every radio\n"
           "                            shows what was ordered, 1 otherwise; implies --auto\n"
           "\n"
           "  -h, --help                this text; \"help\" as a command lists the commands\n"
           "\n"
           "The first line printed is \"listening on ADDRESS:PORT\".\n";
}

}  // namespace ravd::lab
