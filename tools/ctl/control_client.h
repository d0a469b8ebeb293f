// The other end of the daemon's control socket.
#pragma once

#include <string>

namespace ravd::ctl {

// Exit statuses of ravd-ctl beside 0.
enum outcome { answered = 0, refused = 1, wrong_use = 2, no_daemon = 3, no_permission = 4, no_answer = 5 };

// Sends one order and waits at most 5 s for the answer, a JSON object. On anything but `answered`, `answer` is a
// sentence that says what is wrong.
outcome ask(const std::string& socket_path, const std::string& order, std::string& answer);

}  // namespace ravd::ctl
