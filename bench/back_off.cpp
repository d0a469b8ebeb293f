// How a fleet comes back, on a virtual clock: the daemon's own delays between attempts against a service that accepts
// so many connections a second.
//   back_off                                   the tables and curves of docs/scale.md
//   back_off AGENTS INITIAL_S MAX_S restart|power [ACCEPTED_PER_S]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <queue>
#include <string>
#include <vector>

#include "link/backoff.h"

namespace {

using ravd::backoff;
using milliseconds = long long;

constexpr milliseconds handshake_limit = 20000;
constexpr milliseconds between_attempts = 1000;                  // besides the drawn delay
constexpr std::size_t backlog = 4096;                            // connections that the service's kernel holds
constexpr milliseconds syn_again[] = {1000, 3000, 7000, 15000};  // after the first one that it dropped
constexpr milliseconds service_down = 10000;                     // a restart
constexpr milliseconds boot_first = 30000, boot_last = 50000, service_boot = 120000;  // a power cut

struct outcome {
    std::vector<int> attempts_in_s, back_in_s;
    double attempts_mean = 0;
    int attempts_most = 0;
};

struct event {
    milliseconds at;
    int agent;
    std::size_t syn;     // which of the attempt; 0 begins it
    milliseconds since;  // when the attempt began
    bool operator>(const event& other) const { return at > other.at; }
};

class fleet {
  public:
    fleet(int agents, unsigned initial_s, unsigned max_s, bool power_cut, int accepted_per_s)
        : delays_(static_cast<std::size_t>(agents), backoff(initial_s, max_s)),
          attempts_(delays_.size()),
          service_up_(power_cut ? service_boot : service_down),
          accepted_per_s_(accepted_per_s) {
        for (int agent = 0; agent < agents; ++agent)
            wait(agent, power_cut ? boot_first + std::rand() % (boot_last - boot_first) : 0);
    }

    outcome run() {
        std::size_t back = 0;
        for (milliseconds now = 0; back < delays_.size(); now += 100) {
            while (!events_.empty() && events_.top().at <= now) {
                const event next = events_.top();
                events_.pop();
                arrive(next);
            }
            if (now < service_up_) continue;
            for (int room = accepted_per_s_ / 10; room > 0 && !waiting_.empty(); waiting_.pop_front()) {
                const event first = waiting_.front();
                if (first.since + handshake_limit <= now) {  // has given up: its socket is closed
                    wait(first.agent, first.since + handshake_limit);
                    continue;
                }
                count(result_.back_in_s, now);
                ++back;
                --room;
            }
        }
        for (const int attempts : attempts_) {
            result_.attempts_mean += attempts / static_cast<double>(attempts_.size());
            result_.attempts_most = std::max(result_.attempts_most, attempts);
        }
        return result_;
    }

  private:
    void wait(int agent, milliseconds now) {
        const milliseconds delay = 1000LL * delays_[static_cast<std::size_t>(agent)].next_delay();
        const milliseconds at = now + between_attempts + delay + std::rand() % 1000;  // turns are not in step
        events_.push({at, agent, 0, at});
    }

    void arrive(event one) {
        if (one.syn == 0) {
            ++attempts_[static_cast<std::size_t>(one.agent)];
            count(result_.attempts_in_s, one.at);
        }
        if (one.at < service_up_) return wait(one.agent, one.at);  // refused at once
        if (waiting_.size() < backlog) {
            waiting_.push_back(one);
            return;
        }
        if (one.syn == std::size(syn_again)) return wait(one.agent, one.since + handshake_limit);
        one.at = one.since + syn_again[one.syn++];
        events_.push(one);
    }

    static void count(std::vector<int>& seconds, milliseconds at) {
        const auto second = static_cast<std::size_t>(at / 1000);
        if (seconds.size() <= second) seconds.resize(second + 1);
        ++seconds[second];
    }

    std::vector<backoff> delays_;
    std::vector<int> attempts_;
    std::priority_queue<event, std::vector<event>, std::greater<event>> events_;
    std::deque<event> waiting_;
    const milliseconds service_up_;
    const int accepted_per_s_;
    outcome result_;
};

// The second by which this share of all is back.
std::size_t back_by(const outcome& what, int agents, double share) {
    int back = 0;
    std::size_t second = 0;
    while (back < agents * share)
        back += what.back_in_s[second++];
    return second;
}

void print_row(int agents, unsigned initial_s, unsigned max_s, bool power_cut, int accepted, const outcome& what) {
    const milliseconds up = power_cut ? service_boot : service_down;
    const auto after = [&](double share) { return static_cast<long long>(back_by(what, agents, share)) - up / 1000; };
    std::printf("| %7d | %5u | %5u | %-8s | %8d | %8d | %6lld | %6lld | %6.1f | %4d |\n", agents, initial_s, max_s,
                power_cut ? "power" : "restart", accepted,
                *std::max_element(what.attempts_in_s.begin(), what.attempts_in_s.end()), after(0.5), after(1),
                what.attempts_mean, what.attempts_most);
}

void print_head() {
    std::puts("|  agents | first |   cap | after    | accepted | peak     | half   | all    | attempts each |");
    std::puts("|         |     s |     s |          |       /s |       /s | back s | back s |   mean | most |");
    std::puts("|---------|-------|-------|----------|----------|----------|--------|--------|--------|------|");
}

// Some twenty lines: attempts a second in each span of time, and how many are back.
void plot(int agents, const outcome& what) {
    const std::size_t end = std::max(what.attempts_in_s.size(), what.back_in_s.size());
    const std::size_t width = std::max<std::size_t>(1, (end + 19) / 20);
    std::vector<double> rates;
    for (std::size_t begin = 0; begin < end; begin += width) {
        double sum = 0;
        for (std::size_t s = begin; s < std::min(begin + width, what.attempts_in_s.size()); ++s)
            sum += what.attempts_in_s[s];
        rates.push_back(sum / static_cast<double>(width));
    }
    const double most = *std::max_element(rates.begin(), rates.end());
    int back = 0;
    for (std::size_t row = 0; row < rates.size(); ++row) {
        for (std::size_t s = row * width; s < std::min((row + 1) * width, what.back_in_s.size()); ++s)
            back += what.back_in_s[s];
        const std::string bar(static_cast<std::size_t>(rates[row] / most * 50 + 0.5), '#');
        std::printf("    %4zu s %8.0f /s  %5.1f %% back  %s\n", row * width, rates[row], 100.0 * back / agents,
                    bar.c_str());
    }
}

outcome measure(int agents, unsigned initial_s, unsigned max_s, bool power_cut, int accepted = 500) {
    std::srand(1);
    return fleet(agents, initial_s, max_s, power_cut, accepted).run();
}

void print_everything() {
    constexpr int agents = 100000;
    struct {
        const char* name;
        unsigned initial_s, max_s;
    } const configurations[] = {
        {"sample configuration (10, 60)", 10, 60}, {"defaults (0, 0)", 0, 0}, {"300, 1200", 300, 1200}};
    print_head();
    for (const auto& one : configurations)
        for (const bool power_cut : {false, true})
            print_row(agents, one.initial_s, one.max_s, power_cut, 500,
                      measure(agents, one.initial_s, one.max_s, power_cut));
    for (const auto& one : configurations) {
        for (const bool power_cut : {false, true}) {
            std::printf("\n%s, %d agents, after a %s:\n\n", one.name, agents,
                        power_cut ? "power cut" : "service restart");
            plot(agents, measure(agents, one.initial_s, one.max_s, power_cut));
        }
    }
    std::puts("\nBy size of domain, after a restart:\n");
    print_head();
    for (const int size : {100, 1000, 10000, 100000})
        for (const auto& [initial_s, max_s] :
             {std::pair(2u, 20u), {10u, 60u}, {30u, 120u}, {60u, 240u}, {150u, 600u}, {300u, 1200u}})
            print_row(size, initial_s, max_s, false, 500, measure(size, initial_s, max_s, false));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        print_everything();
        return 0;
    }
    if (argc < 5) return 2;
    const int agents = std::atoi(argv[1]), accepted = argc > 5 ? std::atoi(argv[5]) : 500;
    const auto initial_s = static_cast<unsigned>(std::atoi(argv[2])), max_s = static_cast<unsigned>(std::atoi(argv[3]));
    const bool power_cut = std::strcmp(argv[4], "power") == 0;
    if (agents < 1 || accepted < 10) return 2;
    const outcome what = measure(agents, initial_s, max_s, power_cut, accepted);
    print_head();
    print_row(agents, initial_s, max_s, power_cut, accepted, what);
    plot(agents, what);
    return 0;
}
