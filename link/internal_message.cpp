#include "link/internal_message.h"

#include <strings.h>

#include <cstring>
#include <ctime>
#include <string_view>

#include "message/json.h"

namespace ravd {
namespace {

constexpr char timezone_command[] = "update-timezone";

// Whether the hyphen at `at` is that of `word`, in whatever case.
bool is_hyphen_of(std::string_view word, std::string_view text, std::size_t at) {
    const std::size_t before = word.find('-');
    return before <= at && word.size() - before <= text.size() - at &&
           strncasecmp(text.data() + at - before, word.data(), word.size()) == 0;
}

// False only where parsing cannot find anything for the link, which spares a tree of many times the size of a long
// message. A "\u" may hide any letter.
bool may_concern_us(std::string_view text) {
    // Each word holds one hyphen, and finding that is many times cheaper than a search for the words.
    for (std::size_t at = text.find('-'); at != text.npos; at = text.find('-', at + 1))
        if (is_hyphen_of(internal_service, text, at) || is_hyphen_of(timezone_command, text, at)) return true;
    return text.find("\\u") != text.npos;
}

}  // namespace

internal_command read_internal(const buffer_info_t& buffer) {
    if (!may_concern_us(buffer.text())) return internal_command::none;
    const json_reader message(buffer.data);
    if (!message.valid()) return internal_command::none;
    const char* command = message.get_string("command");
    if (command && std::strcmp(command, timezone_command) == 0) tzset();
    const char* service = message.get_string("service");
    if (!service || strcasecmp(service, internal_service) != 0) return internal_command::none;
    const char* cmd = message.get_string("cmd");
    if (cmd && strcasecmp(cmd, "status") == 0) return internal_command::status;
    if (cmd && strcasecmp(cmd, "unlink") == 0) return internal_command::unlink;
    return internal_command::other;
}

}  // namespace ravd
