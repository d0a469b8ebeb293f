// A simulated access point as a process of its own, and the kernel port of this process turned towards it.
#pragma once

#include <string>

namespace ravd::testing {

class running_ap {
  public:
    // Starts a shipped scenario, scans a thousand times as fast, and waits until it answers. All of a process's access
    // points use the same directory, one after the other: the port looks it up once.
    explicit running_ap(const std::string& scenario);
    ~running_ap();
    running_ap(const running_ap&) = delete;
    running_ap& operator=(const running_ap&) = delete;

    // Gives a command; the answer without its line end.
    std::string tell(const std::string& line) const;
    // tell() that is expected to answer "ok"; what stands behind it.
    std::string ask(const std::string& line) const;
    // Ends with SIGTERM and answers the exit status.
    int stop();

    static const std::string& directory();
    static std::string scenario_path(const std::string& name);

  private:
    int process_ = -1;
};

// Until a condition holds, at most 5 s.
template <typename Condition>
bool eventually(Condition condition);

void pause_ms(int ms);

template <typename Condition>
bool eventually(Condition condition) {
    for (int i = 0; i < 250; ++i) {
        if (condition()) return true;
        pause_ms(20);
    }
    return condition();
}

}  // namespace ravd::testing
