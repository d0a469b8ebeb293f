#include "sim/console/frames.h"

#include "sim/console/command_list.h"
#include "sim/service/clock.h"

namespace ravd::sim {

json_ptr hello_frame(const char* mode) {
    json_ptr frame = new_json_object();
    json_put(frame.get(), "type", "hello");
    json_put(frame.get(), "protocol", 1);
    json_put(frame.get(), "version", RAVD_VERSION);
    json_put(frame.get(), "mode", mode);
    json_put(frame.get(), "time", wall_ms());
    json_put(frame.get(), "commands", command_list());
    return frame;
}

json_ptr ready_frame() {
    json_ptr frame = new_json_object();
    json_put(frame.get(), "type", "ready");
    return frame;
}

}  // namespace ravd::sim
