#include "sim/service/plan_options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "sim/common/text.h"

namespace ravd::sim {
namespace {

// A number with at most two digits behind the point; switches are 0 and 1.
struct number_option {
    const char* name;
    double low;
    double high;
    double (*get)(const plan_options& options);
    void (*set)(plan_options& options, double value);
};

int whole(double value) { return static_cast<int>(std::lround(value)); }

constexpr double day = 86400;

const number_option numbers[] = {
    {"max-changes", 0, 100000, [](const plan_options& o) { return static_cast<double>(o.search.max_changes); },
     [](plan_options& o, double v) { o.search.max_changes = static_cast<std::size_t>(v); }},
    {"min-gain", 0, 1000, [](const plan_options& o) { return o.search.min_gain; },
     [](plan_options& o, double v) { o.search.min_gain = v; }},
    {"min-signal", -120, 0, [](const plan_options& o) { return double(o.limits.min_signal); },
     [](plan_options& o, double v) { o.limits.min_signal = whole(v); }},
    {"coverage", -120, 0, [](const plan_options& o) { return double(o.limits.coverage); },
     [](plan_options& o, double v) { o.limits.coverage = whole(v); }},
    {"power", 0, 1, [](const plan_options& o) { return o.limits.keep_power ? 0.0 : 1.0; },
     [](plan_options& o, double v) { o.limits.keep_power = v == 0; }},
    {"width-price", 0, 1000, [](const plan_options& o) { return o.limits.width_price; },
     [](plan_options& o, double v) { o.limits.width_price = v; }},
    {"channel-price", 0, 1000, [](const plan_options& o) { return o.limits.channel_price; },
     [](plan_options& o, double v) { o.limits.channel_price = v; }},
    {"tolerance", 0, 1000, [](const plan_options& o) { return double(o.tolerance); },
     [](plan_options& o, double v) { o.tolerance = whole(v); }},
    {"verify", 0, 1, [](const plan_options& o) { return o.verify ? 1.0 : 0.0; },
     [](plan_options& o, double v) { o.verify = v != 0; }},
    {"scan-timeout", 1, day, [](const plan_options& o) { return double(o.scan_timeout); },
     [](plan_options& o, double v) { o.scan_timeout = whole(v); }},
    {"apply-timeout", 1, day, [](const plan_options& o) { return double(o.apply_timeout); },
     [](plan_options& o, double v) { o.apply_timeout = whole(v); }},
    {"settle", 0, day, [](const plan_options& o) { return double(o.settle); },
     [](plan_options& o, double v) { o.settle = whole(v); }},
    {"seed", 0, 1000000000, [](const plan_options& o) { return double(o.search.seed); },
     [](plan_options& o, double v) { o.search.seed = static_cast<std::uint32_t>(v); }},
};

std::string short_number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

bool is_number(const std::string& text, double& out) {
    if (text.empty() || text.size() > 12 || text.find_first_not_of("-.0123456789") != std::string::npos) return false;
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return *end == '\0' && std::isfinite(out);
}

std::string width_text(const model_limits& limits) {
    if (limits.keep_width) return "keep";
    return limits.min_width == limits.max_width ? std::to_string(limits.min_width) : "any";
}

bool set_width(model_limits& limits, const std::string& text) {
    int width = 0;
    const bool one = parse_int(text, width) && (width == 20 || width == 40 || width == 80);
    if (!one && text != "any" && text != "keep") return false;
    limits.keep_width = text == "keep";
    limits.min_width = one ? width : model_limits().min_width;
    limits.max_width = one ? width : model_limits().max_width;
    return true;
}

std::string with_commas(std::string channels) {
    std::replace(channels.begin(), channels.end(), ' ', ',');
    return channels;
}

}  // namespace

bool set_option(plan_options& options, const argument& a, std::string& error) {
    if (a.key == "width") {
        if (set_width(options.limits, a.value)) return true;
        error = "width takes any, keep, 20, 40 or 80, not \"" + printable(a.value, 40) + "\"";
        return false;
    }
    if (a.key == "channels") {
        if (a.value == "all") return options.channels.clear(), true;
        if (parse_channels(a.value, options.channels)) return true;
        error = "channels takes all, or numbers separated by commas, not \"" + printable(a.value, 40) + "\"";
        return false;
    }
    for (const number_option& one : numbers) {
        if (a.key != one.name) continue;
        double value = 0;
        if (is_number(a.value, value) && value >= one.low && value <= one.high) return one.set(options, value), true;
        error = a.key + " takes a number from " + short_number(one.low) + " to " + short_number(one.high) + ", not \"" +
                printable(a.value, 40) + "\"";
        return false;
    }
    const std::string meant = nearest(a.key, option_names());
    error = "plan has no option " + printable(a.key, 40) + (meant.empty() ? "" : "; " + meant + " it has");
    return false;
}

std::string option_text(const plan_options& options) {
    const plan_options start;
    std::string text;
    for (const number_option& one : numbers)
        if (one.get(options) != one.get(start))
            text += " " + std::string(one.name) + "=" + short_number(one.get(options));
    if (width_text(options.limits) != width_text(start.limits)) text += " width=" + width_text(options.limits);
    if (!options.channels.empty()) text += " channels=" + with_commas(options.channels);
    return text;
}

std::vector<std::string> option_names() {
    std::vector<std::string> names = {"channels", "width"};
    for (const number_option& one : numbers)
        names.push_back(one.name);
    return names;
}

std::string option_usage() {
    const plan_options start;
    std::string text = " [channels=all] [width=any]";
    for (const number_option& one : numbers)
        text += " [" + std::string(one.name) + "=" + short_number(one.get(start)) + "]";
    return text;
}

}  // namespace ravd::sim
