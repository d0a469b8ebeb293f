// Texts that drivers and their tools print, and what goes into orders to them. Pure functions over what was read,
// whatever it is.
#pragma once

#include <string>
#include <string_view>

namespace ravd {

// What a file of "name: value" lines has behind the first ": " of the first line that contains `name` and a ": ".
// Empty when there is none.
std::string find_driver_value(std::string_view text, std::string_view name);

// Reads a text as the scan "%127s get_mib:%d". Returns how many of the two were read (-1: the text is blank).
int scan_mib_reply(const char* text, std::string& word, int& value);

// Whether a text holds a control character, which would end an order to the driver and start another.
bool has_control_character(std::string_view text);

// Two lower-case hexadecimal digits a byte.
std::string to_hex(std::string_view bytes);

}  // namespace ravd
