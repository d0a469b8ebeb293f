#include "rrm/order_check.h"

#include <algorithm>

#include "core/ifname.h"
#include "core/logger.h"
#include "driver/chanspec.h"
#include "message/status_page.h"

namespace ravd {
namespace {

constexpr std::int64_t delay_s = 5;

void describe_setting(status_page& page, const char* key, int channel, int bandwidth, int power) {
    page.open(key);
    if (channel != 0) page.number("channel", channel);
    if (channel != 0) page.number("width", bandwidth);
    if (power != 0) page.number("power", power);
    page.close();
}

}  // namespace

void order_check::ordered_channel(std::int32_t radio, int channel, int bandwidth) {
    radio_order& order = orders_[static_cast<std::size_t>(radio)];
    order.ordered.channel = channel;
    order.ordered.bandwidth = bandwidth;
    watch(order);
}

void order_check::ordered_power(std::int32_t radio, int power) {
    radio_order& order = orders_[static_cast<std::size_t>(radio)];
    order.ordered.power = power;
    watch(order);
}

void order_check::watch(radio_order& order) {
    order.due = true;
    context_.timers.cancel(timer_order_check);
    context_.timers.arm(timer_order_check, delay_s);
}

void order_check::compare() {
    for (std::size_t radio = 0; radio < orders_.size(); ++radio) {
        const auto id = static_cast<std::int32_t>(radio);
        radio_order& order = orders_[radio];
        if (!order.due || !context_.driver.is_hostapd_running() || !context_.driver.radio_up(id)) continue;
        if (context_.driver.is_scanning()) return context_.timers.arm(timer_order_check, delay_s);
        compare(id, order);
    }
}

void order_check::compare(std::int32_t radio, radio_order& order) {
    order.due = false;
    const char* ifname = radio_names[static_cast<std::size_t>(radio)];
    if (order.ordered.channel != 0) {
        const std::uint32_t chanspec = context_.driver.get_chanspec(ifname);
        order.found.channel = static_cast<int>(chanspec_ctl_channel(chanspec));
        order.found.bandwidth = chanspec == 0 ? 0 : static_cast<int>(chanspec_bw(chanspec));
    }
    if (order.ordered.power != 0) order.found.power = context_.driver.get_tx_power(ifname);
    order.compared = true;
    const setting& wanted = order.ordered;
    const setting& found = order.found;
    if (wanted.channel != found.channel || wanted.bandwidth != found.bandwidth)
        log_warning(process_log, "%s: channel %d with %d MHz was ordered, it is on %d with %d MHz\n", ifname,
                    wanted.channel, wanted.bandwidth, found.channel, found.bandwidth);
    if (wanted.power != found.power)
        log_warning(process_log, "%s: power %d was ordered, it is %d\n", ifname, wanted.power, found.power);
}

void order_check::describe(status_page& page) const {
    for (std::size_t radio = 0; radio < orders_.size(); ++radio) {
        const radio_order& order = orders_[radio];
        if (order.ordered.channel == 0 && order.ordered.power == 0) continue;
        page.open(radio_names[radio]);
        describe_setting(page, "ordered", order.ordered.channel, order.ordered.bandwidth, order.ordered.power);
        if (order.compared)
            describe_setting(page, "found", order.found.channel, order.found.bandwidth, order.found.power);
        page.close();
    }
}

}  // namespace ravd
