#include "sim/ap/config_store.h"

#include <vector>

namespace ravd::sim {
namespace {

// Names between the slashes; empty when the path is not usable.
std::vector<std::string> names_of(const std::string& path) {
    std::vector<std::string> names;
    if (path.empty() || path[0] != '/') return names;
    for (std::size_t begin = 1;;) {
        const std::size_t end = path.find('/', begin);
        std::string name = path.substr(begin, end == std::string::npos ? end : end - begin);
        if (name.empty()) return {};
        names.push_back(std::move(name));
        if (end == std::string::npos) return names;
        begin = end + 1;
    }
}

}  // namespace

json_ptr copy_as_texts(json_object* value) {
    if (!json_object_is_type(value, json_type_object))
        return json_ptr(json_object_new_string(value ? json_object_get_string(value) : ""));
    json_ptr copy = new_json_object();
    json_object_object_foreach(value, key, member) json_put(copy.get(), key, copy_as_texts(member));
    return copy;
}

json_object* config_store::find(const std::string& path) const {
    json_object* at = root_.get();
    if (path.empty() || path[0] != '/') return nullptr;
    std::string name;
    for (std::size_t begin = 1, end = 0; end != std::string::npos; begin = end + 1) {
        end = path.find('/', begin);
        name.assign(path, begin, end == std::string::npos ? end : end - begin);
        if (name.empty() || !json_object_is_type(at, json_type_object) ||
            !json_object_object_get_ex(at, name.c_str(), &at))
            return nullptr;
    }
    return at;
}

std::optional<std::string> config_store::text(const std::string& path) const {
    json_object* found = find(path);
    if (!json_object_is_type(found, json_type_string)) return std::nullopt;
    return json_object_get_string(found);
}

bool config_store::insert(const std::string& path, json_ptr value) {
    const auto names = names_of(path);
    json_object* at = root_.get();
    bool usable = !names.empty();
    for (std::size_t i = 0; usable && i + 1 < names.size(); ++i) {
        json_object* next = nullptr;
        if (!json_object_object_get_ex(at, names[i].c_str(), &next)) {
            next = json_object_new_object();
            json_object_object_add(at, names[i].c_str(), next);
        }
        usable = json_object_is_type(next, json_type_object);
        at = next;
    }
    if (usable) json_put(at, names.back().c_str(), std::move(value));
    return usable;
}

bool config_store::set(const std::string& path, const std::string& value) {
    return insert(path, json_ptr(json_object_new_string(value.c_str())));
}

bool config_store::set_tree(const std::string& path, json_object* tree) { return insert(path, copy_as_texts(tree)); }

void config_store::remove(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return;
    json_object* parent = slash == 0 ? root_.get() : find(path.substr(0, slash));
    if (json_object_is_type(parent, json_type_object)) json_object_object_del(parent, path.c_str() + slash + 1);
}

}  // namespace ravd::sim
