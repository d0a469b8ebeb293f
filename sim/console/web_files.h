// The files the console's web server may hand out: a list made once, at the start. A request only chooses from it; no
// path is ever made from what was asked for.
#pragma once

#include <map>
#include <string>

namespace ravd::sim {

struct web_file {
    std::string path;
    const char* type;  // for Content-Type
};

class web_files {
  public:
    // Takes every file with a known ending in `directory` and, up to three levels, in those below it; "/index.html"
    // also as "/". False with the reason in `error`, also without an index.html.
    bool open(const std::string& directory, std::string& error);
    // One more, from elsewhere. Nothing when there is no such file.
    void add(const std::string& name, const std::string& path);
    // Null when it is not on the list.
    const web_file* find(const std::string& name) const;

  private:
    void scan(const std::string& directory, const std::string& prefix, int depth);

    std::map<std::string, web_file> files_;  // by the path in the URL
};

// Where the page's files are: beside the program as it was installed or built. Empty when they are not there.
std::string installed_web_directory();

}  // namespace ravd::sim
