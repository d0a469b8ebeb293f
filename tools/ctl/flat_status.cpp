#include "tools/ctl/flat_status.h"

#include <json-c/json.h>

#include <algorithm>
#include <memory>

namespace ravd::ctl {
namespace {

struct tree_owner {
    void operator()(json_object* tree) const { json_object_put(tree); }
};

void add_leaves(const std::string& prefix, json_object* node, flat_status& leaves) {
    if (json_object_is_type(node, json_type_object)) {
        json_object_object_foreach(node, key, value) {
            add_leaves(prefix.empty() ? key : prefix + "." + key, value, leaves);
        }
        return;
    }
    const char* text = json_object_get_string(node);
    leaves.emplace_back(prefix, text ? text : "");
    // What the service sent goes to a terminal.
    for (char& c : leaves.back().second)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
}

bool ends_in(const std::string& name, const char* end) {
    const std::string tail(end);
    return name.size() >= tail.size() && name.compare(name.size() - tail.size(), tail.size(), tail) == 0;
}

bool moves_by_itself(const std::string& name) {
    return name.find("counted.") != std::string::npos || ends_in(name, "_s") || ends_in(name, "clock_age");
}

const std::string* find(const flat_status& leaves, const std::string& name) {
    const auto same = [&name](const auto& leaf) { return leaf.first == name; };
    const auto found = std::find_if(leaves.begin(), leaves.end(), same);
    return found == leaves.end() ? nullptr : &found->second;
}

}  // namespace

bool flatten(const std::string& json, flat_status& leaves) {
    const std::unique_ptr<json_object, tree_owner> tree(json_tokener_parse(json.c_str()));
    if (!json_object_is_type(tree.get(), json_type_object)) return false;
    add_leaves("", tree.get(), leaves);
    return true;
}

flat_status changes(const flat_status& before, const flat_status& now) {
    flat_status changed;
    for (const auto& [name, value] : now) {
        const std::string* old = find(before, name);
        if (!moves_by_itself(name) && (!old || *old != value)) changed.emplace_back(name, value);
    }
    for (const auto& leaf : before) {
        if (!moves_by_itself(leaf.first) && !find(now, leaf.first)) changed.emplace_back(leaf.first, "");
    }
    return changed;
}

}  // namespace ravd::ctl
