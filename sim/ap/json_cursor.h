// Checked reading of a JSON text: every member has a kind and a range, and what is wrong is told with its place.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

struct json_object;

namespace ravd::sim {

// A value of the text and its place ("radios[0].vaps[2]"). The first fault is kept in `fault` and the reads that follow
// answer their fallback, so that a reader needs to look only once, at the end. The tree and `fault` outlive the cursor.
class json_cursor {
  public:
    json_cursor(json_object* value, std::string place, std::string& fault);

    bool is_object() const;
    bool has(const char* key) const;
    // Faults: a missing member; a value that is not an object.
    json_cursor child(const char* key) const;
    // Elements of an array member; none when it is absent.
    std::vector<json_cursor> elements(const char* key) const;

    std::string text(const char* key, const std::string& fallback, std::size_t max_bytes) const;
    // A text that must be there.
    std::string required_text(const char* key, std::size_t max_bytes) const;
    int integer(const char* key, int fallback, int low, int high) const;
    int required_integer(const char* key, int low, int high) const;
    double number(const char* key, double fallback, double low, double high) const;
    bool flag(const char* key, bool fallback) const;
    // One of a few words.
    std::string word(const char* key, const char* fallback, std::initializer_list<const char*> words) const;
    // Whole numbers of an array member.
    std::vector<int> integers(const char* key, const std::vector<int>& fallback, int low, int high) const;

    // Fault for each member whose name is not among `names`.
    void allow(std::initializer_list<const char*> names) const;
    void fail(const std::string& reason) const;
    void fail_at(const char* key, const std::string& reason) const;

    json_object* value() const { return value_; }
    const std::string& place() const { return place_; }

  private:
    json_object* member(const char* key) const;
    std::string place_of(const char* key) const;
    int checked(json_object* value, const std::string& place, int fallback, int low, int high) const;

    json_object* value_;
    std::string place_;
    std::string* fault_;
};

}  // namespace ravd::sim
