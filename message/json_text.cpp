#include "message/json_text.h"

#include <charconv>
#include <cstring>

#include "message/utf8.h"

namespace ravd {
namespace {

enum kind : std::uint8_t { plain, escaped, wide };

// What each byte is within a string; its end is not plain.
constexpr std::array<kind, 256> kinds = [] {
    std::array<kind, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte)
        table[byte] = byte < 0x20 || byte == '"' || byte == '\\' || byte == '/' ? escaped : byte < 0x80 ? plain : wide;
    return table;
}();

constexpr char replacement[] = "\xEF\xBF\xBD";

// The letter of a two-byte escape; 0 for what has none.
char short_escape(char c) {
    constexpr char from[] = "\b\n\r\t\f\"\\/";
    constexpr char to[] = "bnrtf\"\\/";
    const char* found = c ? std::strchr(from, c) : nullptr;
    return found ? to[found - from] : '\0';
}

}  // namespace

json_text::place json_text::open_root(bool is_array) { return bracket(is_array); }

json_text::place json_text::open(place parent, const char* key, bool is_array) {
    return depth_ < deepest && begin_value(parent, key) ? bracket(is_array) : nowhere;
}

bool json_text::add_string(place parent, const char* key, const char* value) {
    if (!begin_value(parent, key)) return false;
    quote(value);
    return true;
}

bool json_text::add_int(place parent, const char* key, std::int32_t value) {
    if (!begin_value(parent, key)) return false;
    char digits[12];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value);
    put(digits, static_cast<std::size_t>(end.ptr - digits));
    return true;
}

const char* json_text::finished() {
    if (lost_ || (room_ - size_ < deepest + 1 && !grow(deepest + 1))) return nullptr;
    char* at = data_.get() + size_;
    for (std::size_t level = depth_; level > 0; --level)
        *at++ = end_of(open_[level - 1]);
    *at = '\0';
    return data_.get();
}

// Ends what is open within `parent`, and writes what stands before a value. False when `parent` is complete, or no
// container at all.
bool json_text::begin_value(place parent, const char* key) {
    std::size_t level = depth_;
    while (level > 0 && open_[level - 1] != parent)
        --level;
    if (level == 0 || lost_) return false;
    const bool named = end_of(parent) == '}';
    if (named && !key) return false;
    for (; depth_ > level; --depth_)
        put(end_of(open_[depth_ - 1]));
    if (!lost_ && size_ != parent + 1) put(',');
    if (named) {
        quote(key);
        put(':');
    }
    return !lost_;
}

json_text::place json_text::bracket(bool is_array) {
    const place here = size_;
    put(is_array ? '[' : '{');
    if (lost_) return nowhere;
    open_[depth_++] = here;
    return here;
}

void json_text::quote(const char* text) {
    const char* end = text;
    while (kinds[static_cast<std::uint8_t>(*end)] == plain)
        ++end;
    const auto length = static_cast<std::size_t>(end - text);
    if (room_ - size_ < length + 2 && !grow(length + 2)) return;
    data_.get()[size_++] = '"';
    std::memcpy(data_.get() + size_, text, length);
    size_ += length;
    if (*end != '\0') put_escaped(end);
    put('"');
}

void json_text::put_escaped(const char* text) {
    const std::size_t length = std::strlen(text);
    std::size_t written = 0;
    for (std::size_t at = 0; at < length;) {
        const auto byte = static_cast<std::uint8_t>(text[at]);
        const std::size_t sequence = kinds[byte] == wide ? utf8_sequence_length(text + at, length - at) : 0;
        if (kinds[byte] == plain || sequence != 0) {
            at += sequence ? sequence : 1;
            continue;
        }
        put(text + written, at - written);
        written = ++at;
        if (kinds[byte] == wide) {
            put(replacement, sizeof replacement - 1);
        } else if (const char letter = short_escape(static_cast<char>(byte))) {
            put('\\');
            put(letter);
        } else {
            constexpr char hex[] = "0123456789abcdef";
            const char escape[] = {'\\', 'u', '0', '0', hex[byte >> 4], hex[byte & 15]};
            put(escape, sizeof escape);
        }
    }
    put(text + written, length - written);
}

void json_text::put(const char* bytes, std::size_t count) {
    if (room_ - size_ < count && !grow(count)) return;
    std::memcpy(data_.get() + size_, bytes, count);
    size_ += count;
}

void json_text::put(char byte) {
    if (room_ == size_ && !grow(1)) return;
    data_.get()[size_++] = byte;
}

bool json_text::grow(std::size_t count) {
    constexpr std::size_t least = 1024;
    const std::size_t wanted = size_ + count + size_ / 2 + least;
    char* grown = lost_ ? nullptr : static_cast<char*>(std::realloc(data_.get(), wanted));
    if (!grown) {
        lost_ = true;
        return false;
    }
    [[maybe_unused]] const char* const moved = data_.release();
    data_.reset(grown);
    room_ = wanted;
    return true;
}

}  // namespace ravd
