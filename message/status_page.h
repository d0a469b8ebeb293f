// Members of a JSON object, written down one after the other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ravd {

// Keys are literals of ours; texts may hold anything: what is not UTF-8 becomes U+FFFD. A page without a tree behind
// it: a status is asked for seldom, told at once and thrown away.
class status_page {
  public:
    void text(const char* key, std::string_view value);
    void number(const char* key, std::int64_t value);
    void flag(const char* key, bool value);
    // Members up to the matching close() belong to the object `key`.
    void open(const char* key);
    void close();

    // All members so far, separated by commas, without braces around them.
    const std::string& members() const { return members_; }
    std::string take() { return std::move(members_); }

  private:
    void key(const char* name);
    void quoted(std::string_view value);

    std::string members_;
};

}  // namespace ravd
