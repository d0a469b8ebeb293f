// One open connection of an endpoint: its unfinished frame, and the bytes that its socket did not take yet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string_view>

#include "platform/portable/bus_endpoint.h"
#include "platform/portable/bus_frame.h"
#include "platform/portable/bus_registration.h"

namespace ravd {

// Bytes that wait for a socket. Without memory nothing is added, and whoever sends is told so.
class bus_piece {
  public:
    bool add(std::string_view head, std::string_view payload);
    std::size_t size() const { return size_; }
    unsigned char* bytes() const { return block_.get(); }

  private:
    bus_block block_;
    std::size_t room_ = 0;  // of block_
    std::size_t size_ = 0;
};

// Used under the endpoint's lock.
class bus_connection {
  public:
    // Most bytes that may wait for the socket.
    static constexpr std::size_t backlog_limit = 32u * 1024 * 1024;

    // `peer` is the module at the other end, -1 while its hello is missing; `dialled` tells who connected.
    bus_connection(std::uint64_t id, unique_fd socket, int peer, bool dialled);

    std::uint64_t id() const { return id_; }
    int fd() const { return socket_.get(); }
    int peer() const { return peer_; }
    void set_peer(int module) { peer_ = module; }
    bool dialled() const { return dialled_; }
    bus_frame_reader& reader() { return reader_; }
    const bus_frame_reader& reader() const { return reader_; }
    // To be closed at the end of the turn; nothing more is read or written.
    bool ended() const { return ended_; }
    void end() { ended_ = true; }
    // The other end wants copies of what the endpoint receives and sends; how many of them it missed since the last.
    bool watching() const { return watching_; }
    void set_watching() { watching_ = true; }
    std::size_t missed() const { return missed_; }
    void set_missed(std::size_t count) { missed_ = count; }
    // No longer used for what is sent by itself.
    bool left() const { return left_; }
    void leave() { left_ = true; }
    // Its first frame is missing.
    bool nameless() const { return peer_ < 0 && !watching_; }
    // Bytes that wait in its socket.
    std::size_t unread() const;
    // Whether a message was accepted for it, since pause().
    bool carried() const { return carried_; }
    // A message came.
    void count_received() {
        settled_ = false;
        --owed_;
    }
    // What came last was what our last message asked for.
    void settle() { settled_ = owed_ == 0; }
    // Whether nothing is owed: it was settled, nothing came or went since, and nothing of either side is unfinished.
    bool settled() const;
    // It rests until it is used again.
    void pause() {
        paused_ = true;
        carried_ = false;
    }
    bool paused() const { return paused_; }
    // The socket in the directory that it was opened to.
    const bus_place& place() const { return place_; }
    void set_place(const bus_place& place) { place_ = place; }

    // The first frame brings a hello along, in one piece.
    void begin_with_hello() { hello_due_ = true; }
    // Writes a frame as far as the socket takes it and keeps the rest. `not_served` when the other end is gone. With
    // `more` it is one of a row: but for the first, they are kept back and joined, until there are many or the row
    // ends.
    bus_result write(const bus_frame_header& header, std::string_view payload, bool more = false);
    // Writes what is kept, as far as the socket takes it.
    void flush();
    void end_row();
    std::size_t backlog() const { return backlog_; }
    // Output is left because the socket did not take it.
    bool waits() const { return backlog_ > 0 && !kept_back_; }
    // Bytes read and written; who reads them counts them.
    std::uint64_t transferred() const { return transferred_; }
    void count_transferred(std::size_t bytes) { transferred_ += bytes; }
    // The other end no longer reads; what it wrote may still be read.
    bool write_failed() const { return write_failed_; }
    // Everything that was written has been read by the other end's process.
    bool drained() const;

    // Keeps output back until the connection of that id (0: none) is drained, so that a sender's messages stay in order
    // when they move from one connection to another.
    void hold_after(std::uint64_t id) {
        held_by_ = id;
        kept_back_ = kept_back_ && id == 0;
    }
    std::uint64_t held_by() const { return held_by_; }

  private:
    void fail();
    bool keep(std::string_view head, std::string_view payload);

    std::uint64_t id_;
    unique_fd socket_;
    int peer_;
    bool dialled_;
    bool ended_ = false;
    bool watching_ = false;
    bool left_ = false;
    bool write_failed_ = false;
    bool hello_due_ = false;
    bool in_row_ = false;
    bool kept_back_ = false;  // all output, for the rest of its row
    bool carried_ = false;
    bool settled_ = false;
    bool paused_ = false;
    std::int64_t owed_ = 0;  // messages sent, less those that came
    bus_place place_;
    std::size_t missed_ = 0;
    std::uint64_t held_by_ = 0;
    bus_frame_reader reader_;
    std::list<bus_piece> output_;
    std::size_t front_done_ = 0;  // bytes of output_.front() that are written
    std::size_t backlog_ = 0;
    std::uint64_t transferred_ = 0;
};

}  // namespace ravd
