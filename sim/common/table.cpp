#include "sim/common/table.h"

#include <algorithm>

namespace ravd::sim {
namespace {

// Characters, not bytes: names of networks are UTF-8.
std::size_t width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

bool is_number(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789-.") == std::string::npos;
}

}  // namespace

std::string table::text() const {
    std::vector<std::size_t> widths;
    for (const auto& row : rows_) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], width(row[i]));
    }
    std::string out;
    for (const auto& row : rows_) {
        std::string line = " ";
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string fill(widths[i] - width(row[i]), ' ');
            line += " " + (is_number(row[i]) ? fill + row[i] : row[i] + fill);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += (out.empty() ? "" : "\n") + line;
    }
    return out;
}

}  // namespace ravd::sim
