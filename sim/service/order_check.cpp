#include "sim/service/order_check.h"

#include <algorithm>

#include "sim/service/protocol_check.h"
#include "tools/common/number.h"

namespace ravd::sim {
namespace {

constexpr int first_channel_of_radio_1 = 36;  // of a scan list

class judge {
  public:
    explicit judge(const std::vector<radio_view>& radios) : radios_(radios) {}

    void scan(json_object* message);
    void settings(json_object* message);
    void overload(json_object* message);
    void key_holders(json_object* message);
    void fault(const std::string& text) {
        if (result_.fault.empty()) result_.fault = text;
    }
    order_judgement take() { return std::move(result_); }

  private:
    // The radio of that number; null, with a fault, when the agent has none, or described none at all.
    const radio_view* radio(int id);
    void channel(const radio_view& radio, int channel);
    void warn_of_bands(const std::vector<int>& channels);

    const std::vector<radio_view>& radios_;
    order_judgement result_;
};

bool offers(const radio_view& radio, int channel) {
    return std::find(radio.available.begin(), radio.available.end(), channel) != radio.available.end();
}

std::string list_of(const std::vector<int>& channels) {
    std::string text;
    for (const int channel : channels)
        text += " " + std::to_string(channel);
    return text;
}

std::string name_of(const radio_view& radio) { return "radio " + std::to_string(radio.id); }

const radio_view* judge::radio(int id) {
    for (const radio_view& one : radios_)
        if (one.id == id) return &one;
    if (!radios_.empty()) fault("the agent has no radio " + std::to_string(id));
    return nullptr;
}

void judge::channel(const radio_view& radio, int channel) {
    if (!radio.available.empty() && !offers(radio, channel))
        fault(name_of(radio) + " does not offer channel " + std::to_string(channel) + ", but" +
              list_of(radio.available));
}

void judge::scan(json_object* message) {
    std::vector<int> channels;
    if (!parse_numbers(json_text(message, "rrm-scan-channels"), 1, 233, channels))
        return fault("rrm-scan-channels: channel numbers from 1 to 233 are needed");
    for (const int wanted : channels)
        for (const radio_view& one : radios_)
            if (one.active && one.id == (wanted < first_channel_of_radio_1 ? 0 : 1)) channel(one, wanted);
    if (json_number(message, "quarn-rrm-scanning") == 0) warn_of_bands(channels);
}

// A band without a channel in the list is not left out.
void judge::warn_of_bands(const std::vector<int>& channels) {
    const auto of_radio_0 =
        std::count_if(channels.begin(), channels.end(), [](int channel) { return channel < first_channel_of_radio_1; });
    const bool none_of_0 = of_radio_0 == 0;
    const bool none_of_1 = of_radio_0 == static_cast<std::ptrdiff_t>(channels.size());
    if (none_of_0 == none_of_1) return;
    const int other = none_of_0 ? 0 : 1;
    for (const radio_view& one : radios_)
        if (one.id == other && !one.active) return;
    result_.warnings.push_back("the list names no channel of radio " + std::to_string(other) +
                               ", which therefore scans every channel of its band in each round");
}

void judge::settings(json_object* message) {
    json_object* list = json_member(message, "radios");
    for (std::size_t i = 0; i < json_length(list); ++i) {
        json_object* one = json_element(list, i);
        const radio_view* found = radio(json_number(one, "id"));
        if (!found || !found->active) continue;
        if (json_member(one, "channel")) channel(*found, json_number(one, "channel"));
        const int power = json_number(one, "power");
        if (json_member(one, "power") && (power < found->power_min || power > found->power_max))
            fault(name_of(*found) + " sends with " + std::to_string(found->power_min) + " to " +
                  std::to_string(found->power_max) + ", not with " + std::to_string(power));
    }
}

void judge::overload(json_object* message) {
    json_object* list = json_member(message, "radios");
    for (std::size_t i = 0; i < json_length(list); ++i)
        radio(json_number(json_element(list, i), "id"));
}

void judge::key_holders(json_object* message) {
    json_object* list = json_member(message, "vaps");
    for (std::size_t i = 0; i < json_length(list); ++i) {
        json_object* one = json_element(list, i);
        const radio_view* found = radio(json_number(one, "radio_id"));
        if (!found || found->vaps.empty()) continue;
        const int wanted = json_number(one, "vap_id");
        if (std::none_of(found->vaps.begin(), found->vaps.end(), [&](const vap_view& v) { return v.id == wanted; }))
            fault(name_of(*found) + " has no VAP " + std::to_string(wanted));
    }
}

}  // namespace

order_judgement judge_order(json_object* message, const std::vector<radio_view>& radios) {
    judge verdict(radios);
    for (const std::string& fault : check_order_members(message))
        verdict.fault(fault);
    const std::string cmd = json_text(message, "cmd");
    if (cmd == "rrm-update") verdict.scan(message);
    if (cmd == "rrm-info") verdict.settings(message);
    if (cmd == "rrm-sta-overload") verdict.overload(message);
    if (cmd == "fbt-info") verdict.key_holders(message);
    return verdict.take();
}

}  // namespace ravd::sim
