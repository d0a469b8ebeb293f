#include "sim/common/completion.h"

#include <algorithm>
#include <sstream>

namespace ravd::sim {
namespace {

using texts = std::vector<std::string>;

// One place of an alternative.
struct place {
    texts options;
    bool optional = false;
};

texts split(const std::string& text, char at) {
    texts pieces;
    std::istringstream rest(text);
    for (std::string piece; std::getline(rest, piece, at);)
        if (!piece.empty()) pieces.push_back(piece);
    return pieces;
}

bool is_key(const std::string& option) { return option.find('=') != std::string::npos; }
bool is_kind(const std::string& option) {
    return std::any_of(option.begin(), option.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

std::vector<std::vector<place>> alternatives_of(const std::string& usage) {
    std::vector<std::vector<place>> all(1);
    int depth = 0;
    for (std::string word : split(usage, ' ')) {
        if (word == "|") {
            all.emplace_back();
            continue;
        }
        const bool optional = depth > 0 || word.front() == '[';
        depth += static_cast<int>(std::count(word.begin(), word.end(), '[')) -
                 static_cast<int>(std::count(word.begin(), word.end(), ']'));
        for (const char* gone : {"...", "[", "]"})
            for (std::size_t at; (at = word.find(gone)) != std::string::npos;)
                word.erase(at, std::string(gone).size());
        all.back().push_back({split(word, '|'), optional});
    }
    return all;
}

bool may_be(const place& one, const std::string& word) {
    return std::any_of(one.options.begin(), one.options.end(), [&](const std::string& option) {
        return option == word || (is_kind(option) && !is_key(option));
    });
}

void add(texts& to, const texts& more) {
    for (const std::string& one : more)
        if (std::find(to.begin(), to.end(), one) == to.end()) to.push_back(one);
}

void add_option(texts& to, const std::string& option, const known_things& things) {
    if (is_key(option))
        add(to, {option.substr(0, option.find('=') + 1)});
    else
        add(to, is_kind(option) ? things(option) : texts{option});
}

void add_alternative(texts& to, const std::vector<place>& places, const texts& before, const known_things& things) {
    std::size_t typed = 0;
    bool open = true;  // nothing that must come first is missing
    for (const place& one : places) {
        const bool keys = std::all_of(one.options.begin(), one.options.end(), is_key);
        if (!keys && typed < before.size()) {
            if (may_be(one, before[typed]))
                ++typed;
            else if (!one.optional)
                return;  // another alternative is being typed
            continue;
        }
        if (!keys && !open) continue;
        for (const std::string& option : one.options)
            add_option(to, option, things);
        open = open && (keys || one.optional);
    }
}

// The value that the usage text names behind a key, as "N" in "radio=N".
std::string kind_of_value(const std::string& usage, const std::string& key) {
    for (const auto& places : alternatives_of(usage))
        for (const place& one : places)
            if (!one.options.empty() && one.options[0].compare(0, key.size(), key) == 0)
                return one.options[0].substr(key.size());
    return {};
}

}  // namespace

texts completions(const std::string& usage, const texts& before, const std::string& key, const known_things& things) {
    if (!key.empty()) {
        const texts values = things(key);
        return values.empty() ? things(kind_of_value(usage, key)) : values;
    }
    texts words;
    std::copy_if(before.begin(), before.end(), std::back_inserter(words),
                 [](const std::string& word) { return !is_key(word); });
    texts found;
    for (const auto& places : alternatives_of(usage))
        add_alternative(found, places, words, things);
    return found;
}

}  // namespace ravd::sim
