// The message bus in memory: what was sent is kept, requests are answered from a table of configuration values.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ravd::testing {

class fake_bus {
  public:
    // The one instance behind the mbus calls.
    static fake_bus& get();
    void reset();

    struct message {
        int source;
        int destination;
        std::string text;
    };
    std::vector<message> sent;

    // Values that "get" finds: a text, or the JSON text of a sub-tree. What is missing gets {"status":"error"}
    // without a value.
    std::map<std::string, std::string> configuration;
    // Overrides the built-in answers: the answer's text, an empty one for none at all (the wait then lasts its limit on
    // the virtual clock), or nothing for the built-in answer.
    std::function<std::optional<std::string>(int destination, const std::string& text)> on_request;
    std::map<int, bool> absent;     // modules that nobody serves
    bool refuse_init = false;       // mbus_init answers null
    bool loop_value_sticks = true;  // false: the loop state reads 7 after it was set to 0

    // Puts a message into the inbox of an endpoint of ours.
    void deliver(int module, const std::string& text);
    // Makes the loop of an endpoint stop, as when the bus is lost.
    void drop(int module);
    int endpoints() const;  // registered now
    // Sent texts that contain a piece.
    int count_sent(const std::string& piece) const;
};

}  // namespace ravd::testing
