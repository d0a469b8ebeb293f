// From the text of a message to its tree.
#pragma once

struct json_object;

namespace ravd {

// The tree, which the caller puts; null when `text` is null, holds more than json_bound.h allows, or does not parse. Of
// a string of more than 1 MiB only the beginning is read.
json_object* parse_json(const char* text);

}  // namespace ravd
