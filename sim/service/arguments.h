// Words of a command: key=value pairs, numbers, lists of channels, texts that stand in a file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ravd::sim {

// "key=value", or a plain word with an empty key.
struct argument {
    std::string key;
    std::string value;
};

// Which agents a command goes to.
enum class target { newest, one, all };

struct command_line {
    target to = target::newest;
    std::string selector;  // number or ap-mac, for target::one
    bool unchecked = false;
    std::string word;  // the command
    std::string rest;  // what follows it, as typed
    std::vector<argument> args;
};

// "[agent N|agent MAC|all] [unchecked] COMMAND ARGUMENTS...". A line that begins with '{' or '[' is the command "text".
// Its words are split as by split_words(). False with the reason in `error`; an empty line or a comment (#) gives an
// empty word.
bool parse_command_line(std::string_view line, command_line& out, std::string& error);

// A whole decimal number of 32 bits, nothing else.
bool parse_int(std::string_view text, int& out);
// "1,6,11" or "1 6 11" into "1 6 11"; every piece a number below 65536.
bool parse_channels(std::string_view text, std::string& out);
// `text` itself when it begins with '{' or '[', otherwise what the file of that name holds (16 MiB at most).
bool read_inline_or_file(const std::string& text, std::string& out, std::string& error);
// While one lives, read_inline_or_file() reads no file: what is carried out came from somebody who may not see them.
class no_files {
  public:
    no_files() { ++count_; }
    ~no_files() { --count_; }
    no_files(const no_files&) = delete;
    no_files& operator=(const no_files&) = delete;
    static bool wanted() { return count_ > 0; }

  private:
    static inline int count_ = 0;
};
// "81 7e 00" into bytes.
bool parse_hex(std::string_view text, std::string& out);

}  // namespace ravd::sim
