#include "driver/nl80211/bss_elements.h"

namespace ravd {
namespace {

// Element numbers and lengths.
constexpr std::uint8_t tpc_report = 35;  // power, link margin
constexpr std::size_t tpc_report_length = 2;
constexpr std::uint8_t ht_operation = 61;
constexpr std::size_t ht_operation_length = 22;
constexpr std::uint8_t vht_operation = 192;
constexpr std::size_t vht_operation_length = 5;

constexpr std::size_t bss_transition_bit = 19;

// The body of the first element with a number that is long enough; null when there is none.
const std::uint8_t* find_element(const std::uint8_t* elements, std::size_t length, std::uint8_t number,
                                 std::size_t least) {
    while (length >= 2 && elements[1] <= length - 2) {
        if (elements[0] == number && elements[1] >= least) return elements + 2;
        const std::size_t whole = std::size_t{2} + elements[1];
        elements += whole;
        length -= whole;
    }
    return nullptr;
}

std::optional<channel_block> ht_block(const std::uint8_t* body, std::uint32_t channel) {
    constexpr unsigned any_width = 4;
    if (!body || body[0] != channel || (body[1] & any_width) == 0) return std::nullopt;
    switch (body[1] & 3) {
        case 1:
            return block_of(channel, 40, channel + 2);
        case 3:
            return channel > 2 ? block_of(channel, 40, channel - 2) : std::nullopt;
        default:
            return std::nullopt;
    }
}

// Width 1 is 80 MHz, or more with a second centre; 2 and 3 are older ways to say 160 and twice 80 MHz. The first centre
// is the one of the 80 MHz around the primary channel, but for 2.
std::optional<channel_block> vht_block(const std::uint8_t* body, std::uint32_t channel) {
    if (!body) return std::nullopt;
    switch (body[0]) {
        case 1:
        case 3:
            return block_of(channel, 80, body[1]);
        case 2:
            return block_of(channel, 160, body[1]);
        default:
            return std::nullopt;
    }
}

int digit_of(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

bss_description describe_bss(const std::uint8_t* elements, std::size_t length, std::uint32_t channel) {
    bss_description bss;
    bss.block.centre = channel;
    const auto find = [=](std::uint8_t number, std::size_t least) {
        return find_element(elements, length, number, least);
    };
    std::optional<channel_block> block;
    if (channel > 14) block = vht_block(find(vht_operation, vht_operation_length), channel);
    if (!block) block = ht_block(find(ht_operation, ht_operation_length), channel);
    if (block) bss.block = *block;
    if (const std::uint8_t* report = find(tpc_report, tpc_report_length))
        bss.tx_power = report[0] < 128 ? report[0] : report[0] - 256;
    return bss;
}

bool has_bss_transition(std::string_view hexadecimal) {
    // Octets in order, two digits each, the higher first.
    constexpr std::size_t octet = bss_transition_bit / 8;
    constexpr int bit = static_cast<int>(bss_transition_bit % 8);  // of the lower digit
    static_assert(bit < 4, "else it is the higher digit's");
    if (hexadecimal.size() < 2 * octet + 2) return false;
    for (std::size_t i = 0; i < 2 * octet + 2; ++i)
        if (digit_of(hexadecimal[i]) < 0) return false;
    return ((digit_of(hexadecimal[2 * octet + 1]) >> bit) & 1) != 0;
}

}  // namespace ravd
