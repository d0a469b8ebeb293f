#include "sim/ap/place_text.h"

#include <cmath>
#include <cstdio>

namespace ravd::sim {

place read_place(const json_cursor& from, const char* key) {
    json_object* list = json_member(from.value(), key);
    const auto number = [&](std::size_t index) {
        json_object* one = json_element(list, index);
        const bool numeric = json_object_is_type(one, json_type_int) || json_object_is_type(one, json_type_double);
        return numeric ? json_object_get_double(one) : NAN;
    };
    const place where{number(0), number(1), 0};
    const double floor = number(2);
    const bool known = json_length(list) == 3 && std::fabs(where.x) <= place_limit &&
                       std::fabs(where.y) <= place_limit && std::fabs(floor) <= floor_limit &&
                       floor == std::floor(floor);
    if (!known) {
        from.fail_at(key, "must be [x, y, floor]: metres up to 10000 either way, a whole floor up to 200");
        return {};
    }
    return {where.x, where.y, static_cast<int>(floor)};
}

json_ptr place_tree(const place& where) {
    json_ptr list = new_json_array();
    for (const double metres : {where.x, where.y}) {
        char text[32];
        std::snprintf(text, sizeof text, "%.9g", metres);
        json_append(list.get(), json_ptr(json_object_new_double_s(metres, text)));
    }
    json_append(list.get(), json_ptr(json_object_new_int(where.floor)));
    return list;
}

std::string place_words(const place& where) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f %.1f floor %d", where.x, where.y, where.floor);
    return text;
}

}  // namespace ravd::sim
