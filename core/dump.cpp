#include "core/dump.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "core/buffer.h"
#include "core/logger.h"
#include "platform/ctree.h"

namespace ravd {
namespace {

constexpr char heading[] = "Buffer info dump:\n";
constexpr char skip_marker[] = "\t....part of message are skipped...\n";
constexpr char gap[] = "    ";
constexpr std::size_t bytes_a_line = 32;
constexpr std::size_t longest_line = 1 + 3 * bytes_a_line + (sizeof gap - 1) + bytes_a_line + 1;
constexpr std::size_t most_lines = 400;  // beyond, the middle is left out
constexpr std::size_t leading_lines = 50;
constexpr std::size_t trailing_lines = 49;

char* put_text(char* out, const char* text, std::size_t length) {
    std::memcpy(out, text, length);
    return out + length;
}

// One line of up to bytes_a_line bytes; a short one is padded so that the characters line up.
char* put_line(char* out, const char* bytes, std::size_t count) {
    constexpr char digits[] = "0123456789ABCDEF";
    *out++ = '\t';
    for (std::size_t i = 0; i < count; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        *out++ = digits[byte >> 4];
        *out++ = digits[byte & 15];
        *out++ = ' ';
    }
    const std::size_t padding = 3 * (bytes_a_line - count);
    std::memset(out, ' ', padding);
    out = put_text(out + padding, gap, sizeof gap - 1);
    // A NUL would end the whole text.
    for (std::size_t i = 0; i < count; ++i)
        *out++ = bytes[i] ? bytes[i] : '.';
    *out++ = '\n';
    return out;
}

void dump_hexadecimal(const buffer_info_t& buffer) {
    const std::size_t lines = buffer.data ? buffer.size / bytes_a_line : 0;
    const std::size_t rest = buffer.data ? buffer.size % bytes_a_line : 0;
    const bool skips = lines > most_lines;
    const std::size_t written = skips ? leading_lines + trailing_lines : lines;
    const std::size_t limit = sizeof heading + sizeof skip_marker + (written + 1) * longest_line;
    const std::unique_ptr<char[]> text(new (std::nothrow) char[limit]);
    if (!text) return;

    char* out = put_text(text.get(), heading, sizeof heading - 1);
    const auto put_lines = [&](std::size_t first, std::size_t end) {
        for (std::size_t i = first; i < end; ++i)
            out = put_line(out, buffer.data + i * bytes_a_line, bytes_a_line);
    };
    put_lines(0, skips ? leading_lines : lines);
    if (skips) {
        out = put_text(out, skip_marker, sizeof skip_marker - 1);
        put_lines(lines - trailing_lines, lines);
    }
    if (rest) out = put_line(out, buffer.data + lines * bytes_a_line, rest);
    *out = '\0';
    log_debug(process_log, "%s", text.get());
}

}  // namespace

void dump_buffer(const buffer_info_t& buffer) {
    if (!debug_enabled()) return;
    if (ctree* tree = buffer.data ? ctree_parse_buffer(buffer.data) : nullptr) {
        char* text = ctree_serialize(tree);
        if (text) log_debug(process_log, "Buffer info dump:\n%s", text);
        std::free(text);
        ctree_release(tree);
        return;
    }
    dump_hexadecimal(buffer);
}

}  // namespace ravd
