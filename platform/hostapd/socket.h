// What requests and events share: connections of libwpa-client, with waits of the caller's length in place of the
// library's ten seconds.
#pragma once

#include <stddef.h>  // wpa_ctrl.h wants it
#include <wpa_ctrl.h>

#include <cstdint>
#include <string>

#include "platform/hostapd_control.h"

namespace ravd::hostapd {

// A connection; null when nobody listens at `path`.
wpa_ctrl* open_connection(const std::string& path);

// One message that was received already, without a line end. Never waits. `process`, when given, is its sender's.
enum class received : std::uint8_t { nothing, answer, event, too_long, lost };
received receive(wpa_ctrl* connection, std::string& text, int* process = nullptr);

// Sends without waiting: `answered` when hostapd has it, `absent` when the other end is gone.
hostapd_result send(wpa_ctrl* connection, const std::string& text);

// The answer to what was sent, at most `timeout_ms` later; events before it are dropped.
hostapd_result wait_for_answer(wpa_ctrl* connection, std::string& reply, int timeout_ms, int* process = nullptr);

}  // namespace ravd::hostapd
