#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Lines with aligned columns. Numbers stand at the right of their column, text at the left; what
// stands in the last column is not padded.
namespace LoamCtl {

class TextTable {
  public:
    enum class Align { left, right };

    struct Column {
        std::string header; // with the unit, where there is one
        Align align;
    };

    explicit TextTable(std::vector<Column> columns) : columns_{std::move(columns)} {}

    void row(std::vector<std::string> cells); // as many as there are columns

    std::string text() const; // the header and all rows, each with its end of line

  private:
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace LoamCtl
