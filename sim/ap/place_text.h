// Places as JSON: [x, y, floor], metres from the building's corner.
#pragma once

#include "sim/ap/json_cursor.h"
#include "sim/common/json.h"
#include "sim/common/propagation.h"

namespace ravd::sim {

// The member must be there.
place read_place(const json_cursor& from, const char* key);
json_ptr place_tree(const place& where);
// "12.5 3.0 floor 2", for people.
std::string place_words(const place& where);

}  // namespace ravd::sim
