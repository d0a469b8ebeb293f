// Small files of the system and of the driver, below /sys and /proc. What is read is bounded however long the file.
#pragma once

#include <cstddef>
#include <string>

namespace ravd {

// Reads at most `limit` bytes from the start. False, with errno set, when the file cannot be opened; a file that cannot
// be read is empty.
bool read_device_file(const std::string& path, std::string& text, std::size_t limit);

// Replaces the contents with `text`, in one write: a driver takes each write as one order. False, with errno set, when
// the file cannot be opened; whether the driver liked the order is not told.
bool write_device_file(const std::string& path, const std::string& text);

// Joins directory, interface name and file. Empty, with errno set, when the name would lead out of the directory.
std::string interface_file(const char* directory, const char* ifname, const char* file);

}  // namespace ravd
