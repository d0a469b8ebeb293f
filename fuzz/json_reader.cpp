// Texts from outside through the count of containers, the reader, the configuration tree and the writer.
//
// Aims at: message/json.cpp message/json_parse.cpp message/utf8.cpp platform/portable/ctree.cpp
#include <json-c/json.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/safe_queue.h"
#include "message/json.h"
#include "message/utf8.h"
#include "platform/ctree.h"
#include "platform/json_bound.h"

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

// All that is in it, each value by every way to it.
void read(const ravd::json_reader& from) {
    for (std::int32_t i = 0; i < from.size(); ++i)
        read(from.at(i));
    require(!from.at(from.size()).valid() && (from.is_object() || !from.child("a").valid()));
    from.for_each([&from](const char* key, const ravd::json_reader& value) {
        const bool there = value.valid();
        require(from.child(key).valid() == there && (from.get_string(key) != nullptr) == there);
        require(there || from.get_int(key) == 0);
        read(value);
        return true;
    });
}

void look_up(ctree* tree, const char* text) {
    const int kind = ctree_get_child_type(tree, "a");
    require((kind == ctree_child_param) == (ctree_get_param(tree, "a") != nullptr));
    require((kind == ctree_child_subtree) == (ctree_get_subtree(tree, "a") != nullptr));
    require(kind == ctree_child_absent || ctree_contain_param(tree, "a"));
    if (ctree_insert_child_string(tree, "text", text) == 0)
        require(std::strcmp(ctree_get_param(tree, "text"), text) == 0);
    char* readable = ctree_serialize(tree);
    require(readable != nullptr);
    std::free(readable);
}

void through_tree(const char* text) {
    ctree* tree = ctree_parse_buffer(text);
    if (!tree) return;
    ctree* outer = ctree_get_empty();
    require(ctree_insert_child(outer, "inner", tree) == 0);
    char* compact = ctree_serialize_compact(tree);
    char* inner = ctree_serialize_compact(ctree_get_subtree(outer, "inner"));
    require(compact && inner && std::string(compact) == inner);
    std::free(compact);
    std::free(inner);
    look_up(tree, text);
    ctree_release(outer);
    ctree_release(tree);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    json_object* parsed = json_tokener_parse(text.c_str());
    const char* plain = json_object_to_json_string_ext(parsed, JSON_C_TO_STRING_PLAIN);
    const ravd::json_bound least = ravd::bound_of_json(plain);
    const ravd::json_bound counted = ravd::bound_of_json(text.c_str());
    require(!counted.holds() || (least.containers <= counted.containers && least.commas <= counted.commas));
    json_object_put(parsed);
    read(ravd::json_reader(text.c_str()));
    through_tree(text.c_str());

    ravd::json_writer writer("fuzz", text.c_str(), nullptr);
    ravd::json_writer list(true, writer, "list");
    list.add_string(nullptr, text.c_str());
    list.add_int(nullptr, static_cast<std::int32_t>(size));
    ravd::safe_queue queue;
    require(ravd::send_json(queue, writer));
    const std::string_view out(writer.text());
    require(ravd::is_utf8(out.data(), out.size()) && ravd::json_reader(out.data()).valid());
    const std::string mended = ravd::replace_non_utf8(text.data(), size);
    require(ravd::is_utf8(mended.data(), mended.size()) && (mended == text) == ravd::is_utf8(text.data(), size));
    return 0;
}
