// The device's factory data. On a device its vendor's library stands behind this name; platform/portable reads
// the file /etc/ravd/factory (lines board=, hw=, serial=, mac=).
#pragma once

#include <cstdint>

// Texts are zero-terminated unless they fill their field.
struct factory_data {
    std::uint32_t lead;  // the library's own
    char board[32];
    char hw[32];
    char serial[32];
    char mac[32];  // base MAC, six hexadecimal pairs joined by colons
};

// Fills `data`. 0 on success; otherwise `data` is all zero.
int factory_data_load(factory_data* data);
