// The device's message bus. On a device its vendor's library stands behind these names; platform/portable has
// ours for ordinary Linux (docs/simulation.md describes its sockets and framing).
//
// An endpoint is used by one thread at a time. Answers travel back over the connection that brought the request.
#pragma once

#include <cstddef>
#include <cstdint>

struct mbus_endpoint;
struct ctree;

// Largest payload of one message.
constexpr std::size_t mbus_message_limit = 16u * 1024 * 1024;

// A received block: 17 bytes of header, then the payload. Bytes 4 to 7 of the header hold the payload length,
// little-endian and unaligned; the other header bytes belong to the bus.
constexpr std::size_t mbus_header_size = 17;
constexpr std::size_t mbus_length_offset = 4;
inline std::uint32_t mbus_payload_length(const unsigned char* block) {
    const unsigned char* bytes = block + mbus_length_offset;
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// Registers under a module number; the registration block is the bus's own. Null when the number is taken or the bus
// cannot be reached. The caller releases the endpoint.
mbus_endpoint* mbus_init(int module, const void* registration, std::size_t length);
// Stops the peer and frees the endpoint; null is ignored.
void mbus_release(mbus_endpoint* bus);

// The loop state: not 0 while the endpoint exchanges messages; 0 also when it broke or its socket was removed. Setting
// 0 stops the exchange like mbus_peer_stop; other values are ignored, since only mbus_peer_start begins it.
void mbus_set_moduleloop(mbus_endpoint* bus, int value);
int mbus_get_moduleloop(mbus_endpoint* bus);

// Starts and stops the exchange of messages. A start that fails leaves the loop state 0. A stop gives accepted
// messages that are not yet written up to 200 ms; a stopped endpoint keeps its number, drops what was received and not
// taken, and closes its connections, but for those on which nothing is owed: an answer to a request from before the
// stop never arrives.
void mbus_peer_start(mbus_endpoint* bus);
void mbus_peer_stop(mbus_endpoint* bus);

// The next whole received message as a block that the caller frees with free(), or null. Never blocks.
void* mbus_get_msg_from_queue_no_wait(mbus_endpoint* bus);

// Hands a message to the bus. 0 when it was accepted, -1 when nobody serves `destination`, it is too long, or the
// receiver does not read and its backlog is full. Never blocks for longer than it takes to copy the bytes.
int mbus_msg_send(mbus_endpoint* bus, const void* bytes, int destination, std::size_t length);

// Waits for the message whose "command" member is `answer`, at most `timeout` tenths of a second; other messages
// that arrive meanwhile are dropped, and so is an answer over a connection that carried no request since the start.
// Returns its tree (the caller releases it), or null: at once when the last send was not accepted or its connection
// is closed without the answer; where that was kept from before the start, a short request goes out once more first.
// `error_text` is for libraries with a log of their own; ours prints nothing, the caller reports the failure.
ctree* mbus_wait_answer(mbus_endpoint* bus, const char* answer, const char* error_text, int timeout);
