// Texts from outside through the count of containers, the configuration tree and the writer. (Reading them as messages
// is fuzz/service_message.cpp.)
//
// Aims at: message/json.cpp message/json_parse.cpp message/utf8.cpp platform/portable/ctree.cpp
#include <json-c/json.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "message/json.h"
#include "message/utf8.h"
#include "platform/ctree.h"
#include "platform/json_bound.h"

namespace {

void require(bool holds) {
    if (!holds) std::abort();
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
    through_tree(text.c_str());

    ravd::json_writer writer("fuzz", text.c_str(), nullptr);
    ravd::json_writer list(true, writer, "list");
    list.add_string(nullptr, text.c_str());
    const char* out = writer.text();
    require(out && ravd::is_utf8(out, std::string(out).size()) && ravd::json_reader(out).valid());
    return 0;
}
