#include "message/status_page.h"

#include "core/formatted.h"
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
    members_ += formatted("%lld", static_cast<long long>(value));
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
            members_ += formatted("\\u%04x", byte);
        } else {
            if (c == '"' || c == '\\') members_ += '\\';
            members_ += c;
        }
    }
    members_ += '"';
}

}  // namespace ravd
