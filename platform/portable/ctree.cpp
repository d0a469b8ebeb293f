// A configuration tree is a json-c object under another name; sub-trees are views into their tree.
#include "platform/ctree.h"

#include <json-c/json.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/json_bound.h"

namespace {

// json-c caches texts inside the object, so that even reading takes a mutable one.
json_object* object_of(const ctree* tree) { return reinterpret_cast<json_object*>(const_cast<ctree*>(tree)); }
ctree* tree_of(json_object* object) { return reinterpret_cast<ctree*>(object); }

// True when `tree` can take and hold members. A sub-tree may be an array, whose elements have no names.
bool has_members(const ctree* tree) { return tree && json_object_is_type(object_of(tree), json_type_object); }

bool is_container(json_object* value) {
    return json_object_is_type(value, json_type_object) || json_object_is_type(value, json_type_array);
}

// Null for an absent member and for one that is JSON null.
json_object* member(const ctree* tree, const char* name) {
    json_object* value = nullptr;
    if (name && has_members(tree)) json_object_object_get_ex(object_of(tree), name, &value);
    return value;
}

// Takes `value` over. 0, or -1 when it is null or memory ran out.
int put_member(ctree* tree, const char* name, json_object* value) {
    if (!value) return -1;
    if (json_object_object_add(object_of(tree), name, value) == 0) return 0;
    json_object_put(value);
    return -1;
}

char* text_of(const ctree* tree, int flags) {
    if (!tree) return nullptr;
    const char* text = json_object_to_json_string_ext(object_of(tree), flags | JSON_C_TO_STRING_NOSLASHESCAPE);
    if (!text) return nullptr;
    const std::size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    if (copy) std::memcpy(copy, text, size);
    return copy;
}

struct tokener_release {
    void operator()(json_tokener* tokener) const { json_tokener_free(tokener); }
};

// As json_tokener_parse(), with a parser that is kept: making one costs half of what parsing an answer does. Its memory
// is that of the longest string that it ever read, so that after a long text it is not. Nor is it after one that does
// not parse: half of a surrogate pair would get into the next text.
json_object* parse(const char* text) {
    constexpr std::size_t short_text = 1024;
    thread_local std::unique_ptr<json_tokener, tokener_release> kept;
    if (!kept) kept.reset(json_tokener_new());
    if (!kept) return nullptr;
    json_tokener_reset(kept.get());
    json_object* parsed = json_tokener_parse_ex(kept.get(), text, -1);
    const bool good = json_tokener_get_error(kept.get()) == json_tokener_success;
    if (!good) {
        json_object_put(parsed);
        parsed = nullptr;
    }
    if (!good || json_tokener_get_parse_end(kept.get()) > short_text) kept.reset();
    return parsed;
}

}  // namespace

ctree* ctree_parse_buffer(const char* text) {
    if (!text || !ravd::is_bounded_json(text)) return nullptr;
    json_object* parsed = parse(text);
    if (parsed && json_object_is_type(parsed, json_type_object)) return tree_of(parsed);
    json_object_put(parsed);
    return nullptr;
}

ctree* ctree_get_empty() { return tree_of(json_object_new_object()); }

void ctree_release(ctree* tree) {
    if (tree) json_object_put(object_of(tree));
}

const char* ctree_get_param(const ctree* tree, const char* name) {
    json_object* value = member(tree, name);
    return value && !is_container(value) ? json_object_get_string(value) : nullptr;
}

int ctree_set_param(ctree* tree, const char* name, const char* value) {
    if (!has_members(tree) || !name || !value) return -1;
    return put_member(tree, name, json_object_new_string(value));
}

int ctree_contain_param(const ctree* tree, const char* name) {
    return name && has_members(tree) && json_object_object_get_ex(object_of(tree), name, nullptr);
}

int ctree_get_child_type(const ctree* tree, const char* name) {
    json_object* value = member(tree, name);
    if (!value) return ctree_child_absent;
    return is_container(value) ? ctree_child_subtree : ctree_child_param;
}

int ctree_insert_child(ctree* tree, const char* name, const ctree* child) {
    if (!has_members(tree) || !name || !child) return -1;
    json_object* copy = nullptr;
    if (json_object_deep_copy(object_of(child), &copy, nullptr) != 0) return -1;
    return put_member(tree, name, copy);
}

int ctree_insert_child_string(ctree* tree, const char* name, const char* value) {
    return ctree_set_param(tree, name, value);
}

ctree* ctree_get_subtree(const ctree* tree, const char* name) {
    json_object* value = member(tree, name);
    return value && is_container(value) ? tree_of(value) : nullptr;
}

char* ctree_serialize(const ctree* tree) { return text_of(tree, JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED); }
char* ctree_serialize_compact(const ctree* tree) { return text_of(tree, JSON_C_TO_STRING_PLAIN); }
