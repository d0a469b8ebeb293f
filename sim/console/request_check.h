// Who may ask the console's web server, told from a request's headers. No state, no side effects.
#pragma once

#include <string>
#include <string_view>

namespace ravd::sim {

// 128 random bits of the kernel as 32 hexadecimal digits; empty when there are none to be had.
std::string random_token();

// "127." and what follows.
bool is_loopback(std::string_view address);

// Splits "/TOKEN/rest" into "/rest". False when a token is asked for and it is another one; the time this takes does
// not tell how much of it was right. Without a token the path stays.
bool strip_token(std::string_view token, std::string_view& path);

// On loopback, where no token is asked for: the Host header names the address served, or localhost, with that port. A
// name that somebody else pointed here is refused.
bool host_is_ours(std::string_view host, std::string_view address, unsigned port);

// The Origin header names the very host that the Host header does; none at all does not.
bool origin_is_ours(std::string_view origin, std::string_view host);

}  // namespace ravd::sim
