// The configuration tree of the simulated access point: texts at paths such as "/interface/wlan0/wlan/radio/channel".
#pragma once

#include <optional>
#include <string>

#include "sim/common/json.h"

namespace ravd::sim {

class config_store {
  public:
    // The text at a path; nothing when there is none, or a sub-tree.
    std::optional<std::string> text(const std::string& path) const;
    bool is_true(const std::string& path) const { return text(path) == "true"; }
    // The value at a path as this store keeps it, a string or an object; null when there is none. Owned by the store.
    json_object* find(const std::string& path) const;

    // Sets a text, making the sub-trees above it. False when the path is not usable: it must begin with "/", have names
    // between its slashes and not lead through a text.
    bool set(const std::string& path, const std::string& value);
    // Sets a sub-tree, copied with every number and flag in it turned into its text.
    bool set_tree(const std::string& path, json_object* tree);
    void remove(const std::string& path);

  private:
    bool insert(const std::string& path, json_ptr value);

    json_ptr root_ = new_json_object();
};

// A copy in which every scalar is a text; depth bounded by json-c's parser.
json_ptr copy_as_texts(json_object* value);

}  // namespace ravd::sim
