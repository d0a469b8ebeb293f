// One file of the TLS configuration, read whole.
#pragma once

#include <string>

namespace ravd {

// Fills `text` from the regular file `path`, at most 1 MiB; `secret`: others must not be able to read it. False with
// the reason, a piece of a sentence, in `failure`.
bool read_tls_file(const std::string& path, bool secret, std::string& text, std::string& failure);

}  // namespace ravd
