#include "sim/ap/faults.h"

#include <algorithm>
#include <cctype>
#include <cerrno>

#include "sim/ap/noise.h"
#include "tools/common/number.h"

namespace ravd::sim {
namespace {

enum class value_rule { none, number, error_code };

struct kind_row {
    const char* name;
    fault_kind kind;
    value_rule rule;
    // Who can have it: d driver, c commands, s services.
    const char* whom;
};
constexpr kind_row kinds[] = {
    {"hang", fault_kind::hang, value_rule::none, "dcs"},       {"fail", fault_kind::fail, value_rule::error_code, "d"},
    {"fail", fault_kind::fail, value_rule::none, "cs"},        {"late", fault_kind::late, value_rule::number, "dcs"},
    {"count", fault_kind::count, value_rule::number, "d"},     {"length", fault_kind::length, value_rule::number, "d"},
    {"garbage", fault_kind::garbage, value_rule::none, "dcs"}, {"empty", fault_kind::empty, value_rule::none, "c"},
    {"dead", fault_kind::dead, value_rule::none, "s"},         {"silent", fault_kind::silent, value_rule::none, "d"},
};

struct error_row {
    const char* name;
    int number;
};
constexpr error_row errors[] = {{"EPERM", EPERM},          {"ENOENT", ENOENT}, {"EIO", EIO},
                                {"ENOMEM", ENOMEM},        {"EFAULT", EFAULT}, {"EBUSY", EBUSY},
                                {"ENODEV", ENODEV},        {"EINVAL", EINVAL}, {"EINTR", EINTR},
                                {"ENETDOWN", ENETDOWN},    {"EAGAIN", EAGAIN}, {"ENOSPC", ENOSPC},
                                {"EOPNOTSUPP", EOPNOTSUPP}};

char class_of(const std::string& target) {
    if (target == "iwpriv" || target == "wpa_cli") return 'c';
    if (target == "config" || target == "porterd") return 's';
    return 'd';
}

bool is_hex(const std::string& text) { return text.find_first_not_of("0123456789abcdef") == std::string::npos; }

// Calls of the driver that can be named.
bool known_call(const std::string& target) {
    static const char* const calls[] = {"any",      "scan",      "scan-stop",      "results", "rrm-results", "stations",
                                        "channels", "rrm-start", "bss-transition", "get-mib", "set-mib"};
    const std::string call = target.substr(0, target.find(':'));
    if (target.compare(0, 2, "0x") == 0) return target.size() > 2 && target.size() <= 10 && is_hex(target.substr(2));
    return std::find(std::begin(calls), std::end(calls), call) != std::end(calls) &&
           (call == target || call == "get-mib" || call == "set-mib");
}

bool parse_error_code(const std::string& text, std::int64_t& value) {
    for (const error_row& row : errors)
        if (text == row.name) return value = row.number, true;
    return parse_number(text, 1, 4095, value);
}

}  // namespace

bool parse_fault(const std::vector<std::string>& words, fault& result, std::string& reason) {
    if (words.size() < 2) return reason = "expected: TARGET KIND [VALUE] [on IFNAME] [times N]", false;
    result = {};
    result.target = words[0];
    if (result.target.compare(0, 2, "0x") == 0)
        for (char& digit : result.target)
            digit = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
    const char whom = class_of(result.target);
    if (whom == 'd' && !known_call(result.target)) return reason = "unknown target \"" + result.target + "\"", false;
    const auto row = std::find_if(std::begin(kinds), std::end(kinds), [&](const kind_row& one) {
        return words[1] == one.name && std::string(one.whom).find(whom) != std::string::npos;
    });
    if (row == std::end(kinds)) return reason = "\"" + words[1] + "\" is no fault of " + result.target, false;
    result.kind = row->kind;
    std::size_t at = 2;
    if (row->rule != value_rule::none) {
        const std::string text = at < words.size() ? words[at++] : "";
        const bool good = row->rule == value_rule::number ? parse_number(text, 0, 0xFFFFFFFF, result.value)
                                                          : parse_error_code(text, result.value);
        if (!good) return reason = words[1] + " needs a value, not \"" + text + "\"", false;
    }
    for (; at + 1 < words.size(); at += 2) {
        if (words[at] == "on" && whom != 's')
            result.ifname = words[at + 1];
        else if (words[at] != "times" || !parse_number(words[at + 1], 1, 999999, result.times))
            return reason = "cannot read \"" + words[at] + " " + words[at + 1] + "\"", false;
    }
    if (at < words.size()) return reason = "cannot read \"" + words[at] + "\"", false;
    return true;
}

int fault_list::clear(const std::string& target) {
    const std::size_t before = faults_.size();
    faults_.remove_if([&](const fault& one) { return target.empty() || one.target == target; });
    return static_cast<int>(before - faults_.size());
}

std::optional<fault> fault_list::strike(const std::vector<std::string>& names, const std::string& ifname) {
    for (auto one = faults_.begin(); one != faults_.end(); ++one) {
        if (std::find(names.begin(), names.end(), one->target) == names.end()) continue;
        if (!one->ifname.empty() && one->ifname != ifname) continue;
        const fault struck = *one;
        if (one->times > 0 && --one->times == 0) faults_.erase(one);
        return struck;
    }
    return std::nullopt;
}

bool fault_list::has(const std::string& target, fault_kind kind) const {
    return std::any_of(faults_.begin(), faults_.end(),
                       [&](const fault& one) { return one.target == target && one.kind == kind; });
}

std::string fault_list::text() const {
    std::string all;
    for (const fault& one : faults_) {
        const auto row =
            std::find_if(std::begin(kinds), std::end(kinds), [&](const kind_row& k) { return k.kind == one.kind; });
        all += (all.empty() ? "" : "; ") + one.target + " " + row->name;
        if (one.value != 0) all += " " + std::to_string(one.value);
        if (!one.ifname.empty()) all += " on " + one.ifname;
        if (one.times > 0) all += " times " + std::to_string(one.times);
    }
    return all.empty() ? "none" : all;
}

std::string garbage(std::uint32_t seed, std::size_t size) {
    std::string bytes;
    for (std::uint32_t i = 0; bytes.size() < size; ++i)
        bytes.push_back(static_cast<char>(mix({seed, i}) & 0xFF));
    return bytes;
}

}  // namespace ravd::sim
