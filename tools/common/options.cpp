#include "tools/common/options.h"

#include <cctype>
#include <cstdio>

#include "core/version.h"

namespace ravd {
namespace {

class option_reader {
  public:
    option_reader(int argc, const char* const* argv, const std::vector<command_option>& known, std::string& error)
        : given_(argv + (argc > 0 ? 1 : 0), argv + argc), known_(known), error_(error) {}

    options_result read(std::vector<std::string>& words);

  private:
    bool wrong(const std::string& text) {
        error_ = text;
        return false;
    }
    const command_option* find(const std::string& name) const;
    const command_option* find(char letter) const;
    bool take(const command_option& option, const std::string& shown, const std::string& value);
    // With the words that follow.
    bool take_with_words(const command_option& option, const std::string& shown);
    bool take_long(const std::string& word);
    bool take_letters(const std::string& word);

    std::vector<std::string> given_;
    std::size_t next_ = 0;
    const std::vector<command_option>& known_;
    std::string& error_;
};

const command_option* option_reader::find(const std::string& name) const {
    for (const command_option& option : known_)
        if (name == option.name) return &option;
    return nullptr;
}

const command_option* option_reader::find(char letter) const {
    for (const command_option& option : known_)
        if (letter == option.letter) return &option;
    return nullptr;
}

bool option_reader::take(const command_option& option, const std::string& shown, const std::string& value) {
    return option.take(value) || wrong(shown + " takes " + option.wants + ", not \"" + value + "\"");
}

bool option_reader::take_with_words(const command_option& option, const std::string& shown) {
    const bool more = next_ < given_.size();
    switch (option.value) {
        case option_value::none:
            return take(option, shown, "");
        case option_value::number:
            if (!more || given_[next_].empty() || !std::isdigit(static_cast<unsigned char>(given_[next_][0])))
                return take(option, shown, "");
            return take(option, shown, given_[next_++]);
        case option_value::one:
            if (!more) return wrong(shown + " needs a value");
            return take(option, shown, given_[next_++]);
        case option_value::rest:
            break;
    }
    if (!more) return wrong(shown + " needs a value");
    std::string text = given_[next_++];
    for (; next_ < given_.size(); ++next_)
        text += " " + given_[next_];
    return take(option, shown, text);
}

bool option_reader::take_long(const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const command_option* option = find(name);
    if (!option) return wrong("unknown option " + name);
    if (equals == std::string::npos) return take_with_words(*option, name);
    if (option->value == option_value::none) return wrong(name + " takes no value");
    return take(*option, name, word.substr(equals + 1));
}

bool option_reader::take_letters(const std::string& word) {
    for (std::size_t at = 1; at < word.size(); ++at) {
        const std::string shown = std::string("-") + word[at];
        const command_option* option = find(word[at]);
        if (!option) return wrong("unknown option " + shown);
        if (option->value != option_value::none && at + 1 < word.size())
            return take(*option, shown, word.substr(at + 1));
        if (!take_with_words(*option, shown)) return false;
    }
    return true;
}

options_result option_reader::read(std::vector<std::string>& words) {
    bool options_over = false;
    while (next_ < given_.size()) {
        const std::string word = given_[next_++];
        if (options_over || word.size() < 2 || word[0] != '-')
            words.push_back(word);
        else if (word == "--")
            options_over = true;
        else if (word == "--help" || word == "-h")
            return options_result::help;
        else if (word == "--version")
            return options_result::version;
        else if (!(word[1] == '-' ? take_long(word) : take_letters(word)))
            return options_result::wrong;
    }
    return options_result::run;
}

}  // namespace

command_option flag_option(const char* name, char letter, bool& set) {
    return {name, letter, option_value::none, "", [&set](const std::string&) { return set = true; }};
}

command_option text_option(const char* name, char letter, std::string& text) {
    return {name, letter, option_value::one, "a text", [&text](const std::string& value) {
                text = value;
                return !value.empty();
            }};
}

options_result read_options(int argc, const char* const* argv, const std::vector<command_option>& known,
                            std::vector<std::string>& words, std::string& error) {
    return option_reader(argc, argv, known, error).read(words);
}

std::optional<int> end_early(options_result result, const char* program, const char* usage, const std::string& error) {
    switch (result) {
        case options_result::help:
            return std::fputs(usage, stdout) < 0 ? 1 : 0;
        case options_result::version:
            return std::printf("%s %s\n", program, version()) < 0 ? 1 : 0;
        case options_result::wrong:
            std::fprintf(stderr, "%s: %s; try --help\n", program, error.c_str());
            return 2;
        case options_result::run:
            break;
    }
    return std::nullopt;
}

}  // namespace ravd
