// What the agent tells about its radios: state, power, channel, locks, VAPs and clients.
#pragma once

#include <cstddef>
#include <memory>

#include "rrm/agent_context.h"
#include "rrm/configuration.h"
#include "rrm/life_state.h"

namespace ravd {

class radio_report {
  public:
    radio_report(agent_context& context, const life_state& state, const configuration& settings)
        : context_(context), state_(state), settings_(settings) {}

    // Adds "radios", an object for each radio.
    void add_radios(json_writer& message);
    void send_config_changed();
    // Before each message of the service is handled: how many have arrived behind it.
    void next_message(std::size_t behind);
    // Answers a request for the radios. Requests that had all arrived when a reading of the radios began are answered
    // by that one, as long as nothing else happens between them: no answer is older than its request.
    void answer_request();
    // Something happened: the next request is answered by a reading of its own.
    void forget_reading();
    // The radios differ from what the service was told. The next message of them pays this back.
    void owe_change() { change_owed_ = true; }
    bool owes_change() const { return change_owed_; }
    // Sends it in 5 seconds, however often it is asked for meanwhile.
    void config_changed_soon();
    // Timer 5.
    void config_changed_due();

  private:
    void add_radio_description(json_writer& radios, const char* ifname, std::int32_t radio);
    void add_vap_description(int vap, const char* ssid, const char* mac, bool kv_enabled, json_writer& vaps,
                             std::int32_t radio);
    void add_station_description(const rrm_sta_s& station, json_writer& stations);

    agent_context& context_;
    const life_state& state_;
    const configuration& settings_;
    bool change_owed_ = false;
    std::shared_ptr<buffer_info_t> answer_;  // by the last reading, while requests that it covers may wait
    // Messages that had arrived when that reading began: those behind the last request, and, when they are not 0, the
    // one that is being handled with those behind it.
    std::size_t covers_ = 0;
    std::size_t covered_ = 0;
    std::size_t behind_ = 0;
};

}  // namespace ravd
