// A log that the service wrote, read back: what stands where, entry by entry, without keeping the texts. The file may
// hold anything; what is no line of a log is passed over.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "platform/unique_fd.h"
#include "sim/console/entry_store.h"

namespace ravd::sim {

// A line as it was logged; what the entry points to lives here.
struct parsed_line {
    json_ptr tree;
    std::string text;  // bytes of a message that is no JSON object, the text of an event
    std::size_t size = 0;
    log_entry entry;
};
// False when it is none.
bool parse_log_line(std::string_view line, parsed_line& out);

class log_file : public entry_store {
  public:
    // False with the reason in `error`.
    bool open(const std::string& path, std::string& error);

    // Reads the next line that is an entry; false at the end, which is where the file ended when it was opened. Its
    // number is count() then. The entry's time is not before that of the one before it.
    bool read_next(parsed_line& out);
    // The entry that was read last is about that message.
    void set_violation(std::uint64_t of);
    // How much has been read, 0 to 1.
    double loaded() const;
    std::uint64_t bytes_read() const { return read_; }
    std::uint64_t bytes() const { return size_; }
    std::uint64_t count() const { return index_.size(); }
    std::uint64_t skipped() const { return skipped_; }

    // An entry again.
    bool read(std::uint64_t seq, parsed_line& out);
    std::int64_t time_of(std::uint64_t seq) const { return place_of(seq).time_ms; }
    // How many entries are not after that time.
    std::uint64_t count_until(std::int64_t time_ms) const;

    // Of an entry that was read again.
    entry_head head_of(std::uint64_t seq, parsed_line& line) const;

    // As a store it shows the first `count` only.
    void show(std::uint64_t count) { shown_ = count; }
    std::uint64_t first() const override { return 1; }
    std::uint64_t next() const override { return shown_ + 1; }
    bool outline(std::uint64_t seq, entry_head& out) override;
    bool head(std::uint64_t seq, entry_head& out) override;
    bool line(std::uint64_t seq, std::string& out) override;

  private:
    struct place {
        std::uint64_t offset;
        std::int64_t time_ms;
        std::uint32_t length;
        std::uint32_t size;
        std::uint32_t agent;
        std::uint32_t of;  // number of the message that a violation is about
        std::uint16_t cmd;
        log_entry::kind what;
        bool violates;
    };
    place& place_of(std::uint64_t seq) { return index_[static_cast<std::size_t>(seq - 1)]; }
    const place& place_of(std::uint64_t seq) const { return index_[static_cast<std::size_t>(seq - 1)]; }
    // The next line; false at the end.
    bool next_line(std::string& line, std::uint64_t& offset);
    std::uint16_t number_of(const std::string& cmd);

    unique_fd fd_;
    std::uint64_t size_ = 0;
    std::uint64_t read_ = 0;  // offset behind the lines taken so far
    std::string buffer_;      // what was read behind it
    std::size_t taken_ = 0;   // of the buffer
    std::uint64_t skipped_ = 0;
    std::deque<place> index_;
    std::vector<std::string> cmds_;
    std::map<std::string, std::uint16_t> cmd_numbers_;
    std::uint64_t shown_ = 0;
};

}  // namespace ravd::sim
