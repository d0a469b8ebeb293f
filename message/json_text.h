// The text of one JSON message while it is written down.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace ravd {

// Containers and values go straight into the text, without a tree: a container is complete, and takes nothing more,
// once something is added to one that holds it. At most 16 deep. Out of memory, the whole text is lost.
class json_text {
  public:
    // Names a container: where its bracket stands.
    using place = std::size_t;
    static constexpr place nowhere = SIZE_MAX;

    // The outermost container; once.
    place open_root(bool is_array);
    // A container within `parent`. The key, which is ignored in an array and else must not be null, is not there yet.
    // `nowhere` when `parent` takes nothing more.
    place open(place parent, const char* key, bool is_array);
    // What is not UTF-8 in a key or a text becomes U+FFFD. False when `parent` takes nothing more.
    bool add_string(place parent, const char* key, const char* value);
    bool add_int(place parent, const char* key, std::int32_t value);

    // Bytes so far, the ends of open containers left out.
    std::size_t size() const { return size_; }
    // The text with all containers ended, valid until the next addition; null when memory ran out.
    const char* finished();

  private:
    struct releaser {
        void operator()(char* block) const { std::free(block); }
    };
    static constexpr std::size_t deepest = 16;

    bool begin_value(place parent, const char* key);
    place bracket(bool is_array);
    char end_of(place container) const { return data_.get()[container] == '[' ? ']' : '}'; }
    void quote(const char* text);
    void put_escaped(const char* text);
    void put(const char* bytes, std::size_t count);
    void put(char byte);
    bool grow(std::size_t count);

    std::unique_ptr<char, releaser> data_;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
    bool lost_ = false;
    std::array<place, deepest> open_;
    std::size_t depth_ = 0;
};

}  // namespace ravd
