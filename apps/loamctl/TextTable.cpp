#include <fmt/format.h>

#include <algorithm>
#include <apps/loamctl/TextTable.h>
#include <iterator>
#include <utility>

namespace LoamCtl {

void TextTable::row(std::vector<std::string> cells) {
    cells.resize(columns_.size());
    rows_.push_back(std::move(cells));
}

std::string TextTable::text() const {
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; column < columns_.size(); ++column) {
        std::size_t width = columns_[column].header.size();
        for (auto const& cells : rows_) {
            width = std::max(width, cells[column].size());
        }
        widths.push_back(width);
    }
    std::string all;
    auto const line = [&](auto const& cellOf) {
        std::string one;
        for (std::size_t column = 0; column < columns_.size(); ++column) {
            auto const align = columns_[column].align == Align::left ? '<' : '>';
            fmt::format_to(std::back_inserter(one),
                           align == '<' ? fmt::runtime("{:<{}}  ") : fmt::runtime("{:>{}}  "),
                           cellOf(column), widths[column]);
        }
        one.erase(one.find_last_not_of(' ') + 1);
        all += one + '\n';
    };
    line([&](std::size_t column) -> std::string const& { return columns_[column].header; });
    for (auto const& cells : rows_) {
        line([&](std::size_t column) -> std::string const& { return cells[column]; });
    }
    return all;
}

} // namespace LoamCtl
