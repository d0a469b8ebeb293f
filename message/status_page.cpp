#include "message/status_page.h"

#include <cstdio>

#include "message/utf8.h"

namespace ravd {

void status_page::text(const char* name, std::string_view value) {
    key(name);
    if (is_utf8(value.data(), value.size()))
        quoted(value);
    else
        quoted(replace_non_utf8(value.data(), value.size()));
}

void status_page::number(const char* name, std::int64_t value) {
    key(name);
    members_ += std::to_string(value);
}

void status_page::flag(const char* name, bool value) {
    key(name);
    members_ += value ? "true" : "false";
}

void status_page::open(const char* name) {
    key(name);
    members_ += '{';
}

void status_page::close() { members_ += '}'; }

void status_page::key(const char* name) {
    if (!members_.empty() && members_.back() != '{') members_ += ',';
    quoted(name);
    members_ += ':';
}

void status_page::quoted(std::string_view value) {
    members_ += '"';
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            members_ += escape;
        } else {
            if (c == '"' || c == '\\') members_ += '\\';
            members_ += c;
        }
    }
    members_ += '"';
}

}  // namespace ravd
