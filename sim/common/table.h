// Plain tables with aligned columns.
#pragma once

#include <string>
#include <vector>

namespace ravd::sim {

class table {
  public:
    explicit table(std::vector<std::string> titles) { rows_.push_back(std::move(titles)); }
    // As many cells as there are titles.
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    // Columns as wide as their widest cell; numbers to the right. No line end at the end.
    std::string text() const;

  private:
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace ravd::sim
