#include "beamctl/table.h"

#include <algorithm>

#include "beamctl/text.h"

namespace {

constexpr std::string_view kGap = "  ";

void append_cell(std::string &line, const Cell &cell, const Column &column, size_t width, bool last) {
  const std::string padding(width - display_width(cell.text), ' ');
  if (column.align == Align::kRight)
    line += padding;
  line += styled(cell.style, cell.text);
  if (column.align == Align::kLeft && !last)
    line += padding;
}

std::string line_of(const std::vector<Cell> &row, const std::vector<Column> &columns,
                    const std::vector<size_t> &widths) {
  const auto filled =
      std::find_if(row.rbegin(), row.rend(), [](const Cell &cell) { return !cell.text.empty(); });
  const auto count = static_cast<size_t>(row.rend() - filled);
  std::string line;
  for (size_t index = 0; index < count; ++index) {
    if (index > 0)
      line += kGap;
    append_cell(line, row[index], columns[index], widths[index], index + 1 == count);
  }
  return line + "\n";
}

}  // namespace

void Table::add(std::vector<Cell> row) {
  for (Cell &cell : row) {
    cell.text = printable(cell.text);
    // Padding would hide them in one column and not in another.
    cell.text.erase(cell.text.find_last_not_of(' ') + 1);
  }
  rows_.push_back(std::move(row));
}

std::string Table::text() const {
  std::vector<Cell> headings;
  std::vector<size_t> widths;
  for (const Column &column : columns_) {
    headings.emplace_back(std::string{column.heading}, Style::kHeading);
    widths.push_back(display_width(column.heading));
  }
  for (const auto &row : rows_)
    for (size_t index = 0; index < row.size(); ++index)
      widths[index] = std::max(widths[index], display_width(row[index].text));

  const bool headed =
      std::ranges::any_of(columns_, [](const Column &column) { return !column.heading.empty(); });
  std::string lines = headed ? line_of(headings, columns_, widths) : "";
  for (const auto &row : rows_)
    lines += line_of(row, columns_, widths);
  return lines;
}
